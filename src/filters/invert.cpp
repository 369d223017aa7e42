// Invert filters: the rules per pixel and their vector rows, compiled once
// per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/invert.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include <algorithm>

#include "filters/invert.h"
#include "filters/layout_rows-inl.h"
// clang-format on

#ifndef QVL_FILTERS_INVERT_KERNELS
#define QVL_FILTERS_INVERT_KERNELS
namespace {

inline uint32_t Inverted(uint32_t channel) { return channel ^ 255u; }

// A stored, premultiplied channel c with its straight colour inverted under
// the alpha a it was read with: unchanged under a = 0. Otherwise, where c is
// at most a, the straight value u that unmultiplying finds premultiplies to
// c, and 255 - u premultiplies to a - c; above a, u is c itself and the
// result is (a (255 - c) + 127) / 255 cut down, a quotient that
// (x * 0x8081) >> 23 gives exactly for any x below 65536. These are the
// bytes the multiply tables give, without them.
inline uint32_t InvertedUnder(uint32_t a, uint32_t c) {
  if (a == 0) return c;
  if (c <= a) return a - c;
  return ((a * Inverted(c) + 127) * 0x8081u) >> 23;
}

// All three channels equal, in one comparison.
inline bool IsGrey(const Channels& c) { return ((c.r ^ c.g) | (c.g ^ c.b)) == 0; }

template <PixelLayout L>
inline bool IsGreyWord(uint32_t word) {
  return ColourSpread<L>(word) == 0;
}

// The plain filters: the colour inverted and stored with the opaque write,
// of every pixel or of grey ones. Within one layout each channel is written
// where it was read, so the result is the word with its colour bits flipped
// and the opaque write's alpha bits.
template <bool greyOnly>
struct InvertPlain {
  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if constexpr (D == PixelLayout::Unknown) {
      return;
    } else if constexpr (S == D) {
      constexpr uint32_t colour = kLayout<D>.ColourBits(), opaque = kLayout<D>.opaqueBits;
      for (int64_t column = 0; column < width; ++column) {
        const uint32_t word = source[column];
        const bool acting = !greyOnly || IsGreyWord<D>(word);
        destination[column] = ((acting ? ~word : word) & colour) | opaque;
      }
    } else {
      MapRowOpaque<S, D>(source, destination, width, [](Channels c) {
        if (greyOnly && !IsGrey(c)) return c;
        return Channels{Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a};
      });
    }
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<InvertPlain> VectorRowAt(VectorLevel level) const;
};

// The filters on a picture with an alpha channel: the straight colours
// inverted (see InvertedUnder), stored with the alpha write and the alpha as
// read. The grey filter judges grey on the stored, premultiplied values.
template <bool greyOnly>
struct InvertPremultiplied {
  static Channels Rule(Channels c) {
    if (greyOnly && !IsGrey(c)) return c;
    return {InvertedUnder(c.a, c.r), InvertedUnder(c.a, c.g), InvertedUnder(c.a, c.b), c.a};
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      for (int64_t column = 0; column < width; ++column) {
        const Channels out = Rule(ReadAt<S>(source, column));
        destination[column] = AlphaPixel<D>(out.r, out.g, out.b, out.a);
      }
    }
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<InvertPremultiplied> VectorRowAt(VectorLevel level) const;
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// All ones in each word that a rule acts on: every word, or under the grey
// rules the grey ones.
template <PixelLayout L, bool greyOnly, class D, class V>
HWY_INLINE auto ActingLanes(D d, V words) {
  if constexpr (greyOnly) {
    const auto differences = hn::And(hn::Xor(words, hn::ShiftRight<8>(words)), hn::Set(d, kGreyTest<L>));
    return hn::Eq(differences, hn::Zero(d));
  } else {
    return hn::Eq(words, words);
  }
}

template <PixelLayout L, bool greyOnly>
int64_t InvertPlainVectorRow(const uint32_t* source, uint32_t* destination, int64_t width,
                             const InvertPlain<greyOnly>&) {
  const hn::ScalableTag<uint32_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const auto colour = hn::Set(d, kLayout<L>.ColourBits()), opaque = hn::Set(d, kLayout<L>.opaqueBits);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(d, source + column);
    const auto flip = hn::IfThenElseZero(ActingLanes<L, greyOnly>(d, words), colour);
    hn::StoreU(hn::Or(hn::And(hn::Xor(words, flip), colour), opaque), d, destination + column);
  }
  return column;
}

// InvertedUnder in 32-bit lanes; every value is below 2^31, so the signed
// comparison the lanes have is the unsigned one. a (255 - c) + 127 is below
// 65536, so the products are made in the low 16 bits of each lane (whose
// high 16 bits stay 0), the quotient as the high half of x * 0x8081 shifted
// by 7: 16-bit multiplies take half the work of 32-bit ones.
template <class D, class V>
HWY_INLINE V InvertedUnder(D d, V a, V c) {
  const hn::RebindToSigned<D> di;
  const hn::Repartition<uint16_t, D> d16;
  const auto low16 = [&](uint32_t value) { return hn::BitCast(d16, hn::Set(d, value)); };
  const auto product =
      hn::Add(hn::Mul(hn::BitCast(d16, a), hn::BitCast(d16, hn::Xor(c, hn::Set(d, 255u)))), low16(127));
  const auto quotient = hn::BitCast(d, hn::ShiftRight<7>(hn::MulHigh(product, low16(0x8081))));
  const auto above = hn::RebindMask(d, hn::BitCast(di, c) > hn::BitCast(di, a));
  return hn::IfThenElse(above, quotient, hn::Sub(a, c));
}

// Words whose alpha reads 0, and in the grey filter coloured ones, keep
// their colour and alpha bits; the rest are made through InvertedUnder. A
// grey word needs no test of its own: its three equal bytes give three
// equal results.
template <PixelLayout L, bool greyOnly>
int64_t InvertPremultipliedVectorRow(const uint32_t* source, uint32_t* destination, int64_t width,
                                     const InvertPremultiplied<greyOnly>&) {
  constexpr LayoutDescription l = kLayout<L>;
  const hn::ScalableTag<uint32_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const auto alphaField = hn::Set(d, l.AlphaField()), kept = hn::Set(d, l.ColourBits() | l.AlphaField());
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(d, source + column);
    const auto alphaBits = hn::And(words, alphaField);
    auto a = hn::ShiftRight<l.alphaShift>(alphaBits);
    if constexpr (l.alphaWidth == 7) a = hn::Or(hn::Add(a, a), hn::And(a, hn::Set(d, 1u)));
    const auto red = InvertedUnder(d, a, RedOf<L>(words)), green = InvertedUnder(d, a, GreenOf<L>(words)),
               blue = InvertedUnder(d, a, BlueOf<L>(words));
    const auto made = hn::Or(hn::Or(hn::ShiftLeft<l.red>(red), hn::ShiftLeft<l.green>(green)),
                             hn::Or(hn::ShiftLeft<l.blue>(blue), alphaBits));
    const auto acting = hn::AndNot(hn::Eq(alphaBits, hn::Zero(d)), ActingLanes<L, greyOnly>(d, words));
    hn::StoreU(hn::IfThenElse(acting, made, hn::And(words, kept)), d, destination + column);
  }
  return column;
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

// Vector rows only within one layout, where every channel stays in its byte.
template <bool greyOnly>
template <PixelLayout S, PixelLayout D>
VectorRow<InvertPlain<greyOnly>> InvertPlain<greyOnly>::VectorRowAt(VectorLevel level) const {
  if constexpr (S == D) {
    return QVL_VECTOR_ROW(level, InvertPlainVectorRow<D, greyOnly>);
  } else {
    return nullptr;
  }
}

template <bool greyOnly>
template <PixelLayout S, PixelLayout D>
VectorRow<InvertPremultiplied<greyOnly>> InvertPremultiplied<greyOnly>::VectorRowAt(VectorLevel level) const {
  if constexpr (S == D) {
    return QVL_VECTOR_ROW(level, InvertPremultipliedVectorRow<D, greyOnly>);
  } else {
    return nullptr;
  }
}

// Which sizes stand for the picture's own width or height.
enum class WholeWhen { NotPositive, Negative };

int64_t SizeOrWhole(int64_t size, int64_t whole, WholeWhen when) {
  const bool useWhole = when == WholeWhen::NotPositive ? size <= 0 : size < 0;
  return useWhole ? whole : size;
}

// Right and bottom come from the unclipped start, so a rectangle that starts
// outside the picture loses that part instead of sliding in.
FrameArea Clip(int64_t left, int64_t top, int64_t width, int64_t height, int64_t pictureWidth, int64_t pictureHeight) {
  return {std::max<int64_t>(left, 0), std::max<int64_t>(top, 0), std::min(WrappingAdd(left, width), pictureWidth),
          std::min(WrappingAdd(top, height), pictureHeight)};
}

template <bool greyOnly>
REALpictureStruct* InvertRectangle(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height,
                                   WholeWhen wholeWhen) {
  const ByAlphaChannel<InvertPlain<greyOnly>, InvertPremultiplied<greyOnly>> kernels{};
  return RunFilterFrame(pic, {RegistrationCheckAt::First}, kernels, [=](int64_t pictureWidth, int64_t pictureHeight) {
    return Clip(left, top, SizeOrWhole(width, pictureWidth, wholeWhen), SizeOrWhole(height, pictureHeight, wholeWhen),
                pictureWidth, pictureHeight);
  });
}

}  // namespace

REALpictureStruct* InvertPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return InvertRectangle<false>(pic, left, top, width, height, WholeWhen::NotPositive);
}

REALpictureStruct* InvertPicture2(REALpictureStruct* pic) { return InvertPicture(pic, 0, 0, -1, -1); }

REALpictureStruct* InvertGrayPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return InvertRectangle<true>(pic, left, top, width, height, WholeWhen::Negative);
}

REALpictureStruct* InvertGrayPicture2(REALpictureStruct* pic) { return InvertGrayPicture(pic, 0, 0, -1, -1); }
#endif
