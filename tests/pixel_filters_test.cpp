// The tone, threshold, invert, tint and saturation filters in all seven
// layouts: each rule on every pixel at every vector level, against a plain
// per-pixel evaluation, the rectangles of the invert filters, crossed
// layouts, nil sources, and the host calls and traces of a plain run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "filters/invert.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "picture/masks.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::Storage;

using PixelFilters = LayoutTest;
QVL_INSTANTIATE_LAYOUTS(PixelFilters);

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// What the processor's truncating conversion gives.
int32_t Cut(double value) {
#if defined(__x86_64__)
  if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
#else
  if (std::isnan(value)) return 0;
  if (value >= 2147483648.0 || value <= -2147483649.0) return value > 0 ? INT32_MAX : INT32_MIN;
#endif
  return static_cast<int32_t>(value);
}

int Clamp(double value) { return std::clamp(Cut(value), 0, 255); }
double Contrast(int v, double c) { return static_cast<double>(v - 127) * (c + 1.0) + 127.0; }
double Linear(double x, double l) { return x * ((255.0 - std::fabs(l)) / 255.0) + (l > 0.0 ? l : 0.0); }

enum class Rule { Contrast, Absolute, Linear, ContrastAbsolute, ContrastLinear, Custom };

// gain holds contrasts or custom gains, shift brightnesses or offsets; the
// one-value forms take entry 0. A documented value, where given: at column
// spot[0], channel spot[1] (red or green) is spot[2].
struct ToneCase {
  Rule rule;
  bool perChannel;
  double gain[3], shift[3];
  int spot[3] = {-1, 0, 0};

  REALpictureStruct* Apply(REALpictureStruct* p) const {
    const double *a = gain, *b = shift;
    switch (rule) {
      case Rule::Contrast:
        return perChannel ? ContrastPicture3(p, a[0], a[1], a[2]) : ContrastPicture1(p, a[0]);
      case Rule::Absolute:
        return perChannel ? AbsBrightnessPicture3(p, b[0], b[1], b[2]) : AbsBrightnessPicture1(p, b[0]);
      case Rule::Linear:
        return perChannel ? LinBrightnessPicture3(p, b[0], b[1], b[2]) : LinBrightnessPicture1(p, b[0]);
      case Rule::ContrastAbsolute:
        return perChannel ? ContrastAbsBrightnessPicture3(p, a[0], a[1], a[2], b[0], b[1], b[2])
                          : ContrastAbsBrightnessPicture1(p, a[0], b[0]);
      case Rule::ContrastLinear:
        return perChannel ? ContrastLinBrightnessPicture3(p, a[0], a[1], a[2], b[0], b[1], b[2])
                          : ContrastLinBrightnessPicture1(p, a[0], b[0]);
      case Rule::Custom:
        return perChannel ? TransformPicture3(p, a[0], b[0], a[1], b[1], a[2], b[2]) : TransformPicture1(p, a[0], b[0]);
    }
    return nullptr;
  }

  // Contrast alone or absolute brightness alone is the pair with the other
  // at 0, which changes nothing.
  int Expected(int channel, int v) const {
    const int i = perChannel ? channel : 0;
    const double c = gain[i], l = shift[i];
    if (rule == Rule::Linear) return Cut(Linear(v, l)) & 0xFF;  // wraps, no clamp
    if (rule == Rule::ContrastLinear) return Clamp(Linear(Contrast(v, c), l));
    if (rule == Rule::Custom) return Clamp(v * (channel == 1 ? gain[0] : c) + l);  // green's gain is Ra
    return Clamp(Contrast(v, c) + l);
  }
};

