// Colour replacement, channel composition and mask extraction in all seven
// layouts and across byte orders: exact matches on stored bytes, the crossed
// argument orders, the destination and size rules, alpha in and out, the
// rectangle grouping, nil handles and the registration check's place.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>

#include "filters/channels.h"
#include "filters/colour_replacement.h"
#include "filters/mask_extraction.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedMemoryBlock;
using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using Cells = std::set<std::pair<int64_t, int64_t>>;  // (x, y)

using ColourChannelsMasks = LayoutTest;
QVL_INSTANTIATE_LAYOUTS(ColourChannelsMasks);

// Distinct pictures by seed; with an alpha channel the alpha varies too,
// so that a rule that let it through would show.
REALpictureStruct* Varied(int64_t width, int64_t height, int seed, bool alpha = false) {
  const auto colour = [=](int64_t x, int64_t y) {
    return Rgba{Byte(x * 13 + seed), Byte(y * 29 + seed * 3), Byte(x * y + seed * 7), Byte(alpha ? 255 - x * 9 : 255)};
  };
  return PaintedPicture(width, height, colour, alpha);
}

// A memory block whose byte i is entry(i), for i below size.
template <class Entry>
REALmemoryBlockStruct* Table(int64_t size, Entry entry) {
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(size);
  for (int64_t i = 0; i < size; ++i) qvlhost::MemoryBlockData(block)[i] = Byte(entry(int(i)));
  return block;
}

// At every level, from the host's own layout and from the other byte order,
// with and without an alpha channel: body(source) on a row of `width`
// pixels painted by colour(x, alpha), the results made in the host's layout.
template <class Colour, class Body>
void FromEverySource(int64_t width, Colour colour, Body body) {
  const qvlhost::Storage made = qvlhost::CurrentConfig().storage;
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const qvlhost::Storage storage : {made, OtherByteOrder(made)}) {
      for (const bool alpha : {false, true}) {
        SCOPED_TRACE(testing::Message() << NameOf(level) << " from " << storage.Name() << (alpha ? " alpha" : ""));
        qvlhost::CurrentConfig().storage = storage;
        OwnedPicture source(PaintedPicture(
            width, 1, [&](int64_t x, int64_t) { return colour(x, alpha); }, alpha));
        qvlhost::CurrentConfig().storage = made;
        body(source.get());
      }
    }
  }
}

// (10, 20, 30) is searched for with bits 24-31 set; a neighbour one step off
// in a channel does not match, and with an alpha channel the stored,
// premultiplied bytes are compared. At every level, on a row of whole vector
// blocks and a rest, and in a desktop host also from another layout.
TEST_P(ColourChannelsMasks, ColourReplacementMatchesStoredBytesExactly) {
  const uint32_t search = 0xFF0A141E, replacement = 0x7FC86432, background = 0x00050607;
  const Rgba pixels[] = {{10, 20, 30, 255}, {11, 20, 30, 255}, {10, 21, 30, 255},
                         {10, 20, 31, 255}, {10, 20, 30, 128}, {40, 50, 60, 128}};
  const auto isMatch = [&](Rgba in) { return in.r == 10 && in.g == 20 && in.b == 30; };
  FromEverySource(
      37, [&](int64_t x, bool) { return pixels[x % 6]; },
      [&](REALpictureStruct* source) {
        OwnedPicture replaced(ReplaceColorQVL(source, search, replacement));
        ExpectEveryPixel(source, replaced, [&](Rgba in) { return isMatch(in) ? Opaque(200, 100, 50) : Opaque(in); });
        OwnedPicture extracted(ExtractColorQVL(source, search, replacement, background));
        ExpectEveryPixel(source, extracted,
                         [&](Rgba in) { return isMatch(in) ? Opaque(200, 100, 50) : Opaque(5, 6, 7); });
        EXPECT_FALSE(qvlhost::HasAlphaChannel(extracted));
      });
}

