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

TEST_P(ThresholdTest, GreenAndBlueDecideRedTakesNoPart) {
  constexpr int64_t kMin = INT64_MIN, kMax = INT64_MAX;
  const std::tuple<int64_t, Rgba, bool> cases[] = {
      // threshold, colour, white
      {0, {0, 0, 0, 255}, true},          {-1, {0, 0, 0, 255}, true},          {kMin, {0, 0, 0, 255}, true},
      {256, {255, 255, 255, 255}, false}, {kMax, {255, 255, 255, 255}, false}, {255, {0, 255, 255, 255}, true},
      {1, {255, 0, 0, 255}, false},       {1, {0, 255, 255, 255}, true},       {1, {255, 0, 255, 255}, false},
      {1, {255, 255, 0, 255}, false},     {100, {0, 100, 100, 255}, true},     {100, {255, 99, 100, 255}, false},
      {100, {255, 100, 99, 255}, false}};
  for (auto [threshold, colour, white] : cases) {
    OwnedPicture source(SolidPicture(11, 2, colour));  // a block of eight and a tail
    OwnedPicture result(ThresholdQVL(source, threshold));
    ASSERT_NE(nullptr, result.get());
    for (int64_t y = 0; y < 2; ++y) {
      for (int64_t x = 0; x < 11; ++x)
        ASSERT_EQ(Word(GetParam(), white), qvlhost::PixelWord(result, x, y)) << threshold << " at " << x << "," << y;
      EXPECT_EQ(qvlhost::FreshRowPadding(GetParam().kind == Storage::CoreGraphics ? kRowPadding : 0),
                qvlhost::RowPadding(result, y));
    }
  }
}

TEST_P(ThresholdTest, ResultIsOpaqueKeepsAlphaChannelAndDropsMask) {
  OwnedPicture source(qvlhost::NewAlphaPicture(9, 3));  // fully transparent
  OwnedPicture mask(qvlhost::NewPicture(9, 3));
  qvlhost::SetPictureMask(source, mask);
  OwnedPicture result(ThresholdQVL(source, 0));
  ASSERT_NE(nullptr, result.get());
  EXPECT_TRUE(qvlhost::HasAlphaChannel(result));
  EXPECT_EQ(nullptr, qvlhost::PictureMask(result));
  for (int64_t x = 0; x < 9; ++x) EXPECT_EQ(255, qvlhost::PixelRgba(result, x, 2).a);
}

TEST_P(ThresholdTest, NilAndOversizedSourcesGiveNil) {
  ExpectNilAfterChecks(0, [] { return ThresholdQVL(nullptr, 10); });
  EXPECT_TRUE(qvlhost::Journal().empty());
  OwnedPicture wide(qvlhost::NewPicture(32768, 1));
  ExpectNilAfterChecks(1, [&] { return ThresholdQVL(wide, 10); });
  EXPECT_EQ(1, qvlhost::ReferenceCount(wide));
}

TEST_P(ThresholdTest, TracesAppearOnlyWithDebugging) {
  OwnedPicture source(SolidPicture(11, 2, {1, 2, 3, 255}));
  auto run = [&] { OwnedPicture result(ThresholdQVL(source, 2)); };
  {
    qvlhost::LogCapture quiet;
    run();
    EXPECT_TRUE(quiet.Lines().empty());
  }
  const std::vector<std::string> lines = TracedLines(run);
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ("QVL Debug: PictureEditor", lines[0]);
  EXPECT_EQ("QVL Debug: neu", lines[1]);
  EXPECT_EQ(0u, lines[2].rfind("QVL Debug: GetPictureReader ", 0));
  // The walk's last step asks writer and reader for the row below the picture.
  EXPECT_EQ(2, CountOf(lines, "y too big: 2 of 2 in GetRow"));
}

QVL_INSTANTIATE_LAYOUTS(ThresholdTest);

TEST_F(PluginTest, ThresholdNormalRunMakesTheseHostCallsInOrder) {
  OwnedPicture source(qvlhost::NewPicture(4, 3)), result;
  qvlhost::ClearJournal();
  EXPECT_EQ(ChecksDuring([&] { result = OwnedPicture(ThresholdQVL(source, 128)); }), 1);
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
}

}  // namespace
