// Channel composition in every layout and across layouts: which channel comes
// from which picture, the size rules, nil pictures and the registration check.
#include "filters/channels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

// Distinct pictures by seed; with an alpha channel the alpha varies too,
// so that a rule that let it through would show.
REALpictureStruct* Varied(int64_t width, int64_t height, int seed, bool alpha = false) {
  return PaintedPicture(
      width, height,
      [=](int64_t x, int64_t y) {
        return Rgba{Byte(x * 13 + seed), Byte(y * 29 + seed * 3), Byte(x * y + seed * 7),
                    Byte(alpha ? 255 - x * 9 : 255)};
      },
      alpha);
}

Rgba At(REALpictureStruct* picture, int64_t x, int64_t y) { return qvlhost::PixelRgba(picture, x, y); }

// Every pixel of the result against rule(x, y).
template <class Rule>
void ExpectPixels(REALpictureStruct* result, int64_t width, int64_t height, Rule rule) {
  ASSERT_NE(nullptr, result);
  ASSERT_EQ(width, qvlhost::PictureWidth(result));
  ASSERT_EQ(height, qvlhost::PictureHeight(result));
  EXPECT_FALSE(qvlhost::HasAlphaChannel(result));
  int64_t misses = 0;
  for (int64_t y = 0; y < height; ++y)
    for (int64_t x = 0; x < width; ++x) misses += !(At(result, x, y) == rule(x, y));
  EXPECT_EQ(0, misses);
}

using Replacer = REALpictureStruct* (*)(REALpictureStruct*, REALpictureStruct*);

struct ReplacerCase {
  Replacer function;
  uint8_t Rgba::*channel;
};

const ReplacerCase kReplacers[] = {
    {ReplaceRedChannel, &Rgba::r}, {ReplaceGreenChannel, &Rgba::g}, {ReplaceBlueChannel, &Rgba::b}};

using ChannelComposition = LayoutTest;

// Every filter against its rule at every level, on pictures wide enough for
// whole vector blocks and a rest: the replacers with a larger channel
// picture, whose top-left part is used, CombinePicturesQVL with blue second
// and green third, MergePicture taking the larger of each channel. Alpha of
// a source never reaches the result. In a desktop host also with sources of
// both byte orders, each read in its own.
TEST_P(ChannelComposition, EveryFilterFollowsItsRule) {
  const qvlhost::Storage made = GetParam();
  const bool desktop = made.kind == qvlhost::Storage::CoreGraphics;
  const qvlhost::Storage other =
      desktop ? qvlhost::Storage::CG(made.alphaInfo % 2 ? made.alphaInfo + 1 : made.alphaInfo - 1) : made;
  for (const qvlhost::Storage crossed : {made, other}) {
    qvlhost::CurrentConfig().storage = crossed;
    OwnedPicture a(Varied(37, 3, 1, true)), c(Varied(37, 3, 3));
    qvlhost::CurrentConfig().storage = made;
    OwnedPicture b(Varied(37, 3, 40)), larger(Varied(39, 4, 2, true));
    for (const VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      SCOPED_TRACE(testing::Message() << NameOf(level) << " from " << crossed.Name());
      for (const ReplacerCase& replacer : kReplacers) {
        OwnedPicture result(replacer.function(a, larger));
        ExpectPixels(result, 37, 3, [&](int64_t x, int64_t y) {
          Rgba want = Opaque(At(a, x, y));
          want.*replacer.channel = At(larger, x, y).*replacer.channel;
          return want;
        });
      }
      OwnedPicture combined(CombinePicturesQVL(a, b, c));
      ExpectPixels(combined, 37, 3,
                   [&](int64_t x, int64_t y) { return Opaque(At(a, x, y).r, At(c, x, y).g, At(b, x, y).b); });
      OwnedPicture merged(MergePicture(a, b));
      ExpectPixels(merged, 37, 3, [&](int64_t x, int64_t y) {
        const Rgba p = At(a, x, y), q = At(b, x, y);
        return Opaque(std::max(p.r, q.r), std::max(p.g, q.g), std::max(p.b, q.b));
      });
    }
  }
}

QVL_INSTANTIATE_LAYOUTS(ChannelComposition);

using ChannelCompositionRules = PluginTest;

// Only the channel pictures of the replacers may be larger; a smaller one is
// refused everywhere, and so is a larger one where sizes must be equal.
TEST_F(ChannelCompositionRules, SizeRules) {
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

// A nil channel picture raises after the check; other nil pictures give nil
// quietly, MergePicture's before its check, CombinePicturesQVL's after.
TEST_F(ChannelCompositionRules, NilPictures) {
  expectException_ = true;
  OwnedPicture picture(Varied(2, 2, 1));
  for (const ReplacerCase& c : kReplacers) {
    ExpectNilAfterChecks(1, [&] { return c.function(picture, nullptr); });
    EXPECT_EQ(TakePendingException(), "NilObjectException: The channel picture is nil.");
  }
  ExpectNilAfterChecks(1, [&] { return ReplaceRedChannel(nullptr, picture); });
  ExpectNilAfterChecks(1, [&] { return CombinePicturesQVL(picture, nullptr, picture); });
  ExpectNilAfterChecks(1, [&] { return CombinePicturesQVL(nullptr, picture, picture); });
  ExpectNilAfterChecks(0, [&] { return MergePicture(picture, nullptr); });
  ExpectNilAfterChecks(0, [&] { return MergePicture(nullptr, picture); });
  EXPECT_EQ(nullptr, qvlhost::PendingException());
  EXPECT_EQ(ChecksDuring([&] { OwnedPicture merged(MergePicture(picture, picture)); }), 1);
}

}  // namespace