// Each channel goes through the table of its own name, whatever the order of
// the arguments (red, blue, green); a block shorter than 256 bytes gives 0
// beyond its entries, one whose data pointer is nil gives nil. dest is the
// result when it holds the source's size both ways, changed only in its
// top-left part. At every level, on rows of a whole vector block and a rest.
TEST_P(ColourChannelsMasks, ColourTablesInTheCrossedOrderAndTheDestination) {
  OwnedPicture source(Varied(20, 10, 1));
  OwnedMemoryBlock shortRed(Table(100, [](int i) { return 255 - i; }));
  OwnedMemoryBlock blue(Table(256, [](int i) { return i / 2; })), green(Table(256, [](int i) { return i ^ 0x0F; }));
  // The size of dest (none when 0) and whether it is the result.
  const std::tuple<int64_t, int64_t, bool> cases[] = {
      {0, 0, false}, {22, 13, true}, {20, 10, true}, {19, 10, false}, {30, 5, false}};
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const auto& [width, height, used] : cases) {
      SCOPED_TRACE(testing::Message() << NameOf(level) << " dest " << width << " x " << height);
      OwnedPicture dest(width ? qvlhost::NewPicture(width, height) : nullptr);
      const uint32_t white = width ? qvlhost::PixelWord(dest, 0, 0) : 0;
      OwnedPicture result(TransformColorsQVL(source, shortRed, blue, green, dest));
      ASSERT_NE(nullptr, result.get());
      EXPECT_EQ(used, result.get() == dest.get());
      EXPECT_EQ(used ? width : 20, qvlhost::PictureWidth(result));
      EXPECT_EQ(used ? height : 10, qvlhost::PictureHeight(result));
      EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
      ExpectEveryPixel(source, result,
                       [](Rgba in) { return Opaque(in.r < 100 ? 255 - in.r : 0, in.g ^ 0x0F, in.b / 2); });
      if (width && (!used || width > 20)) {  // dest keeps what lies outside the result's pixels
        EXPECT_EQ(white, qvlhost::PixelWord(dest, used ? width - 1 : 0, used ? height - 1 : 0));
      }
    }
  }
  OwnedMemoryBlock empty(qvlhost::MemoryBlockOverPointer(nullptr));
  EXPECT_EQ(nullptr, TransformColorsQVL(source, blue, blue, empty, nullptr));
}

// Every value of every channel through its table at every level, on a row
// of whole vector blocks and a rest, from both byte orders, with and without
// an alpha channel: each entry of each table is reached through the rows.
TEST_P(ColourChannelsMasks, ColourTablesReachEveryEntryAtEveryLevel) {
  const auto red = [](int i) { return Byte(i * 37 + 11); };
  const auto green = [](int i) { return Byte(i * 101 + 7); };
  const auto blue = [](int i) { return Byte(255 - i * 53); };
  OwnedMemoryBlock redTable(Table(256, red)), greenTable(Table(256, green)), blueTable(Table(256, blue));
  FromEverySource(
      263,
      [](int64_t x, bool alpha) {
        return Rgba{Byte(x), Byte(x * 7), Byte(x * 13), Byte(alpha ? x : 255)};
      },
      [&](REALpictureStruct* source) {
        OwnedPicture result(TransformColorsQVL(source, redTable, blueTable, greenTable, nullptr));
        ExpectEveryPixel(source, result, [&](Rgba in) { return Opaque(red(in.r), green(in.g), blue(in.b)); });
      });
}

Rgba At(REALpictureStruct* picture, int64_t x, int64_t y) { return qvlhost::PixelRgba(picture, x, y); }

using Replacer = REALpictureStruct* (*)(REALpictureStruct*, REALpictureStruct*);

struct ReplacerCase {
  Replacer function;
  uint8_t Rgba::*channel;
};

const ReplacerCase kReplacers[] = {
    {ReplaceRedChannel, &Rgba::r}, {ReplaceGreenChannel, &Rgba::g}, {ReplaceBlueChannel, &Rgba::b}};

