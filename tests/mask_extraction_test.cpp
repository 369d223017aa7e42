// Mask extraction: alpha out and byte 0 in across layouts, a narrower mask,
// and the rectangle grouping on small and random shapes.
#include "filters/mask_extraction.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <tuple>
#include <utility>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using Cells = std::set<std::pair<int64_t, int64_t>>;  // (x, y)

// A grey picture with the given cells coloured.
REALpictureStruct* Specks(int64_t width, int64_t height, const Cells& coloured) {
  return PaintedPicture(width, height, [&](int64_t x, int64_t y) {
    return coloured.count({x, y}) ? Rgba{200, 40, 40, 255} : Opaque(x * 20, x * 20, x * 20);
  });
}

// Black cells on white, as the rectangles are painted.
REALpictureStruct* Boxes(int64_t width, int64_t height, const Cells& black) {
  return PaintedPicture(width, height, [&](int64_t x, int64_t y) {
    return black.count({x, y}) ? Opaque(0, 0, 0) : Opaque(255, 255, 255);
  });
}

Cells Square(int64_t left, int64_t top, int64_t right, int64_t bottom) {
  Cells cells;
  for (int64_t y = top; y <= bottom; ++y)
    for (int64_t x = left; x <= right; ++x) cells.insert({x, y});
  return cells;
}

using MaskExtraction = LayoutTest;

TEST_P(MaskExtraction, RectanglesOfTheGroups) {
  Cells ring = Square(2, 2, 6, 5);
  for (const auto& inner : Square(3, 3, 5, 4)) ring.erase(inner);
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
      {"ring", ring, 0, 0, -1, -1, Square(2, 2, 6, 5)},
      {"width 0", {{4, 3}}, 0, 0, 0, -1, {}},
      {"top offset", {{5, 0}, {5, 8}}, 0, 3, 10, 7, {{5, 3}}},
      {"negative left", {{3, 1}, {6, 1}}, -5, 0, 10, -1, {{3, 1}}},
  };
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const Case& c : cases) {
      SCOPED_TRACE(testing::Message() << c.name << " " << NameOf(level));
      OwnedPicture picture(Specks(37, 10, c.coloured));
      OwnedPicture result(ExtractColorRectangleMaskQVL(picture, c.left, c.top, c.width, c.height));
      ExpectSamePicture(result, OwnedPicture(Boxes(37, 10, c.black)));
    }
  }
}

// Every alpha reads as its grey, reversed with swap, at every level; on gd
// the stored field counts the other way. Every byte of word i is i.
TEST_P(MaskExtraction, EmbeddedMaskReadsAlpha) {
  OwnedPicture picture(qvlhost::NewAlphaPicture(37, 7));
  for (uint32_t i = 0; i < 37 * 7; ++i) qvlhost::SetPixelWord(picture, i % 37, i / 37, (i & 0xFF) * 0x01010101u);
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const bool swap : {false, true}) {
      OwnedPicture grey(GetEmbededMask(picture, swap));
      ASSERT_NE(nullptr, grey.get());
      for (uint32_t i = 0; i < 37 * 7; ++i) {
        const uint32_t a = GetParam().kind == qvlhost::Storage::CoreGraphics ? i & 0xFF : 2 * (i & 0x7F) + (i & 1);
        const uint8_t v = Byte(a ^ (swap ? 255 : 0));
        ASSERT_EQ((Rgba{v, v, v, 255}), qvlhost::PixelRgba(grey, i % 37, i / 37)) << i << " " << NameOf(level);
      }
    }
  }
}