// Most cases have float forms that give their tables, so the computing rows
// run; gain 1.1 and linear brightness -60 (in one channel of three) have
// none, and the rows must leave those calls to the tables.
const ToneCase kCases[] = {
    {Rule::Contrast, false, {-1}, {}},
    {Rule::Contrast, false, {0.1}, {}},
    {Rule::Contrast, false, {1}, {}, {128, 0, 129}},
    {Rule::Contrast, false, {1e12}, {}, {255, 0, Cut(1e12) == INT32_MAX ? 255 : 0}},
    {Rule::Linear, true, {}, {40, -60, -20}},
    {Rule::Contrast, true, {0.5, 1, 1e12}, {}},
    {Rule::Contrast, true, {kNaN, kInf, -kInf}, {}},
    {Rule::Absolute, false, {}, {-0.5}, {10, 0, 9}},
    {Rule::Absolute, false, {}, {0.5}, {77, 0, 77}},
    {Rule::Absolute, true, {}, {300, -300.7, 3e9}},
    {Rule::Linear, false, {}, {100}, {1, 0, 100}},
    {Rule::Linear, false, {}, {-255}, {255, 0, 0}},
    {Rule::Linear, false, {}, {-300}, {255, 0, 211}},
    {Rule::Linear, true, {}, {300, -300, 1e10}, {0, 0, 44}},
    {Rule::Linear, false, {}, {kNaN}},
    {Rule::ContrastAbsolute, false, {1}, {-20.5}},
    {Rule::ContrastAbsolute, true, {-1, 0.25, 3}, {1000, -0.9, 1e300}},
    {Rule::ContrastLinear, false, {0}, {300}, {0, 0, 255}},
    {Rule::ContrastLinear, true, {0.5, -1, 2}, {-100, 255, 1e10}},
    {Rule::Custom, false, {-1.5}, {300.25}},
    {Rule::Custom, false, {kNaN}, {0}},
    {Rule::Custom, true, {2, 0.5, 1}, {0, 7, -3e9}, {155, 1, 207}},  // green 100 doubled, not halved
};

// Red, green and blue run through all 256 values and on into a part-filled
// block of 16 pixels; alpha varies; a mask.
constexpr int kColumns = 256 + 16 + 3;
REALpictureStruct* AllValues() {
  REALpictureStruct* picture = qvlhost::NewAlphaPicture(kColumns, 1);
  for (int x = 0; x < kColumns; ++x)
    qvlhost::SetPixelRgba(picture, x, 0, {Byte(x), Byte(255 - x), Byte(x * 91 + 17), Byte(x * 53)});
  OwnedPicture mask(qvlhost::NewPicture(kColumns, 1));
  qvlhost::SetPictureMask(picture, mask);
  return picture;
}

// Alpha and the mask do not reach the result, which is opaque, at every
// level; in a desktop host also from a source of the other byte order. A nil
// picture gives nil after the check.
TEST_P(PixelFilters, ToneTransferOfEveryChannelValue) {
  const qvlhost::Storage made = GetParam();
  for (const qvlhost::Storage from : {made, OtherByteOrder(made)}) {
    qvlhost::CurrentConfig().storage = from;
    OwnedPicture source(AllValues());
    qvlhost::CurrentConfig().storage = made;
    for (VectorLevel level : kEveryVectorLevel) {
      CapVectorLevel(level);
      for (const ToneCase& c : kCases) {
        SCOPED_TRACE(testing::Message() << "case " << &c - kCases << " " << NameOf(level) << " from " << from.Name());
        OwnedPicture result(c.Apply(source));
        ASSERT_NE(result.get(), nullptr);
        EXPECT_EQ(qvlhost::PictureMask(result), nullptr);
        EXPECT_EQ(qvlhost::PictureStorage(result).Name(), made.Name());
        ExpectEveryPixel(source, result, [&c](qvlhost::Rgba in) {
          return Opaque(c.Expected(0, in.r), c.Expected(1, in.g), c.Expected(2, in.b));
        });
        if (c.spot[0] >= 0) {
          const Rgba got = qvlhost::PixelRgba(result, c.spot[0], 0);
          EXPECT_EQ(c.spot[1] == 0 ? got.r : got.g, c.spot[2]) << "the documented value at " << c.spot[0];
        }
      }
    }
  }
  for (const ToneCase& c : kCases) ExpectNilAfterChecks(1, [&c] { return c.Apply(nullptr); });
}

