// Tint and saturation: the examples of the two rules, and every channel
// value against a plain per-pixel evaluation, in all seven layouts.
#include "filters/tint.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "registrationclient/registration_check.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

uint8_t Byte(int value) { return static_cast<uint8_t>(value); }

REALpictureStruct* PictureOf(const std::vector<Rgba>& pixels) {
  REALpictureStruct* picture = qvlhost::NewAlphaPicture(static_cast<int64_t>(pixels.size()), 1);
  for (size_t x = 0; x < pixels.size(); ++x) qvlhost::SetPixelRgba(picture, static_cast<int64_t>(x), 0, pixels[x]);
  return picture;
}

// Channels run through all 256 values, in three different orders; alpha varies.
REALpictureStruct* AllValues() {
  std::vector<Rgba> pixels;
  for (int x = 0; x < 256; ++x) pixels.push_back({Byte(x), Byte(255 - x), Byte(x * 91 + 17), Byte(x * 53)});
  return PictureOf(pixels);
}

Rgba Opaque(int r, int g, int b) { return {Byte(r), Byte(g), Byte(b), 255}; }

int TintReference(Rgba in, uint32_t grey, uint32_t sepia, int shift) {
  auto part = [](uint32_t colour, int at) { return static_cast<double>((colour >> at) & 0xFF) / 255.0; };
  const double t = in.r * part(grey, 16) + in.g * part(grey, 8) + in.b * part(grey, 0);
  return std::min(255, static_cast<int>(t * part(sepia, shift)));
}

int SaturationReference(int c, int y, int64_t amount) {
  const int64_t k = static_cast<int64_t>(static_cast<uint64_t>(amount) + 255u);
  const auto quotient = static_cast<int64_t>(static_cast<__int128>(c - y) * k) / 255;
  return std::clamp(static_cast<int32_t>(static_cast<uint32_t>(quotient) + static_cast<uint32_t>(y)), 0, 255);
}

class TintAndSaturation : public LayoutTest {
 protected:
  // gd storage is what console applications use.
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = LayoutTest::HostConfig();
    if (config.storage.kind == qvlhost::Storage::GDTrueColor) config.app = qvlhost::AppKind::Console;
    return config;
  }

  void ExpectPixels(REALpictureStruct* result, const std::vector<Rgba>& expected) {
    ASSERT_NE(result, nullptr);
    for (size_t x = 0; x < expected.size(); ++x) {
      EXPECT_EQ(qvlhost::PixelRgba(result, static_cast<int64_t>(x), 0), expected[x]) << "pixel " << x;
    }
  }
};

TEST_P(TintAndSaturation, TintExamples) {
  struct Example {
    uint32_t grey, sepia;
    Rgba in, out;
  } examples[] = {
      {0x555555, 0xFFFFFF, Opaque(10, 20, 30), Opaque(20, 20, 20)},
      {0x555555, 0xFFFFFF, Opaque(255, 255, 255), Opaque(255, 255, 255)},
      {0xFFFFFF, 0xFFFFFF, Opaque(100, 100, 100), Opaque(255, 255, 255)},
      {0xFF0000, 0xFF8000, Opaque(200, 7, 99), Opaque(200, 100, 0)},
      {0x000000, 0xFFFFFF, Opaque(200, 7, 99), Opaque(0, 0, 0)},
      {0xFFFFFF, 0xFF000000, Opaque(200, 7, 99), Opaque(0, 0, 0)},
  };
  for (const Example& e : examples) {
    OwnedPicture source(PictureOf({e.in}));
    OwnedPicture result(TintPicture(source, e.grey, e.sepia));
    ExpectPixels(result, {e.out});
  }
}

TEST_P(TintAndSaturation, SaturationExamples) {
  struct Example {
    int64_t amount;
    Rgba in, out;
  } examples[] = {
      {0, {10, 20, 30, 0}, Opaque(10, 20, 30)},       {-255, Opaque(10, 20, 30), Opaque(20, 20, 20)},
      {255, Opaque(10, 20, 30), Opaque(0, 20, 40)},   {-100, Opaque(10, 20, 31), Opaque(14, 20, 26)},
      {-510, Opaque(10, 20, 30), Opaque(30, 20, 10)},
  };
  for (const Example& e : examples) {
    OwnedPicture source(PictureOf({e.in}));
    OwnedPicture result(SaturationPicture(source, e.amount));
    ExpectPixels(result, {e.out});
  }
}

TEST_P(TintAndSaturation, EveryChannelValue) {
  OwnedPicture source(AllValues());
  std::vector<Rgba> in;
  for (int x = 0; x < 256; ++x) in.push_back(qvlhost::PixelRgba(source, x, 0));
  for (auto [grey, sepia] : {std::pair<uint32_t, uint32_t>{0x4D9619, 0xF0C080}, {0xFFFFFF, 0x123456}}) {
    std::vector<Rgba> expected;
    for (const Rgba& p : in) {
      expected.push_back(Opaque(TintReference(p, grey, sepia, 16), TintReference(p, grey, sepia, 8),
                                TintReference(p, grey, sepia, 0)));
    }
    OwnedPicture result(TintPicture(source, grey, sepia));
    ExpectPixels(result, expected);
  }
  for (int64_t amount : {int64_t{1}, int64_t{-300}, int64_t{100000}, INT64_MAX, INT64_MIN, int64_t{1} << 56}) {
    SCOPED_TRACE("amount " + std::to_string(amount));
    std::vector<Rgba> expected;
    for (const Rgba& p : in) {
      const int y = (p.r + p.b + 2 * p.g) >> 2;
      expected.push_back(Opaque(SaturationReference(p.r, y, amount), SaturationReference(p.g, y, amount),
                                SaturationReference(p.b, y, amount)));
    }
    OwnedPicture result(SaturationPicture(source, amount));
    ExpectPixels(result, expected);
  }
}

// Tint checks after acquiring its source, saturation first of all.
TEST_P(TintAndSaturation, NilPictureAndTheCheck) {
  int64_t checks = RegistrationCheckCalls();
  EXPECT_EQ(TintPicture(nullptr, 0xFFFFFF, 0xFFFFFF), nullptr);
  EXPECT_EQ(RegistrationCheckCalls(), checks);
  EXPECT_EQ(SaturationPicture(nullptr, 0), nullptr);
  EXPECT_EQ(RegistrationCheckCalls(), checks + 1);
}

QVL_INSTANTIATE_LAYOUTS(TintAndSaturation);

}  // namespace
