// The invert filters: both paths, their default sizes, clipping, and a
// result that holds only the rectangle, in all seven layouts.
#include "filters/invert.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "picture/masks.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

bool IsGD(REALpictureStruct* picture) { return qvlhost::PictureStorage(picture).kind == qvlhost::Storage::GDTrueColor; }

// Channels as the filters see them: the stored bytes, with gd's 7-bit alpha
// field stretched to 8 bits (so 0 is opaque there).
Rgba Read(REALpictureStruct* picture, int64_t x, int64_t y) {
  if (!IsGD(picture)) return qvlhost::PixelRgba(picture, x, y);
  const uint32_t word = qvlhost::PixelWord(picture, x, y);
  const uint32_t field = (word >> 24) & 0x7F;
  return {static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word),
          static_cast<uint8_t>(2 * field + (field & 1))};
}

// The alpha the opaque write leaves, as the filters see it.
uint8_t OpaqueAlpha(REALpictureStruct* picture) { return IsGD(picture) ? 0 : 255; }

class InvertFilters : public LayoutTest {};

// A cheap deterministic hash of a position, best in its high bits.
uint32_t Hash(uint32_t x, uint32_t y) { return ((x * 0x9E3779B1u ^ y * 0x85EBCA77u) >> 11) * 0x2C1B3C6Du; }

// The upper 256 rows hold every alpha (by row) against every grey value (by
// column); the lower ones runs of eight alphas all 0, all 255, 0 and 255
// mixed, or anything, under colours that are grey, have two equal channels,
// or none. The odd width leaves a short end on every row.
Rgba PatternPixel(uint32_t x, uint32_t y) {
  if (y < 256 && x < 256) return {uint8_t(x), uint8_t(x), uint8_t(x), uint8_t(y)};
  const uint32_t h = Hash(x, y), run = Hash(x / 8, y) >> 30;
  const uint8_t a = run == 0 ? 0 : run == 1 ? 255 : run == 2 ? (h >> 31) * 255 : h >> 24;
  const uint8_t r = h >> 16, other = h >> 8, kind = h >> 6 & 3;
  return {r, kind < 2 ? r : other, kind == 0 ? r : kind == 2 ? uint8_t(other + 1) : other, a};
}

// The rule one pixel at a time, as the filters see the channels.
Rgba Expected(Rgba in, bool withAlpha, bool greyOnly, uint8_t opaqueAlpha) {
  const auto inverse = [&](int c) -> uint8_t {
    const int a = withAlpha ? in.a : 255;
    if (a == 0 || a == 255) return a == 0 ? c : 255 - c;
    return MultiplyTable[a * 256 + (UnmultiplyTable[a * 256 + c] ^ 255)];
  };
  const uint8_t alpha = withAlpha ? in.a : opaqueAlpha;
  if (greyOnly && !(in.r == in.g && in.g == in.b)) return {in.r, in.g, in.b, alpha};
  return {inverse(in.r), inverse(in.g), inverse(in.b), alpha};
}

// Every pixel of the pattern through both filters and both kinds of row
// code, against the rule.
TEST_P(InvertFilters, EveryPixelFollowsTheRule) {
  InitMultiplyTable();
  for (bool withAlpha : {false, true}) {
    OwnedPicture source(PaintedPicture(263, 512, PatternPixel, withAlpha));
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      for (bool greyOnly : {false, true}) {
        SCOPED_TRACE(testing::Message() << withAlpha << greyOnly << NameOf(level));
        OwnedPicture result(greyOnly ? InvertGrayPicture2(source) : InvertPicture2(source));
        ExpectEveryPixel(
            source, result, [&](Rgba in) { return Expected(in, withAlpha, greyOnly, OpaqueAlpha(source)); },
            [](REALpictureStruct* picture, int64_t x, int64_t y) { return Read(picture, x, y); });
      }
    }
  }
}

// The clipped rectangles InvertQVL and InvertGrayQVL cover, half open: x0,
// y0, x1, y1. A width or height of 0 means "to the edge" for InvertQVL only.
struct RectangleCase {
  int64_t left, top, width, height;
  int64_t allRect[4], greyRect[4];
};

constexpr int64_t kSide = 12;
const RectangleCase kRectangles[] = {
    {0, 0, 0, 0, {0, 0, 12, 12}, {0, 0, 0, 0}},
    {0, 0, -1, -1, {0, 0, 12, 12}, {0, 0, 12, 12}},
    {10, 0, 0, 0, {10, 0, 12, 12}, {0, 0, 0, 0}},
    {0, 0, 0, 5, {0, 0, 12, 5}, {0, 0, 0, 0}},
    {-10, -10, 20, 20, {0, 0, 10, 10}, {0, 0, 10, 10}},
    {3, 4, 2, 3, {3, 4, 5, 7}, {3, 4, 5, 7}},
    {12, 0, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, 12, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, 1000000000000, -1, -1, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {INT64_MAX, 0, 10, 10, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, INT64_MAX - 5, 10, 100, {0, 0, 0, 0}, {0, 0, 0, 0}},
};

bool Inside(const int64_t rect[4], int64_t x, int64_t y) {
  return x >= rect[0] && y >= rect[1] && x < rect[2] && y < rect[3];
}

// Inside the rectangle the grey source is inverted; everything else is what
// the host's new picture held, opaque white. A nil picture gives nil after
// the check.
TEST_P(InvertFilters, OnlyTheClippedRectangleIsStored) {
  const auto grey = [](int64_t v) { return Opaque(v, v, v); };
  OwnedPicture source(PaintedPicture(kSide, kSide, [&](int64_t x, int64_t y) { return grey(x * 16 + y); }));
  for (const RectangleCase& c : kRectangles) {
    for (bool greyOnly : {false, true}) {
      SCOPED_TRACE(testing::Message() << &c - kRectangles << greyOnly);
      OwnedPicture result(greyOnly ? InvertGrayPicture(source, c.left, c.top, c.width, c.height)
                                   : InvertPicture(source, c.left, c.top, c.width, c.height));
      OwnedPicture expected(PaintedPicture(kSide, kSide, [&](int64_t x, int64_t y) {
        return grey(Inside(greyOnly ? c.greyRect : c.allRect, x, y) ? 255 - x * 16 - y : 255);
      }));
      ExpectSamePicture(result, expected);
    }
  }
  ExpectNilAfterChecks(1, [] { return InvertPicture(nullptr, 0, 0, 1, 1); });
  ExpectNilAfterChecks(1, [] { return InvertGrayPicture2(nullptr); });
}

QVL_INSTANTIATE_LAYOUTS(InvertFilters);

// A result made in the other Core Graphics layout than its source: each
// channel is read from its own place and written to the result's, giving
// what the source painted in the result's layout gives.
TEST_F(PluginTest, InvertAcrossLayouts) {
  const auto paint = [](int64_t x, int64_t y) { return PatternPixel(x, y + 300); };
  for (const bool withAlpha : {false, true}) {
    for (const uint32_t to : {1u, 2u}) {
      qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(3 - to);
      OwnedPicture crossed(PaintedPicture(37, 2, paint, withAlpha));
      qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(to);
      OwnedPicture own(PaintedPicture(37, 2, paint, withAlpha));
      ExpectSamePicture(OwnedPicture(InvertPicture2(crossed)), OwnedPicture(InvertPicture2(own)));
      ExpectSamePicture(OwnedPicture(InvertGrayPicture2(crossed)), OwnedPicture(InvertGrayPicture2(own)));
    }
  }
}

}  // namespace
