// Rows of the tint and saturation filters: the per-pixel rules, and vector
// rows for x86 processors that give the same bytes. Which row runs is chosen
// once per call from what the processor supports.
#pragma once

#include <cstdint>

#include "filters/filter_frame.h"
#include "filters/vector_level.h"

#if defined(QVL_X86_VECTOR_ROWS)
#include <immintrin.h>
#endif

struct ColourFractions {
  double red, green, blue;
};

// The weights of the grey and the colour given to it.
struct TintColours {
  ColourFractions weight, tint;
};

inline uint32_t TintChannel(double grey, double sepia) {
  // grey * sepia is at most 765, so the conversion is always in range.
  const int32_t value = static_cast<int32_t>(grey * sepia);
  return value >= 255 ? 255u : static_cast<uint32_t>(value);
}

inline Channels TintPixel(const Channels& in, const TintColours& colours) {
  const ColourFractions& w = colours.weight;
  const double grey =
      static_cast<double>(in.r) * w.red + static_cast<double>(in.g) * w.green + static_cast<double>(in.b) * w.blue;
  return {TintChannel(grey, colours.tint.red), TintChannel(grey, colours.tint.green),
          TintChannel(grey, colours.tint.blue), 0};
}

// What saturation adds to the grey y for a channel c: the difference d = c - y
// times k = Amount + 255 in 64 bits, divided by 255 truncating toward zero,
// kept to its low 32 bits. The sum with y is made in 32 bits and limited to
// 0..255.
class SaturationSteps {
 public:
  explicit SaturationSteps(int64_t Amount) {
    const uint64_t k = static_cast<uint64_t>(Amount) + 255u;
    for (int d = -255; d <= 255; ++d) {
      const auto product = static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(d)) * k);
      steps_[d + 255] = static_cast<uint32_t>(product / 255);
    }
    const auto signedK = static_cast<int64_t>(k);
    // With |k| this small the product never wraps, the quotient fits in 32
    // bits with room for y, and the step is sign(d) sign(k) floor(|d| |k| / 255)
    // with floor(|d| |k| / 255) = |d| (|k| / 255) + floor(|d| (|k| % 255) / 255).
    narrow_ = signedK >= -kNarrowLimit && signedK <= kNarrowLimit;
    if (narrow_) {
      const int64_t magnitude = signedK < 0 ? -signedK : signedK;
      // A whole part of 256 or more already makes every step with d != 0
      // reach 256, past which the limit to 0..255 gives the same result.
      whole_ = static_cast<uint16_t>(magnitude / 255 < 256 ? magnitude / 255 : 256);
      part_ = static_cast<uint16_t>(magnitude % 255);
      sign_ = signedK < 0 ? -1 : 1;
    }
  }

  uint32_t Channel(uint32_t c, uint32_t y) const {
    const auto value = static_cast<int32_t>(steps_[c + 255 - y] + y);
    return value < 0 ? 0u : value >= 255 ? 255u : static_cast<uint32_t>(value);
  }

  Channels Pixel(const Channels& in) const {
    const uint32_t y = (in.r + in.b + 2 * in.g) >> 2;
    return {Channel(in.r, y), Channel(in.g, y), Channel(in.b, y), 0};
  }

  // Whether the 16-bit form below gives every step (limited to -256..256).
  bool narrow() const { return narrow_; }
  uint16_t whole() const { return whole_; }
  uint16_t part() const { return part_; }
  int16_t sign() const { return sign_; }

 private:
  static constexpr int64_t kNarrowLimit = (int64_t{1} << 31) - 256;
  uint32_t steps_[511];
  bool narrow_ = false;
  uint16_t whole_ = 0, part_ = 0;
  int16_t sign_ = 1;
};

#if defined(QVL_X86_VECTOR_ROWS)

// Byte positions of red, green, blue and alpha in a pixel word, the byte the
// opaque write puts for alpha, and, for each byte position, which of red,
// green, blue and alpha (0..3) sits there.
template <PixelLayout L>
struct ByteOrder;
template <>
struct ByteOrder<PixelLayout::RGBA> {
  static constexpr int red = 0, green = 1, blue = 2, alpha = 3, opaque = 0xFF;
  static constexpr int position[4] = {0, 1, 2, 3};
};
template <>
struct ByteOrder<PixelLayout::ARGB> {
  static constexpr int red = 1, green = 2, blue = 3, alpha = 0, opaque = 0xFF;
  static constexpr int position[4] = {3, 0, 1, 2};
};
template <>
struct ByteOrder<PixelLayout::GD> {
  static constexpr int red = 2, green = 1, blue = 0, alpha = 3, opaque = 0;
  static constexpr int position[4] = {2, 1, 0, 3};
};

