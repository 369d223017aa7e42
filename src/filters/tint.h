// Tint and saturation: filters that work on a pixel's colour as a whole.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// A weighted grey of each pixel, weights from GreyBase, coloured with
// SepiaBase; doubles, cut toward zero, limited to 255.
REALpictureStruct* TintPicture(REALpictureStruct* source, uint32_t GreyBase, uint32_t SepiaBase);

// Moves each channel toward (Amount < 0) or away from (Amount > 0) the grey
// (R + 2G + B) / 4, in integers.
REALpictureStruct* SaturationPicture(REALpictureStruct* pic, int64_t Amount);
