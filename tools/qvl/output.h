// What the qvl tool hands back: values as text and pictures as files.
#pragma once

#include <string>

#include "call.h"
#include "qvl/handles.h"

namespace qvltool {

// A value as the tool prints it after "name = ": numbers in decimal (doubles
// in their shortest exact form), true/false, &cRRGGBB, strings quoted with
// escapes, memory blocks as their size and bytes in hex, objects by class.
std::string FormatValue(const qvlhost::Value& value);

// Writes the picture to `path` through a temporary file in the same folder
// and a rename, so `path` is either left as it was or holds the whole picture.
bool WritePictureAtomically(REALpictureStruct* picture, const std::string& path, std::string* error);

}  // namespace qvltool
