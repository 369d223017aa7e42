// Instances of registered classes: the class's constructor and destructor,
// and the handles that properties with the standard accessor hold in the
// instance data.
#include <cstring>

#include "declaration.h"
#include "host_internal.h"

namespace qvlhost {

namespace {

using Handles = std::vector<std::pair<const void*, bool>>;  // handle, and whether it is a string

// The handles stored in the instance's standard-accessor fields.
Handles HandleFields(const Instance& instance) {
  Handles handles;
  const REALclassDefinition* definition = instance.definition;
  const auto* data = reinterpret_cast<const uint8_t*>(&instance) + Instance::kDataOffset;
  for (uint64_t i = 0; definition->properties && i < definition->propertyCount; ++i) {
    const REALproperty& property = definition->properties[i];
    if (property.getter != REALstandardGetter || !property.type || property.param < 0) continue;
    Type type = TypeNamed(property.type);
    if (!IsHandleKind(type.kind) || uint64_t(property.param) + sizeof(void*) > definition->dataSize) continue;
    const void* handle;
    std::memcpy(&handle, data + property.param, sizeof handle);
    if (handle) handles.emplace_back(handle, type.kind == TypeKind::String);
  }
  return handles;
}

}  // namespace

void Instance::ReleaseContents() {
  if (definition->destructor) {
    reinterpret_cast<void (*)(REALobjectStruct*)>(definition->destructor)(HandleOf<REALobjectStruct>(this));
  }
  for (const auto& [handle, isString] : HandleFields(*this)) {
    if (isString) {
      if (String* text = LiveString(handle, "instance field")) DropReference(text);
    } else if (Object* object = LiveObject(handle, "instance field")) {
      DropReference(object);
    }
  }
}

void Instance::ListHeld(std::vector<const void*>* held) const {
  for (const auto& field : HandleFields(*this)) held->push_back(field.first);
}

}  // namespace qvlhost
