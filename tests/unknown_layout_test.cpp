// The uniformity tests and colourness on a reader whose layout is none of
// the known ones, and colourness of a reader without pixels. No host picture
// acquires that way, so the tests change the acquired reader.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "analysis/uniformity.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class UnknownLayout : public PluginTest, public ::testing::WithParamInterface<uint32_t> {};

struct UnknownCase {
  Uniformity uniformity;
  int64_t tolerance;
  bool passes;
};

// A red picture, so that every known layout fails all three tests.
TEST_P(UnknownLayout, UniformityTestsAnswerAsTheirRowsGuard) {
  const UnknownCase cases[] = {{Uniformity::Black, 0, true},
                               {Uniformity::White, 0, false},
                               {Uniformity::Grey, 0, true},
                               {Uniformity::Grey, -3, true}};
  OwnedPicture red(SolidPicture(5, 4, Rgba{200, 0, 0, 255}));
  // Each answer from a reader of its own: a failing test clears its reader.
  const auto answer = [&](const UnknownCase& c, bool known, int64_t width) {
    PictureReader reader(red);
    if (!known) reader.pictureType = GetParam();
    return TestAcquired(reader, c.uniformity, c.tolerance, 1, 1, width, 2);
  };
  for (const UnknownCase& c : cases) {
    SCOPED_TRACE(static_cast<int>(c.uniformity));
    EXPECT_FALSE(answer(c, true, 2));
    EXPECT_EQ(answer(c, false, 2), c.passes);
    // An empty rectangle passes before any pixel is read.
    EXPECT_TRUE(answer(c, false, 0));
  }
}

TEST_P(UnknownLayout, ColournessCountsNothing) {
  OwnedPicture red(SolidPicture(5, 4, Rgba{200, 0, 0, 255}));
  PictureReader reader(red);
  EXPECT_EQ(ColournessOfAcquired(reader, 10), 1.0);
  reader.pictureType = GetParam();
  EXPECT_EQ(ColournessOfAcquired(reader, 10), 0.0);
}

INSTANTIATE_TEST_SUITE_P(Types, UnknownLayout, ::testing::Values(0u, 7u, 9u, 255u));

class NoPixels : public PluginTest {};

TEST_F(NoPixels, ColournessIsZeroByZero) {
  OwnedPicture picture(SolidPicture(3, 3, Rgba{200, 0, 0, 255}));
  PictureReader reader(picture);
  reader.Width = 0;
  reader.Height = 0;
  EXPECT_TRUE(std::isnan(ColournessOfAcquired(reader, 10)));
}

}  // namespace
