// Colour counting in all seven layouts: the exact colour count, the crossed
// order of the histogram blocks, counters added to what a block holds, and
// the count's failure values.
#include "analysis/counting.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

uint32_t Counter(REALmemoryBlockStruct* block, int entry) {
  uint32_t value;
  std::memcpy(&value, qvlhost::MemoryBlockData(block) + entry * 4, 4);
  return value;
}

void SetCounter(REALmemoryBlockStruct* block, int entry, uint32_t value) {
  std::memcpy(qvlhost::MemoryBlockData(block) + entry * 4, &value, 4);
}

// A 4 x 3 picture of (10, 20, 30) with two other pixels: (10, 20, 31) at the
// start and (200, 100, 50) at the end of the last row.
REALpictureStruct* MostlyOneColour() {
  return PaintedPicture(4, 3, [](int64_t x, int64_t y) {
    if (x == 0 && y == 0) return Rgba{10, 20, 31, 255};
    if (x == 3 && y == 2) return Rgba{200, 100, 50, 255};
    return Rgba{10, 20, 30, 255};
  });
}

class Counting : public LayoutTest {};

TEST_P(Counting, CountColorMatchesRGBAlone) {
  OwnedPicture picture(MostlyOneColour());
  EXPECT_EQ(CountColorQVL(picture, 0x0A141E), 10);
  EXPECT_EQ(CountColorQVL(picture, 0xFF0A141E), 10);  // bits 24 to 31 are ignored
  EXPECT_EQ(CountColorQVL(picture, 0x0A141F), 1);
  EXPECT_EQ(CountColorQVL(picture, 0xC86432), 1);
  EXPECT_EQ(CountColorQVL(picture, 0x1E140A), 0);
  EXPECT_EQ(CountColorQVL(nullptr, 0), 0);
}

// Alpha is ignored: transparent pixels of the colour count too.
TEST_P(Counting, TransparentPixelsCount) {
  OwnedPicture picture(qvlhost::NewAlphaPicture(5, 2));
  EXPECT_EQ(CountColorQVL(picture, 0x000000), 10);
  qvlhost::SetPixelRgba(picture, 1, 1, Rgba{10, 20, 30, 0});
  EXPECT_EQ(CountColorQVL(picture, 0x0A141E), 1);
}

// The first block counts red, the second (named blue) green, the third
// (named green) blue; nil blocks are made, passed ones are added to.
TEST_P(Counting, HistogramsInCrossedOrderAddUp) {
  OwnedPicture picture(MostlyOneColour());
  REALmemoryBlockStruct *first = nullptr, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(picture, &first, &second, &third, &count);
  OwnedMemoryBlock a(first), b(second), c(third);
  ASSERT_TRUE(first && second && third);
  EXPECT_EQ(qvlhost::MemoryBlockSize(first), 1024);
  EXPECT_EQ(count, 12);
  EXPECT_EQ(Counter(first, 10), 11u);
  EXPECT_EQ(Counter(first, 200), 1u);
  EXPECT_EQ(Counter(second, 20), 11u);
  EXPECT_EQ(Counter(second, 100), 1u);
  EXPECT_EQ(Counter(third, 30), 10u);
  EXPECT_EQ(Counter(third, 31), 1u);
  EXPECT_EQ(Counter(third, 50), 1u);
  EXPECT_EQ(Counter(third, 20), 0u);

  SetCounter(first, 200, 0xFFFFFFFFu);  // unsigned counters wrap
  CountColorsQVL(picture, &first, &second, &third, &count);
  EXPECT_EQ(first, a.get());
  EXPECT_EQ(Counter(first, 10), 22u);
  EXPECT_EQ(Counter(first, 200), 0u);
  EXPECT_EQ(Counter(second, 20), 22u);
  EXPECT_EQ(Counter(third, 30), 20u);
}

// Counters beyond a block shorter than 1024 bytes are dropped, and nothing
// outside it is written.
TEST_P(Counting, ShortBlockKeepsItsOwnBytes) {
  OwnedPicture picture(PaintedPicture(3, 1, [](int64_t x, int64_t) {
    return x == 0 ? Rgba{2, 3, 3, 255} : Rgba{200, 3, 3, 255};
  }));
  OwnedMemoryBlock shortBlock(qvlhost::NewMemoryBlock(14));
  REALmemoryBlockStruct *first = shortBlock, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(picture, &first, &second, &third, &count);
  OwnedMemoryBlock b(second), c(third);
  EXPECT_EQ(count, 3);
  EXPECT_EQ(Counter(shortBlock, 2), 1u);
  EXPECT_EQ(Counter(second, 3), 3u);
}

TEST_P(Counting, NilPictureMakesTheBlocksAndCountsMinusOne) {
  REALmemoryBlockStruct *first = nullptr, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(nullptr, &first, &second, &third, &count);
  OwnedMemoryBlock a(first), b(second), c(third);
  EXPECT_EQ(count, -1);
  EXPECT_TRUE(first && second && third);
}

QVL_INSTANTIATE_LAYOUTS(Counting);

// A host that can't make a block of 1024 bytes raises inside its exception
// handler; the plug-in drops the exception and reports -1 before touching
// the picture, keeping a block it was given.
class CountingWithoutBlocks : public PluginTest {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.maxMemoryBlockBytes = 512;
    return config;
  }
};

TEST_F(CountingWithoutBlocks, CountIsMinusOne) {
  OwnedPicture picture(qvlhost::NewPicture(2, 2));
  OwnedMemoryBlock given(qvlhost::NewMemoryBlock(256));
  REALmemoryBlockStruct *first = nullptr, *second = given, *third = nullptr;
  int64_t count = 0;
  qvlhost::ClearJournal();
  CountColorsQVL(picture, &first, &second, &third, &count);
  EXPECT_EQ(count, -1);
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second, given.get());
  EXPECT_EQ(third, nullptr);
  EXPECT_EQ(Counter(given, 0), 0u);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 0);
  EXPECT_EQ(qvlhost::PendingException(), nullptr);
}

}  // namespace
