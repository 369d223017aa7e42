// Sub-picture search: where one picture first occurs in another.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// "FindPictureQVL(pic as picture, byref x as integer, byref y as integer,
// StartX as Integer = 0, StartY as Integer = 0, Tolerance as Integer = 3) as
// boolean". Searches `pic` in the picture it is called on, in raster order
// from the start; pixels match when each of R, G and B differs by less than
// Tolerance. True with the top left corner in x and y, else false with both 0.
bool FindPicture(REALpictureStruct* haystackPic, REALpictureStruct* pic, int64_t* x, int64_t* y, int64_t StartX,
                 int64_t StartY, int64_t Tolerance);
