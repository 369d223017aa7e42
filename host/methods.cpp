// REALLoadObjectMethod and REALLoadGlobalMethod: the function behind a
// declaration, for the host's own classes and for what the plug-in registered.
#include "host_internal.h"

namespace qvlhost {

namespace {

bool IsHiddenMethod(std::string_view declaration) {
  for (const std::string& hidden : State().config.hiddenMethods) {
    if (SameDeclaration(hidden, declaration)) return true;
  }
  return false;
}

void* FindIn(const REALmethodDefinition* methods, uint64_t count, std::string_view declaration) {
  for (uint64_t i = 0; methods && i < count; ++i) {
    if (methods[i].declaration && SameDeclaration(methods[i].declaration, declaration)) return methods[i].function;
  }
  return nullptr;
}

// Methods of a registered class or of an extension of the object's class.
void* RegisteredMethod(Object* object, std::string_view declaration) {
  if (auto* instance = dynamic_cast<Instance*>(object)) {
    const REALclassDefinition* definition = instance->definition;
    if (void* found = FindIn(definition->methods, definition->methodCount, declaration)) return found;
  }
  for (const REALclassDefinition* extension : State().classExtensions) {
    if (!extension->name || !SameName(extension->name, object->className)) continue;
    if (void* found = FindIn(extension->methods, extension->methodCount, declaration)) return found;
  }
  return nullptr;
}

void* BuiltInMethod(Object* object, std::string_view declaration) {
  if (dynamic_cast<Picture*>(object)) return PictureMethod(declaration);
  if (dynamic_cast<Graphics*>(object)) return GraphicsMethod(declaration);
  if (dynamic_cast<MemoryBlock*>(object)) return MemoryBlockMethod(declaration);
  return nullptr;
}

void* GlobalMethod(const char* moduleName, std::string_view declaration) {
  HostState& state = State();
  if (!moduleName) {
    if (void* found = FrameworkMethod(declaration)) return found;
    for (const REALmethodDefinition* method : state.globalMethods) {
      if (void* found = FindIn(method, 1, declaration)) return found;
    }
    return nullptr;
  }
  for (const REALmoduleDefinition* module : state.modules) {
    if (!module->name || !SameName(module->name, moduleName)) continue;
    if (void* found = FindIn(module->methods, module->methodCount, declaration)) return found;
  }
  return nullptr;
}

}  // namespace

void* FrameworkMethod(std::string_view declaration) {
  if (SameDeclaration(declaration, QVL_LENB_DECLARATION)) {
    return HandedOut<static_cast<QVLLenBFn>(&StringLenB)>();
  }
  return nullptr;
}

namespace entries {

void* REALLoadObjectMethod(REALobjectStruct* handle, const char* declaration) {
  Object* object = LiveObject(handle, "REALLoadObjectMethod");
  if (!object || !declaration || IsHiddenMethod(declaration)) return nullptr;
  if (void* found = BuiltInMethod(object, declaration)) return found;
  return RegisteredMethod(object, declaration);
}

void* REALLoadFrameworkMethod(const char* moduleName, const char* declaration) {
  if (!declaration || IsHiddenMethod(declaration)) return nullptr;
  return GlobalMethod(moduleName, declaration);
}

}  // namespace entries

}  // namespace qvlhost
