// The tone filters' transfer functions over every channel value, against a
// plain per-pixel evaluation of each rule, in all seven layouts.
#include "filters/tone.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "registrationclient/registration_check.h"
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
  if (value >= 2147483648.0) return INT32_MAX;
  if (value <= -2147483649.0) return INT32_MIN;
#endif
  return static_cast<int32_t>(value);
}

int Clamp(double value) { return std::clamp(Cut(value), 0, 255); }
int LowByte(double value) { return Cut(value) & 0xFF; }

double Contrast(int v, double contrast) { return static_cast<double>(v - 127) * (contrast + 1.0) + 127.0; }
double Linear(double x, double brightness) {
  return x * ((255.0 - std::fabs(brightness)) / 255.0) + (brightness > 0.0 ? brightness : 0.0);
}

using Filter = std::function<REALpictureStruct*(REALpictureStruct*)>;
using Reference = std::function<int(int channel, int v)>;

struct ToneCase {
  std::string name;
  Filter filter;
  Reference expected;
};

std::vector<ToneCase> Cases() {
  using P = REALpictureStruct*;
  return {
      {"contrast -1", [](P p) { return ContrastPicture1(p, -1); }, [](int, int v) { return Clamp(Contrast(v, -1)); }},
      {"contrast per channel", [](P p) { return ContrastPicture3(p, 0.5, 1, 1e12); },
       [](int ch, int v) {
         return Clamp(Contrast(v, std::vector<double>{0.5, 1, 1e12}[ch]));
       }},
      {"contrast NaN and infinities", [](P p) { return ContrastPicture3(p, kNaN, kInf, -kInf); },
       [](int ch, int v) {
         return Clamp(Contrast(v, std::vector<double>{kNaN, kInf, -kInf}[ch]));
       }},
      {"absolute -0.5", [](P p) { return AbsBrightnessPicture1(p, -0.5); }, [](int, int v) { return Clamp(v + -0.5); }},
      {"absolute per channel", [](P p) { return AbsBrightnessPicture3(p, 300, -300.7, 3e9); },
       [](int ch, int v) {
         return Clamp(v + std::vector<double>{300, -300.7, 3e9}[ch]);
       }},
      {"linear 100", [](P p) { return LinBrightnessPicture1(p, 100); },
       [](int, int v) { return LowByte(Linear(v, 100)); }},
      {"linear wraps", [](P p) { return LinBrightnessPicture3(p, 300, -300, 1e10); },
       [](int ch, int v) {
         return LowByte(Linear(v, std::vector<double>{300, -300, 1e10}[ch]));
       }},
      {"linear NaN", [](P p) { return LinBrightnessPicture1(p, kNaN); }, [](int, int) { return LowByte(kNaN); }},
      {"contrast absolute", [](P p) { return ContrastAbsBrightnessPicture1(p, 1, -20.5); },
       [](int, int v) { return Clamp(Contrast(v, 1) + -20.5); }},
      {"contrast absolute per channel",
       [](P p) { return ContrastAbsBrightnessPicture3(p, -1, 0.25, 3, 1000, -0.9, 1e300); },
       [](int ch, int v) {
         return Clamp(Contrast(v, std::vector<double>{-1, 0.25, 3}[ch]) + std::vector<double>{1000, -0.9, 1e300}[ch]);
       }},
      {"contrast linear clamps", [](P p) { return ContrastLinBrightnessPicture1(p, 0, 300); },
       [](int, int v) { return Clamp(Linear(Contrast(v, 0), 300)); }},
      {"contrast linear per channel", [](P p) { return ContrastLinBrightnessPicture3(p, 0.5, -1, 2, -100, 255, 1e10); },
       [](int ch, int v) {
         return Clamp(
             Linear(Contrast(v, std::vector<double>{0.5, -1, 2}[ch]), std::vector<double>{-100, 255, 1e10}[ch]));
       }},
      {"custom", [](P p) { return TransformPicture1(p, -1.5, 300.25); },
       [](int, int v) { return Clamp(v * -1.5 + 300.25); }},
      {"custom NaN gain", [](P p) { return TransformPicture1(p, kNaN, 0); }, [](int, int) { return Clamp(kNaN); }},
      // Green takes Ra as its gain; Ga is never read.
      {"custom per channel", [](P p) { return TransformPicture3(p, 2, 0, 0.5, 7, 1, -3e9); },
       [](int ch, int v) {
         return Clamp(v * std::vector<double>{2, 2, 1}[ch] + std::vector<double>{0, 7, -3e9}[ch]);
       }},
  };
}

// Red, green and blue run through all 256 values; alpha and a mask vary too.
REALpictureStruct* AllValues() {
  REALpictureStruct* picture = qvlhost::NewAlphaPicture(256, 1);
  for (int x = 0; x < 256; ++x) {
    qvlhost::SetPixelRgba(picture, x, 0,
                          {static_cast<uint8_t>(x), static_cast<uint8_t>(255 - x), static_cast<uint8_t>(x * 91 + 17),
                           static_cast<uint8_t>(x * 53)});
  }
  OwnedPicture mask(qvlhost::NewPicture(256, 1));
  qvlhost::SetPictureMask(picture, mask);
  return picture;
}

