// The rows of a waveform's background and body in vector lanes.
#pragma once

#include <cstdint>

#include "filters/vector_level.h"

// One row of a picture: a pixel takes `fore` where its column's span, tops[x]
// to bottoms[x] (both included), holds `row`, and `back` elsewhere. Returns
// the columns done from the left; the rest are the caller's.
using BodyRow = int64_t (*)(const int32_t* tops, const int32_t* bottoms, int64_t width, int32_t row, uint32_t fore,
                            uint32_t back, uint32_t* pixels);

// The row of that level, or null where the level has none.
BodyRow BodyRowAt(VectorLevel level);
