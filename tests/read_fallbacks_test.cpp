// Pictures the storage forms refuse, read through ThresholdQVL: a HiDPI
// picture's best representation, a vector or alpha-info-0 picture's drawn
// duplicate with its mask, alpha and resolutions, and the drawing itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "filters/threshold.h"
#include "picture/fallbacks.h"
#include "support/every_pixel.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Storage;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Ne;
using Lines = std::vector<std::string>;

constexpr const char* kDrawDouble =
    "DrawPicture(Image as Picture, x as Double, y as Double, w as Double, h as Double, sx as Double = 0, sy as "
    "Double = 0, sw as Double = -10000, sh as Double = -10000)";
constexpr const char* kDrawInteger =
    "DrawPicture(Image as Picture, x as Integer, y as Integer, w as Integer, h as Integer, sx as Integer = 0, sy as "
    "Integer = 0, sw as Integer = -10000, sh as Integer = -10000)";
constexpr const char* kBest = "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture";
constexpr const char* kMaskGetter = "Mask(create As Boolean = True) As Picture";
constexpr const char* kMaskSetter = "Mask(assigns newMask As Picture)";

constexpr int64_t kMutable = 2, kVector = 1;

// A picture of this kind whose columns' green and blue climb by 60 a column,
// so that a threshold of 100 turns the first two black and the rest white.
REALpictureStruct* Ramp(int64_t width, int64_t height, int64_t kind = kMutable, uint8_t alpha = 255) {
  REALpictureStruct* pic = alpha == 255 ? qvlhost::NewPicture(width, height) : qvlhost::NewAlphaPicture(width, height);
  for (int64_t y = 0; y < height; ++y)
    for (int64_t x = 0; x < width; ++x)
      qvlhost::SetPixelColour(pic, x, y, Rgba{uint8_t(200 - y), uint8_t(x * 60), uint8_t(x * 60), alpha});
  qvlhost::SetPictureKind(pic, kind);
  return pic;
}

// Whether `wanted` appears in `names` in this order, other names between.
bool InOrder(const Lines& names, const Lines& wanted) {
  size_t next = 0;
  for (const std::string& name : names) next += next < wanted.size() && name == wanted[next];
  return next == wanted.size();
}

// The details of the journaled calls through this entry.
Lines CallDetails(const std::string& entry) {
  Lines details;
  for (const qvlhost::JournalEntry& call : qvlhost::Journal())
    if (call.entry == entry) details.push_back(call.detail);
  return details;
}

// How often REALLoadObjectMethod was asked for this declaration.
int64_t LoadCount(const std::string& declaration) {
  return CountOf(CallDetails("REALLoadObjectMethod"), "\"" + declaration + "\"");
}

using ReadFallbackTest = PluginTest;

// From 2016.0 a HiDPI picture is read through the representation the host
// picks for four times its size, here the larger bitmap; directly below, its
// own pixels at its size are read. A vector representation is drawn at four
// times the size.
TEST_F(ReadFallbackTest, HiDPIAndVectorRepresentationsReadThroughBestRepresentation) {
  // Version, picture kind, BestRepresentation hidden, the width read, BestRepresentation asked.
  const std::tuple<double, int64_t, bool, int64_t, bool> cases[] = {{2016.0, 0, false, 8, true},
                                                                    {2015.99, 0, false, 4, false},
                                                                    {2016.0, 0, true, 4, false},
                                                                    {2016.0, 3, false, 16, true}};
  for (auto [version, kind, bestHidden, width, asked] : cases) {
    SCOPED_TRACE(version);
    SetHostVersion(version);
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (bestHidden) qvlhost::CurrentConfig().hiddenMethods.insert(kBest);
    OwnedPicture small(Ramp(4, 2)), large(Ramp(8, 4));
    qvlhost::SetPixelColour(large, 7, 3, Rgba{0, 0, 0, 255});  // tells the bitmaps apart
    OwnedPicture pic(kind == 0 ? qvlhost::NewHiDPIPicture(4, 2, {small, large}) : Ramp(4, 2, kVector));
    qvlhost::SetPictureKind(pic, kind);
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    EXPECT_EQ(asked ? Lines{"4, 2, 4"} : Lines{}, CallDetails(kBest));
    EXPECT_EQ(bestHidden, TraceCount(lines, "BestRepresentation missing") == 1);
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(width, qvlhost::PictureWidth(result));
    if (kind == 0) ExpectSamePicture(result, OwnedPicture(ThresholdQVL(width == 8 ? large : small, 100)));
  }
}

