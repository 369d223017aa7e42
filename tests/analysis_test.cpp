// Colour counting, the uniformity tests and colourness in all seven layouts:
// the crossed order of the histogram blocks and their adding counters, the
// pixel and rectangle rules, the boundaries of colourness, and every vector
// row answering as the per-pixel rule.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "registrationclient/registration_check.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class Analysis : public LayoutTest {};

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

TEST_P(Analysis, CountColorMatchesRGBAlone) {
  OwnedPicture picture(MostlyOneColour());
  EXPECT_EQ(CountColorQVL(picture, 0x0A141E), 10);
  EXPECT_EQ(CountColorQVL(picture, 0xFF0A141E), 10);  // bits 24 to 31 are ignored
  EXPECT_EQ(CountColorQVL(picture, 0x0A141F), 1);
  EXPECT_EQ(CountColorQVL(picture, 0xC86432), 1);
  EXPECT_EQ(CountColorQVL(picture, 0x1E140A), 0);
  qvlhost::SetPixelRgba(picture, 1, 1, Rgba{10, 20, 30, 0});  // alpha is ignored
  EXPECT_EQ(CountColorQVL(picture, 0x0A141E), 10);
}

// The first block counts red, the second (named blue) green, the third
// (named green) blue; nil blocks are made, passed ones are added to.
TEST_P(Analysis, HistogramsInCrossedOrderAddUp) {
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
  EXPECT_EQ(Counter(third, 50), 1u);

  SetCounter(first, 200, 0xFFFFFFFFu);  // unsigned counters wrap
  CountColorsQVL(picture, &first, &second, &third, &count);
  EXPECT_EQ(first, a.get());
  EXPECT_EQ(Counter(first, 10), 22u);
  EXPECT_EQ(Counter(first, 200), 0u);
  EXPECT_EQ(Counter(third, 30), 20u);
}

// Counters beyond a block shorter than 1024 bytes are dropped, and nothing
// outside it is written.
TEST_P(Analysis, ShortBlockKeepsItsOwnBytes) {
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

// One colour filling a picture, and what each test answers about it.
TEST_P(Analysis, PixelRules) {
  const struct {
    Rgba colour;
    bool black, white, grey0, grey1, greyMinus1, grey2;
  } cases[] = {
      {{0, 0, 0, 255}, true, false, true, true, true, true},
      {{0, 0, 0, 0}, true, false, true, true, true, true},  // alpha is not looked at
      {{1, 0, 0, 255}, false, false, false, true, true, true},
      {{0, 0, 1, 0}, false, false, false, true, true, true},
      {{255, 255, 255, 255}, false, true, true, true, true, true},
      {{255, 254, 255, 255}, false, false, false, true, true, true},
      {{10, 10, 11, 255}, false, false, false, true, true, true},
      {{10, 12, 11, 255}, false, false, false, false, false, true},
      {{100, 100, 98, 255}, false, false, false, false, false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.colour));
    OwnedPicture picture(SolidPicture(3, 2, c.colour));
    EXPECT_EQ(isBlack2(picture), c.black);
    EXPECT_EQ(isWhite2(picture), c.white);
    EXPECT_EQ(isGray2(picture, 0), c.grey0);
    EXPECT_EQ(isGray2(picture, 1), c.grey1);
    EXPECT_EQ(isGray2(picture, -1), c.greyMinus1);
    EXPECT_EQ(isGray2(picture, 2), c.grey2);
    EXPECT_EQ(isGray2(picture, INT64_MIN), true);
  }
}

// A 6 x 5 white picture with one black pixel at (2, 2).
REALpictureStruct* WhiteWithBlackAt22() {
  return PaintedPicture(6, 5, [](int64_t x, int64_t y) {
    return x == 2 && y == 2 ? Rgba{0, 0, 0, 255} : Rgba{255, 255, 255, 255};
  });
}

