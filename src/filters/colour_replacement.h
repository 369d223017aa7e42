// Colour replacement: filters that recolour a picture by what each pixel's
// colour is. Colours are 0xRRGGBB; bits 24-31 are never looked at. Matches
// compare the stored bytes exactly, premultiplied where the picture keeps
// them so.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// Pixels of SearchColor become ReplaceWithColor; the rest are copied, opaque.
REALpictureStruct* ReplaceColorQVL(REALpictureStruct* pic, uint32_t SearchColor, uint32_t ReplaceWithColor);

// A new picture of two colours: ReplaceWithColor where the source holds
// SearchColor, BackGroundColor everywhere else.
REALpictureStruct* ExtractColorQVL(REALpictureStruct* pic, uint32_t SearchColor, uint32_t ReplaceWithColor,
                                   uint32_t BackGroundColor);

// Each channel through a table of 256 bytes, given in the order red, blue,
// green. Entries beyond a block's end read as 0. The result goes into dest
// where dest is at least as large as the picture, otherwise into a new
// picture. Raises NilObjectException for a nil picture or table.
REALpictureStruct* TransformColorsQVL(REALpictureStruct* pic, REALmemoryBlockStruct* red, REALmemoryBlockStruct* blue,
                                      REALmemoryBlockStruct* green, REALpictureStruct* dest);
