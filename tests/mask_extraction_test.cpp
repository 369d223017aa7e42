// Mask extraction: alpha out and byte 0 in across layouts, a narrower mask,
// and the rectangle grouping on small shapes, with the row offset of a top
// above 0 and the clipping of the rectangle.
#include "filters/mask_extraction.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "registrationclient/registration_check.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using Cells = std::set<std::pair<int64_t, int64_t>>;  // (x, y)

uint8_t Byte(int64_t value) { return static_cast<uint8_t>(value); }

// A grey picture with the given cells coloured.
REALpictureStruct* Specks(int64_t width, int64_t height, const Cells& coloured) {
  return PaintedPicture(width, height, [&](int64_t x, int64_t y) {
    return coloured.count({x, y}) ? Rgba{200, 40, 40, 255} : Rgba{Byte(x * 20), Byte(x * 20), Byte(x * 20), 255};
  });
}

// The black cells of a result; every other cell must be white.
Cells BlackCells(REALpictureStruct* result) {
  Cells black;
  for (int64_t y = 0; y < qvlhost::PictureHeight(result); ++y) {
    for (int64_t x = 0; x < qvlhost::PictureWidth(result); ++x) {
      const Rgba c = qvlhost::PixelRgba(result, x, y);
      if (c == Rgba{0, 0, 0, 255}) {
        black.insert({x, y});
      } else {
        EXPECT_EQ((Rgba{255, 255, 255, 255}), c) << x << ", " << y;
      }
    }
  }
  return black;
}

Cells Square(int64_t left, int64_t top, int64_t right, int64_t bottom) {
  Cells cells;
  for (int64_t y = top; y <= bottom; ++y)
    for (int64_t x = left; x <= right; ++x) cells.insert({x, y});
  return cells;
}

Cells Union(Cells a, const Cells& b) {
  a.insert(b.begin(), b.end());
  return a;
}

Cells Ring() {
  Cells ring = Square(2, 2, 6, 5);
  for (const auto& inner : Square(3, 3, 5, 4)) ring.erase(inner);
  return ring;
}

using MaskExtraction = LayoutTest;

TEST_P(MaskExtraction, RectanglesOfTheGroups) {
  struct Case {
    const char* name;
    Cells coloured;
    int64_t left, top, width, height;
    Cells black;
  } cases[] = {
      {"grey", {}, 0, 0, -1, -1, {}},
      {"single", {{4, 3}}, 0, 0, -1, -1, {{4, 3}}},
      {"diagonal pair", {{2, 2}, {3, 3}}, 0, 0, -1, -1, {{2, 2}, {3, 3}}},
      {"L shape", {{2, 2}, {3, 2}, {3, 3}}, 0, 0, -1, -1, Square(2, 2, 3, 3)},
      {"ring", Ring(), 0, 0, -1, -1, Square(2, 2, 6, 5)},
      {"overlapping",
       {{1, 1}, {2, 1}, {2, 2}, {3, 3}, {2, 4}, {3, 4}},
       0,
       0,
       -1,
       -1,
       Union(Square(1, 1, 2, 2), Square(2, 3, 3, 4))},
      {"width 0", {{4, 3}}, 0, 0, 0, -1, {}},
      {"top offset", {{5, 0}, {5, 8}}, 0, 3, 10, 7, {{5, 3}}},
      {"negative left", {{3, 1}, {6, 1}}, -5, 0, 10, -1, {{3, 1}}},
  };
  for (const Case& c : cases) {
    OwnedPicture picture(Specks(10, 10, c.coloured));
    OwnedPicture result(ExtractColorRectangleMaskQVL(picture, c.left, c.top, c.width, c.height));
    ASSERT_NE(nullptr, result.get()) << c.name;
    EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
    EXPECT_EQ(c.black, BlackCells(result)) << c.name;
  }
  OwnedPicture picture(Specks(10, 10, Ring()));
  OwnedPicture whole(ExtractColorRectangleMaskQVL2(picture));
  EXPECT_EQ(Square(2, 2, 6, 5), BlackCells(whole));
}

// Alpha 255 reads as white, and as black with swap; on gd the stored field
// counts the other way.
TEST_P(MaskExtraction, EmbeddedMaskReadsAlpha) {
  OwnedPicture picture(qvlhost::NewPicture(5, 3));
  for (const bool swap : {false, true}) {
    OwnedPicture grey(GetEmbededMask(picture, swap));
    ASSERT_NE(nullptr, grey.get());
    const uint32_t word = qvlhost::PixelWord(picture, 2, 1);
    const uint32_t a = GetParam().kind == qvlhost::Storage::CoreGraphics
                           ? (GetParam().alphaInfo % 2 == 1 ? word >> 24 : word & 0xFF)
                           : 2 * ((word >> 24) & 0x7F) + ((word >> 24) & 1);
    const uint8_t v = Byte(a ^ (swap ? 255 : 0));
    EXPECT_EQ((Rgba{v, v, v, 255}), qvlhost::PixelRgba(grey, 2, 1));
  }
}

