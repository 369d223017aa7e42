// Pixel words and channels: which byte holds which channel in each layout,
// the opaque and alpha writes, and the reversed 7-bit alpha of gd.
#include <gtest/gtest.h>

#include <tuple>
#include <utility>

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

// Odd Core Graphics types keep red in the low byte, even ones alpha; gd keeps a
// reversed 7-bit alpha; other types read nothing.
TEST_F(PixelRulesTest, ReadGivesChannelsByLayout) {
  for (uint32_t type = 1; type <= 6; ++type) {
    const Rgba4 expected = type % 2 ? Rgba4{0x11, 0x22, 0x33, 0x44} : Rgba4{0x22, 0x33, 0x44, 0x11};
    EXPECT_EQ(expected, Read(type, 0x44332211)) << type;
  }
  for (uint32_t type : {0, 7, 9, 10, 42}) EXPECT_EQ(Rgba4{}, Read(type, 0xFFFFFFFF)) << type;
  const std::pair<uint32_t, Rgba4> gd[] = {{0x7F102030, {0x10, 0x20, 0x30, 255}},
                                           {0x00102030, {0x10, 0x20, 0x30, 0}},
                                           {0xFF102030, {0x10, 0x20, 0x30, 255}},  // bit 31 is not part of the field
                                           {0x01000000, {0, 0, 0, 3}},
                                           {0x40000000, {0, 0, 0, 128}}};
  for (const auto& [word, channels] : gd) EXPECT_EQ(channels, Read(8, word)) << std::hex << word;
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
