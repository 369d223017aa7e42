// What the qvl tool hands back: values as text and pictures as files.
#pragma once

#include <string>

#include "call.h"
#include "qvl/handles.h"

namespace qvltool {

// A value as the tool prints it after "name = ": numbers in decimal (doubles
// in their shortest exact form), true/false, &cRRGGBB, strings quoted with
// escapes, memory blocks as all their bytes in lowercase hex, objects by class.
std::string FormatValue(const qvlhost::Value& value);

// Bytes as lowercase hex, two digits a byte, no spaces.
std::string HexBytes(const std::string& bytes);

// Whether the tool can write a picture to this path: an extension of .png,
// .jpg, .jpeg or .gif, in any case.
bool IsPictureFileName(const std::string& path);

// Write the picture, or the bytes, to `path` through a temporary file in the
// same folder and a rename, so `path` is either left as it was or holds the
// whole output. A replaced file's permissions are kept; a run stopped by a
// signal meanwhile removes the temporary file.
bool WritePictureAtomically(REALpictureStruct* picture, const std::string& path, std::string* error);
bool WriteBytesAtomically(const std::string& bytes, const std::string& path, std::string* error);

}  // namespace qvltool
