// Pictures the storage forms refuse, read through ThresholdQVL: a HiDPI
// picture's best representation, a vector or alpha-info-0 picture's drawn
// duplicate with its mask, alpha and resolutions, and the drawing itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
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

// Columns whose green and blue climb by 60 a column, so that a threshold of
// 100 turns the first two black and the rest white.
REALpictureStruct* Ramp(int64_t width, int64_t height, uint8_t alpha = 255) {
  REALpictureStruct* pic = alpha == 255 ? qvlhost::NewPicture(width, height) : qvlhost::NewAlphaPicture(width, height);
  for (int64_t y = 0; y < height; ++y)
    for (int64_t x = 0; x < width; ++x)
      qvlhost::SetPixelColour(pic, x, y, Rgba{uint8_t(200 - y), uint8_t(x * 60), uint8_t(x * 60), alpha});
  return pic;
}

// What ThresholdQVL gives for a plain mutable picture of these pixels.
void ExpectThresholdOf(REALpictureStruct* expectedSource, REALpictureStruct* result) {
  ExpectSamePicture(result, OwnedPicture(ThresholdQVL(expectedSource, 100)));
}

// Whether `wanted` appears in `names` in this order, other names between.
bool InOrder(const Lines& names, const Lines& wanted) {
  size_t next = 0;
  for (const std::string& name : names) next += next < wanted.size() && name == wanted[next];
  return next == wanted.size();
}

const qvlhost::JournalEntry* FindCall(const std::string& entry) {
  for (const qvlhost::JournalEntry& call : qvlhost::Journal())
    if (call.entry == entry) return &call;
  return nullptr;
}

// How often REALLoadObjectMethod was asked for this declaration.
int64_t LoadCount(const std::string& declaration) {
  int64_t count = 0;
  for (const qvlhost::JournalEntry& call : qvlhost::Journal())
    count += call.entry == "REALLoadObjectMethod" && call.detail == "\"" + declaration + "\"";
  return count;
}

class ReadFallbackTest : public PluginTest {
 protected:
  void SetVersion(double version) { qvlhost::CurrentConfig().version = rbversion_rbversion = version; }
  // A vector picture (kind 1) that draws as a ramp.
  REALpictureStruct* Vector(int64_t width, int64_t height, uint8_t alpha = 255) {
    REALpictureStruct* pic = Ramp(width, height, alpha);
    qvlhost::SetPictureKind(pic, 1);
    return pic;
  }
};