template <PixelLayout S, PixelLayout D>
constexpr bool kVectorLayouts = (S != PixelLayout::Unknown) && (D != PixelLayout::Unknown);

// A shuffle that moves byte b of each 64-bit lane's low word to the bottom of
// the lane and clears the rest.
__attribute__((target("avx512f,avx512bw"))) inline __m512i BytePicker(int b) {
  const auto even = static_cast<int64_t>(0x8080808080808000ull | static_cast<uint64_t>(b));
  const auto odd = static_cast<int64_t>(0x8080808080808000ull | static_cast<uint64_t>(8 + b));
  return _mm512_set_epi64(odd, even, odd, even, odd, even, odd, even);
}

// Eight pixels a time: each word widened to 64 bits, a channel's byte moved
// to the bottom and converted to double, the grey and the three products in
// eight lanes with the operations of TintPixel, truncated, limited and placed
// in the destination's bytes. The rounded forms of multiply and add keep the
// compiler from fusing them. The last block loads and stores only the pixels
// the row has.
template <PixelLayout S, PixelLayout D>
__attribute__((target("avx512f,avx512dq,avx512bw,avx512vl"))) void TintRowVector(const uint32_t* source,
                                                                                 uint32_t* destination, int64_t width,
                                                                                 const TintColours& colours) {
  using In = ByteOrder<S>;
  using Out = ByteOrder<D>;
  constexpr int kRound = _MM_FROUND_TO_NEAREST_INT | _MM_FROUND_NO_EXC;
  const __m512i pickRed = BytePicker(In::red), pickGreen = BytePicker(In::green), pickBlue = BytePicker(In::blue);
  const __m512d weightRed = _mm512_set1_pd(colours.weight.red), weightGreen = _mm512_set1_pd(colours.weight.green),
                weightBlue = _mm512_set1_pd(colours.weight.blue);
  const __m512d tintRed = _mm512_set1_pd(colours.tint.red), tintGreen = _mm512_set1_pd(colours.tint.green),
                tintBlue = _mm512_set1_pd(colours.tint.blue);
  const __m256i limit = _mm256_set1_epi32(255);
  const __m256i opaque = _mm256_set1_epi32(Out::opaque << (8 * Out::alpha));
  for (int64_t column = 0; column < width; column += 8) {
    const __mmask8 lanes = width - column >= 8 ? 0xFF : static_cast<__mmask8>((1u << (width - column)) - 1);
    // The zero-masked conversions avoid GCC's warning on the plain forms'
    // undefined merge operand.
    const __m512i words = _mm512_maskz_cvtepu32_epi64(lanes, _mm256_maskz_loadu_epi32(lanes, source + column));
    const __m512d red = _mm512_maskz_cvtepi64_pd(lanes, _mm512_shuffle_epi8(words, pickRed));
    const __m512d green = _mm512_maskz_cvtepi64_pd(lanes, _mm512_shuffle_epi8(words, pickGreen));
    const __m512d blue = _mm512_maskz_cvtepi64_pd(lanes, _mm512_shuffle_epi8(words, pickBlue));
    const __m512d grey = _mm512_maskz_add_round_pd(
        lanes,
        _mm512_maskz_add_round_pd(lanes, _mm512_maskz_mul_round_pd(lanes, red, weightRed, kRound),
                                  _mm512_maskz_mul_round_pd(lanes, green, weightGreen, kRound), kRound),
        _mm512_maskz_mul_round_pd(lanes, blue, weightBlue, kRound), kRound);
    const __m256i outRed = _mm256_min_epi32(
        _mm512_maskz_cvttpd_epi32(lanes, _mm512_maskz_mul_round_pd(lanes, grey, tintRed, kRound)), limit);
    const __m256i outGreen = _mm256_min_epi32(
        _mm512_maskz_cvttpd_epi32(lanes, _mm512_maskz_mul_round_pd(lanes, grey, tintGreen, kRound)), limit);
    const __m256i outBlue = _mm256_min_epi32(
        _mm512_maskz_cvttpd_epi32(lanes, _mm512_maskz_mul_round_pd(lanes, grey, tintBlue, kRound)), limit);
    const __m256i pixels = _mm256_or_si256(
        _mm256_ternarylogic_epi32(_mm256_slli_epi32(outRed, 8 * Out::red), _mm256_slli_epi32(outGreen, 8 * Out::green),
                                  _mm256_slli_epi32(outBlue, 8 * Out::blue), 0xFE),
        opaque);
    _mm256_mask_storeu_epi32(destination + column, lanes, pixels);
  }
}

