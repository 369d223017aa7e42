// Tint and saturation: the rules per pixel and their vector rows, compiled
// once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/tint.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "filters/tint.h"
// clang-format on

#ifndef QVL_FILTERS_TINT_KERNELS
#define QVL_FILTERS_TINT_KERNELS
namespace {

struct ColourFractions {
  double red, green, blue;
};

// Each channel of a host colour divided by 255.0.
ColourFractions FractionsOf(uint32_t colour) {
  return {static_cast<double>((colour >> 16) & 0xFF) / 255.0, static_cast<double>((colour >> 8) & 0xFF) / 255.0,
          static_cast<double>(colour & 0xFF) / 255.0};
}

inline uint32_t TintChannel(double grey, double sepia) {
  // grey * sepia is at most 765, so the conversion is always in range.
  const int32_t value = static_cast<int32_t>(grey * sepia);
  return value >= 255 ? 255u : static_cast<uint32_t>(value);
}

// The weights of the grey and the colour given to it.
struct TintKernel {
  ColourFractions weight, tint;

  Channels operator()(Channels in) const {
    const double grey = static_cast<double>(in.r) * weight.red + static_cast<double>(in.g) * weight.green +
                        static_cast<double>(in.b) * weight.blue;
    return {TintChannel(grey, tint.red), TintChannel(grey, tint.green), TintChannel(grey, tint.blue), 0};
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    MapRowOpaque<S, D>(source, destination, width, *this);
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<TintKernel> VectorRowAt(VectorLevel level) const;
};

// What saturation adds to the grey y for a channel c: the difference d = c - y
// times k = Amount + 255 in 64 bits, divided by 255 truncating toward zero,
// kept to its low 32 bits, one step for each d. The sum with y is made in 32
// bits and limited to 0..255.
struct SaturationKernel {
  explicit SaturationKernel(int64_t Amount) {
    const uint64_t k = static_cast<uint64_t>(Amount) + 255u;
    for (int d = -255; d <= 255; ++d) {
      const auto product = static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(d)) * k);
      steps[d + 255] = static_cast<uint32_t>(product / 255);
    }
    // With |k| this small the product never wraps, the quotient fits in 32
    // bits with room for y, and the step is sign(d) sign(k) floor(|d| |k| / 255)
    // with floor(|d| |k| / 255) = |d| (|k| / 255) + floor(|d| (|k| % 255) / 255).
    const auto signedK = static_cast<int64_t>(k);
    narrow = signedK >= -kNarrowLimit && signedK <= kNarrowLimit;
    if (narrow) {
      const int64_t magnitude = signedK < 0 ? -signedK : signedK;
      // A whole part of 256 or more already makes every step with d != 0
      // reach 256, past which the limit to 0..255 gives the same result.
      whole = static_cast<int32_t>(magnitude / 255 < 256 ? magnitude / 255 : 256);
      part = static_cast<int32_t>(magnitude % 255);
      negative = signedK < 0;
    }
  }

  uint32_t Channel(uint32_t c, uint32_t y) const {
    const auto value = static_cast<int32_t>(steps[c + 255 - y] + y);
    return value < 0 ? 0u : value >= 255 ? 255u : static_cast<uint32_t>(value);
  }

