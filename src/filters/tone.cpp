// Tone filters: the transfer tables, the rule per pixel (three table
// look-ups), vector rows that compute the tables' values in floats where
// that is proven to give them, and rows that look the tables up in
// registers.
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
#include <cmath>

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

// Every transfer function is v * scale + offset in real numbers, truncated,
// then clamped to 0..255 or wrapped to its low byte. The table holds what
// the double arithmetic gives, which can differ from the real value by a
// rounding; the form lets vector rows compute instead of looking up, where
// that gives the table exactly (see AffineRowsFor).
struct AffineForm {
  double scale, offset;
};

struct ToneCurve {
  ToneTable table;
  AffineForm form;
  bool wraps;
};

template <class Transfer>
ToneCurve ClampedCurve(const Transfer& transfer, AffineForm form) {
  ToneCurve curve{{}, form, false};
  for (int v = 0; v < 256; ++v) curve.table[v] = Clamped(TruncateToInt32(transfer(v)));
  return curve;
}

template <class Transfer>
ToneCurve WrappedCurve(const Transfer& transfer, AffineForm form) {
  ToneCurve curve{{}, form, true};
  for (int v = 0; v < 256; ++v) curve.table[v] = LowByte(TruncateToInt32(transfer(v)));
  return curve;
}

// Contrast around 127: the difference is taken in integers, then scaled.
inline double Contrasted(int v, double gain) { return static_cast<double>(v - 127) * gain + 127.0; }

inline double GainOf(double contrast) { return contrast + 1.0; }

// (v - 127) * gain + 127 as v * scale + offset.
inline AffineForm ContrastForm(double gain) { return {gain, 127.0 - 127.0 * gain}; }

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

ToneCurve ContrastCurve(double contrast) {
  const double gain = GainOf(contrast);
  return ClampedCurve([gain](int v) { return Contrasted(v, gain); }, ContrastForm(gain));
}

ToneCurve AbsBrightnessCurve(double brightness) {
  return ClampedCurve([brightness](int v) { return static_cast<double>(v) + brightness; }, {1.0, brightness});
}

ToneCurve LinBrightnessCurve(double brightness) {
  const LinearBrightness linear = LinearBrightnessOf(brightness);
  return WrappedCurve([linear](int v) { return static_cast<double>(v) * linear.squeeze + linear.lift; },
                      {linear.squeeze, linear.lift});
}

ToneCurve ContrastAbsBrightnessCurve(double contrast, double brightness) {
  const double gain = GainOf(contrast);
  const AffineForm contrasted = ContrastForm(gain);
  return ClampedCurve([gain, brightness](int v) { return Contrasted(v, gain) + brightness; },
                      {contrasted.scale, contrasted.offset + brightness});
}

ToneCurve ContrastLinBrightnessCurve(double contrast, double brightness) {
  const double gain = GainOf(contrast);
  const LinearBrightness linear = LinearBrightnessOf(brightness);
  const AffineForm contrasted = ContrastForm(gain);
  return ClampedCurve([gain, linear](int v) { return Contrasted(v, gain) * linear.squeeze + linear.lift; },
                      {contrasted.scale * linear.squeeze, contrasted.offset * linear.squeeze + linear.lift});
}

ToneCurve CustomCurve(double gain, double offset) {
  return ClampedCurve([gain, offset](int v) { return static_cast<double>(v) * gain + offset; }, {gain, offset});
}

// A channel's transfer in floats: v * scale + offset, each operation
// rounded, then clamped to 0..255 and truncated, or truncated and wrapped.
struct FloatAffine {
  float scale, offset;
};

// Where `found`, the float arithmetic gives each channel's table on all 256
// values (checked here in scalar floats; the vector rows are checked once
// more against the per-pixel rule before they are used).
struct AffineRows {
  bool found, wraps;
  FloatAffine red, green, blue;
};

// Larger forms are not tried: their float products could overflow.
constexpr double kAffineLimit = 1 << 30;

