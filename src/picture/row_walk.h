// Walking a picture's rows: the layout dispatch hoisted out of the pixel
// loops, and the steps of an editor from row to row, shared by every
// operation that walks rows.
#pragma once

#include <algorithm>
#include <cstdint>
#include <type_traits>

#include "picture/picture_editor.h"
#include "picture/pixels.h"

template <PixelLayout L>
using LayoutTag = std::integral_constant<PixelLayout, L>;

// Calls body(LayoutTag<S>{}) for the layout of pictureType.
template <class Body>
inline void WithLayout(uint32_t pictureType, Body&& body) {
  switch (LayoutOf(pictureType)) {
    case PixelLayout::RGBA:
      body(LayoutTag<PixelLayout::RGBA>{});
      break;
    case PixelLayout::ARGB:
      body(LayoutTag<PixelLayout::ARGB>{});
      break;
    case PixelLayout::GD:
      body(LayoutTag<PixelLayout::GD>{});
      break;
    case PixelLayout::Unknown:
      body(LayoutTag<PixelLayout::Unknown>{});
      break;
  }
}

// Calls body(LayoutTag<S>{}, LayoutTag<D>{}) for a source and a destination.
template <class Body>
inline void WithLayouts(uint32_t sourceType, uint32_t destinationType, Body&& body) {
  WithLayout(sourceType,
             [&](auto source) { WithLayout(destinationType, [&](auto destination) { body(source, destination); }); });
}

// A row of unknown layout gives all-zero channels and its pointer stays:
// reading index 0 of a zero word does both at once.
template <PixelLayout S>
inline Channels ReadAt(const uint32_t* row, int64_t column) {
  return S == PixelLayout::Unknown ? Channels{0, 0, 0, 0} : ReadPixel<S>(row[column]);
}

// The editor's next row.
inline void StepRow(PictureEditor& editor) { editor.base = editor.GetRow(editor.y + 1); }

// Steps past the last row only count row warnings, and an editor writes no
// line after its ninth; so a skip that runs beyond the picture stops there,
// which changes nothing but the time a far-off start would take.
constexpr int64_t kLoggedRowWarnings = 9;

inline int64_t RowStepsToSkip(int64_t rows, int64_t pictureHeight) {
  return std::min(rows, pictureHeight + kLoggedRowWarnings);
}

inline void SkipRows(PictureEditor& editor, int64_t rows) {
  const int64_t steps = RowStepsToSkip(rows, editor.Height);
  for (int64_t step = 0; step < steps; ++step) StepRow(editor);
}

// Sums as the processor makes them: an overflow wraps instead of being
// undefined.
inline int64_t WrappingAdd(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}