TEST_P(Analysis, RectangleRules) {
  OwnedPicture picture(WhiteWithBlackAt22());
  const struct {
    int64_t left, top, width, height;
    bool white;
  } cases[] = {
      {0, 0, -1, -1, false},      {0, 0, 3, 3, false},          {2, 2, 1, 1, false},
      {-1, -1, 3, 3, true},  // right = 3 + (-1) = 2: columns 0 and 1 only
      {-1, -1, 4, 4, false},      {3, 0, -1, -1, true},         {2, 0, -1, 2, true},
      {0, 3, -1, -1, true},       {0, 0, 2, -1, true},          {0, 0, 0, 0, true},
      {6, 0, 2, 2, true},         {0, 5, 2, 2, true},           {-5, 0, 3, 5, true},
      {0, INT64_MAX, 3, 3, true}, {INT64_MAX, 0, 10, 10, true}, {-10, -10, 100, 100, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.left) + "," + std::to_string(c.top) + "," + std::to_string(c.width) + "," +
                 std::to_string(c.height));
    EXPECT_EQ(isWhite(picture, c.left, c.top, c.width, c.height), c.white);
  }
  // The other tests share the frame: the tolerance comes first for isGray.
  EXPECT_TRUE(isBlack(picture, 2, 2, 1, 1));
  EXPECT_FALSE(isBlack(picture, 1, 2, 2, 1));
  EXPECT_TRUE(isGray(picture, 0, 0, 0, -1, -1));
  EXPECT_TRUE(isBlack(picture, 3, 3, 0, 0));
}

// A nil picture: the tests checked first, CountColorsQVL after making the blocks.
TEST_P(Analysis, NilPicture) {
  const int64_t checks = RegistrationCheckCalls();
  EXPECT_FALSE(isBlack2(nullptr));
  EXPECT_FALSE(isWhite(nullptr, 0, 0, 0, 0));
  EXPECT_FALSE(isGray2(nullptr, 0));
  EXPECT_EQ(ColornessQVL(nullptr, 10), 0.0);
  EXPECT_EQ(CountColorQVL(nullptr, 0), 0);
  EXPECT_EQ(RegistrationCheckCalls(), checks + 4);
  REALmemoryBlockStruct *first = nullptr, *second = nullptr, *third = nullptr;
  int64_t count = 0;
  CountColorsQVL(nullptr, &first, &second, &third, &count);
  OwnedMemoryBlock a(first), b(second), c(third);
  EXPECT_EQ(count, -1);
  EXPECT_TRUE(first && second && third);
}

// Colourness of a picture of one colour: 1 when it counts, 0 when not.
TEST_P(Analysis, ColournessBoundaries) {
  const struct {
    Rgba colour;
    int64_t threshold;
    double share;
  } cases[] = {
      {{255, 0, 0, 255}, 10, 1.0},
      {{29, 0, 29, 255}, 10, 0.0},   // dark, whatever its hue
      {{29, 29, 30, 255}, 0, 1.0},   // not dark: blue reaches 30
      {{30, 40, 30, 255}, 10, 0.0},  // exactly 10 apart is not above
      {{30, 41, 30, 255}, 10, 1.0},
      {{30, 20, 30, 255}, 10, 0.0},
      {{30, 19, 30, 255}, 10, 1.0},
      {{40, 30, 50, 0}, 10, 1.0},      // alpha is not looked at
      {{200, 100, 0, 255}, 100, 0.0},  // red and blue are not compared with each other
      {{50, 50, 50, 255}, -5, 1.0},    // a negative threshold counts every pixel that is not dark
      {{0, 0, 0, 255}, -5, 0.0},
      {{30, 40, 30, 255}, (int64_t(1) << 32) + 10, 0.0},  // only the low 32 bits count
      {{50, 50, 50, 255}, INT32_MIN, 1.0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.colour) + " threshold " + std::to_string(c.threshold));
    OwnedPicture picture(SolidPicture(3, 2, c.colour));
    EXPECT_EQ(ColornessQVL(picture, c.threshold), c.share);
  }
}

