// The host entry points that the plug-in uses: wrapper name, the host's
// spelling of the entry, result, parameters, argument list and the quiet
// result of a failed look-up. The plug-in generates its wrappers from this
// list and the embedded host checks its implementations against it, so the
// two sides cannot disagree on a signature.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"
#include "qvl/handles.h"
#include "qvl/picture_description.h"
#include "qvl/string_data.h"

#define QVL_ENTRY_POINTS(X)                                                                                         \
  X(REALinRuntime, "REALinRuntime", bool, (), (), false)                                                           \
  X(REALInDebugMode, "REALInDebugMode", bool, (), (), false)                                                       \
  X(REALRegisterClass, "PluginRegisterClass", void, (REALclassDefinition * def), (def), )                          \
  X(REALRegisterClassExtension, "PluginRegisterClassExtension", void, (REALclassDefinition * def), (def), )        \
  X(REALRegisterModule, "PluginRegisterModule", void, (REALmoduleDefinition * def), (def), )                       \
  X(REALRegisterMethod, "PluginRegisterMethod", void, (REALmethodDefinition * def), (def), )                       \
  X(REALnewInstance, "PluginNewInstance", REALobjectStruct*, (const char* className), (className), nullptr)        \
  X(REALGetClassRef, "pluginObjectType", REALclassRef, (const char* className), (className), nullptr)              \
  X(REALLoadObjectMethod, "REALLoadObjectMethod", void*, (REALobjectStruct * object, const char* declaration),     \
    (object, declaration), nullptr)                                                                                \
  X(REALLoadFrameworkMethod, "REALLoadGlobalMethod", void*, (const char* moduleName, const char* declaration),    \
    (moduleName, declaration), nullptr)                                                                            \
  X(REALLockObject, "REALLockObject", void, (REALobjectStruct * object), (object), )                               \
  X(REALUnlockObject, "REALUnlockObject", void, (REALobjectStruct * object), (object), )                           \
  X(REALLockString, "REALLockString", void, (REALstringStruct * str), (str), )                                     \
  X(REALUnlockString, "REALUnlockString", void, (REALstringStruct * str), (str), )                                 \
  X(originalREALBuildString, "REALBuildString", REALstringStruct*, (const void* bytes, int32_t length),           \
    (bytes, length), nullptr)                                                                                      \
  X(REALBuildStringWithEncoding, "REALBuildStringWithEncoding", REALstringStruct*,                                 \
    (const void* bytes, int32_t length, uint32_t encoding), (bytes, length, encoding), nullptr)                    \
  X(REALGetStringEncoding, "REALGetStringEncoding", uint32_t, (REALstringStruct * str), (str), 0)                 \
  X(REALSetStringEncoding, "REALSetStringEncoding", void, (REALstringStruct * str, uint32_t encoding),             \
    (str, encoding), )                                                                                             \
  X(REALConvertString, "REALConvertString", REALstringStruct*, (REALstringStruct * str, uint32_t encoding),        \
    (str, encoding), nullptr)                                                                                      \
  X(REALGetStringData, "PluginGetStringData", bool,                                                                \
    (REALstringStruct * str, uint32_t encoding, REALstringData * data), (str, encoding, data), false)              \
  X(REALDisposeStringData, "PluginDisposeStringData", void, (REALstringData * data), (data), )                     \
  X(REALMemoryBlockGetPtr, "memoryBlockGetPtr", void*, (REALmemoryBlockStruct * block), (block), nullptr)          \
  X(REALMemoryBlockGetSize, "memoryBlockGetSize", int64_t, (REALmemoryBlockStruct * block), (block), 0)            \
  X(REALNewPicture, "newPicture", REALpictureStruct*, (int64_t width, int64_t height, int32_t depth),              \
    (width, height, depth), nullptr)                                                                               \
  X(REALBuildPictureFromBuffer, "REALBuildPictureFromBuffer", REALpictureStruct*,                                  \
    (int32_t width, int32_t height, int32_t mode, void* buffer, int32_t bytesPerRow),                              \
    (width, height, mode, buffer, bytesPerRow), nullptr)                                                           \
  X(REALLockPictureDescription, "REALLockPictureDescription", bool,                                                \
    (REALpictureStruct * picture, REALpictureDescription * description, uint32_t pictureType),                     \
    (picture, description, pictureType), false)                                                                    \
  X(REALUnlockPictureDescription, "unlockPictureDescription", void, (REALpictureStruct * picture), (picture), )    \
  X(REALGetPictureType, "PluginPictureGetType", int64_t, (REALpictureStruct * picture), (picture), 2)              \
  X(REALPictureClearCache, "REALPictureClearCache", void, (REALpictureStruct * picture), (picture), )              \
  X(REALGetPictureMask, "REALGetPictureMask", REALpictureStruct*, (REALpictureStruct * picture, bool create),      \
    (picture, create), nullptr)                                                                                    \
  X(REALGetPictureGraphics, "pluginPictureGraphicsGetter", REALgraphicsStruct*, (REALpictureStruct * picture),    \
    (picture), nullptr)                                                                                            \
  X(REALGetPropValueBoolean, "REALGetPropValueBool", bool,                                                         \
    (REALobjectStruct * object, const char* name, bool* value), (object, name, value), false)                      \
  X(REALGetPropValueInteger, "REALGetPropValueInteger", bool,                                                      \
    (REALobjectStruct * object, const char* name, int64_t* value), (object, name, value), false)                   \
  X(REALSetPropValueInteger, "REALSetPropValueInteger", bool,                                                      \
    (REALobjectStruct * object, const char* name, int64_t value), (object, name, value), false)                    \
  X(REALSetPropValueDouble, "REALSetPropValueDouble", bool, (REALobjectStruct * object, const char* name, double value), \
    (object, name, value), false)                                                                                  \
  X(REALSetPropValueString, "REALSetPropValueString", bool,                                                        \
    (REALobjectStruct * object, const char* name, REALstringStruct* value), (object, name, value), false)          \
  X(REALSetPropValueColor, "REALSetPropValueColor", bool,                                                          \
    (REALobjectStruct * object, const char* name, uint32_t value), (object, name, value), false)                   \
  X(REALRaiseException, "RuntimeRaiseException", void, (REALobjectStruct * exception), (exception), )              \
  X(REALCallFunctionWithExceptionHandler, "PluginCallFunctionWithExceptionHandler", REALobjectStruct*,             \
    (void (*function)(void*), void* context), (function, context), nullptr)                                        \
  X(REALMessageBox, "RuntimeMsgBox", void, (REALstringStruct * message), (message), )

// Entries that the plug-in calls directly from its start-up, not through a wrapper.
#define QVL_ENTRY_GET_RB_VERSION "REALGetRBVersion"
#define QVL_ENTRY_REGISTER_PLUGIN_VERSION "RegisterPluginVersion"
#define QVL_ENTRY_STRING_GET_CSTRING "StringGetCString"
#define QVL_LENB_DECLARATION "LenB( s as string ) as integer"

typedef double (*QVLGetRBVersionFn)();
typedef void (*QVLRegisterPluginVersionFn)(int32_t sdkVersion);
typedef const char* (*QVLStringGetCStringFn)(REALstringStruct* str);
typedef int64_t (*QVLLenBFn)(REALstringStruct* str);

// One function-pointer type per entry point, named after its wrapper with "Fn".
#define QVL_DECLARE_ENTRY_TYPE(wrapper, entry, Ret, params, args, fail) typedef Ret(*wrapper##Fn) params;
QVL_ENTRY_POINTS(QVL_DECLARE_ENTRY_TYPE)
#undef QVL_DECLARE_ENTRY_TYPE
