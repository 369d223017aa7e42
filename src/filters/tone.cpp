// Tone filters: the transfer tables and the rule per pixel. The rule is
// three table look-ups; vector rows would have to gather them, which on
// the processor measured is slower than the rule itself, so there are none.
#include "filters/tone.h"

#include <array>

#include "filters/filter_frame.h"

namespace {

// Whether the processor's truncating conversion saturates a double that
// does not fit (NaN giving 0), as on arm64, or gives the most negative
// integer for it, as on x86.
#if defined(__x86_64__) || defined(__i386__)
constexpr bool kSaturatingConversion = false;
#else
constexpr bool kSaturatingConversion = true;
#endif

// A double cut toward zero to a signed 32-bit integer, with what the
// processor's truncating conversion gives where it does not fit.
int32_t TruncateToInt32(double value) {
  if (value > -2147483649.0 && value < 2147483648.0) return static_cast<int32_t>(value);
  if (!kSaturatingConversion) return INT32_MIN;
  if (value != value) return 0;
  return value > 0 ? INT32_MAX : INT32_MIN;
}

// A transfer function depends on one channel value and the call's
// arguments, so it is evaluated once per value into a table, with exactly
// the per-pixel arithmetic, and the pixel loop only looks up.
using ToneTable = std::array<uint8_t, 256>;

inline uint8_t Clamped(int32_t value) { return value <= 0 ? 0 : value >= 255 ? 255 : static_cast<uint8_t>(value); }

inline uint8_t LowByte(int32_t value) { return static_cast<uint8_t>(static_cast<uint32_t>(value) & 0xFF); }

template <class Transfer>
ToneTable ClampedTable(const Transfer& transfer) {
  ToneTable table;
  for (int v = 0; v < 256; ++v) table[v] = Clamped(TruncateToInt32(transfer(v)));
  return table;
}

template <class Transfer>
ToneTable WrappedTable(const Transfer& transfer) {
  ToneTable table;
  for (int v = 0; v < 256; ++v) table[v] = LowByte(TruncateToInt32(transfer(v)));
  return table;
}

// Contrast around 127: the difference is taken in integers, then scaled.
inline double Contrasted(int v, double gain) { return static_cast<double>(v - 127) * gain + 127.0; }

inline double GainOf(double contrast) { return contrast + 1.0; }

// Linear brightness squeezes the range by |L| and lifts its bottom by a
// positive L: v * squeeze + lift.
struct LinearBrightness {
  double squeeze;
  double lift;
};

inline LinearBrightness LinearBrightnessOf(double brightness) {
  double negativeMagnitude = brightness < -brightness ? brightness : -brightness;
  return {(negativeMagnitude + 255.0) / 255.0, brightness > 0.0 ? brightness : 0.0};
}

ToneTable ContrastTable(double contrast) {
  const double gain = GainOf(contrast);
  return ClampedTable([gain](int v) { return Contrasted(v, gain); });
}

ToneTable AbsBrightnessTable(double brightness) {
  return ClampedTable([brightness](int v) { return static_cast<double>(v) + brightness; });
}

ToneTable LinBrightnessTable(double brightness) {
  const LinearBrightness linear = LinearBrightnessOf(brightness);
  return WrappedTable([linear](int v) { return static_cast<double>(v) * linear.squeeze + linear.lift; });
}

ToneTable ContrastAbsBrightnessTable(double contrast, double brightness) {
  const double gain = GainOf(contrast);
  return ClampedTable([gain, brightness](int v) { return Contrasted(v, gain) + brightness; });
}

ToneTable ContrastLinBrightnessTable(double contrast, double brightness) {
  const double gain = GainOf(contrast);
  const LinearBrightness linear = LinearBrightnessOf(brightness);
  return ClampedTable([gain, linear](int v) { return Contrasted(v, gain) * linear.squeeze + linear.lift; });
}

ToneTable CustomTable(double gain, double offset) {
  return ClampedTable([gain, offset](int v) { return static_cast<double>(v) * gain + offset; });
}

// The three channel tables turned into destination words: each entry holds
// its channel's result already in place for the opaque write of layout D,
// and the red entries carry the alpha bits, so that a pixel is three
// look-ups or-ed together. The fields are disjoint, so the sum that the
// opaque write makes and the or are the same word.
struct PlacedTables {
  std::array<uint32_t, 256> red, green, blue;
};

template <PixelLayout D>
PlacedTables Place(const ToneTable& red, const ToneTable& green, const ToneTable& blue) {
  PlacedTables placed;
  const uint32_t alphaBits = OpaquePixel<D>(0, 0, 0);
  for (int v = 0; v < 256; ++v) {
    placed.red[v] = OpaquePixel<D>(red[v], 0, 0);
    placed.green[v] = OpaquePixel<D>(0, green[v], 0) - alphaBits;
    placed.blue[v] = OpaquePixel<D>(0, 0, blue[v]) - alphaBits;
  }
  return placed;
}

// One thing per destination layout, chosen in the row by the layout.
template <class T>
struct ForEachLayout {
  T rgba, argb, gd;

