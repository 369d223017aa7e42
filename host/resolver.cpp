// The look-up function handed to REALPluginMain: every entry point of the
// list, journaled, and null for entries the configuration hides.
#include <cstring>
#include <map>

#include "host_internal.h"

namespace qvlhost {

namespace {

// One journaling front per entry point; it records the call and hands it on.
#define QVL_JOURNALED_ENTRY(wrapper, entry, Ret, params, args, fail) \
  Ret Journaled_##wrapper params {                                   \
    CallRecorder{entry} args;                                        \
    return entries::wrapper args;                                    \
  }
QVL_ENTRY_POINTS(QVL_JOURNALED_ENTRY)
#undef QVL_JOURNALED_ENTRY

double JournaledGetRBVersion() {
  CallRecorder{QVL_ENTRY_GET_RB_VERSION}();
  return entries::REALGetRBVersion();
}

void JournaledRegisterPluginVersion(int32_t sdkVersion) {
  CallRecorder{QVL_ENTRY_REGISTER_PLUGIN_VERSION}(sdkVersion);
  entries::RegisterPluginVersion(sdkVersion);
}

const char* JournaledStringGetCString(REALstringStruct* str) {
  CallRecorder{QVL_ENTRY_STRING_GET_CSTRING}(str);
  return entries::StringGetCString(str);
}

template <class Fn>
void* Address(Fn function) {
  return reinterpret_cast<void*>(function);
}

const std::map<std::string, void*>& EntryTable() {
  static const std::map<std::string, void*> table = {
#define QVL_TABLE_ROW(wrapper, entry, Ret, params, args, fail) \
  {entry, Address(static_cast<wrapper##Fn>(&Journaled_##wrapper))},
      QVL_ENTRY_POINTS(QVL_TABLE_ROW)
#undef QVL_TABLE_ROW
          {QVL_ENTRY_GET_RB_VERSION, Address(static_cast<QVLGetRBVersionFn>(&JournaledGetRBVersion))},
      {QVL_ENTRY_REGISTER_PLUGIN_VERSION,
       Address(static_cast<QVLRegisterPluginVersionFn>(&JournaledRegisterPluginVersion))},
      {QVL_ENTRY_STRING_GET_CSTRING, Address(static_cast<QVLStringGetCStringFn>(&JournaledStringGetCString))},
  };
  return table;
}

void* Resolve(const char* entryName) {
  if (!entryName) return nullptr;
  if (State().config.hiddenEntries.count(entryName)) return nullptr;
  auto found = EntryTable().find(entryName);
  return found == EntryTable().end() ? nullptr : found->second;
}

}  // namespace

QVLResolver Resolver() { return &Resolve; }

namespace entries {

double REALGetRBVersion() { return State().config.version; }

void RegisterPluginVersion(int32_t sdkVersion) { State().pluginVersion = sdkVersion; }

bool REALinRuntime() { return State().config.builtApplication; }

bool REALInDebugMode() { return State().config.debugMode; }

void REALMessageBox(REALstringStruct* message) {
  String* text = LiveString(message, "RuntimeMsgBox");
  State().messageBoxes.push_back(text ? text->bytes : std::string());
}

}  // namespace entries

int32_t RegisteredPluginVersion() { return State().pluginVersion; }

const std::vector<std::string>& MessageBoxes() { return State().messageBoxes; }

}  // namespace qvlhost
