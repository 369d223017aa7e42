#include "binding/wrappers.h"

namespace {

// The addresses found so far, one per entry point, null until found.
struct EntryPointCache {
#define QVL_CACHE_ENTRY(wrapper, entry, Ret, params, args, fail) wrapper##Fn p##wrapper;
  QVL_ENTRY_POINTS(QVL_CACHE_ENTRY)
#undef QVL_CACHE_ENTRY
  QVLStringGetCStringFn pCString;
  QVLLenBFn pLenB;
};

EntryPointCache cache = {};

}  // namespace

void ForgetEntryPoints() { cache = {}; }

#define QVL_DEFINE_WRAPPER(wrapper, entry, Ret, params, args, fail)                            \
  Ret wrapper params {                                                                         \
    if (!cache.p##wrapper) cache.p##wrapper = reinterpret_cast<wrapper##Fn>(gResolver(entry)); \
    if (!cache.p##wrapper) return fail;                                                        \
    return cache.p##wrapper args;                                                              \
  }
QVL_ENTRY_POINTS(QVL_DEFINE_WRAPPER)
#undef QVL_DEFINE_WRAPPER

const char* REALGetStringContents(REALstringStruct* str, size_t* length) {
  if (!cache.pCString)
    cache.pCString = reinterpret_cast<QVLStringGetCStringFn>(gResolver(QVL_ENTRY_STRING_GET_CSTRING));
  if (!cache.pLenB) cache.pLenB = reinterpret_cast<QVLLenBFn>(REALLoadFrameworkMethod(nullptr, QVL_LENB_DECLARATION));
  const char* bytes = cache.pCString ? cache.pCString(str) : nullptr;
  if (length) *length = cache.pLenB ? static_cast<size_t>(cache.pLenB(str)) : 0;
  return bytes;
}
