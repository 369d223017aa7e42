// The host's graphics methods, found by declaration ignoring case and white
// space; its thick lines on Core Graphics pictures: an opaque pen, covered
// run by run, leaves exactly the pixels a translucent pen composes point by
// point.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "host_internal.h"
#include "qvl/host_methods.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedGraphics;
using qvlhost::OwnedPicture;

using DrawLineFn = void (*)(REALgraphicsStruct*, double, double, double, double);

constexpr int64_t kWidth = 11, kHeight = 9;

class HostLines : public LayoutTest {};

// Which pixels a line of the given pen changed on a white picture.
std::vector<bool> Drawn(uint32_t foreColor, double penWidth, double penHeight, const double (&line)[4]) {
  OwnedPicture picture(qvlhost::NewPicture(kWidth, kHeight));
  OwnedGraphics graphics(qvlhost::PictureGraphics(picture));
  auto* pen = qvlhost::Live<qvlhost::Graphics>(graphics.get(), "test");
  pen->foreColor = foreColor, pen->penWidth = penWidth, pen->penHeight = penHeight;
  auto draw = reinterpret_cast<DrawLineFn>(qvlhost::GraphicsMethod(QVL_GRAPHICS_DRAW_LINE_DOUBLE));
  draw(graphics, line[0], line[1], line[2], line[3]);
  std::vector<bool> drawn;
  for (int64_t y = 0; y < kHeight; ++y) {
    for (int64_t x = 0; x < kWidth; ++x) drawn.push_back(qvlhost::PixelRgba(picture, x, y).r != 255);
  }
  return drawn;
}

TEST_P(HostLines, OpaquePenCoversWhatTheTranslucentPenTouches) {
  std::mt19937 random(7);
  std::uniform_int_distribution<int> coordinate(-4, 14), side(1, 4);
  for (int i = 0; i < 300; ++i) {
    const double line[4] = {double(coordinate(random)), double(coordinate(random)), double(coordinate(random)),
                            double(coordinate(random))};
    const double penWidth = side(random), penHeight = side(random);
    SCOPED_TRACE(std::to_string(line[0]) + "," + std::to_string(line[1]) + " to " + std::to_string(line[2]) + "," +
                 std::to_string(line[3]) + " pen " + std::to_string(penWidth) + " x " + std::to_string(penHeight));
    // Black, opaque; and black with a transparency of 1, composed at every point.
    EXPECT_EQ(Drawn(0x000000, penWidth, penHeight, line), Drawn(0x01000000, penWidth, penHeight, line));
  }
}

TEST(HostGraphicsMethods, FoundByDeclarationIgnoringCaseAndWhiteSpace) {
  const void* drawLine = qvlhost::GraphicsMethod(QVL_GRAPHICS_DRAW_LINE_DOUBLE);
  ASSERT_NE(nullptr, drawLine);
  const struct {
    const char* declaration;
    bool found;
  } cases[] = {{"drawline(x1 as double,y1 as double,x2 as double,y2 as double)", true},
               {" DRAWLINE (\tx1 AS Double,\ny1 as Double, x2 as Double, y2 as Double )\r", true},
               {"DrawLine( x1 as Double, y1 as Double, x2 as Double )", false},
               {"DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Doubles )", false},
               {"Draw_Line( x1 as Double, y1 as Double, x2 as Double, y2 as Double )", false},
               {"", false}};
  for (const auto& c : cases)
    EXPECT_EQ(c.found ? drawLine : nullptr, qvlhost::GraphicsMethod(c.declaration)) << c.declaration;
}

// gd pictures are drawn by libgd itself.
std::vector<qvlhost::Storage> CoreGraphicsLayouts() {
  std::vector<qvlhost::Storage> layouts;
  for (const qvlhost::Storage& storage : qvlhost::Storage::SevenLayouts()) {
    if (storage.kind == qvlhost::Storage::CoreGraphics) layouts.push_back(storage);
  }
  return layouts;
}

INSTANTIATE_TEST_SUITE_P(Layouts, HostLines, ::testing::ValuesIn(CoreGraphicsLayouts()), LayoutName);

}  // namespace
