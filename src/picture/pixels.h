// Reading a pixel word into channels and writing channels into one, per
// layout. Everything here is inline so that pixel loops contain no call.
#pragma once

#include <cstdint>

#include "picture/picture_editor.h"

struct Channels {
  uint32_t r, g, b, a;
};

template <PixelLayout L>
inline Channels ReadPixel(uint32_t p) {
  if (L == PixelLayout::RGBA) return {p & 0xFF, (p >> 8) & 0xFF, (p >> 16) & 0xFF, p >> 24};
  if (L == PixelLayout::ARGB) return {(p >> 8) & 0xFF, (p >> 16) & 0xFF, p >> 24, p & 0xFF};
  if (L == PixelLayout::GD) {
    uint32_t field = (p >> 24) & 0x7F;
    return {(p >> 16) & 0xFF, (p >> 8) & 0xFF, p & 0xFF, 2 * field + (field & 1)};
  }
  return {0, 0, 0, 0};
}

// The opaque write: full opacity in the Core Graphics layouts, alpha field 0
// (opaque) in gd. Channels must be 0..255.
template <PixelLayout L>
inline uint32_t OpaquePixel(uint32_t r, uint32_t g, uint32_t b) {
  if (L == PixelLayout::RGBA) return r + g * 256 + b * 65536 + 0xFF000000u;
  if (L == PixelLayout::ARGB) return 0xFFu + r * 256 + g * 65536 + b * 16777216u;
  return b + g * 256 + r * 65536;
}

// The alpha write. In gd the field is A shifted left by 23 and masked, so it
// counts A the same way round as the read gives it.
template <PixelLayout L>
inline uint32_t AlphaPixel(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
  if (L == PixelLayout::RGBA) return r + g * 256 + b * 65536 + a * 16777216u;
  if (L == PixelLayout::ARGB) return a + r * 256 + g * 65536 + b * 16777216u;
  return (b + g * 256 + r * 65536) | ((a << 23) & 0x7F000000u);
}
