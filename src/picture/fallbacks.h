// Drawing one host picture into another, as the duplicate of a picture that
// the storage forms refuse is made.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// Draws `source` into `dest` through the host's DrawPicture, scaled from the
// source rectangle to the destination rectangle; both start at 0, 0 whatever
// their origin fields say. Without a DrawPicture method a gd image of the same
// size is copied row by row. Raises nothing; on failure `dest` stays as it is.
void GraphicsDrawPicture(REALpictureStruct* dest, REALpictureStruct* source, int64_t destX, int64_t destY,
                         int64_t destWidth, int64_t destHeight, int64_t sourceX, int64_t sourceY, int64_t sourceWidth,
                         int64_t sourceHeight);
