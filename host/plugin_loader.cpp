// dlopen and REALPluginMain.
#include "plugin_loader.h"

#include <dlfcn.h>

#include "qvlhost.h"

namespace qvlhost {

namespace {

typedef void (*PluginMainFn)(QVLResolver resolver);

std::string LastLoaderError() {
  const char* message = dlerror();
  return message ? message : "unknown loader error";
}

}  // namespace

bool LoadPlugin(const std::string& path, std::string* error) {
  dlerror();
  void* library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!library) {
    if (error) *error = "cannot load " + path + ": " + LastLoaderError();
    return false;
  }
  auto pluginMain = reinterpret_cast<PluginMainFn>(dlsym(library, "REALPluginMain"));
  if (!pluginMain) {
    if (error) *error = path + " has no REALPluginMain";
    dlclose(library);
    return false;
  }
  pluginMain(Resolver());
  return true;
}

}  // namespace qvlhost
