// Channel composition: new pictures made of the channels of two or three
// pictures. The result is a new picture of plain opaque pixels; alpha of the
// sources is never read.
#pragma once

#include "qvl/handles.h"

// The picture with one channel taken from the channel picture, which must be
// at least as large; its top-left part is used. A nil channel picture raises
// NilObjectException.
REALpictureStruct* ReplaceRedChannel(REALpictureStruct* pic, REALpictureStruct* RedChannel);
REALpictureStruct* ReplaceGreenChannel(REALpictureStruct* pic, REALpictureStruct* GreenChannel);
REALpictureStruct* ReplaceBlueChannel(REALpictureStruct* pic, REALpictureStruct* BlueChannel);

// R of red, G of green and B of blue, from three pictures of one size. The
// arguments come in the order red, blue, green.
REALpictureStruct* CombinePicturesQVL(REALpictureStruct* red, REALpictureStruct* blue, REALpictureStruct* green);

// The larger value of each channel of two pictures of one size.
REALpictureStruct* MergePicture(REALpictureStruct* source1, REALpictureStruct* source2);