  Channels operator()(Channels in) const {
    const uint32_t y = (in.r + in.b + 2 * in.g) >> 2;
    return {Channel(in.r, y), Channel(in.g, y), Channel(in.b, y), 0};
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    MapRowOpaque<S, D>(source, destination, width, *this);
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<SaturationKernel> VectorRowAt(VectorLevel level) const;

  static constexpr int64_t kNarrowLimit = (int64_t{1} << 31) - 256;
  uint32_t steps[511];
  // Whether the form in whole and part below gives every step; the vector
  // rows exist only then.
  bool narrow = false;
  int32_t whole = 0, part = 0;
  bool negative = false;
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// The scalar target, which no level uses, has no halves of vectors and no
// 16-bit lanes in a 32-bit one.
#if HWY_TARGET != HWY_SCALAR
// As many pixels a block as the target has 32-bit lanes, each half of them
// in double lanes: each channel converted to double exactly, multiplied and
// added in the order of the rule with every operation rounded on its own
// (nothing is fused), cut toward zero; the halves are joined back before the
// limit to 255, so that all integer work runs at the full width.
template <PixelLayout S, PixelLayout D>
int64_t TintVectorRow(const uint32_t* source, uint32_t* destination, int64_t width, const TintKernel& kernel) {
  const hn::ScalableTag<int32_t> di;
  const hn::Half<decltype(di)> dh;
  const hn::Repartition<double, decltype(di)> df;
  const hn::RebindToUnsigned<decltype(di)> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(di));
  const auto weightRed = hn::Set(df, kernel.weight.red), weightGreen = hn::Set(df, kernel.weight.green),
             weightBlue = hn::Set(df, kernel.weight.blue);
  const auto tintRed = hn::Set(df, kernel.tint.red), tintGreen = hn::Set(df, kernel.tint.green),
             tintBlue = hn::Set(df, kernel.tint.blue);
  const auto limit = hn::Set(di, 255);
  const auto greyOf = [&](auto red, auto green, auto blue) {
    return hn::Add(hn::Add(hn::Mul(hn::PromoteTo(df, red), weightRed), hn::Mul(hn::PromoteTo(df, green), weightGreen)),
                   hn::Mul(hn::PromoteTo(df, blue), weightBlue));
  };
  const auto channelOf = [&](auto greyLow, auto greyHigh, auto tint) {
    const auto cut =
        hn::Combine(di, hn::DemoteTo(dh, hn::Mul(greyHigh, tint)), hn::DemoteTo(dh, hn::Mul(greyLow, tint)));
    return hn::BitCast(du, hn::Min(cut, limit));
  };
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(du, source + column);
    const auto red = hn::BitCast(di, RedOf<S>(words)), green = hn::BitCast(di, GreenOf<S>(words)),
               blue = hn::BitCast(di, BlueOf<S>(words));
    const auto greyLow = greyOf(hn::LowerHalf(dh, red), hn::LowerHalf(dh, green), hn::LowerHalf(dh, blue));
    const auto greyHigh = greyOf(hn::UpperHalf(dh, red), hn::UpperHalf(dh, green), hn::UpperHalf(dh, blue));
    const auto out = OpaqueWords<D>(channelOf(greyLow, greyHigh, tintRed), channelOf(greyLow, greyHigh, tintGreen),
                                    channelOf(greyLow, greyHigh, tintBlue));
    hn::StoreU(out, du, destination + column);
  }
  return column;
}
// One channel in 16-bit lanes: d = c - y, the step
// sign(d) sign(k) min(256, |d| whole + floor(|d| part / 255)), added to y and
// limited to 0..255. floor(x / 255) is (x + (x >> 8) + 1) >> 8 for every x up
// to 65024, and |d| part is at most 64770. The magnitudes are unsigned:
// |d| whole + floor(|d| part / 255) is at most 255 * 256 + 254 = 65534.
template <class V>
HWY_INLINE V SaturatedChannel(V c, V y, V whole, V part, V signOfK) {
  const hn::DFromV<V> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const auto difference = hn::Sub(c, y);
  const auto distance = hn::BitCast(du, hn::Abs(difference));
  const auto scaled = hn::Mul(distance, hn::BitCast(du, part));
  const auto fraction = hn::ShiftRight<8>(hn::Add(hn::Add(scaled, hn::ShiftRight<8>(scaled)), hn::Set(du, 1)));
  const auto magnitude = hn::Add(hn::Mul(distance, hn::BitCast(du, whole)), fraction);
  const auto step = hn::BitCast(d, hn::Min(magnitude, hn::Set(du, 256)));
  // Negative where the signs of d and k differ; a step of d = 0 is 0.
  const auto signed_ = hn::IfThenElse(hn::Xor(difference, signOfK) < hn::Zero(d), hn::Neg(step), step);
  return hn::Min(hn::Max(hn::Add(y, signed_), hn::Zero(d)), hn::Set(d, 255));
}

// Two blocks of as many pixels as the target has 32-bit lanes at once: each
// channel of the first block in the low 16 bits of a word, of the second in
// the high 16 bits, worked on in 16-bit lanes.
template <PixelLayout S, PixelLayout D>
int64_t SaturationVectorRow(const uint32_t* source, uint32_t* destination, int64_t width,
                            const SaturationKernel& kernel) {
  const hn::ScalableTag<uint32_t> du;
  const hn::Repartition<int16_t, decltype(du)> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto whole = hn::Set(d, static_cast<int16_t>(kernel.whole)),
             part = hn::Set(d, static_cast<int16_t>(kernel.part));
  const auto signOfK = hn::Set(d, static_cast<int16_t>(kernel.negative ? -1 : 0));
  const auto paired = [&](auto first, auto second) { return hn::BitCast(d, hn::Or(first, hn::ShiftLeft<16>(second))); };
  const auto firstOf = [&](auto channel) { return hn::And(hn::BitCast(du, channel), hn::Set(du, 0xFFFF)); };
  const auto secondOf = [&](auto channel) { return hn::ShiftRight<16>(hn::BitCast(du, channel)); };
  int64_t column = 0;
  for (; column + 2 * lanes <= width; column += 2 * lanes) {
    const auto first = hn::LoadU(du, source + column), second = hn::LoadU(du, source + column + lanes);
    const auto red = paired(RedOf<S>(first), RedOf<S>(second)), green = paired(GreenOf<S>(first), GreenOf<S>(second)),
               blue = paired(BlueOf<S>(first), BlueOf<S>(second));
    const auto y = hn::ShiftRight<2>(hn::Add(hn::Add(red, blue), hn::Add(green, green)));
    const auto outRed = SaturatedChannel(red, y, whole, part, signOfK),
               outGreen = SaturatedChannel(green, y, whole, part, signOfK),
               outBlue = SaturatedChannel(blue, y, whole, part, signOfK);
    hn::StoreU(OpaqueWords<D>(firstOf(outRed), firstOf(outGreen), firstOf(outBlue)), du, destination + column);
    hn::StoreU(OpaqueWords<D>(secondOf(outRed), secondOf(outGreen), secondOf(outBlue)), du,
               destination + column + lanes);
  }
  return column;
}

#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout S, PixelLayout D>
VectorRow<TintKernel> TintKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, TintVectorRow<S, D>);
}

template <PixelLayout S, PixelLayout D>
VectorRow<SaturationKernel> SaturationKernel::VectorRowAt(VectorLevel level) const {
  if (!narrow) return nullptr;
  return QVL_VECTOR_ROW(level, SaturationVectorRow<S, D>);
}

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, uint32_t GreyBase, uint32_t SepiaBase) {
  return RunFilterFrame(source, {RegistrationCheckAt::AfterAcquire},
                        TintKernel{FractionsOf(GreyBase), FractionsOf(SepiaBase)});
}

REALpictureStruct* SaturationPicture(REALpictureStruct* pic, int64_t Amount) {
  return RunFilterFrame(pic, {RegistrationCheckAt::First}, SaturationKernel(Amount));
}
#endif
