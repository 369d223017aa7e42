// Colour replacement in every layout: exact matches on stored bytes, the
// crossed table order and the destination of TransformColorsQVL, its raises.
#include "filters/colour_replacement.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;

// A memory block whose byte i is entry(i), for i below size.
template <class Entry>
REALmemoryBlockStruct* Table(int64_t size, Entry entry) {
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(size);
  for (int64_t i = 0; i < size; ++i) qvlhost::MemoryBlockData(block)[i] = Byte(entry(int(i)));
  return block;
}

using ColourReplacement = LayoutTest;

// (10, 20, 30) is searched for with bits 24-31 set; a neighbour one step off
// in a channel does not match, and with an alpha channel the stored,
// premultiplied bytes are compared. At every level, on a row of whole vector
// blocks and a rest, and in a desktop host also from another layout.
TEST_P(ColourReplacement, ExactMatchesOfStoredBytes) {
  const uint32_t search = 0xFF0A141E, replacement = 0x7FC86432, background = 0x00050607;
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
        SCOPED_TRACE(testing::Message() << NameOf(level) << " from " << storage.Name() << (alpha ? " alpha" : ""));
        qvlhost::CurrentConfig().storage = storage;
        OwnedPicture source(PaintedPicture(
            37, 1, [&](int64_t x, int64_t) { return pixels[x % 6]; }, alpha));
        qvlhost::CurrentConfig().storage = made;
        OwnedPicture replaced(ReplaceColorQVL(source, search, replacement));
        ExpectEveryPixel(source, replaced, [&](Rgba in) { return isMatch(in) ? Opaque(200, 100, 50) : Opaque(in); });
        OwnedPicture extracted(ExtractColorQVL(source, search, replacement, background));
        ExpectEveryPixel(source, extracted,
                         [&](Rgba in) { return isMatch(in) ? Opaque(200, 100, 50) : Opaque(5, 6, 7); });
        EXPECT_FALSE(qvlhost::HasAlphaChannel(extracted));
      }
    }
  }
}

// Each channel goes through the table of its own name, whatever the order of
// the arguments (red, blue, green); a block shorter than 256 bytes gives 0
// beyond its entries, one whose data pointer is nil gives nil. dest is the
// result when it holds the source's size both ways, changed only in its
// top-left part. At every level, on rows of a whole vector block and a rest.
TEST_P(ColourReplacement, TablesInTheCrossedOrderAndTheDestination) {
  OwnedPicture source(PaintedPicture(
      10, 10, [](int64_t x, int64_t y) { return Opaque(x * 37 + y, x * 11 + y * 53, 255 - x * 7 - y * 3); }));
  OwnedMemoryBlock shortRed(Table(100, [](int i) { return 255 - i; }));
  OwnedMemoryBlock blue(Table(256, [](int i) { return i / 2; })), green(Table(256, [](int i) { return i ^ 0x0F; }));
  const struct {
    int64_t width, height;
    bool used;
  } cases[] = {{0, 0, false}, {12, 13, true}, {10, 10, true}, {9, 10, false}, {20, 5, false}};
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const auto& c : cases) {
      SCOPED_TRACE(testing::Message() << NameOf(level) << " dest " << c.width << " x " << c.height);
      OwnedPicture dest(c.width ? qvlhost::NewPicture(c.width, c.height) : nullptr);
      const uint32_t untouched = c.width ? qvlhost::PixelWord(dest, c.width - 1, c.height - 1) : 0;
      OwnedPicture result(TransformColorsQVL(source, shortRed, blue, green, dest));
      ASSERT_NE(nullptr, result.get());
      EXPECT_EQ(c.used, result.get() == dest.get());
      EXPECT_EQ(c.used ? c.width : 10, qvlhost::PictureWidth(result));
      EXPECT_EQ(c.used ? c.height : 10, qvlhost::PictureHeight(result));
      EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
      ExpectEveryPixel(source, result,
                       [](Rgba in) { return Opaque(in.r < 100 ? 255 - in.r : 0, in.g ^ 0x0F, in.b / 2); });
      if (c.width > 10) {
        EXPECT_EQ(untouched, qvlhost::PixelWord(dest, c.width - 1, c.height - 1));
      }
      if (c.width && !c.used) {
        EXPECT_EQ(untouched, qvlhost::PixelWord(dest, 0, 0));
      }
    }
  }
  OwnedMemoryBlock empty(qvlhost::MemoryBlockOverPointer(nullptr));
  EXPECT_EQ(nullptr, TransformColorsQVL(source, blue, blue, empty, nullptr));
}

QVL_INSTANTIATE_LAYOUTS(ColourReplacement);

using ColourReplacementFailures = PluginTest;

// The handles are tested in the order picture, red, green, blue, after the
// registration check; a nil picture gives nil quietly elsewhere.
TEST_F(ColourReplacementFailures, NilHandles) {
  expectException_ = true;
  OwnedPicture picture(qvlhost::NewPicture(2, 2));
  OwnedMemoryBlock table(Table(256, [](int i) { return i; }));
  const auto expectRaise = [&](REALpictureStruct* source, REALmemoryBlockStruct* red, REALmemoryBlockStruct* blue,
                               REALmemoryBlockStruct* green, const std::string& message) {
    ExpectNilAfterChecks(1, [&] { return TransformColorsQVL(source, red, blue, green, nullptr); });
    EXPECT_EQ(TakePendingException(), "NilObjectException: " + message);
  };
  expectRaise(nullptr, nullptr, nullptr, nullptr, "picture is nil");
  expectRaise(picture, nullptr, table, nullptr, "red memoryblock is nil");
  expectRaise(picture, table, nullptr, nullptr, "green memoryblock is nil");
  expectRaise(picture, table, nullptr, table, "blue memoryblock is nil");
  ExpectNilAfterChecks(1, [] { return ReplaceColorQVL(nullptr, 0, 0); });
  ExpectNilAfterChecks(1, [] { return ExtractColorQVL(nullptr, 0, 0, 0); });
  EXPECT_EQ(nullptr, qvlhost::PendingException());
}

}  // namespace