// White where green and blue both reach the threshold; the result keeps the
// source's alpha channel, opaque, and drops its mask.
TEST_P(PixelFilters, ThresholdGreenAndBlueDecideRedTakesNoPart) {
  constexpr int64_t kMin = INT64_MIN, kMax = INT64_MAX;
  const std::tuple<int64_t, Rgba, bool> cases[] = {
      // threshold, colour, white
      {0, Opaque(0, 0, 0), true},          {-1, Opaque(0, 0, 0), true},          {kMin, Opaque(0, 0, 0), true},
      {256, Opaque(255, 255, 255), false}, {kMax, Opaque(255, 255, 255), false}, {255, Opaque(0, 255, 255), true},
      {1, Opaque(255, 0, 255), false},     {1, Opaque(255, 255, 0), false},      {100, Opaque(0, 100, 100), true},
      {100, Opaque(255, 99, 100), false},  {100, Opaque(255, 100, 99), false}};
  OwnedPicture mask(qvlhost::NewPicture(37, 2));
  for (const bool alpha : {false, true}) {
    // Whole vector blocks and a tail, with an alpha channel or without.
    const auto solid = [alpha](Rgba c) {
      return PaintedPicture(
          37, 2, [c](int64_t, int64_t) { return c; }, alpha);
    };
    for (auto [threshold, colour, white] : cases) {
      colour.a = alpha ? 0 : 255;  // with alpha, fully transparent
      OwnedPicture source(solid(colour));
      qvlhost::SetPictureMask(source, mask);
      for (const VectorLevel level : kEveryVectorLevel) {
        CapVectorLevel(level);
        SCOPED_TRACE(testing::Message() << threshold << " " << NameOf(level));
        OwnedPicture result(ThresholdQVL(source, threshold));
        ExpectSamePicture(result, OwnedPicture(solid(Opaque(white * 255, white * 255, white * 255))));
        EXPECT_EQ(nullptr, qvlhost::PictureMask(result));
        for (int64_t y = 0; y < 2; ++y) {
          EXPECT_EQ(qvlhost::FreshRowPadding(GetParam().kind == Storage::CoreGraphics ? kRowPadding : 0),
                    qvlhost::RowPadding(result, y));
        }
      }
    }
  }
}

TEST_P(PixelFilters, ThresholdNilAndOversizedSourcesGiveNil) {
  ExpectNilAfterChecks(0, [] { return ThresholdQVL(nullptr, 10); });
  EXPECT_TRUE(qvlhost::Journal().empty());
  OwnedPicture wide(qvlhost::NewPicture(32768, 1));
  ExpectNilAfterChecks(1, [&] { return ThresholdQVL(wide, 10); });
}

// A plain run: its host calls in order; with tracing the first steps and the
// walk's last step, which asks writer and reader for the row below the
// picture; nothing written without.
TEST_F(PluginTest, ThresholdNormalRunMakesTheseHostCallsAndTraces) {
  OwnedPicture source(qvlhost::NewPicture(4, 3)), result;
  qvlhost::ClearJournal();
  const std::vector<std::string> lines =
      TracedLines([&] { EXPECT_EQ(ChecksDuring([&] { result = OwnedPicture(ThresholdQVL(source, 128)); }), 1); });
  const std::vector<std::string> acquire = {"PluginPictureGetType",       "REALGetPropValueBool",
                                            "REALLockPictureDescription", "REALLockObject",
                                            "REALGetPropValueInteger",    "REALGetPropValueInteger"};
  std::vector<std::string> expected(3, "pluginObjectType");
  expected.insert(expected.end(), acquire.begin(), acquire.end());
  expected.push_back("newPicture");
  expected.insert(expected.end(), acquire.begin(), acquire.end());
  expected.insert(expected.end(),
                  {"REALUnlockObject", "REALLockObject", "REALPictureClearCache", "REALSetPropValueInteger",
                   "REALSetPropValueInteger", "unlockPictureDescription", "REALPictureClearCache", "REALUnlockObject",
                   "unlockPictureDescription", "REALUnlockObject"});
  EXPECT_EQ(expected, qvlhost::JournalEntryNames());
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ("QVL Debug: PictureEditor", lines[0]);
  EXPECT_EQ("QVL Debug: neu", lines[1]);
  EXPECT_EQ(0u, lines[2].rfind("QVL Debug: GetPictureReader ", 0));
  EXPECT_EQ(2, CountOf(lines, "y too big: 3 of 3 in GetRow"));
  qvlhost::LogCapture quiet;
  OwnedPicture untraced(ThresholdQVL(source, 128));
  EXPECT_TRUE(quiet.Lines().empty());
}