// The rows take a whole number w out of a float by adding a power of two
// that puts w in the low bits of its word: 2^23 where w is 0..255, and
// 1.5 * 2^23 (w + 2^22 in the low 23 bits) for a wrapped w of magnitude
// below 2^22, whose low byte stays w's.
constexpr float kClampedMagic = 8388608.0f;
constexpr float kWrappedMagic = 12582912.0f;
constexpr float kWrappedLimit = 4194304.0f;

// What the float arithmetic gives for v, or -1 where the rows cannot take
// the whole number out: the rows' arithmetic, one operation at a time (the
// build contracts no multiply-add).
inline int AffineValue(int v, FloatAffine affine, bool wraps) {
  const float y = static_cast<float>(v) * affine.scale + affine.offset;
  if (wraps) return std::fabs(y) < kWrappedLimit ? LowByte(static_cast<int32_t>(y)) : -1;
  return y <= 0.0f ? 0 : y >= 255.0f ? 255 : static_cast<int>(y);
}

bool GivesTable(FloatAffine affine, const ToneCurve& curve) {
  for (int v = 0; v < 256; ++v) {
    if (AffineValue(v, affine, curve.wraps) != curve.table[v]) return false;
  }
  return true;
}

// The float form that gives the table, if one is found. Where the real
// value is a whole number the double arithmetic may land on it or a
// rounding below it; offsets nudged up and down match the one or the
// other, and the table decides.
bool FindFloatAffine(const ToneCurve& curve, FloatAffine* found) {
  const AffineForm form = curve.form;
  if (!(std::fabs(form.scale) < kAffineLimit && std::fabs(form.offset) < kAffineLimit)) return false;
  for (const double nudge : {0.0, 1.0 / 1024, -1.0 / 1024}) {
    const FloatAffine affine{static_cast<float>(form.scale), static_cast<float>(form.offset + nudge)};
    if (GivesTable(affine, curve)) {
      *found = affine;
      return true;
    }
  }
  return false;
}

