// Waveforms: a memory block of audio samples drawn into a new picture.
#pragma once

#include <cstdint>

#include "qvl/handles.h"

// A picture of Width x Height (0 or less: one column per sample, 500 rows)
// in BackColor, with a body in ForeColor that grows up and down from the
// middle row by the sums of each half-wave of a column's samples, smoothed
// over Smooth columns, and an outline in OutLineColor. Bits selects the
// sample format: 8 and 16 unsigned, 7 and 15 signed, -32 and -64 float.
// Refusals raise a host exception and give nil, except an unknown Bits
// (silently nil) and a missing graphics object for a wide outline (the
// picture without its outline).
REALpictureStruct* RenderSamples(REALmemoryBlockStruct* Samples, int64_t SampleCount, int64_t Smooth, int64_t Width,
                                 int64_t Height, int64_t outlinewidth, uint32_t BackColor, uint32_t ForeColor,
                                 uint32_t OutLineColor, int64_t Bits, bool AutoScale);