// Channels as the filters see them: the stored bytes, with gd's 7-bit alpha
// field stretched to 8 bits (so 0 is opaque there).
Rgba Read(REALpictureStruct* picture, int64_t x, int64_t y) {
  if (qvlhost::PictureStorage(picture).kind != Storage::GDTrueColor) return qvlhost::PixelRgba(picture, x, y);
  const uint32_t word = qvlhost::PixelWord(picture, x, y), field = (word >> 24) & 0x7F;
  return {Byte(word >> 16), Byte(word >> 8), Byte(word), Byte(2 * field + (field & 1))};
}

// A cheap deterministic hash of a position, best in its high bits.
uint32_t Hash(uint32_t x, uint32_t y) { return ((x * 0x9E3779B1u ^ y * 0x85EBCA77u) >> 11) * 0x2C1B3C6Du; }

// The upper 256 rows hold every alpha (by row) against every grey value (by
// column); the lower ones runs of eight alphas all 0, all 255, 0 and 255
// mixed, or anything, under colours that are grey, have two equal channels,
// or none. The odd width leaves a short end on every row.
Rgba PatternPixel(uint32_t x, uint32_t y) {
  if (y < 256 && x < 256) return {uint8_t(x), uint8_t(x), uint8_t(x), uint8_t(y)};
  const uint32_t h = Hash(x, y), run = Hash(x / 8, y) >> 30;
  const uint8_t a = run == 0 ? 0 : run == 1 ? 255 : run == 2 ? (h >> 31) * 255 : h >> 24;
  const uint8_t r = h >> 16, other = h >> 8, kind = h >> 6 & 3;
  return {r, kind < 2 ? r : other, kind == 0 ? r : kind == 2 ? uint8_t(other + 1) : other, a};
}

// The rule one pixel at a time, as the filters see the channels.
Rgba Expected(Rgba in, bool withAlpha, bool greyOnly, uint8_t opaqueAlpha) {
  const auto inverse = [&](int c) -> uint8_t {
    const int a = withAlpha ? in.a : 255;
    if (a == 0 || a == 255) return a == 0 ? c : 255 - c;
    return MultiplyTable[a * 256 + (UnmultiplyTable[a * 256 + c] ^ 255)];
  };
  const uint8_t alpha = withAlpha ? in.a : opaqueAlpha;
  if (greyOnly && !(in.r == in.g && in.g == in.b)) return {in.r, in.g, in.b, alpha};
  return {inverse(in.r), inverse(in.g), inverse(in.b), alpha};
}