// Byte 0 of every word takes the mask's R, whatever the layout; the other
// bytes stay. A narrower mask gives its columns and 0 beyond the memory its
// rows lie in; read back, the alpha of an ARGB picture is the mask.
TEST_P(MaskExtraction, EmbeddedMaskWritesByteZero) {
  const int64_t width = 6, height = 3;
  for (const int64_t maskWidth : {width, width + 2, width - 2}) {
    for (const bool swap : {false, true}) {
      OwnedPicture picture(PaintedPicture(width, height, [](int64_t x, int64_t y) {
        return Rgba{Byte(x * 30 + 1), Byte(y * 50 + 2), 77, 255};
      }));
      OwnedPicture mask(PaintedPicture(maskWidth, height, [](int64_t x, int64_t y) {
        return Rgba{Byte(x * 40 + y), 9, 9, 255};
      }));
      std::vector<uint32_t> before;
      for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) before.push_back(qvlhost::PixelWord(picture, x, y));
      SetEmbededMask(picture, swap, mask);
      for (int64_t y = 0; y < height; ++y) {
        for (int64_t x = 0; x < width; ++x) {
          const uint32_t was = before[y * width + x], now = qvlhost::PixelWord(picture, x, y);
          EXPECT_EQ(was & 0xFFFFFF00u, now & 0xFFFFFF00u) << x << ", " << y;
          if (x < maskWidth) {
            EXPECT_EQ(Byte((x * 40 + y) ^ (swap ? 255 : 0)), now & 0xFF) << x << ", " << y;
          }
        }
      }
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(MaskExtraction);

class MaskExtractionRules : public PluginTest {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    config.storage = qvlhost::Storage::CG(1);
    return config;
  }
};

// Assigned and read back on a layout whose byte 0 is alpha.
TEST_F(MaskExtractionRules, MaskRoundTripOnARGB) {
  qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(4);
  OwnedPicture picture(qvlhost::NewPicture(4, 4));
  OwnedPicture mask(PaintedPicture(4, 4, [](int64_t x, int64_t y) {
    const uint8_t v = Byte(x * 60 + y * 3);
    return Rgba{v, v, v, 255};
  }));
  SetEmbededMask(picture, false, mask);
  OwnedPicture grey(GetEmbededMask(picture, false));
  for (int64_t y = 0; y < 4; ++y)
    for (int64_t x = 0; x < 4; ++x) EXPECT_EQ(qvlhost::PixelRgba(mask, x, y), qvlhost::PixelRgba(grey, x, y));
}

// A mask narrower than its picture and as short as one row: the last row's
// missing columns lie beyond the mask's memory and read as 0.
TEST_F(MaskExtractionRules, NarrowMaskBeyondItsMemoryReadsZero) {
  qvlhost::CurrentConfig().extraBytesPerRow = 0;
  OwnedPicture picture(qvlhost::NewPicture(8, 1));
  OwnedPicture mask(SolidPicture(3, 1, {90, 90, 90, 255}));
  SetEmbededMask(picture, true, mask);
  for (int64_t x = 0; x < 8; ++x) EXPECT_EQ(x < 3 ? 90u ^ 255u : 255u, qvlhost::PixelWord(picture, x, 0) & 0xFF) << x;
}

TEST_F(MaskExtractionRules, RegistrationCheckPlaces) {
  OwnedPicture picture(qvlhost::NewPicture(3, 3));
  const int64_t start = RegistrationCheckCalls();
  SetEmbededMask(picture, false, nullptr);
  EXPECT_EQ(start, RegistrationCheckCalls());
  SetEmbededMask(picture, false, picture);
  EXPECT_EQ(start + 1, RegistrationCheckCalls());
  EXPECT_EQ(nullptr, GetEmbededMask(nullptr, false));
  EXPECT_EQ(start + 1, RegistrationCheckCalls());
  EXPECT_EQ(nullptr, ExtractColorRectangleMaskQVL(nullptr, 0, 0, -1, -1));
  EXPECT_EQ(start + 2, RegistrationCheckCalls());
}

}  // namespace
