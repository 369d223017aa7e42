// Small host pictures painted pixel by pixel.
#pragma once

#include <cstdint>

#include "qvlhost.h"

inline uint8_t Byte(int64_t value) { return static_cast<uint8_t>(value); }
inline qvlhost::Rgba Opaque(int64_t r, int64_t g, int64_t b) { return {Byte(r), Byte(g), Byte(b), 255}; }
inline qvlhost::Rgba Opaque(qvlhost::Rgba c) { return {c.r, c.g, c.b, 255}; }

// A new picture, with an alpha channel when asked, whose pixel (x, y) holds
// the channels colourAt(x, y) gives, as stored bytes; one counted reference
// for the caller.
template <class ColourAt>
REALpictureStruct* PaintedPicture(int64_t width, int64_t height, ColourAt colourAt, bool alpha = false) {
  REALpictureStruct* picture = alpha ? qvlhost::NewAlphaPicture(width, height) : qvlhost::NewPicture(width, height);
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 0; x < width; ++x) qvlhost::SetPixelRgba(picture, x, y, colourAt(x, y));
  }
  return picture;
}

inline REALpictureStruct* SolidPicture(int64_t width, int64_t height, qvlhost::Rgba colour) {
  return PaintedPicture(width, height, [colour](int64_t, int64_t) { return colour; });
}

// A picture with an alpha channel whose channels all change from place to
// place, the last row opaque, the others partly transparent.
inline REALpictureStruct* VariedAlphaPicture(int64_t width, int64_t height) {
  REALpictureStruct* picture = qvlhost::NewAlphaPicture(width, height);
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t x = 0; x < width; ++x) {
      qvlhost::SetPixelColour(
          picture, x, y,
          {uint8_t(x * 3), uint8_t(255 - x * 2), uint8_t(y * 40 + x), uint8_t(y == height - 1 ? 255 : 30 + 40 * y)});
    }
  }
  return picture;
}