// Every pixel of the pattern through both filters and both kinds of row
// code, against the rule; in a desktop host also from a source of the other
// byte order, each channel read from its own place.
TEST_P(PixelFilters, InvertEveryPixelFollowsTheRule) {
  InitMultiplyTable();
  const Storage made = GetParam();
  const uint8_t opaqueAlpha = made.kind == Storage::GDTrueColor ? 0 : 255;  // as the filters read it
  for (const Storage from : {made, OtherByteOrder(made)}) {
    for (bool withAlpha : {false, true}) {
      qvlhost::CurrentConfig().storage = from;
      OwnedPicture source(PaintedPicture(263, 512, PatternPixel, withAlpha));
      qvlhost::CurrentConfig().storage = made;
      for (VectorLevel level : kEveryVectorLevel) {
        CapVectorLevel(level);
        for (bool greyOnly : {false, true}) {
          SCOPED_TRACE(testing::Message() << withAlpha << greyOnly << NameOf(level) << " from " << from.Name());
          OwnedPicture result(greyOnly ? InvertGrayPicture2(source) : InvertPicture2(source));
          ExpectEveryPixel(
              source, result, [&](Rgba in) { return Expected(in, withAlpha, greyOnly, opaqueAlpha); }, Read);
        }
      }
    }
  }
}

// The clipped rectangles InvertQVL and InvertGrayQVL cover, half open: x0,
// y0, x1, y1. A width or height of 0 means "to the edge" for InvertQVL only.
struct RectangleCase {
  int64_t left, top, width, height;
  int64_t allRect[4], greyRect[4];
};

constexpr int64_t kSide = 40;
const RectangleCase kRectangles[] = {
    {0, 0, 0, 0, {0, 0, 40, 40}, {0, 0, 0, 0}},         {0, 0, -1, -1, {0, 0, 40, 40}, {0, 0, 40, 40}},
    {10, 0, 0, 0, {10, 0, 40, 40}, {0, 0, 0, 0}},       {0, 0, 0, 5, {0, 0, 40, 5}, {0, 0, 0, 0}},
    {-10, -10, 20, 20, {0, 0, 10, 10}, {0, 0, 10, 10}}, {3, 4, 2, 3, {3, 4, 5, 7}, {3, 4, 5, 7}},
    {3, 1, 33, 2, {3, 1, 36, 3}, {3, 1, 36, 3}},        {40, 0, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {0, 40, 5, 5, {0, 0, 0, 0}, {0, 0, 0, 0}},          {0, 1000000000000, -1, -1, {0, 0, 0, 0}, {0, 0, 0, 0}},
    {INT64_MAX, 0, 10, 10, {0, 0, 0, 0}, {0, 0, 0, 0}}, {0, INT64_MAX - 5, 10, 100, {0, 0, 0, 0}, {0, 0, 0, 0}},
};

bool Inside(const int64_t rect[4], int64_t x, int64_t y) {
  return x >= rect[0] && y >= rect[1] && x < rect[2] && y < rect[3];
}

// Inside the rectangle the grey source is inverted; everything else is what
// the host's new picture held, opaque white. At every level: rectangles
// wide enough for vector blocks, also from a column inside the picture. A
// nil picture gives nil after the check.
TEST_P(PixelFilters, InvertOnlyTheClippedRectangleIsStored) {
  const auto grey = [](int64_t v) { return Opaque(v, v, v); };
  OwnedPicture source(PaintedPicture(kSide, kSide, [&](int64_t x, int64_t y) { return grey(x * 5 + y); }));
  for (const VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (const RectangleCase& c : kRectangles) {
      for (bool greyOnly : {false, true}) {
        SCOPED_TRACE(testing::Message() << NameOf(level) << " case " << &c - kRectangles << (greyOnly ? " grey" : ""));
        OwnedPicture result(greyOnly ? InvertGrayPicture(source, c.left, c.top, c.width, c.height)
                                     : InvertPicture(source, c.left, c.top, c.width, c.height));
        OwnedPicture expected(PaintedPicture(kSide, kSide, [&](int64_t x, int64_t y) {
          return grey(Inside(greyOnly ? c.greyRect : c.allRect, x, y) ? 255 - x * 5 - y : 255);
        }));
        ExpectSamePicture(result, expected);
      }
    }
  }
  ExpectNilAfterChecks(1, [] { return InvertPicture(nullptr, 0, 0, 1, 1); });
  ExpectNilAfterChecks(1, [] { return InvertGrayPicture2(nullptr); });
}

// Pixels in rows of the given width, with an alpha channel; the last row
// repeats from the start.
REALpictureStruct* PictureOf(const std::vector<Rgba>& pixels, int64_t width) {
  const auto count = static_cast<int64_t>(pixels.size());
  return PaintedPicture(
      width, (count + width - 1) / width, [&](int64_t x, int64_t y) { return pixels[(y * width + x) % count]; }, true);
}

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

// The invert pattern's colours and alphas, in rows of 263 pixels (a part of
// the frame's walk and a partial block for every row code), through each row
// code the processor has: weights that add up to 1, thirds whose grey often
// lands next to a whole number (where a fused multiply-add would truncate
// differently), white weights whose grey goes up to 765 and is limited, and
// a sepia whose top byte is set. Of a nil picture tint gives nil before the
// registration check.
TEST_P(PixelFilters, TintFollowsThePerPixelRule) {
  OwnedPicture source(PaintedPicture(
      263, 10, [](int64_t x, int64_t y) { return PatternPixel(x, y + 300); }, true));
  const std::pair<uint32_t, uint32_t> colours[] = {{0x4D9619, 0xF0C080}, {0x4C961D, 0xFFE0B0},  {0x555555, 0xFFFFFF},
                                                   {0xFFFFFF, 0x123456}, {0xFFFFFF, 0xFFFFFF},  {0x010203, 0xFFFFFF},
                                                   {0xFF0000, 0xFF8000}, {0xFFFFFF, 0xFF000000}};
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (auto [grey, sepia] : colours) {
      SCOPED_TRACE(testing::Message() << std::hex << grey << " " << sepia << " " << NameOf(level));
      OwnedPicture result(TintPicture(source, grey, sepia));
      ExpectEveryPixel(source, result, [grey = grey, sepia = sepia](Rgba p) {
        return Opaque(TintReference(p, grey, sepia, 16), TintReference(p, grey, sepia, 8),
                      TintReference(p, grey, sepia, 0));
      });
    }
  }
  ExpectNilAfterChecks(0, [] { return TintPicture(nullptr, 0xFFFFFF, 0xFFFFFF); });
}