class ToneFilters : public LayoutTest {
 protected:
  // gd storage is what console applications use.
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = LayoutTest::HostConfig();
    if (config.storage.kind == qvlhost::Storage::GDTrueColor) config.app = qvlhost::AppKind::Console;
    return config;
  }
};

TEST_P(ToneFilters, TransferOfEveryChannelValue) {
  OwnedPicture source(AllValues());
  for (const ToneCase& c : Cases()) {
    SCOPED_TRACE(c.name);
    OwnedPicture result(c.filter(source));
    ASSERT_NE(result.get(), nullptr);
    EXPECT_EQ(qvlhost::PictureMask(result), nullptr);
    int wrong = 0;
    for (int x = 0; x < 256; ++x) {
      const qvlhost::Rgba in = qvlhost::PixelRgba(source, x, 0);
      const qvlhost::Rgba out = qvlhost::PixelRgba(result, x, 0);
      wrong +=
          out.r != c.expected(0, in.r) || out.g != c.expected(1, in.g) || out.b != c.expected(2, in.b) || out.a != 255;
    }
    EXPECT_EQ(wrong, 0);
  }
}

// Values of the transfer functions that tell the rules apart, on red.
TEST_P(ToneFilters, TellingValues) {
  using P = REALpictureStruct*;
  struct Spot {
    Filter filter;
    int v, expected;
  };
  const bool saturates = Cut(1e12) == INT32_MAX;
  const Spot spots[] = {
      {[](P p) { return ContrastPicture1(p, 1); }, 128, 129},
      {[](P p) { return ContrastPicture1(p, 1); }, 200, 255},
      {[](P p) { return ContrastPicture1(p, 0.5); }, 128, 128},
      {[](P p) { return ContrastPicture1(p, 1e12); }, 255, saturates ? 255 : 0},
      {[](P p) { return AbsBrightnessPicture1(p, -0.5); }, 10, 9},
      {[](P p) { return AbsBrightnessPicture1(p, 0.5); }, 77, 77},
      {[](P p) { return LinBrightnessPicture1(p, 100); }, 1, 100},
      {[](P p) { return LinBrightnessPicture1(p, 100); }, 128, 177},
      {[](P p) { return LinBrightnessPicture1(p, -100); }, 255, 155},
      {[](P p) { return LinBrightnessPicture1(p, 255); }, 0, 255},
      {[](P p) { return LinBrightnessPicture1(p, -255); }, 255, 0},
      {[](P p) { return LinBrightnessPicture1(p, 300); }, 0, 44},
      {[](P p) { return LinBrightnessPicture1(p, -300); }, 255, 211},
      {[](P p) { return ContrastLinBrightnessPicture1(p, 0, 300); }, 0, 255},
      {[](P p) { return TransformPicture3(p, 2, 0, 0.5, 0, 1, 0); }, 100, 200},
  };
  OwnedPicture source(AllValues());
  for (const Spot& spot : spots) {
    OwnedPicture result(spot.filter(source));
    ASSERT_NE(result.get(), nullptr);
    EXPECT_EQ(qvlhost::PixelRgba(result, spot.v, 0).r, spot.expected) << "at " << spot.v;
  }
}

TEST_P(ToneFilters, NilPictureGivesNilAfterTheCheck) {
  for (const ToneCase& c : Cases()) {
    const int64_t checks = RegistrationCheckCalls();
    EXPECT_EQ(c.filter(nullptr), nullptr) << c.name;
    EXPECT_EQ(RegistrationCheckCalls(), checks + 1) << c.name;
  }
}

QVL_INSTANTIATE_LAYOUTS(ToneFilters);

// A result made in another Core Graphics layout than its source: every
// channel still goes through its own transfer function.
class ToneAcrossLayouts : public PluginTest {};

TEST_F(ToneAcrossLayouts, ChannelsMoveWithTheLayout) {
  for (auto [from, to] : {std::pair<uint32_t, uint32_t>{1, 2}, {4, 3}}) {
    qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(from);
    OwnedPicture source(qvlhost::NewPicture(1, 1));
    qvlhost::SetPixelRgba(source, 0, 0, {10, 100, 200, 7});
    qvlhost::CurrentConfig().storage = qvlhost::Storage::CG(to);
    OwnedPicture result(TransformPicture3(source, 2, 1, 0, 0, 1, -300));
    ASSERT_NE(result.get(), nullptr);
    EXPECT_EQ(qvlhost::PictureStorage(result).alphaInfo, to);
    EXPECT_EQ(qvlhost::PixelRgba(result, 0, 0), (qvlhost::Rgba{21, 200, 0, 255}));
  }
}

}  // namespace
