// Colour counting: the pixels of one colour, and a histogram of each channel
// in three host memory blocks.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// "CountColorQVL(col as color) as integer": the pixels whose R, G and B are
// those of col (&cRRGGBB); 0 for a nil or unreadable picture.
int64_t CountColorQVL(REALpictureStruct* pic, uint32_t col);

// "CountColorsQVL(byref red as memoryblock, byref blue as memoryblock, byref
// green as memoryblock, byref count as integer)". Each block holds 256
// unsigned 32-bit counters; a nil one is made. The first block counts red,
// the second (named blue) green, the third (named green) blue, and counters
// are added to what the blocks hold. count is -1 when a block can't be made
// or the picture can't be read, otherwise Width * Height.
void CountColorsQVL(REALpictureStruct* pic, REALmemoryBlockStruct** red, REALmemoryBlockStruct** blue,
                    REALmemoryBlockStruct** green, int64_t* count);
