// Colourness and the uniformity tests at every vector level against the
// per-pixel rule, on rows wide enough for several of the widest vectors:
// channels around the dark limit and differences around the thresholds, and
// one odd pixel anywhere in a row that passes.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "analysis/uniformity.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class AnalysisRows : public LayoutTest {};

TEST_P(AnalysisRows, ColournessAnswersAsTheRule) {
  const uint8_t near[] = {0, 1, 28, 29, 30, 31, 99, 100, 101, 109, 110, 111, 200, 254, 255};
  std::mt19937 random(7);
  const auto channel = [&] { return random() % 2 ? near[random() % sizeof near] : static_cast<uint8_t>(random()); };
  OwnedPicture picture(PaintedPicture(300, 3, [&](int64_t, int64_t) {
    return Rgba{channel(), channel(), channel(), static_cast<uint8_t>(random())};
  }));
  for (int64_t threshold : {int64_t{INT32_MIN}, int64_t{-1}, int64_t{0}, int64_t{1}, int64_t{10}, int64_t{100},
                            int64_t{254}, int64_t{255}, int64_t{256}}) {
    SCOPED_TRACE(threshold);
    CapVectorLevel(VectorLevel::Portable);
    const double rule = ColornessQVL(picture, threshold);
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      EXPECT_EQ(ColornessQVL(picture, threshold), rule) << NameOf(level);
    }
  }
}

// Solid rows of 150 pixels, one of them changed: the answer of each test,
// with the rule's for every place of the odd pixel.
TEST_P(AnalysisRows, UniformityTestsAnswerAsTheRule) {
  const Rgba solids[] = {{0, 0, 0, 255}, {255, 255, 255, 255}, {90, 90, 90, 255}};
  const Rgba odd[] = {{0, 0, 1, 255}, {255, 254, 255, 255}, {90, 93, 90, 255}, {90, 96, 90, 255}};
  for (const Rgba& solid : solids) {
    for (const Rgba& other : odd) {
      for (int64_t x : {0, 15, 16, 31, 63, 64, 100, 127, 128, 149}) {
        SCOPED_TRACE(testing::PrintToString(solid) + " " + testing::PrintToString(other) + " at " + std::to_string(x));
        OwnedPicture picture(
            PaintedPicture(150, 2, [&](int64_t px, int64_t py) { return px == x && py == 1 ? other : solid; }));
        const auto answers = [&] {
          return std::vector<bool>{isBlack2(picture), isWhite2(picture), isGray2(picture, 0), isGray2(picture, 4),
                                   isWhite(picture, 1, 0, 140, 2)};
        };
        CapVectorLevel(VectorLevel::Portable);
        const std::vector<bool> rule = answers();
        for (VectorLevel level : kEveryVectorLevel) {
          CapVectorLevel(level);
          EXPECT_EQ(answers(), rule) << NameOf(level);
        }
      }
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(AnalysisRows);

}  // namespace
