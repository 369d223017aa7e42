// Colourness at every vector level against the per-pixel rule, on rows wide
// enough for the widest vectors, with channels around the dark limit and
// differences around the thresholds.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "analysis/uniformity.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class ColournessRows : public LayoutTest {};

TEST_P(ColournessRows, EveryLevelAnswersAsTheRule) {
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

QVL_INSTANTIATE_LAYOUTS(ColournessRows);

}  // namespace
