// Host strings from bytes, with the encoding normalised: pure ASCII text in a
// single-byte encoding goes to the host as ASCII, UTF-16 comes back as UTF-8.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// A new string owned by the caller, or null for no bytes, a count of 0 or
// less or of 2^31 or more, a failed build, or a C++ exception in the build
// (which is then pending in the host).
REALstringStruct* REALBuildUnicodeString(const void* bytes, int64_t count, uint32_t encoding);
