// REALPluginMain: the library's one export and the only code that runs on
// load. It learns the host's version, tells the host its SDK version, sets
// up tracing and registers the definition tables.
#include <strings.h>

#include <cstdlib>

#include "binding/diagnostics.h"
#include "binding/wrappers.h"
#include "frame/registrar.h"
#include "frame/tables.h"

namespace {

const char kPluginName[] = "Picture";
// The first host version that knows the mobile target.
constexpr double kFirstMobileModuleVersion = 2020.02;

double HostVersion(QVLResolver resolver) {
  if (!resolver) return 0.0;
  auto getVersion = reinterpret_cast<QVLGetRBVersionFn>(resolver(QVL_ENTRY_GET_RB_VERSION));
  return getVersion ? getVersion() : 0.0;
}

// The SDK version this library speaks to a host of the given version.
int32_t ControlVersionFor(double hostVersion) {
  if (hostVersion >= 2013.04) return 13;
  if (hostVersion >= 2013.03) return 12;
  if (hostVersion >= 2013.0) return 11;
  if (hostVersion >= 2012.0) return 10;
  return 9;
}

// The host cannot load a plug-in that does not say which SDK it speaks; a
// host without the entry gets nothing registered.
bool TellPluginVersion(QVLResolver resolver) {
  auto registerVersion = reinterpret_cast<QVLRegisterPluginVersionFn>(resolver(QVL_ENTRY_REGISTER_PLUGIN_VERSION));
  if (!registerVersion) return false;
  registerVersion(CurrentREALControlVersion);
  return true;
}

bool DebugRequested() {
  const char* value = std::getenv("QVLDEBUG");
  if (!value) return false;
  return strcasecmp(value, "1") == 0 || strcasecmp(value, "true") == 0 || strcasecmp(value, "yes") == 0;
}

void NamePlugin() {
  gpartname = kPluginName;
  gpluginname = kPluginName;
  gplugin = true;
}

// The loading line is for the development environment only: a built
// application never writes it.
void AnnounceLoading() {
  if (DebuggingEnabled && !REALinRuntime())
    LogMessageX("Loading %s in Xojo %.2f and plugin SDK version %d...", gpluginname, rbversion_rbversion,
                CurrentREALControlVersion);
}

void WarnOfBlanksInName(const char* name) {
  for (const char* c = name; *c; ++c)
    if (*c == ' ') LogMessageX("%s%s %s", QVL_DEBUG_PREFIX, "Warning: plugin name containts space character", name);
}

// The mobile module on hosts that know it, the two job classes (sepia
// first), the Picture extension, then the global methods.
void RegisterTables() {
  if (rbversion_rbversion >= kFirstMobileModuleVersion) MyREALRegisterModule(&IOSPictureModule);
  MyREALRegisterClass(&PictureSepiaClass);
  MyREALRegisterClass(&Lut3DClass);
  MyREALRegisterClassExtension(&pictureClass);
  MyREALRegisterGlobalMethods(globalMethods.data(), int64_t(globalMethods.size()));
}

// Start-up begins from the state at load: a host that loads the plug-in
// again gets what the first one got, with nothing bound to the one before.
void ForgetEarlierStartUp() {
  RestoreLoadState();
  ForgetEntryPoints();
  RestoreTables();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(QVLResolver resolver) {
  ForgetEarlierStartUp();
  gResolver = resolver;
  rbversion_rbversion = HostVersion(resolver);
  CurrentREALControlVersion = ControlVersionFor(rbversion_rbversion);
  if (!resolver) return;
  if (!TellPluginVersion(resolver)) return;
  NamePlugin();
  if (DebugRequested()) DebuggingEnabled = true;
  AnnounceLoading();
  WarnOfBlanksInName(gpluginname);
  RegisterTables();
}
