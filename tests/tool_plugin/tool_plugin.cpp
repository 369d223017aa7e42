// A small plug-in for the qvl tool's tests: global methods that give a string
// or its encoding, or raise an exception while keeping a reference they
// should have given back.
#include "qvl/definitions.h"
#include "qvl/entry_points.h"

namespace {

QVLResolver gLookup = nullptr;

template <class Fn>
Fn Entry(const char* name) {
  return reinterpret_cast<Fn>(gLookup(name));
}

int64_t Encoding(REALstringStruct* text) { return Entry<REALGetStringEncodingFn>("REALGetStringEncoding")(text); }

REALstringStruct* Echo(REALstringStruct* text) {
  if (text) Entry<REALLockStringFn>("REALLockString")(text);
  return text;
}

// Raises with this message, and keeps a reference to it.
void RaiseAndKeep(REALstringStruct* message) {
  Entry<REALLockStringFn>("REALLockString")(message);
  REALobjectStruct* exception = Entry<REALnewInstanceFn>("PluginNewInstance")("OutOfBoundsException");
  Entry<REALSetPropValueStringFn>("REALSetPropValueString")(exception, "Message", message);
  Entry<REALRaiseExceptionFn>("RuntimeRaiseException")(exception);
  Entry<REALUnlockObjectFn>("REALUnlockObject")(exception);
}

REALmethodDefinition gMethods[] = {
    {reinterpret_cast<void*>(&Encoding), nullptr, "EncodingQVL(text as String) as Integer"},
    {reinterpret_cast<void*>(&Echo), nullptr, "EchoQVL(text as String) as String"},
    {reinterpret_cast<void*>(&RaiseAndKeep), nullptr, "RaiseAndKeepQVL(text as String)"},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(QVLResolver resolver) {
  gLookup = resolver;
  for (REALmethodDefinition& method : gMethods) Entry<REALRegisterMethodFn>("PluginRegisterMethod")(&method);
}
