// Tint and saturation in all seven layouts: examples of the two rules, and
// whole pictures against a per-pixel evaluation at every level.
#include "filters/tint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

// Pixels in rows of the given width, with an alpha channel; the last row
// repeats from the start.
REALpictureStruct* PictureOf(const std::vector<Rgba>& pixels, int64_t width) {
  const auto count = static_cast<int64_t>(pixels.size());
  return PaintedPicture(
      width, (count + width - 1) / width, [&](int64_t x, int64_t y) { return pixels[(y * width + x) % count]; }, true);
}

int TintReference(Rgba in, uint32_t grey, uint32_t sepia, int shift) {
  auto part = [](uint32_t colour, int at) { return static_cast<double>((colour >> at) & 0xFF) / 255.0; };
  const double t = in.r * part(grey, 16) + in.g * part(grey, 8) + in.b * part(grey, 0);
  return std::min(255, static_cast<int>(t * part(sepia, shift)));
}

int SaturationReference(int c, int y, int64_t amount) {
  const int64_t k = static_cast<int64_t>(static_cast<uint64_t>(amount) + 255u);
  const auto quotient = static_cast<int64_t>(static_cast<__int128>(c - y) * k) / 255;
  return std::clamp(static_cast<int32_t>(static_cast<uint32_t>(quotient) + static_cast<uint32_t>(y)), 0, 255);
}

using TintAndSaturation = LayoutTest;

// Tint by grey and sepia, or saturation by amount. Of a nil picture tint
// gives nil after acquiring it, before the check; saturation after the check.
TEST_P(TintAndSaturation, Examples) {
  const struct {
    bool tint;
    uint32_t grey, sepia;
    int64_t amount;
    Rgba in, out;
  } examples[] = {
      {true, 0x555555, 0xFFFFFF, 0, Opaque(10, 20, 30), Opaque(20, 20, 20)},
      {true, 0x555555, 0xFFFFFF, 0, Opaque(255, 255, 255), Opaque(255, 255, 255)},
      {true, 0xFFFFFF, 0xFFFFFF, 0, Opaque(100, 100, 100), Opaque(255, 255, 255)},
      {true, 0xFF0000, 0xFF8000, 0, Opaque(200, 7, 99), Opaque(200, 100, 0)},
      {true, 0x000000, 0xFFFFFF, 0, Opaque(200, 7, 99), Opaque(0, 0, 0)},
      {true, 0xFFFFFF, 0xFF000000, 0, Opaque(200, 7, 99), Opaque(0, 0, 0)},
      {false, 0, 0, 0, {10, 20, 30, 0}, Opaque(10, 20, 30)},
      {false, 0, 0, -255, Opaque(10, 20, 30), Opaque(20, 20, 20)},
      {false, 0, 0, 255, Opaque(10, 20, 30), Opaque(0, 20, 40)},
      {false, 0, 0, -100, Opaque(10, 20, 31), Opaque(14, 20, 26)},
      {false, 0, 0, -510, Opaque(10, 20, 30), Opaque(30, 20, 10)},
  };
  for (const auto& e : examples) {
    OwnedPicture source(PictureOf({e.in}, 1));
    OwnedPicture result(e.tint ? TintPicture(source, e.grey, e.sepia) : SaturationPicture(source, e.amount));
    ExpectEveryPixel(source, result, [&e](Rgba) { return e.out; });
  }
  ExpectNilAfterChecks(0, [] { return TintPicture(nullptr, 0xFFFFFF, 0xFFFFFF); });
  ExpectNilAfterChecks(1, [] { return SaturationPicture(nullptr, 0); });
}

// Random colours, rows of 263 pixels (a part of the frame's walk and a
// partial block for every row code),
// through each row code the processor has: weights that add up to 1, thirds
// whose grey often lands next to a whole number (where a fused multiply-add
// would truncate differently), and white weights whose grey goes up to 765
// and is limited.
TEST_P(TintAndSaturation, TintFollowsThePerPixelRule) {
  std::mt19937 random(7);
  std::vector<Rgba> pixels(63 * 40);
  for (Rgba& p : pixels) p = {Byte(random()), Byte(random()), Byte(random()), Byte(random())};
  OwnedPicture source(PictureOf(pixels, 263));
  const std::pair<uint32_t, uint32_t> colours[] = {{0x4D9619, 0xF0C080}, {0x4C961D, 0xFFE0B0}, {0x555555, 0xFFFFFF},
                                                   {0xFFFFFF, 0x123456}, {0xFFFFFF, 0xFFFFFF}, {0x010203, 0xFFFFFF}};
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (auto [grey, sepia] : colours) {
      SCOPED_TRACE(testing::Message() << std::hex << grey << " " << sepia << " " << NameOf(level));
      OwnedPicture result(TintPicture(source, grey, sepia));
      ExpectEveryPixel(source, result, [grey = grey, sepia = sepia](Rgba p) {
        return Opaque(TintReference(p, grey, sepia, 16), TintReference(p, grey, sepia, 8),
                      TintReference(p, grey, sepia, 0));
      });
    }
  }
}

// Every channel value c against every grey y it can meet: red runs through
// c while blue + 2 green runs through 0..765, in rows of 250 pixels. Amounts
// at the edges of the 16-bit vector form, of the 32-bit sum and of the 64-bit
// product, where the rows fall back to the step table.
TEST_P(TintAndSaturation, SaturationFollowsThePerPixelRule) {
  std::vector<Rgba> pixels;
  for (int rest = 0; rest <= 765; ++rest) {
    const int green = std::min(rest / 2, 255);
    for (int c = 0; c < 256; ++c) pixels.push_back({Byte(c), Byte(green), Byte(rest - 2 * green), 9});
  }
  OwnedPicture source(PictureOf(pixels, 250));
  const int64_t twoTo31 = int64_t{1} << 31;
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (int64_t amount :
         {int64_t{0}, int64_t{100}, int64_t{-300}, int64_t{65024}, int64_t{65025}, int64_t{-65534}, int64_t{-65535},
          twoTo31 - 511, twoTo31 - 510, -twoTo31 + 1, -twoTo31, INT64_MAX / 255, INT64_MAX, INT64_MIN}) {
      SCOPED_TRACE(testing::Message() << amount << " " << NameOf(level));
      OwnedPicture result(SaturationPicture(source, amount));
      ExpectEveryPixel(source, result, [amount](Rgba p) {
        const int y = (p.r + p.b + 2 * p.g) >> 2;
        return Opaque(SaturationReference(p.r, y, amount), SaturationReference(p.g, y, amount),
                      SaturationReference(p.b, y, amount));
      });
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(TintAndSaturation);

}  // namespace