// Byte 0 of every word takes the mask's R, whatever the layout, at every
// level; the other bytes stay. A narrower mask gives its columns, and 0
// beyond the memory its rows lie in: on the last row, past its padding.
TEST_P(MaskExtraction, EmbeddedMaskWritesByteZero) {
  const int64_t width = 37, height = 3;
  const int64_t paddingWords = GetParam().kind == qvlhost::Storage::CoreGraphics ? kRowPadding / 4 : 0;
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const int64_t maskWidth : {width, width + 2, width - 20}) {
      for (const bool swap : {false, true}) {
        SCOPED_TRACE(testing::Message() << NameOf(level) << " mask " << maskWidth << (swap ? " swapped" : ""));
        const auto paint = [](int64_t x, int64_t y) { return Opaque(x * 30 + 1, y * 50 + 2, 77); };
        OwnedPicture picture(PaintedPicture(width, height, paint)), twin(PaintedPicture(width, height, paint));
        OwnedPicture mask(
            PaintedPicture(maskWidth, height, [](int64_t x, int64_t y) { return Opaque(x * 40 + y, 9, 9); }));
        SetEmbededMask(picture, swap, mask);
        for (int64_t y = 0; y < height; ++y) {
          for (int64_t x = 0; x < width; ++x) {
            const uint32_t was = qvlhost::PixelWord(twin, x, y), now = qvlhost::PixelWord(picture, x, y);
            EXPECT_EQ(was & 0xFFFFFF00u, now & 0xFFFFFF00u) << x << ", " << y;
            const bool fromMask = x < maskWidth, beyond = y == height - 1 && x >= maskWidth + paddingWords;
            if (fromMask || beyond) {
              EXPECT_EQ(Byte((fromMask ? x * 40 + y : 0) ^ (swap ? 255 : 0)), now & 0xFF) << x << ", " << y;
            }
          }
        }
      }
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(MaskExtraction);

using MaskExtractionRules = PluginTest;

// The grouping as first described, restarting at row 0 after each
// rectangle; the cells outside the picture are never coloured.
Cells RestartingGrouping(Cells coloured) {
  Cells black;
  const auto touches = [&](const Cells& side) {
    return std::any_of(side.begin(), side.end(), [&](const auto& cell) { return coloured.count(cell) > 0; });
  };
  while (!coloured.empty()) {
    const auto [x, y] = *std::min_element(coloured.begin(), coloured.end(), [](const auto& p, const auto& q) {
      return std::tie(p.second, p.first) < std::tie(q.second, q.first);
    });
    int64_t top = y, bottom = y, left = x, right = x;
    for (bool moved = true; moved;) {
      moved = false;
      if (touches(Square(left, top - 1, right, top - 1))) --top, moved = true;
      if (touches(Square(left, bottom + 1, right, bottom + 1))) ++bottom, moved = true;
      if (touches(Square(left - 1, top, left - 1, bottom))) --left, moved = true;
      if (touches(Square(right + 1, top, right + 1, bottom))) ++right, moved = true;
    }
    for (const auto& cell : Square(left, top, right, bottom)) coloured.erase(cell), black.insert(cell);
  }
  return black;
}

// Resuming the search where the last rectangle was found gives the
// rectangles of the restart, on random shapes of many densities.
TEST_F(MaskExtractionRules, ResumedSearchFindsTheRestartsRectangles) {
  std::mt19937 random(11);
  for (const unsigned density : {2u, 10u, 25u, 45u}) {
    Cells coloured;
    for (int64_t y = 0; y < 30; ++y)
      for (int64_t x = 0; x < 41; ++x)
        if (random() % 100 < density) coloured.insert({x, y});
    OwnedPicture picture(Specks(41, 30, coloured));
    SCOPED_TRACE(density);
    OwnedPicture result(ExtractColorRectangleMaskQVL2(picture));
    ExpectSamePicture(result, OwnedPicture(Boxes(41, 30, RestartingGrouping(coloured))));
  }
}

// Setting a nil mask returns before the check, reading from a nil picture
// gives nil before it, extracting from one after it.
TEST_F(MaskExtractionRules, RegistrationCheckPlaces) {
  OwnedPicture picture(qvlhost::NewPicture(3, 3));
  EXPECT_EQ(ChecksDuring([&] { SetEmbededMask(picture, false, nullptr); }), 0);
  EXPECT_EQ(ChecksDuring([&] { SetEmbededMask(picture, false, picture); }), 1);
  ExpectNilAfterChecks(0, [] { return GetEmbededMask(nullptr, false); });
  ExpectNilAfterChecks(1, [] { return ExtractColorRectangleMaskQVL(nullptr, 0, 0, -1, -1); });
}

}  // namespace
