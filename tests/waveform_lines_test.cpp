// The antialiased line and its pixel: each case's walk and weights, the
// crossed green and blue, 16-bit extents, clipping; the host pen by version.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host_internal.h"
#include "support/plugin_test.h"
#include "waveform/lines.h"

namespace {

using qvlhost::OwnedGraphics;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

using Point = std::pair<int64_t, int64_t>;
// Weight left at each pixel a line touched.
using Weights = std::map<Point, int>;

constexpr Rgba kWhite{255, 255, 255, 255};

// A writer on a white picture with a black outline colour: a pixel drawn once
// at weight w then reads w in every channel, one never drawn reads 255.
class LineTest : public LayoutTest {
 protected:
  void SetUp() override {
    LayoutTest::SetUp();
    ASSERT_TRUE(writer_.NewPictureWriter(kSide, kSide));
    Fill(kWhite);
    gOutLineColorR = gOutLineColorG = gOutLineColorB = 0;
  }

  void TearDown() override {
    writer_.clear();
    LayoutTest::TearDown();
  }

  void Fill(Rgba colour) {
    for (int64_t i = 0; i < kSide * kSide; ++i) qvlhost::SetPixelRgba(writer_.picture, i % kSide, i / kSide, colour);
  }

  // Every pixel against the expected weights, 255 elsewhere; nothing
  // written into the bytes beyond each row.
  void ExpectWeights(const Weights& expected) {
    for (int64_t y = 0; y < kSide; ++y) {
      for (int64_t x = 0; x < kSide; ++x) {
        const auto found = expected.find({x, y});
        const auto want = uint8_t(found == expected.end() ? 255 : found->second);
        EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, x, y), (Rgba{want, want, want, 255})) << x << ", " << y;
      }
      if (GetParam().kind == qvlhost::Storage::CoreGraphics) {
        EXPECT_EQ(qvlhost::RowPadding(writer_.picture, y), qvlhost::FreshRowPadding(kRowPadding)) << "row " << y;
      }
    }
  }

  static constexpr int64_t kSide = 12;
  PictureWriter writer_;
};

struct LineCase {
  const char* name;
  int64_t x0, y0, x1, y1;
  Weights weights;
};

TEST_P(LineTest, EachCaseWalksItsPixels) {
  // clang-format off
  const LineCase cases[] = {
      {"a point is one pixel", 3, 3, 3, 3, {{{3, 3}, 0}}},
      {"horizontal, leftward", 5, 2, 2, 2, {{{5, 2}, 0}, {{4, 2}, 0}, {{3, 2}, 0}, {{2, 2}, 0}}},
      {"vertical, given downward", 1, 4, 1, 1, {{{1, 1}, 0}, {{1, 2}, 0}, {{1, 3}, 0}, {{1, 4}, 0}}},
      {"exact diagonal, no pairs", 2, 2, 3, 3, {{{2, 2}, 0}, {{3, 3}, 0}}},
      {"y-major, one pass: 128 and 127", 2, 1, 3, 3, {{{2, 1}, 0}, {{2, 2}, 128}, {{3, 2}, 127}, {{3, 3}, 0}}},
      {"y-major leftward: the pair lies left", 6, 1, 5, 3, {{{6, 1}, 0}, {{6, 2}, 128}, {{5, 2}, 127}, {{5, 3}, 0}}},
      // adjust 43690: the second pass turns the accumulator over to 21844,
      // so y moves and the main pixel gets 85 and its pair 170.
      {"x-major with a turn-over", 1, 1, 4, 3,
       {{{1, 1}, 0}, {{2, 1}, 170}, {{2, 2}, 85}, {{3, 2}, 85}, {{3, 3}, 170}, {{4, 3}, 0}}},
      {"x-major leftward: the pair still lies below", 4, 1, 1, 3,
       {{{4, 1}, 0}, {{3, 1}, 170}, {{3, 2}, 85}, {{2, 2}, 85}, {{2, 3}, 170}, {{1, 3}, 0}}},
      // dy of 40000 reads -25536 in 16 bits: the signed test makes it
      // x-major, and with one column it goes straight to the far end.
      {"a steep line whose dy wraps", 0, 0, 1, 40000, {{{0, 0}, 0}}},
      // Only the far end of a line given downward is narrowed to 16 bits:
      // there the last pixel lands in the picture, while the same line given
      // upward ends 65536 columns away. The walk is the same, as dx wraps alike.
      {"given downward, the far end narrowed", 65540, 4, 2, 1,
       {{{2, 1}, 0}, {{2, 2}, 170}, {{3, 2}, 85}, {{3, 3}, 85}, {{4, 3}, 170}, {{4, 4}, 0}}},
      {"given upward, the far end kept", 2, 1, 65540, 4,
       {{{2, 1}, 0}, {{2, 2}, 170}, {{3, 2}, 85}, {{3, 3}, 85}, {{4, 3}, 170}}},
      {"partly off the picture", -3, 2, 4, 2, {{{0, 2}, 0}, {{1, 2}, 0}, {{2, 2}, 0}, {{3, 2}, 0}, {{4, 2}, 0}}},
      {"wholly off, right and below", 20, -5, 30, 40, {}},
      {"wholly off, left", -40, 3, -1, 8, {}},
  };
  // clang-format on
  for (const LineCase& c : cases) {
    SCOPED_TRACE(c.name);
    Fill(kWhite);
    DrawWuLine(writer_, c.x0, c.y0, c.x1, c.y1);
    ExpectWeights(c.weights);
  }
}

