#include "binding/wrappers.h"

#define QVL_DEFINE_WRAPPER(wrapper, entry, Ret, params, args, fail) \
  Ret wrapper params {                                              \
    static wrapper##Fn p##wrapper = nullptr;                        \
    if (!p##wrapper) p##wrapper = reinterpret_cast<wrapper##Fn>(gResolver(entry)); \
    if (!p##wrapper) return fail;                                   \
    return p##wrapper args;                                         \
  }
QVL_ENTRY_POINTS(QVL_DEFINE_WRAPPER)
#undef QVL_DEFINE_WRAPPER

const char* REALGetStringContents(REALstringStruct* str, size_t* length) {
  static QVLStringGetCStringFn pCString = nullptr;
  static QVLLenBFn pLenB = nullptr;
  if (!pCString) pCString = reinterpret_cast<QVLStringGetCStringFn>(gResolver(QVL_ENTRY_STRING_GET_CSTRING));
  if (!pLenB) pLenB = reinterpret_cast<QVLLenBFn>(REALLoadFrameworkMethod(nullptr, QVL_LENB_DECLARATION));
  const char* bytes = pCString ? pCString(str) : nullptr;
  if (length) *length = pLenB ? static_cast<size_t>(pLenB(str)) : 0;
  return bytes;
}