// Byte b of four pixel words as doubles. The words come repeated in both
// 128-bit lanes; the low lane gives pixels 0 and 1, the high lane 2 and 3, and
// the word each lane leaves unused holds the high half of 2^52 (see
// WithExponents). The shuffle puts byte b under those exponent bits, so each
// 64-bit lane reads as the double 2^52 + c, and subtracting 2^52 gives c
// exactly.
template <int b>
__attribute__((target("avx2"))) inline __m256d ByteAsDouble(__m256i words) {
  // Byte 0 of each 64-bit lane from the pixel, bytes 1 to 5 cleared, bytes 6
  // and 7 from the exponent bits.
  auto picker = [](uint64_t pixel, uint64_t exponentAt) {
    return static_cast<int64_t>(0x0000808080808000ull | (4 * pixel + b) | exponentAt << 48 | (exponentAt + 1) << 56);
  };
  const __m256i picked =
      _mm256_shuffle_epi8(words, _mm256_set_epi64x(picker(3, 2), picker(2, 2), picker(1, 14), picker(0, 14)));
  return _mm256_sub_pd(_mm256_castsi256_pd(picked), _mm256_set1_pd(0x1p52));
}

// Four pixel words repeated in both 128-bit lanes, with the high half of the
// bits of 2^52 in word 3 of the low lane and word 0 of the high lane (bytes
// 14 and 15, and 2 and 3, of their lanes).
__attribute__((target("avx2"))) inline __m256i WithExponents(const uint32_t* pixels) {
  const __m256i words = _mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels)));
  const int32_t high = 0x43300000;
  return _mm256_blend_epi32(words, _mm256_set_epi32(0, 0, 0, high, high, 0, 0, 0), 0x18);
}

// Four pixels a time with the operations of TintPixel in 256-bit doubles.
// The function's target has no FMA, so each multiply and add is rounded on
// its own as in the portable rule. The truncated products are packed to
// bytes with unsigned saturation, which is the limit to 255, then put in the
// destination's order. The last pixels go through TintPixel.
template <PixelLayout S, PixelLayout D>
__attribute__((target("avx2"))) void TintRowAvx2(const uint32_t* source, uint32_t* destination, int64_t width,
                                                 const TintColours& colours) {
  using In = ByteOrder<S>;
  using Out = ByteOrder<D>;
  const __m256d weightRed = _mm256_set1_pd(colours.weight.red), weightGreen = _mm256_set1_pd(colours.weight.green),
                weightBlue = _mm256_set1_pd(colours.weight.blue);
  const __m256d tintRed = _mm256_set1_pd(colours.tint.red), tintGreen = _mm256_set1_pd(colours.tint.green),
                tintBlue = _mm256_set1_pd(colours.tint.blue);
  const __m128i opaque = _mm_set1_epi32(Out::opaque);
  // After packing, byte 4 k + p holds pixel p's red, green, blue or alpha
  // (k = 0..3); this puts each in the byte the destination keeps it in.
  alignas(16) int8_t order[16];
  for (int pixel = 0; pixel < 4; ++pixel) {
    for (int at = 0; at < 4; ++at) order[4 * pixel + at] = static_cast<int8_t>(4 * Out::position[at] + pixel);
  }
  const __m128i toDestination = _mm_load_si128(reinterpret_cast<const __m128i*>(order));
  int64_t column = 0;
  for (; column + 4 <= width; column += 4) {
    const __m256i words = WithExponents(source + column);
    const __m256d grey = _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(ByteAsDouble<In::red>(words), weightRed),
                                                     _mm256_mul_pd(ByteAsDouble<In::green>(words), weightGreen)),
                                       _mm256_mul_pd(ByteAsDouble<In::blue>(words), weightBlue));
    const __m128i redGreen = _mm_packus_epi32(_mm256_cvttpd_epi32(_mm256_mul_pd(grey, tintRed)),
                                              _mm256_cvttpd_epi32(_mm256_mul_pd(grey, tintGreen)));
    const __m128i blueAlpha = _mm_packus_epi32(_mm256_cvttpd_epi32(_mm256_mul_pd(grey, tintBlue)), opaque);
    const __m128i pixels = _mm_shuffle_epi8(_mm_packus_epi16(redGreen, blueAlpha), toDestination);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(destination + column), pixels);
  }
  MapRowOpaque<S, D>(source + column, destination + column, width - column,
                     [&colours](Channels in) { return TintPixel(in, colours); });
}

