// In-place scrolling in all seven layouts with padded Core Graphics rows,
// against the rules applied to a copy of the memory.
#include "scroll/scroll.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;

// A picture's memory as the scroll rules see it: its rows, padding included.
struct Memory {
  int64_t width = 0, rowBytes = 0;
  std::vector<uint8_t> bytes;
  bool operator==(const Memory& other) const { return bytes == other.bytes; }
};

Memory Snapshot(REALpictureStruct* picture) {
  Memory memory;
  memory.width = qvlhost::PictureWidth(picture);
  for (int64_t y = 0; y < qvlhost::PictureHeight(picture); ++y) {
    for (int64_t i = 0; i < memory.width * 4; ++i)  // each word's bytes, low first
      memory.bytes.push_back(uint8_t(qvlhost::PixelWord(picture, i / 4, y) >> (i % 4 * 8)));
    const std::vector<uint8_t> padding = qvlhost::RowPadding(picture, y);
    memory.bytes.insert(memory.bytes.end(), padding.begin(), padding.end());
  }
  memory.rowBytes = static_cast<int64_t>(memory.bytes.size()) / qvlhost::PictureHeight(picture);
  return memory;
}

// Pixel (x, y) holds a colour that names it and the picture.
REALpictureStruct* NumberedPicture(int64_t width, int64_t height, uint8_t tag = 0xA5) {
  return PaintedPicture(width, height, [tag](int64_t x, int64_t y) { return Opaque(x + 1, y + 1, tag); });
}

// The rules: row y takes row y - delta, and pixel x pixel x - delta, round
// the picture when wrapping, else 0xFF; the positive horizontal shift moves
// units of two pixels, on into the next row.
int64_t Modulo(int64_t delta, int64_t size) { return (delta % size + size) % size; }

Memory Vertically(const Memory& m, int64_t delta, bool wrap) {
  const int64_t height = static_cast<int64_t>(m.bytes.size()) / m.rowBytes;
  const bool beyond = !wrap && (delta >= height || delta <= -height);
  Memory moved = m;
  for (int64_t y = 0; y < height; ++y) {
    const int64_t from = beyond ? -1 : wrap ? Modulo(y - Modulo(delta, height), height) : y - delta;
    for (int64_t i = 0; i < m.rowBytes; ++i)
      moved.bytes[y * m.rowBytes + i] = from >= 0 && from < height ? m.bytes[from * m.rowBytes + i] : 0xFF;
  }
  return moved;
}

Memory Horizontally(Memory m, int64_t delta, bool wrap) {
  const int64_t size = static_cast<int64_t>(m.bytes.size()), w = m.width;
  m.bytes.resize(size + 8 * w);  // room for the last row's push, dropped below
  for (int64_t row = 0; row < size; row += m.rowBytes) {
    const auto start = m.bytes.begin() + row;
    if (wrap) {
      std::rotate(start, start + (w - Modulo(delta, w)) * 4, start + w * 4);
    } else if (delta >= w || delta <= -w) {
      std::fill(start, start + m.rowBytes, 0xFF);
    } else if (delta < 0) {
      std::copy(start - delta * 4, start + w * 4, start);
      std::fill(start + (w + delta) * 4, start + w * 4, 0xFF);
    } else {
      for (int64_t k = w - delta - 1; k >= 0; --k) std::copy(start + k * 8, start + k * 8 + 8, start + (k + delta) * 8);
      std::fill(start, start + delta * 4, 0xFF);
    }
  }
  m.bytes.resize(size);
  return m;
}

class Scroll : public LayoutTest {};

// Every distance up to beyond the size, and the extremes; also on a row wide
// enough for the one-pass move of the positive horizontal scroll.
TEST_P(Scroll, EveryDistanceFollowsTheRules) {
  const struct {
    bool vertical;
    int64_t width, height, size;
  } shapes[] = {{true, 3, 5, 5}, {false, 5, 3, 5}, {false, 23, 4, 23}};
  for (bool wrap : {false, true}) {
    for (const auto& shape : shapes) {
      std::vector<int64_t> distances = {INT64_MIN, INT64_MAX, 3 * shape.size + 1};
      for (int64_t d = -shape.size - 1; d <= shape.size + 1; ++d) distances.push_back(d);
      for (int64_t delta : distances) {
        SCOPED_TRACE(testing::Message() << (shape.vertical ? "vertical " : "horizontal ") << shape.width << " wide by "
                                        << delta << (wrap ? " wrapping" : ""));
        OwnedPicture picture(NumberedPicture(shape.width, shape.height));
        const Memory before = Snapshot(picture);
        EXPECT_TRUE(shape.vertical ? ScrollVerticalQVL(picture, delta, wrap, false)
                                   : ScrollHorizontalQVL(picture, delta, wrap, false));
        EXPECT_EQ(Snapshot(picture),
                  shape.vertical ? Vertically(before, delta, wrap) : Horizontally(before, delta, wrap));
      }
    }
  }
}

// The mask moves along when asked; one that can't be locked for writing
// fails the vertical scroll untouched, and the horizontal one goes on.
TEST_P(Scroll, MaskMovesAlongOrStopsTheVerticalScroll) {
  OwnedPicture owned(NumberedPicture(4, 3)), ownedMask(NumberedPicture(4, 3, 0x5A));
  qvlhost::SetPictureMask(owned, ownedMask);
  const Memory picture = Snapshot(owned), mask = Snapshot(ownedMask);
  const Memory movedMask = Vertically(Horizontally(mask, 1, true), 1, true);
  EXPECT_TRUE(ScrollQVL(owned, 1, 1, true, true));
  EXPECT_EQ(Snapshot(owned), Vertically(Horizontally(picture, 1, true), 1, true));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);
  EXPECT_TRUE(ScrollQVL(owned, -1, -2, false, false));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);

  qvlhost::SetPictureKind(ownedMask, 0);
  const Memory before = Snapshot(owned);
  EXPECT_FALSE(ScrollVerticalQVL(owned, 1, false, true));
  EXPECT_EQ(Snapshot(owned), before);
  EXPECT_TRUE(ScrollHorizontalQVL(owned, -1, false, true));
  EXPECT_EQ(Snapshot(owned), Horizontally(before, -1, false));
  EXPECT_EQ(Snapshot(ownedMask), movedMask);
  EXPECT_FALSE(ScrollQVL(owned, 0, 1, true, true));
}

QVL_INSTANTIATE_LAYOUTS(Scroll);

TEST_F(PluginTest, ScrollFailureValues) {
  EXPECT_FALSE(ScrollVerticalQVL(nullptr, 1, true, false));
  EXPECT_TRUE(ScrollHorizontalQVL(nullptr, 1, true, true));
  EXPECT_FALSE(ScrollQVL(nullptr, 1, 1, false, false));
  // Distance 0: nothing is done with the picture, but the mask is asked for.
  OwnedPicture picture(NumberedPicture(2, 2));
  qvlhost::ClearJournal();
  EXPECT_TRUE(ScrollVerticalQVL(picture, 0, true, false));
  EXPECT_TRUE(qvlhost::Journal().empty());
  EXPECT_TRUE(ScrollQVL(picture, 0, 0, true, true));
  EXPECT_EQ(JournalCount("Mask(create As Boolean = True) As Picture"), 2);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 0);
}

}  // namespace
