// ThresholdQVL: a black-and-white picture from the green and blue channels.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// White where green and blue both reach Threshold, black elsewhere; a new
// picture with one counted reference for the caller, or nil.
REALpictureStruct* ThresholdQVL(REALpictureStruct* pic, int64_t Threshold);