// One channel of sixteen pixels in 16-bit lanes: d = c - y, the step
// sign(d) sign(k) min(256, |d| whole + floor(|d| part / 255)), added to y and
// limited to 0..255. |d| whole is at most 65280 and floor(x / 255) is
// (x + (x >> 8) + 1) >> 8 for every x up to 65024, so nothing wraps.
__attribute__((target("avx2"))) inline __m256i SaturatedChannel(__m256i c, __m256i y, __m256i whole, __m256i part,
                                                                __m256i sign) {
  const __m256i d = _mm256_sub_epi16(c, y);
  const __m256i distance = _mm256_abs_epi16(d);
  const __m256i scaled = _mm256_mullo_epi16(distance, part);
  const __m256i fraction = _mm256_srli_epi16(
      _mm256_add_epi16(_mm256_add_epi16(scaled, _mm256_srli_epi16(scaled, 8)), _mm256_set1_epi16(1)), 8);
  const __m256i step =
      _mm256_min_epu16(_mm256_add_epi16(_mm256_mullo_epi16(distance, whole), fraction), _mm256_set1_epi16(256));
  const __m256i sum = _mm256_add_epi16(_mm256_sign_epi16(_mm256_sign_epi16(step, d), sign), y);
  return _mm256_min_epi16(_mm256_max_epi16(sum, _mm256_setzero_si256()), _mm256_set1_epi16(255));
}

// Byte b of each pixel, from the low and high halves of the words.
template <int b>
__attribute__((target("avx2"))) inline __m256i ByteOf(__m256i low, __m256i high) {
  const __m256i half = b < 2 ? low : high;
  return b % 2 == 0 ? _mm256_and_si256(half, _mm256_set1_epi16(0xFF)) : _mm256_srli_epi16(half, 8);
}

// Sixteen pixels a time: the low and high halves of the words packed into
// 16-bit lanes, split into their bytes, the channels made, and the bytes put
// back together in the destination's order. Packing and unpacking both work
// within 128-bit lanes, so the pixels come back where they were. Only for
// rules that are narrow(); the rest goes through SaturationSteps::Pixel.
template <PixelLayout S, PixelLayout D>
__attribute__((target("avx2"))) void SaturationRowVector(const uint32_t* source, uint32_t* destination, int64_t width,
                                                         const SaturationSteps& steps) {
  using In = ByteOrder<S>;
  using Out = ByteOrder<D>;
  const __m256i whole = _mm256_set1_epi16(static_cast<int16_t>(steps.whole()));
  const __m256i part = _mm256_set1_epi16(static_cast<int16_t>(steps.part()));
  const __m256i sign = _mm256_set1_epi16(steps.sign());
  const __m256i lowHalf = _mm256_set1_epi32(0xFFFF);
  const __m256i opaque = _mm256_set1_epi16(static_cast<int16_t>(Out::opaque));
  int64_t column = 0;
  for (; column + 16 <= width; column += 16) {
    const __m256i first = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + column));
    const __m256i second = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + column + 8));
    const __m256i low = _mm256_packus_epi32(_mm256_and_si256(first, lowHalf), _mm256_and_si256(second, lowHalf));
    const __m256i high = _mm256_packus_epi32(_mm256_srli_epi32(first, 16), _mm256_srli_epi32(second, 16));
    const __m256i red = ByteOf<In::red>(low, high), green = ByteOf<In::green>(low, high),
                  blue = ByteOf<In::blue>(low, high);
    const __m256i y =
        _mm256_srli_epi16(_mm256_add_epi16(_mm256_add_epi16(red, blue), _mm256_add_epi16(green, green)), 2);
    const __m256i out[4] = {SaturatedChannel(red, y, whole, part, sign), SaturatedChannel(green, y, whole, part, sign),
                            SaturatedChannel(blue, y, whole, part, sign), opaque};
    const __m256i outLow = _mm256_or_si256(out[Out::position[0]], _mm256_slli_epi16(out[Out::position[1]], 8));
    const __m256i outHigh = _mm256_or_si256(out[Out::position[2]], _mm256_slli_epi16(out[Out::position[3]], 8));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + column), _mm256_unpacklo_epi16(outLow, outHigh));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + column + 8), _mm256_unpackhi_epi16(outLow, outHigh));
  }
  MapRowOpaque<S, D>(source + column, destination + column, width - column,
                     [&steps](Channels in) { return steps.Pixel(in); });
}

#endif