// Every filter against its rule at every level, on pictures wide enough for
// whole vector blocks and a rest: the replacers with a larger channel
// picture, whose top-left part is used, CombinePicturesQVL with blue second
// and green third, MergePicture taking the larger of each channel. Alpha of
// a source never reaches the result. In a desktop host also with sources of
// both byte orders, each read in its own.
TEST_P(ColourChannelsMasks, ChannelCompositionFollowsItsRule) {
  const qvlhost::Storage made = GetParam();
  for (const qvlhost::Storage crossed : {made, OtherByteOrder(made)}) {
    qvlhost::CurrentConfig().storage = crossed;
    OwnedPicture a(Varied(37, 3, 1, true)), c(Varied(37, 3, 3));
    qvlhost::CurrentConfig().storage = made;
    OwnedPicture b(Varied(37, 3, 40)), larger(Varied(39, 4, 2, true));
    for (const VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      SCOPED_TRACE(testing::Message() << NameOf(level) << " from " << crossed.Name());
      for (const ReplacerCase& replacer : kReplacers) {
        OwnedPicture result(replacer.function(a, larger));
        ExpectSamePicture(result, OwnedPicture(PaintedPicture(37, 3, [&](int64_t x, int64_t y) {
                            Rgba want = Opaque(At(a, x, y));
                            want.*replacer.channel = At(larger, x, y).*replacer.channel;
                            return want;
                          })));
      }
      OwnedPicture combined(CombinePicturesQVL(a, b, c));
      ExpectSamePicture(combined, OwnedPicture(PaintedPicture(37, 3, [&](int64_t x, int64_t y) {
                          return Opaque(At(a, x, y).r, At(c, x, y).g, At(b, x, y).b);
                        })));
      OwnedPicture merged(MergePicture(a, b));
      ExpectSamePicture(merged, OwnedPicture(PaintedPicture(37, 3, [&](int64_t x, int64_t y) {
                          const Rgba p = At(a, x, y), q = At(b, x, y);
                          return Opaque(std::max(p.r, q.r), std::max(p.g, q.g), std::max(p.b, q.b));
                        })));
    }
  }
}

// Only the channel pictures of the replacers may be larger; a smaller one is
// refused everywhere, and so is a larger one where sizes must be equal.
TEST_F(PluginTest, ChannelCompositionSizeRules) {
  OwnedPicture picture(Varied(6, 6, 1)), taller(Varied(6, 7, 2)), shorter(Varied(6, 5, 3)), narrower(Varied(5, 6, 4)),
      bigger(Varied(7, 7, 5));
  for (const ReplacerCase& c : kReplacers) {
    OwnedPicture accepted(c.function(picture, taller));
    EXPECT_NE(nullptr, accepted.get());
    EXPECT_EQ(nullptr, c.function(picture, shorter));
    EXPECT_EQ(nullptr, c.function(picture, narrower));
  }
  for (REALpictureStruct* other : {taller.get(), shorter.get(), narrower.get(), bigger.get()}) {
    EXPECT_EQ(nullptr, CombinePicturesQVL(picture, picture, other));
    EXPECT_EQ(nullptr, CombinePicturesQVL(picture, other, picture));
    EXPECT_EQ(nullptr, CombinePicturesQVL(other, picture, picture));
    EXPECT_EQ(nullptr, MergePicture(picture, other));
    EXPECT_EQ(nullptr, MergePicture(other, picture));
  }
}

// A grey picture with the given cells coloured.
REALpictureStruct* Specks(int64_t width, int64_t height, const Cells& coloured) {
  return PaintedPicture(width, height, [&](int64_t x, int64_t y) {
    return coloured.count({x, y}) ? Rgba{200, 40, 40, 255} : Opaque(x * 20, x * 20, x * 20);
  });
}

// Black cells on white, as the rectangles are painted.
REALpictureStruct* Boxes(int64_t width, int64_t height, const Cells& black) {
  return PaintedPicture(width, height, [&](int64_t x, int64_t y) {
    return black.count({x, y}) ? Opaque(0, 0, 0) : Opaque(255, 255, 255);
  });
}

Cells Square(int64_t left, int64_t top, int64_t right, int64_t bottom) {
  Cells cells;
  for (int64_t y = top; y <= bottom; ++y)
    for (int64_t x = left; x <= right; ++x) cells.insert({x, y});
  return cells;
}

