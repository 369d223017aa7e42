// A small plug-in for the qvl tool's tests: global methods that give a string,
// its encoding or its bytes in a memory block, raise an exception, or keep a
// reference they should have given back.
#include <cstring>

#include "qvl/definitions.h"
#include "qvl/entry_points.h"

namespace {

QVLResolver gLookup = nullptr;

template <class Fn>
Fn Entry(const char* name) {
  return reinterpret_cast<Fn>(gLookup(name));
}

using StringLength = int64_t (*)(REALstringStruct* text);
using MemoryBlockConstructor = void (*)(REALobjectStruct* self, int64_t bytes);

REALstringStruct* Echo(REALstringStruct* text) {
  if (text) Entry<REALLockStringFn>("REALLockString")(text);
  return text;
}

int64_t Encoding(REALstringStruct* text) { return Entry<REALGetStringEncodingFn>("REALGetStringEncoding")(text); }

REALobjectStruct* Bytes(REALstringStruct* text) {
  auto length = reinterpret_cast<StringLength>(
      Entry<REALLoadFrameworkMethodFn>("REALLoadGlobalMethod")(nullptr, QVL_LENB_DECLARATION));
  const int64_t size = text ? length(text) : 0;
  REALobjectStruct* block = Entry<REALnewInstanceFn>("PluginNewInstance")("MemoryBlock");
  auto construct = reinterpret_cast<MemoryBlockConstructor>(
      Entry<REALLoadObjectMethodFn>("REALLoadObjectMethod")(block, "Constructor(bytes as Integer)"));
  construct(block, size);
  if (size > 0) {
    void* bytes = Entry<REALMemoryBlockGetPtrFn>("memoryBlockGetPtr")(static_cast<REALmemoryBlockStruct*>(block));
    std::memcpy(bytes, Entry<QVLStringGetCStringFn>(QVL_ENTRY_STRING_GET_CSTRING)(text), size_t(size));
  }
  return block;
}

void Raise(REALstringStruct* message) {
  REALobjectStruct* exception = Entry<REALnewInstanceFn>("PluginNewInstance")("OutOfBoundsException");
  Entry<REALSetPropValueStringFn>("REALSetPropValueString")(exception, "Message", message);
  Entry<REALRaiseExceptionFn>("RuntimeRaiseException")(exception);
  Entry<REALUnlockObjectFn>("REALUnlockObject")(exception);
}

// Raises, and keeps a reference to the string.
void RaiseAndKeep(REALstringStruct* text) {
  Entry<REALLockStringFn>("REALLockString")(text);
  Raise(text);
}

REALmethodDefinition gMethods[] = {
    {reinterpret_cast<void*>(&Echo), nullptr, "EchoQVL(text as String) as String"},
    {reinterpret_cast<void*>(&Encoding), nullptr, "EncodingQVL(text as String) as Integer"},
    {reinterpret_cast<void*>(&Bytes), nullptr, "BytesQVL(text as String) as MemoryBlock"},
    {reinterpret_cast<void*>(&Raise), nullptr, "RaiseQVL(message as String)"},
    {reinterpret_cast<void*>(&RaiseAndKeep), nullptr, "RaiseAndKeepQVL(text as String)"},
};

}  // namespace

extern "C" __attribute__((visibility("default"))) void REALPluginMain(QVLResolver resolver) {
  gLookup = resolver;
  for (REALmethodDefinition& method : gMethods) Entry<REALRegisterMethodFn>("PluginRegisterMethod")(&method);
}