// A vector picture, or one of alpha info 0, which is refused even at 32 bits,
// is drawn into a plain 32-bit duplicate, which is read instead; the Double
// DrawPicture from 2018.02, the Integer one below, and without a method the
// own copy, which a Core Graphics source refuses.
TEST_F(ReadFallbackTest, VectorAndAlphaInfoZeroPicturesAreReadThroughADrawnDuplicate) {
  // The version, the DrawPicture it draws with (none where that one is hidden), alpha info 0.
  const std::tuple<double, const char*, bool> cases[] = {{2018.02, kDrawDouble, false},
                                                         {2018.01, kDrawInteger, false},
                                                         {2018.02, nullptr, false},
                                                         {2017.0, nullptr, false},
                                                         {2024.03, kDrawDouble, true}};
  for (auto [version, drawnWith, alphaInfoZero] : cases) {
    SCOPED_TRACE(version);
    SetHostVersion(version);
    const bool doubleDeclaration = version >= 2018.02;  // one declaration by the host's version, never the other
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (!drawnWith) qvlhost::CurrentConfig().hiddenMethods.insert(doubleDeclaration ? kDrawDouble : kDrawInteger);
    if (alphaInfoZero) qvlhost::CurrentConfig().storage = Storage::CG(0);
    OwnedPicture pic(Ramp(5, 2, alphaInfoZero ? kMutable : kVector));
    qvlhost::CurrentConfig().storage = Storage::CG(2);
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    EXPECT_TRUE(InOrder(lines, {"QVL Debug: Trying clone....", "QVL Debug: MyREALNewPicture 5, 2, 32",
                                "QVL Debug: set resoluton to 72, 72"}));
    EXPECT_EQ(drawnWith == nullptr, TraceCount(lines, "drawpicture failes?") == 1);
    EXPECT_EQ(1, LoadCount(doubleDeclaration ? kDrawDouble : kDrawInteger));
    EXPECT_EQ(0, LoadCount(doubleDeclaration ? kDrawInteger : kDrawDouble));
    if (drawnWith) {
      EXPECT_EQ(1, JournalCount(drawnWith));
      EXPECT_EQ(0, JournalCount("PluginNewInstance"));  // no alpha channel asked for
      ExpectSamePicture(result, OwnedPicture(ThresholdQVL(OwnedPicture(Ramp(5, 2)), 100)));
    } else {
      EXPECT_THAT(lines, Contains("QVL Debug: REALLockPictureDescription failed for source picture."));
      EXPECT_EQ(0xFFFFFFFFu, qvlhost::PixelWord(result, 0, 0));  // the duplicate stayed white
    }
  }
}

// A source with alpha gets a duplicate with alpha, made by the Picture
// constructor, and its mask is left on; one without alpha loses its mask for
// the copy only, through the getter of the host's version. The source's
// resolutions go to the duplicate when both read as 1 or more; otherwise it
// keeps the host's default.
TEST_F(ReadFallbackTest, DuplicateKeepsAlphaAndResolutionsAndDrawsWithoutTheMask) {
  // Version, alpha, the mask getter used, the source's resolutions, reading the horizontal one fails.
  using Case = std::tuple<double, uint8_t, const char*, int64_t, int64_t, bool>;
  const Case cases[] = {{2020.0, 255, "REALGetPictureMask", 144, 96, false},
                        {2020.01, 255, kMaskGetter, 0, 96, false},
                        {2024.0, 128, nullptr, 144, 0, false},
                        {2024.0, 128, nullptr, 144, 96, true}};
  qvlhost::CurrentConfig().newPictureResolution = 300;
  for (auto [version, alpha, maskGetter, horizontal, vertical, failing] : cases) {
    SCOPED_TRACE(testing::Message() << version << " " << horizontal << " " << vertical);
    SetHostVersion(version);
    OwnedPicture pic(Ramp(3, 2, kVector, alpha)), mask(qvlhost::NewPicture(3, 2));
    qvlhost::SetPictureMask(pic, mask);
    qvlhost::SetResolution(pic, horizontal, vertical);
    qvlhost::CurrentConfig().failingProperties.clear();
    if (failing) qvlhost::CurrentConfig().failingProperties.insert("HorizontalResolution");
    qvlhost::ClearJournal();
    {
      PictureReader reader(pic);
      ASSERT_NE(nullptr, reader.picture);
      EXPECT_EQ(alpha != 255, reader.HasAlphaChannel);
      EXPECT_EQ(nullptr, qvlhost::PictureMask(reader.picture));
      EXPECT_EQ(alpha, qvlhost::PixelColour(reader.picture, 1, 1).a);
      const bool carried = horizontal > 0 && vertical > 0 && !failing;
      EXPECT_EQ(carried ? horizontal : 300, qvlhost::HorizontalResolution(reader.picture));
      EXPECT_EQ(carried ? vertical : 300, qvlhost::VerticalResolution(reader.picture));
    }
    EXPECT_EQ(mask.get(), qvlhost::PictureMask(pic));
    if (!maskGetter) {
      EXPECT_EQ(0, JournalCount(kMaskSetter));
      EXPECT_EQ(1, JournalCount("PluginNewInstance"));
      continue;
    }
    EXPECT_TRUE(InOrder(qvlhost::JournalEntryNames(), {maskGetter, kMaskSetter, "newPicture", kDrawDouble, kMaskSetter,
                                                       "REALUnlockObject", "REALGetPropValueInteger"}));
    EXPECT_THAT(CallDetails(kMaskSetter), ElementsAre("nil", Ne("nil")));
  }
}

