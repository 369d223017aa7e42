// The vector rows of the read-only operations, in all seven layouts: at
// every level the processor has, each answer is the per-pixel rule's (the
// portable level's). Rows of 37 pixels leave a partial vector at every level.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

constexpr int64_t kWidth = 37, kHeight = 5;

// Channels drawn from values on both sides of the rules' boundaries, so
// that many pixels match, count or fail.
REALpictureStruct* BoundaryPicture(uint32_t seed) {
  static const uint8_t values[] = {0, 1, 29, 30, 40, 41, 128, 131, 254, 255};
  std::mt19937 random(seed);
  return PaintedPicture(kWidth, kHeight, [&](int64_t, int64_t) {
    return Rgba{values[random() % 10], values[random() % 10], values[random() % 10], uint8_t(random())};
  });
}

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

class AnalysisRows : public LayoutTest {};

// Pictures of one colour with one pixel off by one or three in a channel,
// at the start of a vector, inside one, in the tail and nowhere.
TEST_P(AnalysisRows, EveryLevelAnswersAsTheRule) {
  OwnedPicture noisy(BoundaryPicture(GetParam().alphaInfo + 1));
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

QVL_INSTANTIATE_LAYOUTS(AnalysisRows);

}  // namespace
