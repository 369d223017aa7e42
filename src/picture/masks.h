// A picture's mask and size, and the two tables with which premultiplied
// colours are undone and redone without a division per pixel.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// Both tables are 256 by 256 bytes, indexed alpha * 256 + channel.
// MultiplyTable[a][c] is c premultiplied by a; UnmultiplyTable[a][v] is the
// largest straight channel that premultiplies to v (v where none does).
extern uint8_t* MultiplyTable;
extern uint8_t* UnmultiplyTable;
// 0 nothing done, 1 while the tables are being set up, 2 ready.
extern uint32_t InitedMultiplyTable;

// Builds both tables on the first call; later calls do nothing.
void InitMultiplyTable();

// The picture's mask with one counted reference for the caller, or nil. Never
// creates a mask: the host is asked with create false whatever is passed.
REALpictureStruct* MyREALGetPictureMask(REALpictureStruct* pic, bool create);

// "HasMaskQVL as boolean": whether the picture has a mask.
bool PictureHasMask(REALpictureStruct* pic);

// The host properties "Width" and "Height", 0 when they can't be read.
int64_t GetPictureWidth(REALpictureStruct* pic);
int64_t GetPictureHeight(REALpictureStruct* pic);
