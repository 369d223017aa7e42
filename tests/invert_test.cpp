// The invert filters: both paths, their default sizes, clipping, and a
// result that holds only the rectangle, in all seven layouts.
#include "filters/invert.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "picture/masks.h"
#include "registrationclient/registration_check.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

bool IsGD(REALpictureStruct* picture) { return qvlhost::PictureStorage(picture).kind == qvlhost::Storage::GDTrueColor; }

// Channels as the filters see them: the stored bytes, with gd's 7-bit alpha
// field stretched to 8 bits (so 0 is opaque there).
Rgba Read(REALpictureStruct* picture, int64_t x, int64_t y = 0) {
  if (!IsGD(picture)) return qvlhost::PixelRgba(picture, x, y);
  const uint32_t word = qvlhost::PixelWord(picture, x, y);
  const uint32_t field = (word >> 24) & 0x7F;
  return {static_cast<uint8_t>(word >> 16), static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word),
          static_cast<uint8_t>(2 * field + (field & 1))};
}

void Write(REALpictureStruct* picture, int64_t x, Rgba c, int64_t y = 0) {
  if (!IsGD(picture)) return qvlhost::SetPixelRgba(picture, x, y, c);
  qvlhost::SetPixelWord(picture, x, y, c.b | c.g << 8 | c.r << 16 | uint32_t(c.a >> 1) << 24);
}

// The alpha the opaque write leaves, as the filters see it.
uint8_t OpaqueAlpha(REALpictureStruct* picture) { return IsGD(picture) ? 0 : 255; }

using Invert = std::function<REALpictureStruct*(REALpictureStruct*)>;
const Invert kInvertAll = [](REALpictureStruct* p) { return InvertPicture2(p); };
const Invert kInvertGrey = [](REALpictureStruct* p) { return InvertGrayPicture2(p); };

struct PixelCase {
  bool grey;
  Rgba in, out;
};

class InvertFilters : public LayoutTest {
 protected:
  // gd storage is what console applications use.
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = LayoutTest::HostConfig();
    if (config.storage.kind == qvlhost::Storage::GDTrueColor) config.app = qvlhost::AppKind::Console;
    return config;
  }

  void ExpectPixels(bool withAlpha, const std::vector<PixelCase>& cases) {
    for (const PixelCase& c : cases) {
      OwnedPicture source(withAlpha ? qvlhost::NewAlphaPicture(1, 1) : qvlhost::NewPicture(1, 1));
      Write(source, 0, c.in);
      OwnedPicture result((c.grey ? kInvertGrey : kInvertAll)(source));
      ASSERT_NE(result.get(), nullptr);
      const Rgba out = Read(result, 0);
      EXPECT_EQ(out, c.out) << (c.grey ? "grey " : "all ") << int(c.in.r) << "," << int(c.in.g) << "," << int(c.in.b)
                            << "," << int(c.in.a) << " gave " << int(out.r) << "," << int(out.g) << "," << int(out.b)
                            << "," << int(out.a);
    }
  }
};

// Without an alpha channel alpha is not read and the result is opaque.
TEST_P(InvertFilters, PlainPath) {
  OwnedPicture probe(qvlhost::NewPicture(1, 1));
  const uint8_t opaque = OpaqueAlpha(probe);
  ExpectPixels(false, {{false, {10, 20, 30, 7}, {245, 235, 225, opaque}},
                       {true, {10, 20, 30, 7}, {10, 20, 30, opaque}},
                       {false, {100, 100, 100, 200}, {155, 155, 155, opaque}},
                       {true, {100, 100, 100, 200}, {155, 155, 155, opaque}},
                       {true, {0, 0, 0, 0}, {255, 255, 255, opaque}},
                       {true, {7, 7, 9, 0}, {7, 7, 9, opaque}},
                       {true, {9, 7, 7, 0}, {9, 7, 7, opaque}},
                       {true, {7, 9, 7, 0}, {7, 9, 7, opaque}}});
  OwnedPicture source(qvlhost::NewPicture(256, 1));
  for (int x = 0; x < 256; ++x) Write(source, x, {uint8_t(x), uint8_t(255 - x), uint8_t(x * 91 + 17), 255});
  OwnedPicture result(InvertPicture2(source));
  for (int x = 0; x < 256; ++x) {
    const Rgba in = Read(source, x), out = Read(result, x);
    EXPECT_TRUE(out.r == 255 - in.r && out.g == 255 - in.g && out.b == 255 - in.b) << x;
  }
}

