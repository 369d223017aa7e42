// The uniformity tests and the colourness share, in all seven layouts: the
// pixel rules, the rectangle rules and the boundaries of colourness.
#include "analysis/uniformity.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>

#include "registrationclient/registration_check.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

class Uniformity : public LayoutTest {};

// One colour filling a picture, and what each test answers about it.
TEST_P(Uniformity, PixelRules) {
  const struct {
    Rgba colour;
    bool black, white, grey0, grey1, greyMinus1, grey2;
  } cases[] = {
      {{0, 0, 0, 255}, true, false, true, true, true, true},
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

// Alpha is not looked at: a fully transparent picture is black.
TEST_P(Uniformity, TransparentBlackIsBlack) {
  OwnedPicture picture(qvlhost::NewAlphaPicture(4, 3));
  EXPECT_TRUE(isBlack2(picture));
  EXPECT_FALSE(isWhite2(picture));
}

// A 6 x 5 white picture with one black pixel at (2, 2).
REALpictureStruct* WhiteWithBlackAt22() {
  return PaintedPicture(6, 5, [](int64_t x, int64_t y) {
    return x == 2 && y == 2 ? Rgba{0, 0, 0, 255} : Rgba{255, 255, 255, 255};
  });
}

TEST_P(Uniformity, RectangleRules) {
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

TEST_P(Uniformity, NilPictureAfterTheCheck) {
  const int64_t checks = RegistrationCheckCalls();
  EXPECT_FALSE(isBlack2(nullptr));
  EXPECT_FALSE(isWhite(nullptr, 0, 0, 0, 0));
  EXPECT_FALSE(isGray2(nullptr, 0));
  EXPECT_EQ(ColornessQVL(nullptr, 10), 0.0);
  EXPECT_EQ(RegistrationCheckCalls(), checks + 4);
}

// Colourness of a picture of one colour: 1 when it counts, 0 when not.
TEST_P(Uniformity, ColournessBoundaries) {
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

TEST_P(Uniformity, ColournessIsTheShareOfAllPixels) {
  OwnedPicture picture(PaintedPicture(5, 3, [](int64_t x, int64_t y) {
    return x == 4 || y == 1 ? Rgba{0, 200, 0, 255} : Rgba{90, 90, 90, 255};
  }));
  EXPECT_DOUBLE_EQ(ColornessQVL(picture, 10), 7.0 / 15.0);
}

QVL_INSTANTIATE_LAYOUTS(Uniformity);

}  // namespace
