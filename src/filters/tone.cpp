// Tone filters: the transfer tables, the rule per pixel (three table
// look-ups) and vector rows that look the tables up in registers.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/tone.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/tone.h"
// clang-format on

#include <array>

#ifndef QVL_FILTERS_TONE_KERNELS
#define QVL_FILTERS_TONE_KERNELS
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

// A channel's table as 64 words, entry v in byte v % 4 (bits 8 (v % 4) up)
// of word v / 4, for the vector rows to hold in registers.
using WordTable = std::array<uint32_t, 64>;

WordTable WordsOf(const ToneTable& table) {
  WordTable words;
  for (int w = 0; w < 64; ++w) {
    words[w] = uint32_t{table[4 * w]} | uint32_t{table[4 * w + 1]} << 8 | uint32_t{table[4 * w + 2]} << 16 |
               uint32_t{table[4 * w + 3]} << 24;
  }
  return words;
}

template <PixelLayout S, PixelLayout D>
inline void ToneRow(const uint32_t* source, uint32_t* destination, int64_t width, const PlacedTables& placed) {
  if (D == PixelLayout::Unknown) return;
  for (int64_t column = 0; column < width; ++column) {
    const Channels in = ReadAt<S>(source, column);
    destination[column] = placed.red[in.r] | placed.green[in.g] | placed.blue[in.b];
  }
}

// What a tone filter's rows read: the placed tables for each destination
// layout, and the channel tables as words for the vector rows.
struct ToneKernel {
  ForEachLayout<PlacedTables> placed;
  WordTable red, green, blue;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    ToneRow<S, D>(source, destination, width, placed.For<D>());
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<ToneKernel> VectorRowAt(VectorLevel level) const;
};

}  // namespace
#endif

#include "filters/layout_rows-inl.h"

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// A table of 64 words takes this many registers of 32-bit lanes.
template <class D>
constexpr size_t kTableRegisters = 64 / hn::MaxLanes(D());

// Each lane shifted right by `bits`, or left by -bits.
template <int bits, class V>
HWY_INLINE V ShiftedBy(V words) {
  if constexpr (bits >= 0) {
    return hn::ShiftRight<bits>(words);
  } else {
    return hn::ShiftLeft<-bits>(words);
  }
}

// The entry at lane index `lane` of the registers first..first + count - 1
// of a table, picked by the bits of v / 4 above the lane index: a tree of
// selections, halves first.
template <size_t first, size_t count, class D, class V, class I>
HWY_INLINE V Picked(D d, V value, I lane, const V* table) {
  if constexpr (count == 1) {
    return hn::TableLookupLanes(table[first], lane);
  } else {
    constexpr size_t half = count / 2;
    const auto upper = hn::TestBit(value, hn::Set(d, static_cast<uint32_t>(hn::MaxLanes(d) * half)));
    return hn::IfThenElse(upper, Picked<first + half, half>(d, value, lane, table),
                          Picked<first, half>(d, value, lane, table));
  }
}

// The table entry of the channel at bit `shift` of each word, placed at bit
// `place` of an otherwise zero lane. With N lanes, entry v lies in register
// v / 4N, lane v / 4 % N, byte v % 4: the registers are permuted by the lane
// index, the bits of v above it pick among them, and a shift left by
// 24 - 8 (v % 4) brings the byte to the top of the lane.
template <int shift, int place, class D, class V>
HWY_INLINE V LookedUp(D d, V words, const V (&table)[kTableRegisters<D>]) {
  // v / 4 and, above it, the bits of other channels, which nothing reads.
  const auto value = ShiftedBy<shift + 2>(words);
  const auto lane = hn::IndicesFromVec(d, hn::And(value, hn::Set(d, hn::MaxLanes(d) - 1)));
  const auto entry = Picked<0, kTableRegisters<D>>(d, value, lane, table);
  const auto top = entry << hn::AndNot(ShiftedBy<shift - 3>(words), hn::Set(d, 24));
  if constexpr (place == 0) {
    return hn::ShiftRight<24>(top);
  } else if constexpr (place == 24) {
    return hn::And(top, hn::Set(d, 0xFF000000u));
  } else {
    return hn::And(hn::ShiftRight<24 - place>(top), hn::Set(d, 0xFFu << place));
  }
}

template <class D>
HWY_INLINE void LoadTable(D d, const WordTable& words, hn::Vec<D> (&table)[kTableRegisters<D>]) {
  for (size_t r = 0; r < kTableRegisters<D>; ++r) table[r] = hn::LoadU(d, words.data() + r * hn::MaxLanes(d));
}

// Blocks of as many pixels as the target has 32-bit lanes. Only targets of
// 16 lanes have them: with 8 lanes, picking among 8 registers per channel
// measured slower than the per-pixel rule, and fewer lanes need more still.
template <PixelLayout S, PixelLayout D>
int64_t ToneVectorRow(const uint32_t* source, uint32_t* destination, int64_t width, const ToneKernel& kernel) {
  const hn::ScalableTag<uint32_t> d;
  if constexpr (hn::MaxLanes(d) < 16) {
    return 0;
  } else {
    constexpr LayoutDescription from = kLayout<S>, to = kLayout<D>;
    const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
    hn::Vec<decltype(d)> red[kTableRegisters<decltype(d)>], green[kTableRegisters<decltype(d)>],
        blue[kTableRegisters<decltype(d)>];
    LoadTable(d, kernel.red, red);
    LoadTable(d, kernel.green, green);
    LoadTable(d, kernel.blue, blue);
    const auto opaque = hn::Set(d, to.opaqueBits);
    int64_t column = 0;
    for (; column + lanes <= width; column += lanes) {
      const auto words = hn::LoadU(d, source + column);
      const auto out =
          hn::Or(hn::Or(LookedUp<from.red, to.red>(d, words, red), LookedUp<from.green, to.green>(d, words, green)),
                 hn::Or(LookedUp<from.blue, to.blue>(d, words, blue), opaque));
      hn::StoreU(out, d, destination + column);
    }
    return column;
  }
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout S, PixelLayout D>
VectorRow<ToneKernel> ToneKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, ToneVectorRow<S, D>);
}

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneTable& red, const ToneTable& green,
                                 const ToneTable& blue) {
  const ToneKernel kernel{{Place<PixelLayout::RGBA>(red, green, blue), Place<PixelLayout::ARGB>(red, green, blue),
                           Place<PixelLayout::GD>(red, green, blue)},
                          WordsOf(red),
                          WordsOf(green),
                          WordsOf(blue)};
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
#endif
