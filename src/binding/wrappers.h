// Host wrappers: one plain function per host entry point, bound by name on
// first use. A missing entry gives the quiet result and is asked for again
// on the next call.
#pragma once

#include <cstddef>

#include "binding/globals.h"
#include "qvl/entry_points.h"

#define QVL_DECLARE_WRAPPER(wrapper, entry, Ret, params, args, fail) Ret wrapper params;
QVL_ENTRY_POINTS(QVL_DECLARE_WRAPPER)
#undef QVL_DECLARE_WRAPPER

// The bytes of a host string through "StringGetCString" and their count
// through the framework's LenB. Either half may be missing apart from the
// other: no LenB gives length 0, no StringGetCString gives null bytes.
const char* REALGetStringContents(REALstringStruct* str, size_t* length);

// Drops every address found so far, so that each wrapper asks the resolver
// again on its next call. Start-up calls it before anything is bound.
void ForgetEntryPoints();