TEST_P(Analysis, ColournessIsTheShareOfAllPixels) {
  OwnedPicture picture(PaintedPicture(5, 3, [](int64_t x, int64_t y) {
    return x == 4 || y == 1 ? Rgba{0, 200, 0, 255} : Rgba{90, 90, 90, 255};
  }));
  EXPECT_DOUBLE_EQ(ColornessQVL(picture, 10), 7.0 / 15.0);
}

constexpr int64_t kWidth = 37, kHeight = 5;

// The answers of every read-only operation, as numbers.
std::vector<double> Answers(REALpictureStruct* noisy, const std::vector<REALpictureStruct*>& nearlySolid) {
  std::vector<double> answers;
  for (uint32_t colour : {0x000000u, 0x1E2980u, 0xFFFFFFu}) answers.push_back(double(CountColorQVL(noisy, colour)));
  for (int64_t threshold : {int64_t{INT32_MIN}, int64_t{-1}, int64_t{0}, int64_t{10}, int64_t{254}, int64_t{255}}) {
    answers.push_back(ColornessQVL(noisy, threshold));
  }
  for (REALpictureStruct* picture : nearlySolid) {
    answers.insert(answers.end(),
                   {double(isBlack2(picture)), double(isWhite2(picture)), double(isGray2(picture, 0)),
                    double(isGray2(picture, -2)), double(isGray2(picture, 3)), double(isWhite(picture, 5, 1, 31, 3))});
  }
  // The needle: one or two pixels from the picture's last row.
  for (int64_t width : {1, 2}) {
    OwnedPicture needle(PaintedPicture(
        width, 1, [&](int64_t x, int64_t) { return qvlhost::PixelRgba(noisy, kWidth - 3 + x, kHeight - 1); }));
    for (int64_t tolerance : {1, 2, 3, 40}) {
      int64_t x = 0, y = 0;
      answers.insert(answers.end(),
                     {double(FindPicture(noisy, needle, &x, &y, 3, 0, tolerance)), double(x), double(y)});
    }
  }
  return answers;
}

// A noisy picture whose channels lie on both sides of the rules'
// boundaries, so that many pixels match, count or fail; and pictures of one
// colour with one pixel off by one or three in a channel, at the start of a
// vector, inside one, in the tail and nowhere.
TEST_P(Analysis, EveryLevelAnswersAsTheRule) {
  static const uint8_t values[] = {0, 1, 29, 30, 40, 41, 128, 131, 254, 255};
  std::mt19937 random(GetParam().alphaInfo + 1);
  OwnedPicture noisy(PaintedPicture(kWidth, kHeight, [&](int64_t, int64_t) {
    return Rgba{values[random() % 10], values[random() % 10], values[random() % 10], uint8_t(random())};
  }));
  std::vector<OwnedPicture> owned;
  std::vector<REALpictureStruct*> nearlySolid;
  const Rgba solids[][2] = {{{0, 0, 0, 255}, {0, 1, 0, 255}},
                            {{255, 255, 255, 9}, {255, 255, 254, 9}},
                            {{128, 128, 128, 255}, {128, 131, 128, 255}}};
  for (const auto& [solid, off] : solids) {
    for (int64_t x : {-1, 0, 16, 21, 36}) {
      owned.emplace_back(SolidPicture(kWidth, kHeight, solid));
      if (x >= 0) qvlhost::SetPixelRgba(owned.back(), x, x % kHeight, off);
      nearlySolid.push_back(owned.back());
    }
  }
  CapVectorLevel(VectorLevel::Portable);
  const std::vector<double> rule = Answers(noisy, nearlySolid);
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    EXPECT_EQ(Answers(noisy, nearlySolid), rule) << NameOf(level);
  }
}

QVL_INSTANTIATE_LAYOUTS(Analysis);

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
  EXPECT_TRUE(!first && !third);
  EXPECT_EQ(second, given.get());
  EXPECT_EQ(Counter(given, 0), 0u);
  EXPECT_EQ(JournalCount("REALLockPictureDescription"), 0);
}

}  // namespace
