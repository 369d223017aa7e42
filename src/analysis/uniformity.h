// Uniformity tests: whether a picture, or a rectangle of it, is all black,
// all white or all grey, and what share of it is coloured.
#pragma once

#include <cstdint>

#include "picture/picture_editor.h"
#include "qvl/handles.h"

// A negative width or height stands for the picture's; the rectangle is cut
// to the picture, with right and bottom taken from the uncut left and top.
// An empty rectangle passes every test. False for a nil or unreadable picture.
bool isBlack(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height);
bool isBlack2(REALpictureStruct* pic);
bool isWhite(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height);
bool isWhite2(REALpictureStruct* pic);
// Grey: the three channels equal, or within |tolerance| of each other.
bool isGray(REALpictureStruct* pic, int64_t tolerance, int64_t left, int64_t top, int64_t width, int64_t height);
bool isGray2(REALpictureStruct* pic, int64_t tolerance);

// The share of pixels that are coloured: not dark, and with green more than
// threshold away from red or from blue. 0.0 for a nil or unreadable picture.
double ColornessQVL(REALpictureStruct* pic, int64_t threshold);

// The tests and the share on a picture already acquired, of whatever layout
// its reader gives; the functions above acquire the picture and call these.
enum class Uniformity { Black, White, Grey };
bool TestAcquired(PictureReader& reader, Uniformity uniformity, int64_t tolerance, int64_t left, int64_t top,
                  int64_t width, int64_t height);
double ColournessOfAcquired(PictureReader& reader, int64_t threshold);
