// The sub-picture search in all seven layouts, the needle in another one:
// start rules, first match in raster order, the strict tolerance, refusals.
#include "analysis/search.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

using Position = std::pair<int64_t, int64_t>;
const Position kNotFound{-1, -1};
constexpr int64_t kWidth = 10, kHeight = 8;  // the haystack; a 2 x 2 needle has maxX 8, maxY 6

// The needle's four pixels, none of them near a background pixel.
const Rgba kNeedle[2][2] = {{{200, 10, 10, 255}, {10, 200, 10, 255}}, {{10, 10, 200, 255}, {200, 200, 10, 255}}};

// A haystack with the needle planted at each position.
REALpictureStruct* Haystack(const std::vector<Position>& plants) {
  return PaintedPicture(kWidth, kHeight, [&](int64_t x, int64_t y) {
    for (const auto& [px, py] : plants) {
      if (x >= px && x < px + 2 && y >= py && y < py + 2) return kNeedle[y - py][x - px];
    }
    return Opaque(x * 5, y * 5, 100);
  });
}

class Search : public LayoutTest {
 protected:
  // The needle in another layout of the same storage family: Core Graphics
  // pictures of the next alpha info (RGBA against ARGB), gd against gd.
  REALpictureStruct* Needle(int64_t width = 2, int64_t height = 2) {
    qvlhost::Storage own = qvlhost::CurrentConfig().storage;
    if (own.kind == qvlhost::Storage::CoreGraphics) {
      qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(own.alphaInfo % 6 + 1);
    }
    REALpictureStruct* needle =
        PaintedPicture(width, height, [](int64_t x, int64_t y) { return kNeedle[y % 2][x % 2]; });
    qvlhost::CurrentConfig().storage = own;
    return needle;
  }

  // The found position, or {-1, -1}; x and y must be 0 after a failure.
  Position Find(REALpictureStruct* haystack, REALpictureStruct* needle, int64_t startX = 0, int64_t startY = 0,
                int64_t tolerance = 3) {
    int64_t x = -7, y = -7;
    if (FindPicture(haystack, needle, &x, &y, startX, startY, tolerance)) return {x, y};
    EXPECT_EQ(x, 0);
    EXPECT_EQ(y, 0);
    return kNotFound;
  }
};

TEST_P(Search, StartRulesAndRasterOrder) {
  const struct {
    std::vector<Position> plants;
    int64_t startX, startY;
    Position found;
  } cases[] = {
      {{{4, 1}, {1, 3}}, 0, 0, {4, 1}},  // the higher row wins over one further left
      {{{6, 2}, {2, 2}}, 0, 0, {2, 2}},  // the left one of a row
      {{{6, 2}, {2, 2}}, 3, 2, {6, 2}},  // the next one from x + 1
      {{{0, 0}}, -5, -5, {0, 0}},
      {{{0, 0}}, 1, 0, kNotFound},
      {{{0, 0}}, kWidth, 0, kNotFound},  // begins at (0, 1)
      {{{0, 1}}, kWidth, 0, {0, 1}},
      {{{0, 1}}, 9, 0, {0, 1}},  // beyond maxX inside the picture: the first row is passed over
      {{{8, 6}}, 8, 6, {8, 6}},  // the last position
      {{{8, 6}}, 9, 6, kNotFound},
      {{{0, 0}}, 0, kHeight, kNotFound},
      {{{0, 0}}, kWidth, kHeight - 1, kNotFound},
      {{{0, 7}}, 0, 0, kNotFound},  // cut by the bottom edge
      {{{0, 0}}, INT64_MAX, INT64_MAX, kNotFound},
  };
  OwnedPicture needle(Needle());
  for (const auto& c : cases) {
    OwnedPicture haystack(Haystack(c.plants));
    EXPECT_EQ(Find(haystack, needle, c.startX, c.startY), c.found) << "start " << c.startX << "," << c.startY;
  }
}

// Matching pixels differ by less than the tolerance in each channel; the
// needle's last pixel is off, past the first-pixel test.
TEST_P(Search, StrictTolerance) {
  OwnedPicture needle(Needle());
  const struct {
    int channel, offset;
    int64_t tolerance;
    bool found;
  } cases[] = {
      {0, 0, 1, true},   {0, 1, 1, false},  {1, -1, 2, true},
      {2, 2, 3, true},   {2, -3, 3, false}, {0, 0, 0, false},
      {0, 0, -4, false}, {1, 55, 56, true}, {0, 0, int64_t(1) << 32, false},  // only the low 32 bits count: 0
  };
  for (const auto& c : cases) {
    OwnedPicture haystack(Haystack({{5, 3}}));
    Rgba pixel = kNeedle[1][1];
    uint8_t& channel = c.channel == 0 ? pixel.r : c.channel == 1 ? pixel.g : pixel.b;
    channel = Byte(channel + c.offset);
    qvlhost::SetPixelRgba(haystack, 6, 4, pixel);
    EXPECT_EQ(Find(haystack, needle, 0, 0, c.tolerance), (c.found ? Position(5, 3) : kNotFound))
        << c.channel << " by " << c.offset << ", tolerance " << c.tolerance;
  }
}

// A first row that matches where the rest does not is passed by; a picture
// is found in itself at (0, 0), unless the tolerance is 0; a needle larger
// than the haystack or a nil picture on either side is not found.
TEST_P(Search, PartialMatchesItselfAndRefusals) {
  OwnedPicture haystack(Haystack({{5, 4}}));
  qvlhost::SetPixelRgba(haystack, 1, 1, kNeedle[0][0]);
  qvlhost::SetPixelRgba(haystack, 2, 1, kNeedle[0][1]);
  OwnedPicture needle(Needle()), onePixel(Needle(1, 1)), wide(Needle(kWidth + 1, 2)), tall(Needle(2, kHeight + 1));
  EXPECT_EQ(Find(haystack, needle), Position(5, 4));
  EXPECT_EQ(Find(haystack, onePixel), Position(1, 1));
  EXPECT_EQ(Find(haystack, haystack), Position(0, 0));
  EXPECT_EQ(Find(haystack, haystack, 0, 0, 0), kNotFound);
  EXPECT_EQ(Find(haystack, wide), kNotFound);
  EXPECT_EQ(Find(haystack, tall), kNotFound);
  EXPECT_EQ(Find(haystack, nullptr), kNotFound);
  EXPECT_EQ(Find(nullptr, haystack), kNotFound);
  // A start below the haystack ends the search before the needle is acquired.
  qvlhost::ClearJournal();
  EXPECT_EQ(Find(haystack, haystack, 0, kHeight), kNotFound);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 1);
}

QVL_INSTANTIATE_LAYOUTS(Search);

}  // namespace
