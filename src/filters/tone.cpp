#include "filters/tone.h"

#include <array>

#include "filters/filter_frame.h"
#include "filters/vector_level.h"

#if defined(QVL_X86_VECTOR_ROWS)
#include <immintrin.h>
#endif

namespace {

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

#if defined(QVL_X86_VECTOR_ROWS)

// Bit positions of red, green and blue in a pixel word; reading and the
// opaque write use the same ones.
struct ChannelShifts {
  int red, green, blue;
};

template <PixelLayout L>
constexpr ChannelShifts kShiftsOf = L == PixelLayout::RGBA   ? ChannelShifts{0, 8, 16}
                                    : L == PixelLayout::ARGB ? ChannelShifts{8, 16, 24}
                                                             : ChannelShifts{16, 8, 0};

// A channel's table as four registers of 16 words for two-table permutes.
// Word j of half h holds the results of the four values x = 128h + 32q + j
// (q = 0..3), each rotated right by the amount r(x) = (x >> 2) mod 32, with
// its destination bits: rotating the word left by r(x) brings the result of
// x to its place in the destination word. r(x) = 8q + (j >> 2), so the four
// results sit in four disjoint 8-bit windows of the word.
struct alignas(64) VectorTable {
  uint32_t words[64];
};

inline uint32_t RotatedRight(uint32_t value, uint32_t amount) {
  return amount == 0 ? value : (value >> amount) | (value << (32 - amount));
}

VectorTable MakeVectorTable(const ToneTable& table, int destinationShift) {
  VectorTable vector{};
  for (uint32_t x = 0; x < 256; ++x) {
    const uint32_t word = (x >> 7) * 32 + (x & 31);
    vector.words[word] |= RotatedRight(uint32_t{table[x]} << destinationShift, (x >> 2) & 31);
  }
  return vector;
}

struct VectorTables {
  VectorTable red, green, blue;
  uint32_t alphaBits;
};

template <PixelLayout D>
VectorTables MakeVectorTables(const ToneTable& red, const ToneTable& green, const ToneTable& blue) {
  constexpr ChannelShifts shifts = kShiftsOf<D>;
  return {MakeVectorTable(red, shifts.red), MakeVectorTable(green, shifts.green), MakeVectorTable(blue, shifts.blue),
          OpaquePixel<D>(0, 0, 0)};
}

#define QVL_TONE_VECTOR __attribute__((target("avx512f,avx512bw"), always_inline)) inline

struct LoadedTable {
  __m512i low0, low1, high0, high1;
};

QVL_TONE_VECTOR LoadedTable Load(const VectorTable& table) {
  return {_mm512_load_si512(table.words), _mm512_load_si512(table.words + 16), _mm512_load_si512(table.words + 32),
          _mm512_load_si512(table.words + 48)};
}

// Shift and rotation in their masked forms with every lane chosen: the same
// instructions as the plain forms, without the undefined pass-through on
// which GCC 12 warns.
template <int count>
QVL_TONE_VECTOR __m512i ShiftedRight(__m512i value) {
  return _mm512_mask_srli_epi32(value, 0xFFFF, value, count);
}

QVL_TONE_VECTOR __m512i RotatedLeft(__m512i value, __m512i counts) {
  return _mm512_mask_rolv_epi32(value, 0xFFFF, value, counts);
}

// The results of the channel at bit `shift` of 16 pixels, each in its
// destination bits, other bits undefined. The permute reads bits 0..4 of
// the channel, bit 7 picks the half, and the rotation, whose count is taken
// modulo 32, picks one of the four results by bits 5 and 6.
template <int shift>
QVL_TONE_VECTOR __m512i LookUp(__m512i pixels, const LoadedTable& table) {
  const __m512i index = ShiftedRight<shift>(pixels);
  const __m512i low = _mm512_permutex2var_epi32(table.low0, index, table.low1);
  const __m512i high = _mm512_permutex2var_epi32(table.high0, index, table.high1);
  const __mmask16 upperHalf = _mm512_test_epi32_mask(pixels, _mm512_set1_epi32(int(1u << (shift + 7))));
  return RotatedLeft(_mm512_mask_mov_epi32(low, upperHalf, high), ShiftedRight<shift + 2>(pixels));
}

template <PixelLayout S, PixelLayout D>
QVL_TONE_VECTOR __m512i TonePixels(__m512i pixels, const LoadedTable& red, const LoadedTable& green,
                                   const LoadedTable& blue, __m512i alphaBits) {
  constexpr ChannelShifts from = kShiftsOf<S>, to = kShiftsOf<D>;
  const __m512i redBits = _mm512_set1_epi32(int(0xFFu << to.red));
  const __m512i greenBits = _mm512_set1_epi32(int(0xFFu << to.green));
  const __m512i blueBits = _mm512_set1_epi32(int(0xFFu << to.blue));
  // (a & b) | c, then a | (b & c) twice.
  __m512i out = _mm512_ternarylogic_epi32(LookUp<from.red>(pixels, red), redBits, alphaBits, 0xEA);
  out = _mm512_ternarylogic_epi32(out, LookUp<from.green>(pixels, green), greenBits, 0xF8);
  return _mm512_ternarylogic_epi32(out, LookUp<from.blue>(pixels, blue), blueBits, 0xF8);
}

// Sixteen pixels a block, each block loaded before it is stored; the last
// block loads and stores only the pixels the row has.
template <PixelLayout S, PixelLayout D>
__attribute__((target("avx512f,avx512bw"))) void ToneRowVector(const uint32_t* source, uint32_t* destination,
                                                               int64_t width, const VectorTables& tables) {
  const LoadedTable red = Load(tables.red), green = Load(tables.green), blue = Load(tables.blue);
  const __m512i alphaBits = _mm512_set1_epi32(int(tables.alphaBits));
  int64_t column = 0;
  for (; column + 16 <= width; column += 16) {
    const __m512i pixels = _mm512_loadu_si512(source + column);
    _mm512_storeu_si512(destination + column, TonePixels<S, D>(pixels, red, green, blue, alphaBits));
  }
  if (column < width) {
    const __mmask16 rest = static_cast<__mmask16>((1u << (width - column)) - 1);
    const __m512i pixels = _mm512_maskz_loadu_epi32(rest, source + column);
    _mm512_mask_storeu_epi32(destination + column, rest, TonePixels<S, D>(pixels, red, green, blue, alphaBits));
  }
}

#undef QVL_TONE_VECTOR

REALpictureStruct* RunVectorToneFilter(REALpictureStruct* pic, const ToneTable& red, const ToneTable& green,
                                       const ToneTable& blue, const ForEachLayout<PlacedTables>& placed) {
  const ForEachLayout<VectorTables> vector{MakeVectorTables<PixelLayout::RGBA>(red, green, blue),
                                           MakeVectorTables<PixelLayout::ARGB>(red, green, blue),
                                           MakeVectorTables<PixelLayout::GD>(red, green, blue)};
  return RunFilterFrame(pic, RegistrationCheckAt::First,
                        [&](auto source, auto destination, const uint32_t* from, uint32_t* to, int64_t width) {
                          constexpr PixelLayout S = decltype(source)::value;
                          constexpr PixelLayout D = decltype(destination)::value;
                          if constexpr (D == PixelLayout::Unknown) {
                            return;
                          } else if constexpr (S == PixelLayout::Unknown) {
                            ToneRow<S, D>(from, to, width, placed.For<D>());
                          } else {
                            ToneRowVector<S, D>(from, to, width, vector.For<D>());
                          }
                        });
}

#endif

REALpictureStruct* RunToneFilter(REALpictureStruct* pic, const ToneTable& red, const ToneTable& green,
                                 const ToneTable& blue) {
  const ForEachLayout<PlacedTables> placed{Place<PixelLayout::RGBA>(red, green, blue),
                                           Place<PixelLayout::ARGB>(red, green, blue),
                                           Place<PixelLayout::GD>(red, green, blue)};
#if defined(QVL_X86_VECTOR_ROWS)
  if (VectorLevelInUse() == VectorLevel::Avx512) {
    return RunVectorToneFilter(pic, red, green, blue, placed);
  }
#endif
  return RunFilterFrame(pic, RegistrationCheckAt::First,
                        [&placed](auto source, auto destination, const uint32_t* from, uint32_t* to, int64_t width) {
                          constexpr PixelLayout S = decltype(source)::value;
                          constexpr PixelLayout D = decltype(destination)::value;
                          ToneRow<S, D>(from, to, width, placed.For<D>());
                        });
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