// Ends far off the picture, in 16 bits and beyond, wrap into at most 65535
// steps, and nothing beyond the rows is touched.
TEST_P(LineTest, LinesFarOffTheRowsEndAndTouchNothingOutside) {
  const int64_t extremes[] = {INT64_MIN, INT64_MIN + 1, -70000, -1, kSide, 70000, INT64_MAX};
  for (int64_t a : extremes) {
    for (int64_t b : extremes) {
      DrawWuLine(writer_, a, 5, b, 6);
      DrawWuLine(writer_, 5, a, 6, b);
      DrawWuLine(writer_, a, b, b, a);
    }
  }
  DrawPixel(writer_, -1, 0, 0);
  DrawPixel(writer_, 0, kSide, 0);
  DrawPixel(writer_, kSide, 0, 0);
  for (int64_t y = 0; GetParam().kind == qvlhost::Storage::CoreGraphics && y < kSide; ++y)
    EXPECT_EQ(qvlhost::RowPadding(writer_.picture, y), qvlhost::FreshRowPadding(kRowPadding)) << "row " << y;
}

// The new green comes from the old blue and the new blue from the old
// green, so weight 255 exchanges them instead of keeping the pixel.
TEST_P(LineTest, DrawPixelCrossesGreenAndBlue) {
  Fill({10, 200, 50, 255});
  gOutLineColorR = 100;
  gOutLineColorG = 30;
  gOutLineColorB = 60;
  DrawPixel(writer_, 0, 0, 255);
  DrawPixel(writer_, 1, 0, 0);
  DrawPixel(writer_, 2, 0, 128);
  EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, 0, 0), (Rgba{10, 50, 200, 255}));
  EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, 1, 0), (Rgba{100, 30, 60, 255}));
  // (10*128 + 100*127)/255, (50*128 + 30*127)/255, (200*128 + 60*127)/255
  EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, 2, 0), (Rgba{54, 40, 130, 255}));
  EXPECT_EQ(qvlhost::PixelRgba(writer_.picture, 3, 0), (Rgba{10, 200, 50, 255}));
}

QVL_INSTANTIATE_LAYOUTS(LineTest);

struct PenCase {
  const char* name;
  double version;
  std::vector<std::string> failing;
  std::vector<std::string> hidden;
  double pen;         // width and height afterwards
  const char* calls;  // the setters called, in order
};

class GraphicsPen : public PluginTest, public testing::WithParamInterface<PenCase> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = GetParam().version;
    config.failingProperties.insert(GetParam().failing.begin(), GetParam().failing.end());
    config.hiddenEntries.insert(GetParam().hidden.begin(), GetParam().hidden.end());
    return config;
  }
};

// The pen's height first, then its width, as an outline sets them.
TEST_P(GraphicsPen, SetByHostVersion) {
  OwnedPicture picture(qvlhost::NewPicture(4, 4));
  OwnedGraphics graphics(qvlhost::PictureGraphics(picture));
  qvlhost::ClearJournal();
  SetGraphicsPenHeight(graphics, 2.75);
  SetGraphicsPenWidth(graphics, 2.75);
  std::string calls;
  for (const qvlhost::JournalEntry& entry : qvlhost::Journal()) {
    calls += (calls.empty() ? "" : "; ") + entry.entry.substr(std::strlen("REALSetPropValue")) + " " + entry.detail;
  }
  EXPECT_EQ(calls, GetParam().calls);
  auto* pen = qvlhost::Live<qvlhost::Graphics>(graphics.get(), "test");
  ASSERT_NE(pen, nullptr);
  EXPECT_EQ(pen->penWidth, GetParam().pen);
  EXPECT_EQ(pen->penHeight, GetParam().pen);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Versions, GraphicsPen, testing::Values(
    PenCase{"Before2018r2", 2018.01, {}, {}, 2, R"(Integer "PenHeight", 2; Integer "PenWidth", 2)"},
    PenCase{"PenSize", 2018.02, {}, {}, 2.75, R"(Double "PenSize", 2.75; Double "PenSize", 2.75)"},
    PenCase{"NoPenSize", 2020.0, {"PenSize"}, {}, 2.75,
            R"(Double "PenSize", 2.75; Double "PenHeight", 2.75; Double "PenSize", 2.75; Double "PenWidth", 2.75)"},
    PenCase{"NoDoubleSetter", 2020.0, {}, {"REALSetPropValueDouble"}, 2,
            R"(Integer "PenHeight", 2; Integer "PenWidth", 2)"},
    PenCase{"Nowhere", 2020.0, {"PenSize", "PenWidth", "PenHeight"}, {}, 1,
            R"(Double "PenSize", 2.75; Double "PenHeight", 2.75; Integer "PenHeight", 2; )"
            R"(Double "PenSize", 2.75; Double "PenWidth", 2.75; Integer "PenWidth", 2)"}),
    [](const testing::TestParamInfo<PenCase>& info) { return std::string(info.param.name); });
// clang-format on

}  // namespace
