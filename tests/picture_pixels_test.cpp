// Pixel words and channels: which byte holds which channel in each layout,
// the opaque and alpha writes, and the reversed 7-bit alpha of gd.
#include <gtest/gtest.h>

#include <tuple>

#include "filters/filter_frame.h"
#include "support/plugin_test.h"

namespace {

using PixelRulesTest = PluginTest;
using Rgba4 = std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>;

// Channels of a word read by the layout of an editor's pictureType.
Rgba4 Read(uint32_t pictureType, uint32_t word) {
  Channels c{};
  WithLayout(pictureType, [&](auto layout) { c = ReadPixel<decltype(layout)::value>(word); });
  return {c.r, c.g, c.b, c.a};
}

TEST_F(PixelRulesTest, PictureTypeDecidesTheLayout) {
  const PixelLayout expected[] = {PixelLayout::Unknown, PixelLayout::RGBA,    PixelLayout::ARGB,   PixelLayout::RGBA,
                                  PixelLayout::ARGB,    PixelLayout::RGBA,    PixelLayout::ARGB,   PixelLayout::Unknown,
                                  PixelLayout::GD,      PixelLayout::Unknown, PixelLayout::Unknown};
  for (uint32_t type = 0; type < 11; ++type) EXPECT_EQ(expected[type], LayoutOf(type)) << type;
  EXPECT_EQ(PixelLayout::Unknown, LayoutOf(42));
}

TEST_F(PixelRulesTest, ReadGivesChannelsByLayout) {
  const struct {
    uint32_t pictureType;
    uint32_t word;
    Rgba4 channels;
  } cases[] = {
      {5, 0x44332211, {0x11, 0x22, 0x33, 0x44}},
      {4, 0x44332211, {0x22, 0x33, 0x44, 0x11}},
      {8, 0x7F102030, {0x10, 0x20, 0x30, 255}},
      {8, 0x00102030, {0x10, 0x20, 0x30, 0}},
      {8, 0xFF102030, {0x10, 0x20, 0x30, 255}},  // bit 31 is not part of the field
      {8, 0x01000000, {0, 0, 0, 3}},
      {8, 0x40000000, {0, 0, 0, 128}},
      {7, 0xFFFFFFFF, {0, 0, 0, 0}},
  };
  for (const auto& c : cases) EXPECT_EQ(c.channels, Read(c.pictureType, c.word)) << std::hex << c.word;
}

TEST_F(PixelRulesTest, OpaqueAndAlphaWritesPlaceChannels) {
  EXPECT_EQ(0xFF332211u, (OpaquePixel<PixelLayout::RGBA>(0x11, 0x22, 0x33)));
  EXPECT_EQ(0x332211FFu, (OpaquePixel<PixelLayout::ARGB>(0x11, 0x22, 0x33)));
  EXPECT_EQ(0x00112233u, (OpaquePixel<PixelLayout::GD>(0x11, 0x22, 0x33)));
  EXPECT_EQ(0x44332211u, (AlphaPixel<PixelLayout::RGBA>(0x11, 0x22, 0x33, 0x44)));
  EXPECT_EQ(0x33221144u, (AlphaPixel<PixelLayout::ARGB>(0x11, 0x22, 0x33, 0x44)));
  EXPECT_EQ(0x7F112233u, (AlphaPixel<PixelLayout::GD>(0x11, 0x22, 0x33, 255)));
  EXPECT_EQ(0x00112233u, (AlphaPixel<PixelLayout::GD>(0x11, 0x22, 0x33, 1)));
}

TEST_F(PixelRulesTest, GdAlphaRoundTripKeepsEverySevenBitField) {
  for (uint32_t field = 0; field < 128; ++field) {
    const uint32_t word = (field << 24) | 0x00A0B0C0;
    const Channels c = ReadPixel<PixelLayout::GD>(word);
    EXPECT_EQ(word, (AlphaPixel<PixelLayout::GD>(c.r, c.g, c.b, c.a))) << field;
  }
}

}  // namespace
