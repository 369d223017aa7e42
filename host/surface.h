// The surface the plug-in registered, as the host received it: classes,
// class extensions, modules (generated ones included) and global methods,
// with their methods and properties, and calls into them with host values.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "call.h"
#include "declaration.h"
#include "qvl/definitions.h"

namespace qvlhost {

enum class OwnerKind { Module, Class, ClassExtension, GlobalMethods };

struct SurfaceMethod {
  std::string owner;  // class or module name; "" for global methods
  OwnerKind ownerKind = OwnerKind::GlobalMethods;
  std::string text;  // the declaration as registered
  uint32_t flags = 0;
  void* function = nullptr;
  bool shared = false;     // a shared method of a class: called without an instance
  bool assigning = false;  // the setter of an assignable class-extension method
  std::string parseError;  // why the declaration could not be read; empty when it could
  // What the function takes: for a class-extension method the picture it is
  // called on comes first as "extends ref as Picture", for an instance method
  // the instance ("self"); an assigning form ends in "assigns value".
  Declaration callForm;

  // Called on the object given as its first argument: an extends parameter.
  bool IsExtension() const;
  // Called on an instance of its class.
  bool IsInstanceMethod() const { return ownerKind == OwnerKind::Class && !shared; }
  std::string Name() const { return callForm.name; }
};

struct SurfaceProperty {
  std::string owner;
  const REALclassDefinition* ownerClass = nullptr;  // null on modules
  std::string name;
  Type type;
  uint32_t flags = 0;
  void* getter = nullptr;
  void* setter = nullptr;
  int32_t param = 0;
  bool shared = false;  // module properties and a class's shared properties

  bool StandardAccessor() const { return getter == REALstandardGetter; }
};

struct SurfaceDelegate {
  std::string text;  // the delegate's declaration
  uint32_t flags = 0;
};

struct SurfaceOwner {
  std::string name;  // "(global)" for the global methods
  OwnerKind kind = OwnerKind::Module;
  uint32_t flags = 0;
  const REALclassDefinition* classDefinition = nullptr;
  std::vector<SurfaceMethod> methods;
  std::vector<SurfaceProperty> properties;
  std::vector<SurfaceDelegate> delegates;
};

const char* OwnerKindName(OwnerKind kind);  // "module", "class", "class extension", "global methods"

// Everything registered with the current host: modules, classes, class
// extensions, then the global methods, each in order of registration.
std::vector<SurfaceOwner> Surface();

// The methods of that name, ignoring case, in every owner. "Owner.Name"
// restricts the search to one owner. Methods whose declaration could not be
// read, and records without a function, are left out.
std::vector<SurfaceMethod> FindMethods(const std::string& name);
// A property of one owner, ignoring case; false when there is none.
bool FindProperty(const std::string& owner, const std::string& name, SurfaceProperty* property);

// Calls a method with one value per parameter of its call form; missing
// trailing arguments take their defaults. ByRef arguments come back changed.
// A returned handle belongs to the caller (ReleaseValue gives it back).
bool CallMethod(const SurfaceMethod& method, std::vector<Value>& arguments, Value* result, std::string* error);

// Reads and writes a property of `instance` (ignored for shared properties),
// through its registered accessors or, for the standard accessor, the field
// in the instance data. A handle read belongs to the caller; a handle written
// is held by the instance with a reference of its own.
bool GetProperty(const SurfaceProperty& property, void* instance, Value* value, std::string* error);
bool SetProperty(const SurfaceProperty& property, void* instance, const Value& value, std::string* error);

// Gives back the reference a handle value carries; numbers and nil are left alone.
void ReleaseValue(const Value& value);

}  // namespace qvlhost