TEST_P(ColourChannelsMasks, MaskRectanglesOfTheGroups) {
  Cells ring = Square(2, 2, 6, 5);
  for (const auto& inner : Square(3, 3, 5, 4)) ring.erase(inner);
  // The shape, its coloured cells, the rectangle searched and the black cells.
  const std::tuple<const char*, Cells, int64_t, int64_t, int64_t, int64_t, Cells> cases[] = {
      {"grey", {}, 0, 0, -1, -1, {}},
      {"single", {{4, 3}}, 0, 0, -1, -1, {{4, 3}}},
      {"diagonal pair", {{2, 2}, {3, 3}}, 0, 0, -1, -1, {{2, 2}, {3, 3}}},
      {"L shape", {{2, 2}, {3, 2}, {3, 3}}, 0, 0, -1, -1, Square(2, 2, 3, 3)},
      {"ring", ring, 0, 0, -1, -1, Square(2, 2, 6, 5)},
      {"width 0", {{4, 3}}, 0, 0, 0, -1, {}},
      {"top offset", {{5, 0}, {5, 8}}, 0, 3, 10, 7, {{5, 3}}},
      {"negative left", {{3, 1}, {6, 1}}, -5, 0, 10, -1, {{3, 1}}},
      {"right end wrapping", {{4, 3}}, INT64_MAX, 0, 2, -1, {}},
  };
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const auto& [name, coloured, left, top, width, height, black] : cases) {
      SCOPED_TRACE(testing::Message() << name << " " << NameOf(level));
      OwnedPicture picture(Specks(37, 10, coloured));
      OwnedPicture result(ExtractColorRectangleMaskQVL(picture, left, top, width, height));
      ExpectSamePicture(result, OwnedPicture(Boxes(37, 10, black)));
    }
  }
}

// Every alpha reads as its grey, reversed with swap, at every level; on gd
// the stored field counts the other way. Every byte of word i is i.
TEST_P(ColourChannelsMasks, EmbeddedMaskReadsAlpha) {
  OwnedPicture picture(qvlhost::NewAlphaPicture(37, 7));
  for (uint32_t i = 0; i < 37 * 7; ++i) qvlhost::SetPixelWord(picture, i % 37, i / 37, (i & 0xFF) * 0x01010101u);
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const bool swap : {false, true}) {
      OwnedPicture grey(GetEmbededMask(picture, swap));
      ASSERT_NE(nullptr, grey.get());
      for (uint32_t i = 0; i < 37 * 7; ++i) {
        const uint32_t a = GetParam().kind == qvlhost::Storage::CoreGraphics ? i & 0xFF : 2 * (i & 0x7F) + (i & 1);
        const uint8_t v = Byte(a ^ (swap ? 255 : 0));
        ASSERT_EQ((Rgba{v, v, v, 255}), qvlhost::PixelRgba(grey, i % 37, i / 37)) << i << " " << NameOf(level);
      }
    }
  }
}

// Byte 0 of every word takes the mask's R, whatever the layout, at every
// level; the other bytes stay. A narrower mask gives its columns, and 0
// beyond the memory its rows lie in: on the last row, past its padding.
TEST_P(ColourChannelsMasks, EmbeddedMaskWritesByteZero) {
  const int64_t width = 37, height = 3;
  const int64_t paddingWords = GetParam().kind == qvlhost::Storage::CoreGraphics ? kRowPadding / 4 : 0;
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const int64_t maskWidth : {width, width + 2, width - 20}) {
      for (const bool swap : {false, true}) {
        SCOPED_TRACE(testing::Message() << NameOf(level) << " mask " << maskWidth << (swap ? " swapped" : ""));
        const auto paint = [](int64_t x, int64_t y) { return Opaque(x * 30 + 1, y * 50 + 2, 77); };
        OwnedPicture picture(PaintedPicture(width, height, paint)), twin(PaintedPicture(width, height, paint));
        OwnedPicture mask(
            PaintedPicture(maskWidth, height, [](int64_t x, int64_t y) { return Opaque(x * 40 + y, 9, 9); }));
        SetEmbededMask(picture, swap, mask);
        for (int64_t y = 0; y < height; ++y) {
          for (int64_t x = 0; x < width; ++x) {
            const uint32_t was = qvlhost::PixelWord(twin, x, y), now = qvlhost::PixelWord(picture, x, y);
            EXPECT_EQ(was & 0xFFFFFF00u, now & 0xFFFFFF00u) << x << ", " << y;
            const bool fromMask = x < maskWidth, beyond = y == height - 1 && x >= maskWidth + paddingWords;
            if (fromMask || beyond) {
              EXPECT_EQ(Byte((fromMask ? x * 40 + y : 0) ^ (swap ? 255 : 0)), now & 0xFF) << x << ", " << y;
            }
          }
        }
      }
    }
  }
}

