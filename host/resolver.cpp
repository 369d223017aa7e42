// The look-up function handed to REALPluginMain: every entry point of the
// list, journaled, and null for entries the configuration hides.
#include <cstring>
#include <map>

#include "host_internal.h"

namespace qvlhost {

namespace {

// One front per entry point: it records the call and hands it on. No C++
// exception passes into the plug-in: one that ends the work, a failed
// allocation above all, gives the entry's failure result, as the runtime's
// entries do.
#define QVL_JOURNALED_ENTRY(wrapper, entry, Ret, params, args, fail) \
  Ret Journaled_##wrapper params noexcept {                          \
    try {                                                            \
      CallRecorder{entry} args;                                      \
      return entries::wrapper args;                                  \
    } catch (...) {                                                  \
      return fail;                                                   \
    }                                                                \
  }
QVL_ENTRY_POINTS(QVL_JOURNALED_ENTRY)
QVL_JOURNALED_ENTRY(REALGetRBVersion, QVL_ENTRY_GET_RB_VERSION, double, (), (), 0.0)
QVL_JOURNALED_ENTRY(RegisterPluginVersion, QVL_ENTRY_REGISTER_PLUGIN_VERSION, void, (int32_t sdkVersion),
                    (sdkVersion), )
QVL_JOURNALED_ENTRY(StringGetCString, QVL_ENTRY_STRING_GET_CSTRING, const char*, (REALstringStruct * str), (str),
                    nullptr)
#undef QVL_JOURNALED_ENTRY

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
          {QVL_ENTRY_GET_RB_VERSION, Address(static_cast<QVLGetRBVersionFn>(&Journaled_REALGetRBVersion))},
      {QVL_ENTRY_REGISTER_PLUGIN_VERSION,
       Address(static_cast<QVLRegisterPluginVersionFn>(&Journaled_RegisterPluginVersion))},
      {QVL_ENTRY_STRING_GET_CSTRING, Address(static_cast<QVLStringGetCStringFn>(&Journaled_StringGetCString))},
  };
  return table;
}

// A look-up that cannot be done, for want of memory, finds nothing.
void* Resolve(const char* entryName) noexcept {
  if (!entryName) return nullptr;
  try {
    if (State().config.hiddenEntries.count(entryName)) return nullptr;
    auto found = EntryTable().find(entryName);
    return found == EntryTable().end() ? nullptr : found->second;
  } catch (...) {
    return nullptr;
  }
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
