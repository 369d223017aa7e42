// Calls of registered functions by their declaration, through libffi, with
// Xojo's types: Integer int64, Boolean one byte, Color and UInt32 uint32,
// Double double, and handles for String, Picture, MemoryBlock, FolderItem
// and classes. A ByRef argument is passed as a pointer to its value.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "declaration.h"

namespace qvlhost {

// One host value. Numbers, colours and booleans live in `integer` (Double and
// Single in `real`), handles in `handle`.
struct Value {
  TypeKind kind = TypeKind::Nothing;
  int64_t integer = 0;
  double real = 0;
  void* handle = nullptr;

  static Value Integer(int64_t value);
  static Value Int32(int32_t value);
  static Value UInt32(uint32_t value);
  static Value Boolean(bool value);
  static Value Color(uint32_t value);
  static Value Double(double value);
  static Value Single(float value);
  static Value Handle(TypeKind kind, void* handle);
  static Value Nil(TypeKind kind) { return Handle(kind, nullptr); }
};

// Whether a value can be passed for a parameter of this type: the same kind,
// or nil for any handle type; a class value fits any class parameter.
bool ValueFits(const Value& value, const Type& type);

// Calls `function` as `declaration` describes: `arguments` holds one value per
// parameter, in order. ByRef arguments come back with what the function
// stored. The result has the declared result kind (Nothing for none). Handles
// are passed and returned as they are: a returned object carries the
// reference the function gave the caller. False, with *error set, when the
// arguments do not fit the declaration.
bool CallDeclared(void* function, const Declaration& declaration, std::vector<Value>& arguments, Value* result,
                  std::string* error);

// Property accessors. An instance accessor receives the instance and the
// 64-bit `param` of its record (a setter also the new value); a shared
// accessor receives nothing but the new value.
bool CallPropertyGetter(void* getter, void* instance, bool shared, int64_t param, const Type& type, Value* result,
                        std::string* error);
bool CallPropertySetter(void* setter, void* instance, bool shared, int64_t param, const Value& value,
                        std::string* error);

// The standard accessor: the field at `offset` in an instance's data, of the
// width of its type. Handles are read and stored as they are; reference counts
// are the caller's business.
size_t FieldWidth(TypeKind kind);  // bytes of a field of this type
Value ReadField(const void* instanceData, int32_t offset, const Type& type);
void WriteField(void* instanceData, int32_t offset, const Value& value);

}  // namespace qvlhost
