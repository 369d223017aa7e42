// Invert filters: the negative of a picture inside a rectangle, of every
// pixel or only of grey ones. A picture with an alpha channel is inverted on
// its straight colours through the multiply tables and keeps its alpha.
// Only the rectangle is stored; the rest of the result stays as the host
// made the new picture.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// A width or height of 0 or less means the picture's own.
REALpictureStruct* InvertPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height);
REALpictureStruct* InvertPicture2(REALpictureStruct* pic);
// A width or height below 0 means the picture's own; 0 stays 0.
REALpictureStruct* InvertGrayPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height);
REALpictureStruct* InvertGrayPicture2(REALpictureStruct* pic);