// With an alpha channel the straight colours are inverted and alpha kept:
// A = 0 keeps the bytes, A = 255 inverts them directly.
TEST_P(InvertFilters, PremultipliedPath) {
  ExpectPixels(true, {{false, {0, 128, 100, 128}, {128, 0, 28, 128}},
                      {false, {5, 6, 7, 0}, {5, 6, 7, 0}},
                      {false, {10, 20, 30, 255}, {245, 235, 225, 255}},
                      {true, {100, 100, 100, 128}, {28, 28, 28, 128}},
                      {true, {64, 64, 64, 128}, {64, 64, 64, 128}},
                      {true, {10, 20, 30, 128}, {10, 20, 30, 128}},
                      {true, {9, 9, 9, 0}, {9, 9, 9, 0}},
                      {true, {9, 9, 9, 255}, {246, 246, 246, 255}},
                      {true, {7, 7, 9, 128}, {7, 7, 9, 128}},
                      {true, {9, 7, 7, 255}, {9, 7, 7, 255}}});
}

// Every alpha against every channel value, grey so that both filters act:
// the inverse of the straight colour through the multiply tables.
TEST_P(InvertFilters, PremultipliedPathOverAllAlphasAndChannels) {
  OwnedPicture source(qvlhost::NewAlphaPicture(256, 256));
  for (int a = 0; a < 256; ++a) {
    for (int c = 0; c < 256; ++c) Write(source, c, {uint8_t(c), uint8_t(c), uint8_t(c), uint8_t(a)}, a);
  }
  InitMultiplyTable();
  for (const Invert& invert : {kInvertAll, kInvertGrey}) {
    OwnedPicture result(invert(source));
    ASSERT_NE(result.get(), nullptr);
    int wrong = 0;
    for (int y = 0; y < 256; ++y) {
      for (int x = 0; x < 256; ++x) {
        const Rgba in = Read(source, x, y);
        const int a = in.a, c = in.r;
        const int v = a == 0 ? c : a == 255 ? 255 - c : MultiplyTable[a * 256 + (UnmultiplyTable[a * 256 + c] ^ 255)];
        wrong += !(Read(result, x, y) == Rgba{uint8_t(v), uint8_t(v), uint8_t(v), in.a});
      }
    }
    EXPECT_EQ(wrong, 0);
  }
}

struct RectangleCase {
  int64_t left, top, width, height;
  int64_t allRect[4], greyRect[4];  // covered columns and rows, half open: x0, y0, x1, y1
};