  template <PixelLayout D>
  const T& For() const {
    return D == PixelLayout::RGBA ? rgba : D == PixelLayout::ARGB ? argb : gd;
  }
};

template <PixelLayout S, PixelLayout D>
inline void ToneRow(const uint32_t* source, uint32_t* destination, int64_t width, const PlacedTables& placed) {
  if (D == PixelLayout::Unknown) return;
  for (int64_t column = 0; column < width; ++column) {
    const Channels in = ReadAt<S>(source, column);
    destination[column] = placed.red[in.r] | placed.green[in.g] | placed.blue[in.b];
  }
}

// What a tone filter's rows read: the placed tables for each destination
// layout.
struct ToneKernel {
  ForEachLayout<PlacedTables> placed;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    ToneRow<S, D>(source, destination, width, placed.For<D>());
  }
};

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneTable& red, const ToneTable& green,
                                 const ToneTable& blue) {
  const ToneKernel kernel{{Place<PixelLayout::RGBA>(red, green, blue), Place<PixelLayout::ARGB>(red, green, blue),
                           Place<PixelLayout::GD>(red, green, blue)}};
  return RunFilterFrame(pic, {RegistrationCheckAt::First}, kernel);
}

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneTable& all) {
  return RunToneFilter(pic, all, all, all);
}

}  // namespace

REALpictureStruct* ContrastPicture1(REALpictureStruct* pic, double Contrast) {
  return RunToneFilter(pic, ContrastTable(Contrast));
}

REALpictureStruct* ContrastPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                    double ContrastBlue) {
  return RunToneFilter(pic, ContrastTable(ContrastRed), ContrastTable(ContrastGreen), ContrastTable(ContrastBlue));
}

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* pic, double Brightness) {
  return RunToneFilter(pic, AbsBrightnessTable(Brightness));
}

REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue) {
  return RunToneFilter(pic, AbsBrightnessTable(BrightnessRed), AbsBrightnessTable(BrightnessGreen),
                       AbsBrightnessTable(BrightnessBlue));
}

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* pic, double Brightness) {
  return RunToneFilter(pic, LinBrightnessTable(Brightness));
}

REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue) {
  return RunToneFilter(pic, LinBrightnessTable(BrightnessRed), LinBrightnessTable(BrightnessGreen),
                       LinBrightnessTable(BrightnessBlue));
}

REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness) {
  return ContrastAbsBrightnessPicture3(pic, Contrast, Contrast, Contrast, Brightness, Brightness, Brightness);
}

REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue) {
  return RunToneFilter(pic, ContrastAbsBrightnessTable(ContrastRed, BrightnessRed),
                       ContrastAbsBrightnessTable(ContrastGreen, BrightnessGreen),
                       ContrastAbsBrightnessTable(ContrastBlue, BrightnessBlue));
}

REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness) {
  return ContrastLinBrightnessPicture3(pic, Contrast, Contrast, Contrast, Brightness, Brightness, Brightness);
}

REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue) {
  return RunToneFilter(pic, ContrastLinBrightnessTable(ContrastRed, BrightnessRed),
                       ContrastLinBrightnessTable(ContrastGreen, BrightnessGreen),
                       ContrastLinBrightnessTable(ContrastBlue, BrightnessBlue));
}

REALpictureStruct* TransformPicture1(REALpictureStruct* pic, double a, double b) {
  return RunToneFilter(pic, CustomTable(a, b));
}

REALpictureStruct* TransformPicture3(REALpictureStruct* pic, double Ra, double Rb, double /*Ga*/, double Gb, double Ba,
                                     double Bb) {
  return RunToneFilter(pic, CustomTable(Ra, Rb), CustomTable(Ra, Gb), CustomTable(Ba, Bb));
}