AffineRows AffineRowsFor(const ToneCurve& red, const ToneCurve& green, const ToneCurve& blue) {
  AffineRows rows{false, red.wraps, {}, {}, {}};
  rows.found =
      FindFloatAffine(red, &rows.red) && FindFloatAffine(green, &rows.green) && FindFloatAffine(blue, &rows.blue);
  return rows;
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

// A source row whose pixel v holds v in every byte: each
// channel through all its values.
std::array<uint32_t, 256> EveryChannelValue() {
  std::array<uint32_t, 256> row;
  for (uint32_t v = 0; v < 256; ++v) row[v] = v * 0x01010101u;
  return row;
}

// What a tone filter's rows read: the placed tables for each destination
// layout, the channel tables as words for the look-up rows, and the float
// forms for the computing rows.
struct ToneKernel {
  ForEachLayout<PlacedTables> placed;
  WordTable red, green, blue;
  AffineRows affine;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    ToneRow<S, D>(source, destination, width, placed.For<D>());
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<ToneKernel> VectorRowAt(VectorLevel level) const;

  // Each output channel depends on its own input channel alone, so a row
  // that gives the rule's bytes on every channel value gives them on every
  // pixel.
  template <PixelLayout S, PixelLayout D>
  bool GivesTheRule(VectorRow<ToneKernel> row) const {
    const std::array<uint32_t, 256> source = EveryChannelValue();
    std::array<uint32_t, 256> byRow, byRule;
    const int64_t done = row(source.data(), byRow.data(), 256, *this);
    PixelRow<S, D>(source.data() + done, byRow.data() + done, 256 - done);
    PixelRow<S, D>(source.data(), byRule.data(), 256);
    return byRow == byRule;
  }
};

// The power of two a channel at bit `shift` comes with in its float form.
constexpr int FloatShift(int shift) { return shift == 24 ? 0 : shift; }

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
int64_t ToneLookupRow(const uint32_t* source, uint32_t* destination, int64_t width, const ToneKernel& kernel) {
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

// A channel value v at bit `shift` of each word as a float: v * 2^shift
// below the top byte (exact, and one operation fewer), v in the top byte.
template <int shift, class DF, class V>
HWY_INLINE hn::Vec<DF> ChannelAsFloat(DF df, V words) {
  const hn::RebindToSigned<DF> di;
  if constexpr (shift == 24) {
    return hn::ConvertTo(df, hn::BitCast(di, hn::ShiftRight<24>(words)));
  } else {
    return hn::ConvertTo(df, hn::BitCast(di, hn::And(words, hn::Set(hn::DFromV<V>(), 0xFFu << shift))));
  }
}

// A channel's float form, its scale divided by the power of two its value
// comes with (exactly), so that the product is v * scale rounded, as in
// AffineValue.
template <int shift>
struct FloatChannel {
  explicit FloatChannel(FloatAffine affine)
      : scale(hn::Set(hn::ScalableTag<float>(), affine.scale / static_cast<float>(1u << FloatShift(shift)))),
        offset(hn::Set(hn::ScalableTag<float>(), affine.offset)) {}
  hn::Vec<hn::ScalableTag<float>> scale, offset;
};

// The channel at bit `shift` through its float form, at bit `place` of an
// otherwise zero lane. Shifted by 8 or more, the magic's bits above the
// whole number leave the word.
template <int shift, int place, bool wraps, class DF, class V>
HWY_INLINE V Computed(DF df, V words, const FloatChannel<shift>& channel) {
  const hn::DFromV<V> du;
  auto y = hn::Add(hn::Mul(ChannelAsFloat<shift>(df, words), channel.scale), channel.offset);
  if constexpr (!wraps) y = hn::Min(hn::Max(y, hn::Zero(df)), hn::Set(df, 255.0f));
  const auto whole = hn::Add(hn::Trunc(y), hn::Set(df, wraps ? kWrappedMagic : kClampedMagic));
  const auto placed = hn::ShiftLeft<place>(hn::BitCast(du, whole));
  if constexpr (place == 24 || (!wraps && place >= 8)) {
    return placed;
  } else {
    return hn::And(placed, hn::Set(du, 0xFFu << place));
  }
}

// Blocks of as many pixels as the target has 32-bit lanes, each channel
// computed from its float form.
template <PixelLayout S, PixelLayout D, bool wraps>
int64_t ToneAffineRow(const uint32_t* source, uint32_t* destination, int64_t width, const ToneKernel& kernel) {
  const hn::ScalableTag<uint32_t> d;
  const hn::ScalableTag<float> df;
  constexpr LayoutDescription from = kLayout<S>, to = kLayout<D>;
  const FloatChannel<from.red> red(kernel.affine.red);
  const FloatChannel<from.green> green(kernel.affine.green);
  const FloatChannel<from.blue> blue(kernel.affine.blue);
  const auto opaque = hn::Set(d, to.opaqueBits);
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(d, source + column);
    const auto out = hn::Or(hn::Or(Computed<from.red, to.red, wraps>(df, words, red),
                                   Computed<from.green, to.green, wraps>(df, words, green)),
                            hn::Or(Computed<from.blue, to.blue, wraps>(df, words, blue), opaque));
    hn::StoreU(out, d, destination + column);
  }
  return column;
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

// The computing rows where the float forms were found and the row gives
// the rule on every channel value; else the look-up rows where the target
// has them; else none, and the per-pixel rule does the row.
template <PixelLayout S, PixelLayout D>
VectorRow<ToneKernel> ToneKernel::VectorRowAt(VectorLevel level) const {
  if (affine.found) {
    const VectorRow<ToneKernel> computing = affine.wraps ? QVL_VECTOR_ROW(level, ToneAffineRow<S, D, true>)
                                                         : QVL_VECTOR_ROW(level, ToneAffineRow<S, D, false>);
    if (computing && GivesTheRule<S, D>(computing)) return computing;
  }
  return QVL_VECTOR_ROW(level, ToneLookupRow<S, D>);
}

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneCurve& red, const ToneCurve& green,
                                 const ToneCurve& blue) {
  const ToneKernel kernel{{Place<PixelLayout::RGBA>(red.table, green.table, blue.table),
                           Place<PixelLayout::ARGB>(red.table, green.table, blue.table),
                           Place<PixelLayout::GD>(red.table, green.table, blue.table)},
                          WordsOf(red.table),
                          WordsOf(green.table),
                          WordsOf(blue.table),
                          AffineRowsFor(red, green, blue)};
  return RunFilterFrame(pic, {RegistrationCheckAt::First}, kernel);
}

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneCurve& all) {
  return RunToneFilter(pic, all, all, all);
}

}  // namespace