// The grouping as first described, restarting at row 0 after each
// rectangle; the cells outside the picture are never coloured.
Cells RestartingGrouping(Cells coloured) {
  Cells black;
  const auto touches = [&](const Cells& side) {
    return std::any_of(side.begin(), side.end(), [&](const auto& cell) { return coloured.count(cell) > 0; });
  };
  while (!coloured.empty()) {
    const auto [x, y] = *std::min_element(coloured.begin(), coloured.end(), [](const auto& p, const auto& q) {
      return std::tie(p.second, p.first) < std::tie(q.second, q.first);
    });
    int64_t top = y, bottom = y, left = x, right = x;
    for (bool moved = true; moved;) {
      moved = false;
      if (touches(Square(left, top - 1, right, top - 1))) --top, moved = true;
      if (touches(Square(left, bottom + 1, right, bottom + 1))) ++bottom, moved = true;
      if (touches(Square(left - 1, top, left - 1, bottom))) --left, moved = true;
      if (touches(Square(right + 1, top, right + 1, bottom))) ++right, moved = true;
    }
    for (const auto& cell : Square(left, top, right, bottom)) coloured.erase(cell), black.insert(cell);
  }
  return black;
}

// Resuming the search where the last rectangle was found gives the
// rectangles of the restart, on random shapes of many densities, denser
// across the 64th row and column, in the whole picture and from column 5.
TEST_F(PluginTest, MaskResumedSearchFindsTheRestartsRectangles) {
  std::mt19937 random(11);
  for (const unsigned density : {1u, 4u, 25u, 45u}) {
    Cells coloured, fromColumn5;
    for (int64_t y = 0; y < 90; ++y) {
      for (int64_t x = 0; x < 133; ++x) {
        const bool dense = x >= 40 && x < 90 && y >= 40 && y < 80;
        if (random() % 1000 < density * (dense ? 10 : 1)) coloured.insert({x, y});
        if (x >= 5 && coloured.count({x, y})) fromColumn5.insert({x, y});
      }
    }
    OwnedPicture picture(Specks(133, 90, coloured));
    SCOPED_TRACE(density);
    OwnedPicture whole(ExtractColorRectangleMaskQVL2(picture));
    ExpectSamePicture(whole, OwnedPicture(Boxes(133, 90, RestartingGrouping(coloured))));
    OwnedPicture part(ExtractColorRectangleMaskQVL(picture, 5, 0, 500, -1));
    ExpectSamePicture(part, OwnedPicture(Boxes(133, 90, RestartingGrouping(fromColumn5))));
  }
}

// TransformColorsQVL tests its handles in the order picture, red, green,
// blue, after the registration check. A nil channel picture raises after the
// check. Other nil pictures give nil quietly: MergePicture's and
// GetEmbededMask's before the check, the others' after it; setting a nil
// mask returns before the check.
TEST_F(PluginTest, NilHandlesAndRegistrationChecks) {
  expectException_ = true;
  OwnedPicture picture(Varied(2, 2, 1));
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
  for (const ReplacerCase& c : kReplacers) {
    ExpectNilAfterChecks(1, [&] { return c.function(picture, nullptr); });
    EXPECT_EQ(TakePendingException(), "NilObjectException: The channel picture is nil.");
  }
  ExpectNilAfterChecks(1, [] { return ReplaceColorQVL(nullptr, 0, 0); });
  ExpectNilAfterChecks(1, [] { return ExtractColorQVL(nullptr, 0, 0, 0); });
  ExpectNilAfterChecks(1, [&] { return ReplaceRedChannel(nullptr, picture); });
  ExpectNilAfterChecks(1, [&] { return CombinePicturesQVL(picture, nullptr, picture); });
  ExpectNilAfterChecks(1, [&] { return CombinePicturesQVL(nullptr, picture, picture); });
  ExpectNilAfterChecks(0, [&] { return MergePicture(picture, nullptr); });
  ExpectNilAfterChecks(0, [&] { return MergePicture(nullptr, picture); });
  ExpectNilAfterChecks(0, [] { return GetEmbededMask(nullptr, false); });
  ExpectNilAfterChecks(1, [] { return ExtractColorRectangleMaskQVL(nullptr, 0, 0, -1, -1); });
  EXPECT_EQ(nullptr, qvlhost::PendingException());
  EXPECT_EQ(ChecksDuring([&] { OwnedPicture merged(MergePicture(picture, picture)); }), 1);
  EXPECT_EQ(ChecksDuring([&] { SetEmbededMask(picture, false, nullptr); }), 0);
  EXPECT_EQ(ChecksDuring([&] { SetEmbededMask(picture, false, picture); }), 1);
}

}  // namespace
