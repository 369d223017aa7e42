// The registered surface: read from the records the host kept, and called
// through the declarations.
#include "surface.h"

#include "host_internal.h"

namespace qvlhost {

namespace {

bool Fail(std::string* error, const std::string& message) {
  if (error) *error = message;
  return false;
}

Parameter ImplicitParameter(const char* name, const Type& type, bool extends) {
  Parameter parameter;
  parameter.name = name;
  parameter.type = type;
  parameter.extends = extends;
  return parameter;
}

// Completes the call form: what the function takes besides the declared parameters.
void AddImplicitParameters(SurfaceMethod* method) {
  Declaration& form = method->callForm;
  if (method->ownerKind == OwnerKind::ClassExtension) {
    form.parameters.insert(form.parameters.begin(), ImplicitParameter("ref", TypeNamed(method->owner), true));
  } else if (method->IsInstanceMethod()) {
    form.parameters.insert(form.parameters.begin(),
                           ImplicitParameter("self", Type{TypeKind::Object, method->owner}, false));
  }
  if (method->assigning) {
    Parameter value = ImplicitParameter("value", form.result, false);
    value.assigns = true;
    form.parameters.push_back(value);
    form.result = Type();
  }
}

SurfaceMethod MethodFrom(const REALmethodDefinition& record, const SurfaceOwner& owner, bool shared, bool assigning) {
  SurfaceMethod method;
  method.owner = owner.kind == OwnerKind::GlobalMethods ? "" : owner.name;
  method.ownerKind = owner.kind;
  method.text = record.declaration ? record.declaration : "";
  method.flags = record.flags;
  method.function = assigning ? record.setter : record.function;
  method.shared = shared;
  method.assigning = assigning;
  if (!record.declaration) {
    method.parseError = "no declaration";
  } else if (ParseDeclaration(method.text, &method.callForm, &method.parseError)) {
    AddImplicitParameters(&method);
  }
  return method;
}

// A class's or extension's method with a setter is also assignable; a
// generated module carries that form as a record of its own.
void AddMethods(const REALmethodDefinition* records, uint64_t count, bool shared, SurfaceOwner* owner) {
  if (!records) return;
  bool setterForm = owner->kind == OwnerKind::Class || owner->kind == OwnerKind::ClassExtension;
  for (uint64_t i = 0; i < count; ++i) {
    if (setterForm && records[i].setter) owner->methods.push_back(MethodFrom(records[i], *owner, shared, true));
    owner->methods.push_back(MethodFrom(records[i], *owner, shared, false));
  }
}

void AddProperties(const REALproperty* records, uint64_t count, bool shared, SurfaceOwner* owner) {
  if (!records) return;
  for (uint64_t i = 0; i < count; ++i) {
    SurfaceProperty property;
    property.owner = owner->name;
    property.ownerClass = owner->classDefinition;
    property.name = records[i].name ? records[i].name : "";
    property.type = TypeNamed(records[i].type ? records[i].type : "");
    property.flags = records[i].flags;
    property.getter = records[i].getter;
    property.setter = records[i].setter;
    property.param = records[i].param;
    property.shared = shared;
    owner->properties.push_back(property);
  }
}

void AddDelegates(const REALdelegate* records, uint64_t count, SurfaceOwner* owner) {
  if (!records) return;
  for (uint64_t i = 0; i < count; ++i) {
    owner->delegates.push_back(SurfaceDelegate{records[i].declaration ? records[i].declaration : "", records[i].flags});
  }
}

SurfaceOwner ClassOwner(const REALclassDefinition* definition, OwnerKind kind) {
  SurfaceOwner owner;
  owner.name = definition->name ? definition->name : "";
  owner.kind = kind;
  owner.flags = definition->flags;
  owner.classDefinition = definition;
  AddMethods(definition->methods, definition->methodCount, false, &owner);
  AddMethods(definition->sharedMethods, definition->sharedMethodCount, true, &owner);
  AddProperties(definition->properties, definition->propertyCount, false, &owner);
  AddProperties(definition->sharedProperties, definition->sharedPropertyCount, true, &owner);
  AddDelegates(definition->delegates, definition->delegateCount, &owner);
  return owner;
}

SurfaceOwner ModuleOwner(const REALmoduleDefinition* definition) {
  SurfaceOwner owner;
  owner.name = definition->name ? definition->name : "";
  owner.kind = OwnerKind::Module;
  owner.flags = definition->flags;
  AddMethods(definition->methods, definition->methodCount, false, &owner);
  AddProperties(definition->properties, definition->propertyCount, true, &owner);
  AddDelegates(definition->delegates, definition->delegateCount, &owner);
  return owner;
}

SurfaceOwner GlobalOwner() {
  SurfaceOwner owner;
  owner.name = "(global)";
  owner.kind = OwnerKind::GlobalMethods;
  for (const REALmethodDefinition* record : RegisteredGlobalMethods()) AddMethods(record, 1, false, &owner);
  return owner;
}

Value DefaultArgument(const Parameter& parameter) {
  const Literal& literal = parameter.defaultValue;
  switch (parameter.type.kind) {
    case TypeKind::Double:
      return Value::Double(literal.real);
    case TypeKind::Single:
      return Value::Single(static_cast<float>(literal.real));
    case TypeKind::Int32:
      return Value::Int32(static_cast<int32_t>(literal.integer));
    case TypeKind::UInt32:
      return Value::UInt32(static_cast<uint32_t>(literal.integer));
    case TypeKind::Color:
      return Value::Color(static_cast<uint32_t>(literal.integer));
    case TypeKind::Boolean:
      return Value::Boolean(literal.integer != 0);
    case TypeKind::Integer:
      return Value::Integer(literal.integer);
    case TypeKind::String:
      if (literal.kind == Literal::Text) return Value::Handle(TypeKind::String, NewString(literal.text));
      return Value::Nil(TypeKind::String);
    default:
      return Value::Nil(parameter.type.kind);
  }
}

void HoldHandle(const Value& value) {
  if (!value.handle) return;
  if (value.kind == TypeKind::String) {
    if (String* text = LiveString(value.handle, "property")) AddReference(text);
  } else if (Object* object = LiveObject(value.handle, "property")) {
    AddReference(object);
  }
}

// The field of a standard accessor, when it lies inside the instance data.
void* FieldData(const SurfaceProperty& property, void* instance, std::string* error) {
  if (property.shared || !property.ownerClass) {
    Fail(error, property.name + " has the standard accessor but no instance data");
    return nullptr;
  }
  auto* object = Live<Instance>(instance, "property");
  if (!object || object->definition != property.ownerClass) {
    Fail(error, property.name + " needs an instance of " + property.owner);
    return nullptr;
  }
  uint64_t end = static_cast<uint64_t>(property.param) + FieldWidth(property.type.kind);
  if (property.param < 0 || end > property.ownerClass->dataSize) {
    Fail(error, property.name + " lies outside the instance data");
    return nullptr;
  }
  return object->Data();
}

}  // namespace

bool SurfaceMethod::IsExtension() const { return !callForm.parameters.empty() && callForm.parameters.front().extends; }

const char* OwnerKindName(OwnerKind kind) {
  switch (kind) {
    case OwnerKind::Module:
      return "module";
    case OwnerKind::Class:
      return "class";
    case OwnerKind::ClassExtension:
      return "class extension";
    case OwnerKind::GlobalMethods:
      return "global methods";
  }
  return "";
}

std::vector<SurfaceOwner> Surface() {
  std::vector<SurfaceOwner> owners;
  for (const REALmoduleDefinition* module : RegisteredModules()) owners.push_back(ModuleOwner(module));
  for (const REALclassDefinition* definition : RegisteredClasses()) {
    owners.push_back(ClassOwner(definition, OwnerKind::Class));
  }
  for (const REALclassDefinition* definition : RegisteredClassExtensions()) {
    owners.push_back(ClassOwner(definition, OwnerKind::ClassExtension));
  }
  if (!RegisteredGlobalMethods().empty()) owners.push_back(GlobalOwner());
  return owners;
}

std::vector<SurfaceMethod> FindMethods(const std::string& name) {
  std::string ownerName;
  std::string methodName = name;
  size_t dot = name.rfind('.');
  if (dot != std::string::npos) {
    ownerName = name.substr(0, dot);
    methodName = name.substr(dot + 1);
  }
  std::vector<SurfaceMethod> found;
  for (const SurfaceOwner& owner : Surface()) {
    if (!ownerName.empty() && !EqualsIgnoringCase(owner.name, ownerName)) continue;
    for (const SurfaceMethod& method : owner.methods) {
      bool callable = method.parseError.empty() && method.function;
      if (callable && EqualsIgnoringCase(method.Name(), methodName)) found.push_back(method);
    }
  }
  return found;
}

bool FindProperty(const std::string& owner, const std::string& name, SurfaceProperty* property) {
  for (const SurfaceOwner& candidate : Surface()) {
    if (!EqualsIgnoringCase(candidate.name, owner)) continue;
    for (const SurfaceProperty& each : candidate.properties) {
      if (!EqualsIgnoringCase(each.name, name)) continue;
      *property = each;
      return true;
    }
  }
  return false;
}

bool CallMethod(const SurfaceMethod& method, std::vector<Value>& arguments, Value* result, std::string* error) {
  if (!method.parseError.empty()) return Fail(error, method.text + ": " + method.parseError);
  const std::vector<Parameter>& parameters = method.callForm.parameters;
  if (arguments.size() > parameters.size()) return Fail(error, "too many arguments for " + method.text);
  size_t given = arguments.size();
  for (size_t i = given; i < parameters.size(); ++i) {
    if (parameters[i].defaultValue.kind == Literal::None) {
      return Fail(error, "no argument for " + parameters[i].name + " of " + method.text);
    }
    arguments.push_back(DefaultArgument(parameters[i]));
  }
  bool called = CallDeclared(method.function, method.callForm, arguments, result, error);
  for (size_t i = given; i < parameters.size(); ++i) {
    if (arguments[i].kind != TypeKind::String) continue;
    ReleaseValue(arguments[i]);
    arguments[i] = Value::Nil(TypeKind::String);
  }
  return called;
}

bool GetProperty(const SurfaceProperty& property, void* instance, Value* value, std::string* error) {
  if (!property.StandardAccessor()) {
    if (!property.getter) return Fail(error, property.name + " has no getter");
    return CallPropertyGetter(property.getter, instance, property.shared, property.param, property.type, value, error);
  }
  void* data = FieldData(property, instance, error);
  if (!data) return false;
  *value = ReadField(data, property.param, property.type);
  HoldHandle(*value);
  return true;
}

bool SetProperty(const SurfaceProperty& property, void* instance, const Value& value, std::string* error) {
  if (!ValueFits(value, property.type)) return Fail(error, "the value does not fit " + property.name);
  Value typed = value;
  typed.kind = property.type.kind;
  if (property.setter != REALstandardSetter) {
    if (!property.setter) return Fail(error, property.name + " has no setter");
    return CallPropertySetter(property.setter, instance, property.shared, property.param, typed, error);
  }
  void* data = FieldData(property, instance, error);
  if (!data) return false;
  Value previous = ReadField(data, property.param, property.type);
  HoldHandle(typed);
  WriteField(data, property.param, typed);
  ReleaseValue(previous);
  return true;
}

void ReleaseValue(const Value& value) {
  if (!IsHandleKind(value.kind) || !value.handle) return;
  if (value.kind == TypeKind::String) {
    Release(static_cast<REALstringStruct*>(value.handle));
  } else {
    Release(static_cast<REALobjectStruct*>(value.handle));
  }
}

}  // namespace qvlhost