// Without a DrawPicture method a gd image is copied row by row when the
// sizes agree; otherwise, or when a description can't be locked, the
// destination stays as it was and every lock is given back.
TEST_F(ReadFallbackTest, OwnCopyOfGDImagesWithoutDrawPicture) {
  qvlhost::CurrentConfig().storage = Storage::GD();
  qvlhost::CurrentConfig().hiddenMethods = {kDrawDouble};
  // The destination's width and kind, whether it is copied into, a word traced.
  const std::tuple<int64_t, int64_t, bool, const char*> cases[] = {
      {4, 2, true, "copied"},
      {5, 2, false, nullptr},
      {4, 1, false, "REALLockPictureDescription failed for destinatiom picture."}};
  for (auto [destWidth, destKind, copied, word] : cases) {
    SCOPED_TRACE(destWidth);
    OwnedPicture source(Ramp(4, 3)), dest(qvlhost::NewPicture(destWidth, 3));
    qvlhost::SetPictureKind(dest, destKind);
    qvlhost::ClearJournal();
    const Lines lines = TracedLines([&, w = destWidth] { GraphicsDrawPicture(dest, source, 0, 0, w, 3, 0, 0, 4, 3); });
    EXPECT_TRUE(
        InOrder(lines, {"QVL Debug: Failed to get DrawPicture function.", "QVL Debug: drawpicture failes?",
                        "QVL Debug: OwnCopy", "QVL Debug: dw " + std::to_string(destWidth), "QVL Debug: sw 4"}));
    EXPECT_TRUE(!word || TraceCount(lines, word) == 1);
    EXPECT_EQ(destWidth == 4 ? 1 : 0, qvlhost::CacheClearCount(dest));
    EXPECT_EQ(destWidth == 4 ? 2 : 0, JournalCount("REALLockPictureDescription"));
    EXPECT_EQ(copied, qvlhost::PixelWord(dest, 3, 2) == qvlhost::PixelWord(source, 3, 2));
    if (copied) {
      EXPECT_TRUE(InOrder(lines, {"QVL Debug: sourcep.pictureType 10", "QVL Debug: sourcep.width 4",
                                  "QVL Debug: destp.depth 32", "QVL Debug: copied"}));
    }
  }
}

TEST_F(ReadFallbackTest, PictureWithoutGraphicsIsLeftAsItIs) {
  OwnedPicture source(Ramp(2, 2));
  qvlhost::OwnedObject empty(qvlhost::NewObject("Picture"));
  EXPECT_THAT(TracedLines([&] {
                GraphicsDrawPicture(static_cast<REALpictureStruct*>(empty.get()), source, 0, 0, 2, 2, 0, 0, 2, 2);
              }),
              Contains("QVL Debug: Failed to get graphics."));
  EXPECT_EQ(0, JournalCount("REALLoadObjectMethod"));
}

}  // namespace
