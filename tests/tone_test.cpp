// The tone filters over every channel value in all seven layouts, against a
// plain per-pixel evaluation of each rule.
#include "filters/tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;

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
// one-value forms take entry 0.
struct ToneCase {
  Rule rule;
  bool perChannel;
  double gain[3], shift[3];

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
    {Rule::Linear, true, {}, {40, -60, -20}},
    {Rule::Contrast, true, {0.5, 1, 1e12}, {}},
    {Rule::Contrast, true, {kNaN, kInf, -kInf}, {}},
    {Rule::Absolute, false, {}, {-0.5}},
    {Rule::Absolute, true, {}, {300, -300.7, 3e9}},
    {Rule::Linear, false, {}, {100}},
    {Rule::Linear, true, {}, {300, -300, 1e10}},
    {Rule::Linear, false, {}, {kNaN}},
    {Rule::ContrastAbsolute, false, {1}, {-20.5}},
    {Rule::ContrastAbsolute, true, {-1, 0.25, 3}, {1000, -0.9, 1e300}},
    {Rule::ContrastLinear, false, {0}, {300}},
    {Rule::ContrastLinear, true, {0.5, -1, 2}, {-100, 255, 1e10}},
    {Rule::Custom, false, {-1.5}, {300.25}},
    {Rule::Custom, false, {kNaN}, {0}},
    {Rule::Custom, true, {2, 0.5, 1}, {0, 7, -3e9}},
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

using ToneFilters = LayoutTest;

// Alpha and the mask do not reach the result, which is opaque, at every
// level; in a desktop host also from a source of the other byte order. A nil
// picture gives nil after the check.
TEST_P(ToneFilters, TransferOfEveryChannelValue) {
  const qvlhost::Storage made = GetParam();
  const bool desktop = made.kind == qvlhost::Storage::CoreGraphics;
  const qvlhost::Storage other =
      desktop ? qvlhost::Storage::CG(made.alphaInfo % 2 ? made.alphaInfo + 1 : made.alphaInfo - 1) : made;
  for (const qvlhost::Storage from : {made, other}) {
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
      }
    }
  }
  for (const ToneCase& c : kCases) ExpectNilAfterChecks(1, [&c] { return c.Apply(nullptr); });
}

// Values that tell the rules apart, on red (channel value v at column v).
TEST_P(ToneFilters, TellingValues) {
  const int saturated = Cut(1e12) == INT32_MAX ? 255 : 0;
  const struct {
    ToneCase tone;
    int v, expected;
  } spots[] = {
      {{Rule::Contrast, false, {1}, {}}, 128, 129},        {{Rule::Contrast, false, {1e12}, {}}, 255, saturated},
      {{Rule::Absolute, false, {}, {-0.5}}, 10, 9},        {{Rule::Absolute, false, {}, {0.5}}, 77, 77},
      {{Rule::Linear, false, {}, {100}}, 1, 100},          {{Rule::Linear, false, {}, {-255}}, 255, 0},
      {{Rule::Linear, false, {}, {300}}, 0, 44},           {{Rule::Linear, false, {}, {-300}}, 255, 211},
      {{Rule::ContrastLinear, false, {0}, {300}}, 0, 255},
  };
  OwnedPicture source(AllValues());
  for (const auto& spot : spots) {
    OwnedPicture result(spot.tone.Apply(source));
    ASSERT_NE(result.get(), nullptr);
    EXPECT_EQ(qvlhost::PixelRgba(result, spot.v, 0).r, spot.expected) << "at " << spot.v;
  }
  // Green takes its gain from Ra: doubled, not halved.
  OwnedPicture custom(TransformPicture3(source, 2, 0, 0.5, 0, 1, 0));
  EXPECT_EQ(qvlhost::PixelRgba(custom, 155, 0).g, 200);
}

QVL_INSTANTIATE_LAYOUTS(ToneFilters);

}  // namespace
