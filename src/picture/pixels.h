// The pixel layouts, described once: where red, green, blue and alpha sit in
// a pixel word, how wide the alpha field is, and which bits the opaque write
// sets. Reading a word into channels, the opaque write and the alpha write
// are derived from that description, and so is everything else that depends
// on a layout (tone tables placed for a destination, byte orders of vector
// rows, the bits the invert filters flip). Everything is inline so that
// pixel loops contain no call.
#pragma once

#include <cstdint>

#include "picture/picture_editor.h"

struct Channels {
  uint32_t r, g, b, a;
};

// Bit positions of the channels in a word, the alpha field (its lowest bit
// and its width, 8 bits or gd's 7), and the bits the opaque write puts.
struct LayoutDescription {
  int red, green, blue;
  int alphaShift, alphaWidth;
  uint32_t opaqueBits;

  constexpr uint32_t AlphaField() const { return ((1u << alphaWidth) - 1u) << alphaShift; }
  constexpr uint32_t ColourBits() const { return (0xFFu << red) | (0xFFu << green) | (0xFFu << blue); }
};

// Core Graphics keeps 8-bit alpha, 255 opaque; gd keeps a 7-bit field under
// the top bit, 0 opaque. A word of unknown layout reads as all zero and is
// never written; it is described as gd without an alpha field.
template <PixelLayout L>
constexpr LayoutDescription kLayout = L == PixelLayout::RGBA   ? LayoutDescription{0, 8, 16, 24, 8, 0xFF000000u}
                                      : L == PixelLayout::ARGB ? LayoutDescription{8, 16, 24, 0, 8, 0x000000FFu}
                                      : L == PixelLayout::GD   ? LayoutDescription{16, 8, 0, 24, 7, 0}
                                                               : LayoutDescription{16, 8, 0, 24, 0, 0};

// An alpha field as the alpha it reads as: 8 bits as they are, 7 bits
// stretched so that 0 stays 0 and 127 becomes 255.
template <PixelLayout L>
constexpr uint32_t AlphaOfField(uint32_t field) {
  return kLayout<L>.alphaWidth == 8 ? field : 2 * field + (field & 1);
}

template <PixelLayout L>
inline Channels ReadPixel(uint32_t p) {
  constexpr LayoutDescription l = kLayout<L>;
  if (L == PixelLayout::Unknown) return {0, 0, 0, 0};
  return {(p >> l.red) & 0xFF, (p >> l.green) & 0xFF, (p >> l.blue) & 0xFF,
          AlphaOfField<L>((p & l.AlphaField()) >> l.alphaShift)};
}

// The opaque write: full opacity in the Core Graphics layouts, alpha field 0
// (opaque) in gd. Channels must be 0..255.
template <PixelLayout L>
inline uint32_t OpaquePixel(uint32_t r, uint32_t g, uint32_t b) {
  constexpr LayoutDescription l = kLayout<L>;
  return (r << l.red) | (g << l.green) | (b << l.blue) | l.opaqueBits;
}

// The alpha write. In gd the field is A shifted left by 23 and masked, so it
// counts A the same way round as the read gives it.
template <PixelLayout L>
inline uint32_t AlphaPixel(uint32_t r, uint32_t g, uint32_t b, uint32_t a) {
  constexpr LayoutDescription l = kLayout<L>;
  constexpr int alphaShift = l.alphaShift - (8 - l.alphaWidth);
  return (r << l.red) | (g << l.green) | (b << l.blue) | ((a << alphaShift) & l.AlphaField());
}

// The bits of a word of layout L that hold red, green and blue; none in an
// unknown layout, whose words read as all zero.
template <PixelLayout L>
constexpr uint32_t kColourBits = L == PixelLayout::Unknown ? 0 : kLayout<L>.ColourBits();

// The bits that tell grey: in every layout the three colour bytes lie side
// by side, so a pixel is grey when each of them equals the one above it.
template <PixelLayout L>
constexpr uint32_t kGreyTest = kColourBits<L>&(kColourBits<L> >> 8);

// Nonzero unless the three colour bytes of the word are equal.
template <PixelLayout L>
constexpr uint32_t ColourSpread(uint32_t word) {
  return (word ^ (word >> 8)) & kGreyTest<L>;
}
