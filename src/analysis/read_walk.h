// What the read-only operations share: the colour bits of a pixel word per
// layout, and the steps of a reader from row to row.
#pragma once

#include <algorithm>
#include <cstdint>

#include "filters/filter_frame.h"
#include "picture/picture_editor.h"
#include "picture/pixels.h"

// The bits of a word of layout L that hold R, G and B; none in an unknown
// layout. In every known layout the three colour bytes lie side by side.
template <PixelLayout L>
constexpr uint32_t ColourBits() {
  if (L == PixelLayout::Unknown) return 0;
  return L == PixelLayout::ARGB ? 0xFFFFFF00u : 0x00FFFFFFu;
}

// Nonzero unless the three colour bytes of the word are equal: each byte of
// the colour bits is compared with the one above it.
template <PixelLayout L>
inline uint32_t ColourSpread(uint32_t word) {
  return (word ^ (word >> 8)) & ColourBits<L>() & (ColourBits<L>() >> 8);
}

// The reader's next row, as every walk steps.
inline void StepRow(PictureEditor& reader) { reader.base = reader.GetRow(reader.y + 1); }

// Steps past the last row give row 0 and only count a warning, and no line is
// written after the ninth; so a skip that runs beyond the picture stops
// there, which changes nothing but the time a far-off start would take.
constexpr int64_t kLoggedRowWarnings = 9;

inline void SkipRows(PictureEditor& reader, int64_t rows) {
  const int64_t steps = std::min(rows, reader.Height + kLoggedRowWarnings);
  for (int64_t step = 0; step < steps; ++step) StepRow(reader);
}

// Sums as the processor makes them: an overflow wraps instead of being
// undefined.
inline int64_t WrappingAdd(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
