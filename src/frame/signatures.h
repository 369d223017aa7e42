// What a registered function takes and gives, read from its C++ type: the
// kind of value the host passes for each parameter and expects back. A table
// row carries this next to its declaration, so the two can be compared.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "qvl/handles.h"

enum class ValueType : uint8_t {
  Nothing,  // no result
  Integer,  // int64_t
  Int32,
  UInt32,  // also a colour
  Boolean,
  Double,
  Single,
  String,
  Picture,
  MemoryBlock,
  FolderItem,
  Object,
};

// A ByRef parameter is a pointer to its value.
struct ValueKind {
  ValueType type = ValueType::Nothing;
  bool byRef = false;
};

struct FunctionKinds {
  ValueKind result;
  const ValueKind* parameters = nullptr;
  size_t parameterCount = 0;
};

namespace signatures {

template <class T>
constexpr ValueType TypeOf() {
  if constexpr (std::is_void_v<T>)
    return ValueType::Nothing;
  else if constexpr (std::is_same_v<T, int64_t>)
    return ValueType::Integer;
  else if constexpr (std::is_same_v<T, int32_t>)
    return ValueType::Int32;
  else if constexpr (std::is_same_v<T, uint32_t>)
    return ValueType::UInt32;
  else if constexpr (std::is_same_v<T, bool>)
    return ValueType::Boolean;
  else if constexpr (std::is_same_v<T, double>)
    return ValueType::Double;
  else if constexpr (std::is_same_v<T, float>)
    return ValueType::Single;
  else if constexpr (std::is_same_v<T, REALstringStruct*>)
    return ValueType::String;
  else if constexpr (std::is_same_v<T, REALpictureStruct*>)
    return ValueType::Picture;
  else if constexpr (std::is_same_v<T, REALmemoryBlockStruct*>)
    return ValueType::MemoryBlock;
  else if constexpr (std::is_same_v<T, REALfolderItemStruct*>)
    return ValueType::FolderItem;
  else if constexpr (std::is_same_v<T, REALobjectStruct*>)
    return ValueType::Object;
  else
    static_assert(sizeof(T) == 0, "a registered function takes or gives a type the host cannot pass");
}

// A pointer to a value the host passes by value is that value ByRef.
template <class T>
constexpr ValueKind KindOf() {
  using Pointee = std::remove_pointer_t<T>;
  if constexpr (std::is_pointer_v<T> && !std::is_class_v<Pointee> && !std::is_void_v<Pointee>)
    return ValueKind{TypeOf<Pointee>(), true};
  else
    return ValueKind{TypeOf<T>(), false};
}

template <class Function>
struct Kinds;

template <class R, class... A>
struct Kinds<R (*)(A...)> {
  static constexpr ValueKind parameters[sizeof...(A) + 1] = {KindOf<A>()..., ValueKind{}};
  static constexpr FunctionKinds Of() { return FunctionKinds{KindOf<R>(), parameters, sizeof...(A)}; }
};

}  // namespace signatures

template <class Function>
constexpr FunctionKinds KindsOf(Function function) {
  (void)function;
  return signatures::Kinds<Function>::Of();
}
