// What the plug-in registers: classes, class extensions, modules and global
// methods, kept in order. A class learns where its instance data lies.
#include "host_internal.h"

namespace qvlhost {

namespace entries {

void REALRegisterClass(REALclassDefinition* definition) {
  if (!definition) return;
  definition->forSystemUse = Instance::kDataOffset;
  State().classes.push_back(definition);
}

void REALRegisterClassExtension(REALclassDefinition* definition) {
  if (definition) State().classExtensions.push_back(definition);
}

void REALRegisterModule(REALmoduleDefinition* definition) {
  if (definition) State().modules.push_back(definition);
}

void REALRegisterMethod(REALmethodDefinition* definition) {
  if (definition) State().globalMethods.push_back(definition);
}

}  // namespace entries

const std::vector<REALclassDefinition*>& RegisteredClasses() { return State().classes; }

const std::vector<REALclassDefinition*>& RegisteredClassExtensions() { return State().classExtensions; }

const std::vector<REALmoduleDefinition*>& RegisteredModules() { return State().modules; }

const std::vector<REALmethodDefinition*>& RegisteredGlobalMethods() { return State().globalMethods; }

uint64_t InstanceDataOffset() { return Instance::kDataOffset; }

}  // namespace qvlhost