// From 2016.0 a HiDPI picture is read through the representation the host
// picks for four times its size, here the larger bitmap; directly below, its
// own pixels at its size are read. A vector representation is drawn at four
// times the size.
TEST_F(ReadFallbackTest, HiDPIAndVectorRepresentationsReadThroughBestRepresentation) {
  const struct {
    double version;
    int64_t kind;
    bool bestHidden;
    int64_t width;
    bool asked;
  } cases[] = {{2016.0, 0, false, 8, true},
               {2015.99, 0, false, 4, false},
               {2016.0, 0, true, 4, false},
               {2016.0, 3, false, 16, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    SetVersion(c.version);
    qvlhost::CurrentConfig().hiddenMethods.clear();
    if (c.bestHidden) qvlhost::CurrentConfig().hiddenMethods.insert(kBest);
    OwnedPicture small(Ramp(4, 2)), large(Ramp(8, 4));
    qvlhost::SetPixelColour(large, 7, 3, Rgba{0, 0, 0, 255});  // tells the bitmaps apart
    OwnedPicture pic(c.kind == 0 ? qvlhost::NewHiDPIPicture(4, 2, {small, large}) : Vector(4, 2));
    qvlhost::SetPictureKind(pic, c.kind);
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    const qvlhost::JournalEntry* best = FindCall(kBest);
    EXPECT_EQ(c.asked, best != nullptr);
    EXPECT_EQ(c.asked ? "4, 2, 4" : "", best ? best->detail : "");
    EXPECT_EQ(c.bestHidden, CountOf(lines, "QVL Debug: BestRepresentation missing") == 1);
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(c.width, qvlhost::PictureWidth(result));
    if (c.kind == 0) ExpectThresholdOf(c.width == 8 ? large : small, result);
  }
}

// A vector picture is drawn into a plain 32-bit duplicate, which is read
// instead; the Double DrawPicture from 2018.02, the Integer one below, and
// without a method the own copy, which a Core Graphics source refuses.
TEST_F(ReadFallbackTest, VectorPictureIsReadThroughADrawnDuplicate) {
  const struct {
    double version;
    std::vector<std::string> hidden;
    const char* drawnWith;
  } cases[] = {{2018.02, {}, kDrawDouble},
               {2018.01, {}, kDrawInteger},
               {2018.02, {kDrawDouble}, nullptr},
               {2017.0, {kDrawInteger}, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    SetVersion(c.version);
    qvlhost::CurrentConfig().hiddenMethods = {c.hidden.begin(), c.hidden.end()};
    OwnedPicture pic(Vector(5, 2));
    qvlhost::ClearJournal();
    OwnedPicture result;
    const Lines lines = TracedLines([&] { result = OwnedPicture(ThresholdQVL(pic, 100)); });
    EXPECT_TRUE(InOrder(lines, {"QVL Debug: Trying clone....", "QVL Debug: MyREALNewPicture 5, 2, 32",
                                "QVL Debug: set resoluton to 72, 72"}));
    EXPECT_EQ(c.drawnWith == nullptr, CountOf(lines, "QVL Debug: drawpicture failes?") == 1);
    // One declaration by the host's version, never the other.
    const bool doubleDeclaration = c.version >= 2018.02;
    EXPECT_EQ(1, LoadCount(doubleDeclaration ? kDrawDouble : kDrawInteger));
    EXPECT_EQ(0, LoadCount(doubleDeclaration ? kDrawInteger : kDrawDouble));
    if (c.drawnWith) {
      EXPECT_EQ(1, JournalCount(c.drawnWith));
      EXPECT_EQ(0, JournalCount("PluginNewInstance"));  // no alpha channel asked for
      ExpectThresholdOf(OwnedPicture(Ramp(5, 2)), result);
    } else {
      EXPECT_THAT(lines, Contains("QVL Debug: REALLockPictureDescription failed for source picture."));
      EXPECT_EQ(0xFFFFFFFFu, qvlhost::PixelWord(result, 0, 0));  // the duplicate stayed white
    }
  }
}

// Alpha info 0 is refused even at 32 bits; the duplicate the host makes in
// its own storage reads the same pixels.
TEST_F(ReadFallbackTest, AlphaInfoZeroIsReadThroughTheDuplicate) {
  qvlhost::CurrentConfig().storage = Storage::CG(0);
  OwnedPicture pic(Ramp(6, 3));
  qvlhost::CurrentConfig().storage = Storage::CG(2);
  qvlhost::ClearJournal();
  OwnedPicture result(ThresholdQVL(pic, 100));
  EXPECT_EQ(1, JournalCount(kDrawDouble));
  ExpectThresholdOf(OwnedPicture(Ramp(6, 3)), result);
}

// A source with alpha gets a duplicate with alpha, made by the Picture
// constructor, and its mask is left on; one without alpha loses its mask for
// the copy only, through the getter of the host's version.
TEST_F(ReadFallbackTest, DuplicateKeepsAlphaAndDrawsWithoutTheMask) {
  const struct {
    double version;
    uint8_t alpha;
    const char* maskGetter;
  } cases[] = {{2020.0, 255, "REALGetPictureMask"}, {2020.01, 255, kMaskGetter}, {2024.0, 128, nullptr}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.version);
    SetVersion(c.version);
    OwnedPicture pic(Vector(3, 2, c.alpha)), mask(qvlhost::NewPicture(3, 2));
    qvlhost::SetPictureMask(pic, mask);
    qvlhost::ClearJournal();
    {
      PictureReader reader(pic);
      ASSERT_NE(nullptr, reader.picture);
      EXPECT_NE(pic.get(), reader.picture);
      EXPECT_EQ(c.alpha != 255, reader.HasAlphaChannel);
      EXPECT_EQ(nullptr, qvlhost::PictureMask(reader.picture));
      EXPECT_EQ(c.alpha, qvlhost::PixelColour(reader.picture, 1, 1).a);
    }
    EXPECT_EQ(mask.get(), qvlhost::PictureMask(pic));
    if (!c.maskGetter) {
      EXPECT_EQ(0, JournalCount(kMaskSetter));
      EXPECT_EQ(1, JournalCount("PluginNewInstance"));
      continue;
    }
    EXPECT_TRUE(InOrder(qvlhost::JournalEntryNames(), {c.maskGetter, kMaskSetter, "newPicture", kDrawDouble,
                                                       kMaskSetter, "REALUnlockObject", "REALGetPropValueInteger"}));
    Lines setterCalls;
    for (const qvlhost::JournalEntry& call : qvlhost::Journal())
      if (call.entry == kMaskSetter) setterCalls.push_back(call.detail);
    ASSERT_EQ(2u, setterCalls.size());
    EXPECT_TRUE(setterCalls[0] == "nil" && setterCalls[1] != "nil");
  }
}

// The source's resolutions go to the duplicate and so to the result, when
// both read as 1 or more; otherwise the duplicate keeps the host's default.
TEST_F(ReadFallbackTest, ResolutionsCarriedOrLeftToTheHostDefault) {
  const struct {
    int64_t horizontal, vertical;
    const char* failing;
    int64_t expectedHorizontal, expectedVertical;
  } cases[] = {{144, 96, nullptr, 144, 96},
               {0, 96, nullptr, 300, 300},
               {144, 0, nullptr, 300, 300},
               {144, 96, "HorizontalResolution", 300, 300}};
  for (const auto& c : cases) {
    OwnedPicture pic(Vector(2, 2));
    qvlhost::SetResolution(pic, c.horizontal, c.vertical);
    qvlhost::CurrentConfig().newPictureResolution = 300;
    qvlhost::CurrentConfig().failingProperties.clear();
    if (c.failing) qvlhost::CurrentConfig().failingProperties.insert(c.failing);
    PictureReader reader(pic);
    ASSERT_NE(nullptr, reader.picture);
    EXPECT_EQ(c.expectedHorizontal, qvlhost::HorizontalResolution(reader.picture)) << c.horizontal;
    EXPECT_EQ(c.expectedVertical, qvlhost::VerticalResolution(reader.picture)) << c.vertical;
  }
}

// Without a DrawPicture method a gd image is copied row by row when the
// sizes agree; otherwise, or when a description can't be locked, the
// destination stays as it was and every lock is given back.
TEST_F(ReadFallbackTest, OwnCopyOfGDImagesWithoutDrawPicture) {
  qvlhost::CurrentConfig().storage = Storage::GD();
  qvlhost::CurrentConfig().hiddenMethods = {kDrawDouble};
  const struct {
    int64_t destWidth;
    int64_t destKind;
    bool copied;
    const char* word;
  } cases[] = {{4, 2, true, "copied"},
               {5, 2, false, nullptr},
               {4, 1, false, "REALLockPictureDescription failed for destinatiom picture."}};
  for (const auto& c : cases) {
    OwnedPicture source(Ramp(4, 3)), dest(qvlhost::NewPicture(c.destWidth, 3));
    qvlhost::SetPictureKind(dest, c.destKind);
    qvlhost::ClearJournal();
    const Lines lines = TracedLines([&] { GraphicsDrawPicture(dest, source, 0, 0, c.destWidth, 3, 0, 0, 4, 3); });
    EXPECT_TRUE(
        InOrder(lines, {"QVL Debug: Failed to get DrawPicture function.", "QVL Debug: drawpicture failes?",
                        "QVL Debug: OwnCopy", "QVL Debug: dw " + std::to_string(c.destWidth), "QVL Debug: sw 4"}));
    EXPECT_TRUE(!c.word || CountOf(lines, std::string("QVL Debug: ") + c.word) == 1) << c.destWidth;
    EXPECT_EQ(c.destWidth == 4 ? 1 : 0, qvlhost::CacheClearCount(dest));
    EXPECT_EQ(c.destWidth == 4 ? 2 : 0, JournalCount("REALLockPictureDescription"));
    EXPECT_EQ(c.copied, qvlhost::PixelWord(dest, 3, 2) == qvlhost::PixelWord(source, 3, 2)) << c.destWidth;
    if (c.copied) {
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