constexpr int64_t kSide = 12;
const RectangleCase kRectangles[] = {
    {0, 0, 0, 0, {0, 0, 12, 12}, {0, 0, 0, 0}},
    {0, 0, -1, -1, {0, 0, 12, 12}, {0, 0, 12, 12}},
    {10, 0, 0, 0, {10, 0, 12, 12}, {0, 0, 0, 0}},
    {0, 0, 0, 5, {0, 0, 12, 5}, {0, 0, 0, 0}},
    {-10, -10, 20, 20, {0, 0, 10, 10}, {0, 0, 10, 10}},
    {3, 4, 2, 3, {3, 4, 5, 7}, {3, 4, 5, 7}},
    {12, 0, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, 12, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, 1000000000000, -1, -1, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {INT64_MAX, 0, 10, 10, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, INT64_MAX - 5, 10, 100, {0, 0, 0, 0}, {0, 0, 0, 0}},
};

bool Inside(const int64_t rect[4], int64_t x, int64_t y) {
  return x >= rect[0] && y >= rect[1] && x < rect[2] && y < rect[3];
}

// Inside the rectangle the grey source is inverted; everything else is what
// the host's new picture held.
TEST_P(InvertFilters, OnlyTheClippedRectangleIsStored) {
  for (bool withAlpha : {false, true}) {
    auto make = [withAlpha] {
      return withAlpha ? qvlhost::NewAlphaPicture(kSide, kSide) : qvlhost::NewPicture(kSide, kSide);
    };
    OwnedPicture source(make());
    OwnedPicture fresh(make());
    for (int64_t y = 0; y < kSide; ++y) {
      for (int64_t x = 0; x < kSide; ++x) {
        const auto v = static_cast<uint8_t>(x * 16 + y);
        Write(source, x, {v, v, v, 255}, y);
      }
    }
    const uint8_t alpha = withAlpha ? 255 : OpaqueAlpha(source);
    for (const RectangleCase& c : kRectangles) {
      for (bool grey : {false, true}) {
        SCOPED_TRACE(std::to_string(c.left) + "," + std::to_string(c.top) + "," + std::to_string(c.width) + "," +
                     std::to_string(c.height) + (grey ? " grey" : " all") + (withAlpha ? " alpha" : ""));
        OwnedPicture result(grey ? InvertGrayPicture(source, c.left, c.top, c.width, c.height)
                                 : InvertPicture(source, c.left, c.top, c.width, c.height));
        ASSERT_NE(result.get(), nullptr);
        int wrong = 0;
        for (int64_t y = 0; y < kSide; ++y) {
          for (int64_t x = 0; x < kSide; ++x) {
            if (Inside(grey ? c.greyRect : c.allRect, x, y)) {
              const uint8_t inverted = 255 - Read(source, x, y).r;
              wrong += !(Read(result, x, y) == Rgba{inverted, inverted, inverted, alpha});
            } else {
              wrong += qvlhost::PixelWord(result, x, y) != qvlhost::PixelWord(fresh, x, y);
            }
          }
        }
        EXPECT_EQ(wrong, 0);
      }
    }
  }
}

TEST_P(InvertFilters, NilPictureGivesNilAfterTheCheck) {
  const int64_t checks = RegistrationCheckCalls();
  EXPECT_EQ(InvertPicture(nullptr, 0, 0, 1, 1), nullptr);
  EXPECT_EQ(InvertGrayPicture2(nullptr), nullptr);
  EXPECT_EQ(RegistrationCheckCalls(), checks + 2);
}

QVL_INSTANTIATE_LAYOUTS(InvertFilters);

// In gd the alpha field counts the other way: on the alpha path an opaque
// pixel reads as A = 0 and keeps its colour, a transparent one is inverted.
class InvertGD : public PluginTest {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.storage = qvlhost::Storage::GD();
    config.app = qvlhost::AppKind::Console;
    return config;
  }
};

TEST_F(InvertGD, OpaqueKeepsColourTransparentIsInverted) {
  OwnedPicture source(qvlhost::NewAlphaPicture(2, 1));
  qvlhost::SetPixelRgba(source, 0, 0, {10, 20, 30, 255});
  qvlhost::SetPixelRgba(source, 1, 0, {10, 20, 30, 0});
  OwnedPicture result(InvertPicture2(source));
  EXPECT_EQ(qvlhost::PixelRgba(result, 0, 0), (Rgba{10, 20, 30, 255}));
  EXPECT_EQ(qvlhost::PixelRgba(result, 1, 0), (Rgba{245, 235, 225, 0}));
}

// Source and result in different Core Graphics layouts: each channel is
// read from its own place and written to the other layout's place.
class InvertAcrossLayouts : public PluginTest {};

TEST_F(InvertAcrossLayouts, ChannelsMoveWithTheLayout) {
  for (auto [from, to] : {std::pair<uint32_t, uint32_t>{1, 2}, {2, 3}, {6, 5}}) {
    qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(from);
    for (bool grey : {false, true}) {
      OwnedPicture source(qvlhost::NewPicture(2, 1));
      qvlhost::SetPixelRgba(source, 0, 0, {10, 20, 30, 40});
      qvlhost::SetPixelRgba(source, 1, 0, {70, 70, 70, 40});
      qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(to);
      OwnedPicture result(grey ? InvertGrayPicture2(source) : InvertPicture2(source));
      qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(from);
      ASSERT_NE(result.get(), nullptr);
      EXPECT_EQ(qvlhost::PictureStorage(result).alphaInfo, to);
      EXPECT_EQ(qvlhost::PixelRgba(result, 0, 0), grey ? (Rgba{10, 20, 30, 255}) : (Rgba{245, 235, 225, 255}));
      EXPECT_EQ(qvlhost::PixelRgba(result, 1, 0), (Rgba{185, 185, 185, 255}));
    }
  }
}

}  // namespace
