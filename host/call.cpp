// Calls by declaration through libffi.
#include "call.h"

#include <ffi.h>

#include <cstring>

namespace qvlhost {

namespace {

// The memory of one argument as the callee sees it.
union Slot {
  int64_t i64;
  int32_t i32;
  uint32_t u32;
  uint8_t b;
  double d;
  float f;
  void* p;
};

// Room for a result: libffi widens integral results to a full ffi_arg.
union ReturnSlot {
  ffi_arg word;
  ffi_sarg signedWord;
  int64_t i64;
  double d;
  float f;
  void* p;
};

ffi_type* FfiType(TypeKind kind) {
  switch (kind) {
    case TypeKind::Nothing:
      return &ffi_type_void;
    case TypeKind::Integer:
      return &ffi_type_sint64;
    case TypeKind::Int32:
      return &ffi_type_sint32;
    case TypeKind::UInt32:
    case TypeKind::Color:
      return &ffi_type_uint32;
    case TypeKind::Boolean:
      return &ffi_type_uint8;
    case TypeKind::Double:
      return &ffi_type_double;
    case TypeKind::Single:
      return &ffi_type_float;
    default:
      return &ffi_type_pointer;
  }
}

Slot ToSlot(const Value& value, TypeKind kind) {
  Slot slot;
  std::memset(&slot, 0, sizeof slot);
  switch (kind) {
    case TypeKind::Integer:
      slot.i64 = value.integer;
      break;
    case TypeKind::Int32:
      slot.i32 = static_cast<int32_t>(value.integer);
      break;
    case TypeKind::UInt32:
    case TypeKind::Color:
      slot.u32 = static_cast<uint32_t>(value.integer);
      break;
    case TypeKind::Boolean:
      slot.b = value.integer != 0;
      break;
    case TypeKind::Double:
      slot.d = value.real;
      break;
    case TypeKind::Single:
      slot.f = static_cast<float>(value.real);
      break;
    default:
      slot.p = value.handle;
      break;
  }
  return slot;
}

Value FromSlot(const Slot& slot, TypeKind kind) {
  switch (kind) {
    case TypeKind::Integer:
      return Value::Integer(slot.i64);
    case TypeKind::Int32:
      return Value::Int32(slot.i32);
    case TypeKind::UInt32:
      return Value::UInt32(slot.u32);
    case TypeKind::Color:
      return Value::Color(slot.u32);
    case TypeKind::Boolean:
      return Value::Boolean(slot.b != 0);
    case TypeKind::Double:
      return Value::Double(slot.d);
    case TypeKind::Single:
      return Value::Single(slot.f);
    case TypeKind::Nothing:
      return Value();
    default:
      return Value::Handle(kind, slot.p);
  }
}

Value FromReturn(const ReturnSlot& returned, TypeKind kind) {
  Slot slot;
  std::memset(&slot, 0, sizeof slot);
  switch (kind) {
    case TypeKind::Int32:
      slot.i32 = static_cast<int32_t>(returned.signedWord);
      break;
    case TypeKind::UInt32:
    case TypeKind::Color:
      slot.u32 = static_cast<uint32_t>(returned.word);
      break;
    case TypeKind::Boolean:
      slot.b = static_cast<uint8_t>(returned.word);
      break;
    case TypeKind::Integer:
      slot.i64 = returned.i64;
      break;
    case TypeKind::Double:
      slot.d = returned.d;
      break;
    case TypeKind::Single:
      slot.f = returned.f;
      break;
    default:
      slot.p = returned.p;
      break;
  }
  return FromSlot(slot, kind);
}

bool Fail(std::string* error, const std::string& message) {
  if (error) *error = message;
  return false;
}

bool CheckArguments(const Declaration& declaration, const std::vector<Value>& arguments, std::string* error) {
  if (arguments.size() != declaration.parameters.size()) {
    return Fail(error, declaration.name + " takes " + std::to_string(declaration.parameters.size()) +
                           " arguments, not " + std::to_string(arguments.size()));
  }
  for (size_t i = 0; i < arguments.size(); ++i) {
    const Parameter& parameter = declaration.parameters[i];
    if (!ValueFits(arguments[i], parameter.type)) {
      return Fail(error,
                  "argument " + std::to_string(i + 1) + " of " + declaration.name + " is no " + parameter.type.name);
    }
  }
  return true;
}

Parameter ByValue(const char* name, const Type& type) {
  Parameter parameter;
  parameter.name = name;
  parameter.type = type;
  return parameter;
}

Declaration AccessorDeclaration(bool shared, bool setter, const Type& type) {
  Declaration declaration;
  declaration.name = setter ? "property setter" : "property getter";
  if (!shared) {
    declaration.parameters.push_back(ByValue("instance", Type{TypeKind::Object, "Object"}));
    declaration.parameters.push_back(ByValue("param", Type{TypeKind::Integer, "Integer"}));
  }
  if (setter) {
    declaration.parameters.push_back(ByValue("value", type));
  } else {
    declaration.result = type;
  }
  return declaration;
}

}  // namespace

Value Value::Integer(int64_t value) { return Value{TypeKind::Integer, value, 0, nullptr}; }
Value Value::Int32(int32_t value) { return Value{TypeKind::Int32, value, 0, nullptr}; }
Value Value::UInt32(uint32_t value) { return Value{TypeKind::UInt32, value, 0, nullptr}; }
Value Value::Boolean(bool value) { return Value{TypeKind::Boolean, value ? 1 : 0, 0, nullptr}; }
Value Value::Color(uint32_t value) { return Value{TypeKind::Color, value, 0, nullptr}; }
Value Value::Double(double value) { return Value{TypeKind::Double, 0, value, nullptr}; }
Value Value::Single(float value) { return Value{TypeKind::Single, 0, value, nullptr}; }
Value Value::Handle(TypeKind kind, void* handle) { return Value{kind, 0, 0, handle}; }

size_t FieldWidth(TypeKind kind) {
  switch (kind) {
    case TypeKind::Boolean:
      return 1;
    case TypeKind::Int32:
    case TypeKind::UInt32:
    case TypeKind::Color:
    case TypeKind::Single:
      return 4;
    case TypeKind::Nothing:
      return 0;
    default:
      return 8;
  }
}

bool ValueFits(const Value& value, const Type& type) {
  if (value.kind == type.kind) return true;
  return IsHandleKind(type.kind) && IsHandleKind(value.kind) && value.handle == nullptr;
}

bool CallDeclared(void* function, const Declaration& declaration, std::vector<Value>& arguments, Value* result,
                  std::string* error) {
  if (!function) return Fail(error, declaration.name + " has no function");
  if (!CheckArguments(declaration, arguments, error)) return false;
  size_t count = arguments.size();
  std::vector<ffi_type*> types(count);
  std::vector<Slot> slots(count);
  std::vector<void*> pointers(count);  // the address a ByRef argument passes
  std::vector<void*> values(count);
  for (size_t i = 0; i < count; ++i) {
    const Parameter& parameter = declaration.parameters[i];
    slots[i] = ToSlot(arguments[i], parameter.type.kind);
    pointers[i] = &slots[i];
    types[i] = parameter.byRef ? &ffi_type_pointer : FfiType(parameter.type.kind);
    values[i] = parameter.byRef ? static_cast<void*>(&pointers[i]) : static_cast<void*>(&slots[i]);
  }
  ffi_cif cif;
  if (ffi_prep_cif(&cif, FFI_DEFAULT_ABI, static_cast<unsigned>(count), FfiType(declaration.result.kind),
                   types.data()) != FFI_OK) {
    return Fail(error, "libffi cannot call " + declaration.text);
  }
  ReturnSlot returned;
  std::memset(&returned, 0, sizeof returned);
  ffi_call(&cif, FFI_FN(function), &returned, values.data());
  for (size_t i = 0; i < count; ++i) {
    if (declaration.parameters[i].byRef) arguments[i] = FromSlot(slots[i], declaration.parameters[i].type.kind);
  }
  if (result) *result = FromReturn(returned, declaration.result.kind);
  return true;
}

bool CallPropertyGetter(void* getter, void* instance, bool shared, int64_t param, const Type& type, Value* result,
                        std::string* error) {
  std::vector<Value> arguments;
  if (!shared) arguments = {Value::Handle(TypeKind::Object, instance), Value::Integer(param)};
  return CallDeclared(getter, AccessorDeclaration(shared, false, type), arguments, result, error);
}

bool CallPropertySetter(void* setter, void* instance, bool shared, int64_t param, const Value& value,
                        std::string* error) {
  std::vector<Value> arguments;
  if (!shared) arguments = {Value::Handle(TypeKind::Object, instance), Value::Integer(param)};
  arguments.push_back(value);
  Type type{value.kind, KindName(value.kind)};
  return CallDeclared(setter, AccessorDeclaration(shared, true, type), arguments, nullptr, error);
}

Value ReadField(const void* instanceData, int32_t offset, const Type& type) {
  Slot slot;
  std::memset(&slot, 0, sizeof slot);
  std::memcpy(&slot, static_cast<const char*>(instanceData) + offset, FieldWidth(type.kind));
  return FromSlot(slot, type.kind);
}

void WriteField(void* instanceData, int32_t offset, const Value& value) {
  Slot slot = ToSlot(value, value.kind);
  std::memcpy(static_cast<char*>(instanceData) + offset, &slot, FieldWidth(value.kind));
}

}  // namespace qvlhost