REALpictureStruct* ContrastPicture1(REALpictureStruct* pic, double Contrast) {
  return RunToneFilter(pic, ContrastCurve(Contrast));
}

REALpictureStruct* ContrastPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                    double ContrastBlue) {
  return RunToneFilter(pic, ContrastCurve(ContrastRed), ContrastCurve(ContrastGreen), ContrastCurve(ContrastBlue));
}

REALpictureStruct* AbsBrightnessPicture1(REALpictureStruct* pic, double Brightness) {
  return RunToneFilter(pic, AbsBrightnessCurve(Brightness));
}

REALpictureStruct* AbsBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue) {
  return RunToneFilter(pic, AbsBrightnessCurve(BrightnessRed), AbsBrightnessCurve(BrightnessGreen),
                       AbsBrightnessCurve(BrightnessBlue));
}

REALpictureStruct* LinBrightnessPicture1(REALpictureStruct* pic, double Brightness) {
  return RunToneFilter(pic, LinBrightnessCurve(Brightness));
}

REALpictureStruct* LinBrightnessPicture3(REALpictureStruct* pic, double BrightnessRed, double BrightnessGreen,
                                         double BrightnessBlue) {
  return RunToneFilter(pic, LinBrightnessCurve(BrightnessRed), LinBrightnessCurve(BrightnessGreen),
                       LinBrightnessCurve(BrightnessBlue));
}

REALpictureStruct* ContrastAbsBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness) {
  return ContrastAbsBrightnessPicture3(pic, Contrast, Contrast, Contrast, Brightness, Brightness, Brightness);
}

REALpictureStruct* ContrastAbsBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue) {
  return RunToneFilter(pic, ContrastAbsBrightnessCurve(ContrastRed, BrightnessRed),
                       ContrastAbsBrightnessCurve(ContrastGreen, BrightnessGreen),
                       ContrastAbsBrightnessCurve(ContrastBlue, BrightnessBlue));
}

REALpictureStruct* ContrastLinBrightnessPicture1(REALpictureStruct* pic, double Contrast, double Brightness) {
  return ContrastLinBrightnessPicture3(pic, Contrast, Contrast, Contrast, Brightness, Brightness, Brightness);
}

REALpictureStruct* ContrastLinBrightnessPicture3(REALpictureStruct* pic, double ContrastRed, double ContrastGreen,
                                                 double ContrastBlue, double BrightnessRed, double BrightnessGreen,
                                                 double BrightnessBlue) {
  return RunToneFilter(pic, ContrastLinBrightnessCurve(ContrastRed, BrightnessRed),
                       ContrastLinBrightnessCurve(ContrastGreen, BrightnessGreen),
                       ContrastLinBrightnessCurve(ContrastBlue, BrightnessBlue));
}

REALpictureStruct* TransformPicture1(REALpictureStruct* pic, double a, double b) {
  return RunToneFilter(pic, CustomCurve(a, b));
}

REALpictureStruct* TransformPicture3(REALpictureStruct* pic, double Ra, double Rb, double /*Ga*/, double Gb, double Ba,
                                     double Bb) {
  return RunToneFilter(pic, CustomCurve(Ra, Rb), CustomCurve(Ra, Gb), CustomCurve(Ba, Bb));
}
#endif
