// Small host pictures painted pixel by pixel, for the tests of read-only
// operations and of scrolling.
#pragma once

#include <cstdint>

#include "qvlhost.h"

// A new opaque picture whose pixel (x, y) holds the channels colourAt(x, y)
// gives, as stored bytes; one counted reference for the caller.
template <class ColourAt>
REALpictureStruct* PaintedPicture(int64_t width, int64_t height, ColourAt colourAt) {
  REALpictureStruct* picture = qvlhost::NewPicture(width, height);
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 0; x < width; ++x) qvlhost::SetPixelRgba(picture, x, y, colourAt(x, y));
  }
  return picture;
}

inline REALpictureStruct* SolidPicture(int64_t width, int64_t height, qvlhost::Rgba colour) {
  return PaintedPicture(width, height, [colour](int64_t, int64_t) { return colour; });
}
