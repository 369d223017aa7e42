// ThresholdQVL: white where green and blue both reach the threshold, black
// elsewhere, in every layout; and the filter frame around it.
#include "filters/threshold.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Storage;

using ThresholdTest = LayoutTest;

// The word the opaque write stores for white or black in this layout.
uint32_t Word(const Storage& storage, bool white) {
  if (storage.kind == Storage::GDTrueColor) return white ? 0x00FFFFFF : 0;
  if (storage.alphaInfo % 2 == 1) return white ? 0xFFFFFFFF : 0xFF000000;
  return white ? 0xFFFFFFFF : 0x000000FF;
}

// White where green and blue both reach the threshold; the result keeps the
// source's alpha channel, opaque, and drops its mask.
TEST_P(ThresholdTest, GreenAndBlueDecideRedTakesNoPart) {
  constexpr int64_t kMin = INT64_MIN, kMax = INT64_MAX;
  const std::tuple<int64_t, Rgba, bool> cases[] = {
      // threshold, colour, white
      {0, Opaque(0, 0, 0), true},          {-1, Opaque(0, 0, 0), true},          {kMin, Opaque(0, 0, 0), true},
      {256, Opaque(255, 255, 255), false}, {kMax, Opaque(255, 255, 255), false}, {255, Opaque(0, 255, 255), true},
      {1, Opaque(255, 0, 255), false},     {1, Opaque(255, 255, 0), false},      {100, Opaque(0, 100, 100), true},
      {100, Opaque(255, 99, 100), false},  {100, Opaque(255, 100, 99), false}};
  OwnedPicture mask(qvlhost::NewPicture(11, 2));
  for (const bool alpha : {false, true}) {
    for (auto [threshold, colour, white] : cases) {
      colour.a = alpha ? 0 : 255;
      // A block of eight and a tail; with alpha, fully transparent.
      OwnedPicture source(PaintedPicture(
          11, 2, [&](int64_t, int64_t) { return colour; }, alpha));
      qvlhost::SetPictureMask(source, mask);
      OwnedPicture result(ThresholdQVL(source, threshold));
      ASSERT_NE(nullptr, result.get());
      EXPECT_EQ(alpha, qvlhost::HasAlphaChannel(result));
      EXPECT_EQ(nullptr, qvlhost::PictureMask(result));
      for (int64_t y = 0; y < 2; ++y) {
        for (int64_t x = 0; x < 11; ++x)
          ASSERT_EQ(Word(GetParam(), white), qvlhost::PixelWord(result, x, y)) << threshold << " at " << x << "," << y;
        EXPECT_EQ(qvlhost::FreshRowPadding(GetParam().kind == Storage::CoreGraphics ? kRowPadding : 0),
                  qvlhost::RowPadding(result, y));
      }
    }
  }
}

TEST_P(ThresholdTest, NilAndOversizedSourcesGiveNil) {
  ExpectNilAfterChecks(0, [] { return ThresholdQVL(nullptr, 10); });
  EXPECT_TRUE(qvlhost::Journal().empty());
  OwnedPicture wide(qvlhost::NewPicture(32768, 1));
  ExpectNilAfterChecks(1, [&] { return ThresholdQVL(wide, 10); });
  EXPECT_EQ(1, qvlhost::ReferenceCount(wide));
}

QVL_INSTANTIATE_LAYOUTS(ThresholdTest);

// A plain run: its host calls in order; with tracing the first steps and the
// walk's last step, which asks writer and reader for the row below the
// picture; nothing written without.
TEST_F(PluginTest, ThresholdNormalRunMakesTheseHostCallsAndTraces) {
  OwnedPicture source(qvlhost::NewPicture(4, 3)), result;
  qvlhost::ClearJournal();
  const std::vector<std::string> lines =
      TracedLines([&] { EXPECT_EQ(ChecksDuring([&] { result = OwnedPicture(ThresholdQVL(source, 128)); }), 1); });
  ASSERT_NE(nullptr, result.get());
  const std::vector<std::string> acquire = {"PluginPictureGetType",       "REALGetPropValueBool",
                                            "REALLockPictureDescription", "REALLockObject",
                                            "REALGetPropValueInteger",    "REALGetPropValueInteger"};
  std::vector<std::string> expected(3, "pluginObjectType");
  expected.insert(expected.end(), acquire.begin(), acquire.end());
  expected.push_back("newPicture");
  expected.insert(expected.end(), acquire.begin(), acquire.end());
  expected.insert(expected.end(),
                  {"REALUnlockObject", "REALLockObject", "REALPictureClearCache", "REALSetPropValueInteger",
                   "REALSetPropValueInteger", "unlockPictureDescription", "REALPictureClearCache", "REALUnlockObject",
                   "unlockPictureDescription", "REALUnlockObject"});
  EXPECT_EQ(expected, qvlhost::JournalEntryNames());
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ("QVL Debug: PictureEditor", lines[0]);
  EXPECT_EQ("QVL Debug: neu", lines[1]);
  EXPECT_EQ(0u, lines[2].rfind("QVL Debug: GetPictureReader ", 0));
  EXPECT_EQ(2, CountOf(lines, "y too big: 3 of 3 in GetRow"));
  qvlhost::LogCapture quiet;
  OwnedPicture untraced(ThresholdQVL(source, 128));
  EXPECT_TRUE(quiet.Lines().empty());
}

}  // namespace
