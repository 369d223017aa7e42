// In-place scrolling: a picture's content moved by rows or columns inside its
// own pixel memory, wrapping round or with the freed part filled with 0xFF
// bytes; the picture's mask can be scrolled along.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// A positive delta moves the content down, a negative one up. False when the
// picture (or, with scrollmask, its mask) can't be locked or the wrap's buffer
// can't be had; the picture is then unchanged.
bool ScrollVerticalQVL(REALpictureStruct* pic, int64_t delta, bool wrap, bool scrollmask);
// A positive delta moves the content right, a negative one left. Always true.
// Without wrap a positive delta moves by units of two pixels.
bool ScrollHorizontalQVL(REALpictureStruct* pic, int64_t delta, bool wrap, bool scrollmask);
// Horizontal first, whose result is dropped, then vertical, whose result is returned.
bool ScrollQVL(REALpictureStruct* pic, int64_t deltaX, int64_t deltaY, bool wrap, bool scrollmask);
