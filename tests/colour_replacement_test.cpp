// Colour replacement: exact matches on stored bytes in every layout, the
// crossed table order and the destination rules of TransformColorsQVL, its
// raises, and tables shorter than 256 bytes.
#include "filters/colour_replacement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

// A picture whose pixels take many values in every channel.
REALpictureStruct* VariedPicture(int64_t width, int64_t height) {
  return PaintedPicture(width, height,
                        [](int64_t x, int64_t y) { return Opaque(x * 37 + y, x * 11 + y * 53, 255 - x * 7 - y * 3); });
}

// A memory block whose byte i is entry(i), for i below size.
template <class Entry>
REALmemoryBlockStruct* Table(int64_t size, Entry entry) {
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(size);
  for (int64_t i = 0; i < size; ++i) qvlhost::MemoryBlockData(block)[i] = Byte(entry(int(i)));
  return block;
}

REALmemoryBlockStruct* Identity() {
  return Table(256, [](int i) { return i; });
}

using ColourReplacement = LayoutTest;

// (10, 20, 30) is searched for with bits 24-31 set; its neighbours one step
// off in a channel do not match. With an alpha channel the stored,
// premultiplied bytes are what is compared. At every level, and in a desktop
// host also from a source of another layout than the result's.
TEST_P(ColourReplacement, ExactMatchesOfStoredBytes) {
  const uint32_t search = 0xFF0A141E, replacement = 0x7FC86432, background = 0x00050607;
  const Rgba replaced = Opaque(200, 100, 50), back = Opaque(5, 6, 7);
  const Rgba pixels[] = {{10, 20, 30, 255}, {11, 20, 30, 255}, {10, 21, 30, 255},
                         {10, 20, 31, 255}, {10, 20, 30, 128}, {40, 50, 60, 128}};
  const auto isMatch = [&](Rgba in) { return in.r == 10 && in.g == 20 && in.b == 30; };
  const qvlhost::Storage made = qvlhost::CurrentConfig().storage;
  const bool desktop = made.kind == qvlhost::Storage::CoreGraphics;
  const qvlhost::Storage other = desktop ? qvlhost::Storage::CG(made.alphaInfo == 1 ? 2 : 1) : made;
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const qvlhost::Storage storage : {made, other}) {
      for (const bool alpha : {false, true}) {
        SCOPED_TRACE(std::string(NameOf(level)) + " from " + storage.Name() + (alpha ? " with alpha" : ""));
        qvlhost::CurrentConfig().storage = storage;
        // Whole vector blocks and a rest at every level.
        OwnedPicture source(PaintedPicture(
            37, 1, [&](int64_t x, int64_t) { return pixels[x % 6]; }, alpha));
        qvlhost::CurrentConfig().storage = made;
        OwnedPicture replacedPicture(ReplaceColorQVL(source, search, replacement));
        ExpectEveryPixel(source, replacedPicture, [&](Rgba in) { return isMatch(in) ? replaced : Opaque(in); });
        OwnedPicture extracted(ExtractColorQVL(source, search, replacement, background));
        ExpectEveryPixel(source, extracted, [&](Rgba in) { return isMatch(in) ? replaced : back; });
        EXPECT_FALSE(qvlhost::HasAlphaChannel(extracted));
      }
    }
  }
}

// Each channel goes through the table of its own name, whatever the order of
// the arguments: red, blue, green. A block shorter than 256 bytes gives 0 for
// the entries it does not hold, and one whose data pointer is nil gives nil.
TEST_P(ColourReplacement, TablesInTheCrossedOrder) {
  OwnedPicture source(VariedPicture(21, 4));
  OwnedMemoryBlock shortRed(Table(100, [](int i) { return 255 - i; }));
  OwnedMemoryBlock blue(Table(256, [](int i) { return i / 2; }));
  OwnedMemoryBlock green(Table(256, [](int i) { return i ^ 0x0F; }));
  OwnedPicture result(TransformColorsQVL(source, shortRed, blue, green, nullptr));
  ExpectEveryPixel(source, result, [](Rgba in) { return Opaque(in.r < 100 ? 255 - in.r : 0, in.g ^ 0x0F, in.b / 2); });
  EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
  OwnedMemoryBlock empty(qvlhost::MemoryBlockOverPointer(nullptr));
  EXPECT_EQ(nullptr, TransformColorsQVL(source, blue, blue, empty, nullptr));
}

// dest is used when it holds the source's size in both directions; it is
// then the result, changed only in its top-left part.
TEST_P(ColourReplacement, DestinationUsedOnlyWhenLargeEnough) {
  struct Case {
    int64_t width, height;
    bool used;
  } cases[] = {{12, 13, true}, {10, 10, true}, {9, 10, false}, {20, 5, false}};
  OwnedPicture source(VariedPicture(10, 10));
  OwnedMemoryBlock red(Table(256, [](int i) { return 255 - i; })), identity(Identity());
  for (const Case& c : cases) {
    OwnedPicture dest(qvlhost::NewPicture(c.width, c.height));
    const uint32_t untouched = qvlhost::PixelWord(dest, c.width - 1, c.height - 1);
    OwnedPicture result(TransformColorsQVL(source, red, identity, identity, dest));
    ASSERT_NE(nullptr, result.get());
    EXPECT_EQ(c.used, result.get() == dest.get()) << c.width << " x " << c.height;
    EXPECT_EQ(c.used ? c.width : 10, qvlhost::PictureWidth(result));
    EXPECT_EQ(c.used ? c.height : 10, qvlhost::PictureHeight(result));
    ExpectEveryPixel(source, result, [](Rgba in) { return Opaque(255 - in.r, in.g, in.b); });
    if (c.width > 10) {
      EXPECT_EQ(untouched, qvlhost::PixelWord(dest, c.width - 1, c.height - 1));
    }
    if (!c.used) {
      EXPECT_EQ(untouched, qvlhost::PixelWord(dest, 0, 0));
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(ColourReplacement);

class ColourReplacementFailures : public PluginTest {};

// The handles are tested in the order picture, red, green, blue, after the
// registration check.
TEST_F(ColourReplacementFailures, NilHandlesRaiseInTheirOrder) {
  expectException_ = true;
  OwnedPicture picture(qvlhost::NewPicture(2, 2));
  OwnedMemoryBlock table(Identity());
  struct Case {
    bool picture, red, blue, green;
    const char* message;
  } cases[] = {
      {false, false, false, false, "picture is nil"},
      {true, false, true, false, "red memoryblock is nil"},
      {true, true, false, false, "green memoryblock is nil"},
      {true, true, false, true, "blue memoryblock is nil"},
  };
  const auto given = [](bool given, REALmemoryBlockStruct* block) { return given ? block : nullptr; };
  for (const Case& c : cases) {
    ExpectNilAfterChecks(1, [&] {
      return TransformColorsQVL(c.picture ? picture.get() : nullptr, given(c.red, table), given(c.blue, table),
                                given(c.green, table), nullptr);
    });
    EXPECT_EQ(TakePendingException(), std::string("NilObjectException: ") + c.message);
  }
}

// A nil picture gives nil without a raise, after the registration check.
TEST_F(ColourReplacementFailures, NilPictureGivesNilQuietly) {
  ExpectNilAfterChecks(1, [] { return ReplaceColorQVL(nullptr, 0, 0); });
  ExpectNilAfterChecks(1, [] { return ExtractColorQVL(nullptr, 0, 0, 0); });
  EXPECT_EQ(nullptr, qvlhost::PendingException());
}

}  // namespace