// Every channel value c against every grey y it can meet: red runs through
// c while blue + 2 green runs through 0..765, in rows of 250 pixels. Amounts
// at the edges of the 16-bit vector form, of the 32-bit sum and of the 64-bit
// product, where the rows fall back to the step table. Of a nil picture
// saturation gives nil after the check.
TEST_P(PixelFilters, SaturationFollowsThePerPixelRule) {
  std::vector<Rgba> pixels;
  for (int rest = 0; rest <= 765; ++rest) {
    const int green = std::min(rest / 2, 255);
    for (int c = 0; c < 256; ++c) pixels.push_back({Byte(c), Byte(green), Byte(rest - 2 * green), Byte(c ^ rest)});
  }
  OwnedPicture source(PictureOf(pixels, 250));
  const int64_t twoTo31 = int64_t{1} << 31;
  for (VectorLevel level : kEveryVectorLevel) {
    CapVectorLevel(level);
    for (int64_t amount :
         {int64_t{0}, int64_t{100}, int64_t{-300}, int64_t{65024}, int64_t{65025}, int64_t{-65534}, int64_t{-65535},
          twoTo31 - 511, twoTo31 - 510, -twoTo31 + 1, -twoTo31, INT64_MAX / 255, INT64_MAX, INT64_MIN}) {
      SCOPED_TRACE(testing::Message() << amount << " " << NameOf(level));
      OwnedPicture result(SaturationPicture(source, amount));
      ExpectEveryPixel(source, result, [amount](Rgba p) {
        const int y = (p.r + p.b + 2 * p.g) >> 2;
        return Opaque(SaturationReference(p.r, y, amount), SaturationReference(p.g, y, amount),
                      SaturationReference(p.b, y, amount));
      });
    }
  }
  ExpectNilAfterChecks(1, [] { return SaturationPicture(nullptr, 0); });
}

}  // namespace
