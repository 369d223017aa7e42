// Mask extraction: a picture's alpha out to a grey picture and back in from
// a mask, and the bounding rectangles of the coloured parts of a picture.
// The host's picture masks are not touched.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// The alpha of each pixel as a grey picture, inverted when swap is set.
REALpictureStruct* GetEmbededMask(REALpictureStruct* pic, bool swap);

// Writes the mask's red, inverted when swap is set, into byte 0 of every
// pixel word of the picture, in place: alpha in the ARGB layout, a colour in
// the others. Mask columns beyond the memory of its rows read as 0.
void SetEmbededMask(REALpictureStruct* pic, bool swap, REALpictureStruct* mask);

// Black bounding rectangles on white of the groups of coloured pixels found
// in the rectangle. A width or height below 0 means the picture's own. With
// top above 0 the source rows 0.. are marked from map row top on.
REALpictureStruct* ExtractColorRectangleMaskQVL(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width,
                                                int64_t height);
REALpictureStruct* ExtractColorRectangleMaskQVL2(REALpictureStruct* pic);
