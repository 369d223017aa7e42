// Uniformity tests and colourness: the per-pixel rules and their vector rows,
// compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/uniformity.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "analysis/uniformity.h"
#include "filters/layout_rows-inl.h"
// clang-format on

#ifndef QVL_ANALYSIS_UNIFORMITY_KERNELS
#define QVL_ANALYSIS_UNIFORMITY_KERNELS
#include <algorithm>

#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"

namespace {

// The tested part of the picture: columns startX to right - 1, rows startY
// to bottom - 1.
struct TestedRectangle {
  int64_t startX, startY, right, bottom;
};

// Right and bottom come from the uncut left and top, so a negative left
// takes away from the right edge instead of sliding the rectangle in.
TestedRectangle Rectangle(int64_t left, int64_t top, int64_t width, int64_t height, int64_t pictureWidth,
                          int64_t pictureHeight) {
  if (width < 0) width = pictureWidth;
  if (height < 0) height = pictureHeight;
  return {std::max<int64_t>(left, 0), std::max<int64_t>(top, 0), std::min(WrappingAdd(width, left), pictureWidth),
          std::min(WrappingAdd(height, top), pictureHeight)};
}

// Each test gives the bits by which a word fails it (0 when it passes), and
// whether a pixel of unknown layout passes.
struct Black {
  static constexpr bool kUnknownPasses = true;
  template <PixelLayout L>
  uint32_t Fails(uint32_t word) const {
    return word & kColourBits<L>;
  }
};

struct White {
  static constexpr bool kUnknownPasses = false;
  template <PixelLayout L>
  uint32_t Fails(uint32_t word) const {
    return (word & kColourBits<L>)^kColourBits<L>;
  }
};

struct ExactGrey {
  static constexpr bool kUnknownPasses = true;
  template <PixelLayout L>
  uint32_t Fails(uint32_t word) const {
    return ColourSpread<L>(word);
  }
};

// |d| <= t exactly when d + t lies in 0 .. 2t, one unsigned comparison.
inline uint32_t Beyond(int32_t difference, int32_t limit) {
  return static_cast<uint32_t>(difference + limit) > static_cast<uint32_t>(2 * limit);
}

struct GreyWithin {
  static constexpr bool kUnknownPasses = true;
  int32_t limit;  // 0 .. 255: no difference of two channels goes beyond 255
  template <PixelLayout L>
  uint32_t Fails(uint32_t word) const {
    const Channels c = ReadPixel<L>(word);
    const int32_t r = c.r, g = c.g, b = c.b;
    return Beyond(r - g, limit) | Beyond(r - b, limit) | Beyond(g - b, limit);
  }
};

// The sign-free tolerance, with every limit from 255 up acting as 255.
int32_t GreyLimit(int64_t tolerance) {
  const uint64_t magnitude = tolerance < 0 ? 0 - static_cast<uint64_t>(tolerance) : static_cast<uint64_t>(tolerance);
  return static_cast<int32_t>(std::min<uint64_t>(magnitude, 255));
}

// Pixels are tested in blocks, each block as a whole, which the compiler can
// run in vector registers; the answer is the same as pixel by pixel.
constexpr int64_t kTestBlock = 16;

// A test over a row: whether every pixel passes.
template <class Test>
struct TestKernel {
  Test test;

  template <PixelLayout L>
  bool PixelRow(const uint32_t* row, int64_t width) const {
    if (L == PixelLayout::Unknown) return Test::kUnknownPasses;
    int64_t column = 0;
    for (; column + kTestBlock <= width; column += kTestBlock) {
      uint32_t failed = 0;
      for (int64_t k = 0; k < kTestBlock; ++k) failed |= test.template Fails<L>(row[column + k]);
      if (failed) return false;
    }
    for (; column < width; ++column) {
      if (test.template Fails<L>(row[column])) return false;
    }
    return true;
  }

  template <PixelLayout L>
  static ReadingRow<const TestKernel> ReadingRowAt(VectorLevel level);
};

// The frame of the three tests: the rows above the rectangle are stepped
// over, then each row of it is tested until a pixel fails.
template <class Test>
bool TestRectangle(PictureReader& reader, const Test& test, int64_t left, int64_t top, int64_t width, int64_t height) {
  const TestedRectangle r = Rectangle(left, top, width, height, reader.Width, reader.Height);
  SkipRows(reader, r.startY);
  if (r.bottom <= r.startY) return true;
  bool passes = true;
  const TestKernel<Test> kernel{test};
  const VectorLevel level = VectorLevelInUse();
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    const ReadingRow<const TestKernel<Test>> readingRow = ReadingRowOf<L, const TestKernel<Test>>(level);
    // A row of unknown layout is never read, so its pointer is not moved.
    const int64_t startX = L == PixelLayout::Unknown ? 0 : r.startX;
    for (int64_t y = r.startY; y < r.bottom; ++y) {
      if (r.right > r.startX) passes = ReadRow<L>(reader.base + startX, r.right - r.startX, kernel, readingRow);
      if (!passes) return;
      StepRow(reader);
    }
  });
  if (!passes) reader.clear();
  return passes;
}

// Dark pixels never count; the others count when green is more than the
// threshold away from red or from blue, in 32-bit arithmetic. The count
// wraps at 32 bits.
struct Colourness {
  int32_t threshold, negated;  // negated computed in 32 bits, wrapping
  uint32_t count = 0;

  template <PixelLayout L>
  void PixelRow(const uint32_t* row, int64_t width) {
    if (L == PixelLayout::Unknown) return;
    for (int64_t column = 0; column < width; ++column) {
      const Channels c = ReadPixel<L>(row[column]);
      const int32_t r = c.r, g = c.g, b = c.b;
      const bool dark = (r < 30) & (g < 30) & (b < 30);
      const int32_t d1 = g - r, d2 = g - b;
      const bool apart = (d1 > threshold) | (d1 < negated) | (d2 > threshold) | (d2 < negated);
      count += apart & !dark;
    }
  }

  template <PixelLayout L>
  static ReadingRow<Colourness> ReadingRowAt(VectorLevel level);
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
// The lanes whose pixel fails each test.
template <PixelLayout L, class D, class V>
HWY_INLINE auto FailingLanes(const Black&, D d, V words) {
  return hn::Ne(hn::And(words, hn::Set(d, kColourBits<L>)), hn::Zero(d));
}

template <PixelLayout L, class D, class V>
HWY_INLINE auto FailingLanes(const White&, D d, V words) {
  const auto colourBits = hn::Set(d, kColourBits<L>);
  return hn::Ne(hn::And(words, colourBits), colourBits);
}

template <PixelLayout L, class D, class V>
HWY_INLINE auto FailingLanes(const ExactGrey&, D d, V words) {
  return hn::Ne(hn::And(hn::Xor(words, hn::ShiftRight<8>(words)), hn::Set(d, kGreyTest<L>)), hn::Zero(d));
}

// No two of the three channels lie more than the limit apart exactly when
// the largest and the smallest do not.
template <PixelLayout L, class D, class V>
HWY_INLINE auto FailingLanes(const GreyWithin& test, D d, V words) {
  const auto r = RedOf<L>(words), g = GreenOf<L>(words), b = BlueOf<L>(words);
  const auto spread = hn::Sub(hn::Max(hn::Max(r, g), b), hn::Min(hn::Min(r, g), b));
  const hn::RebindToSigned<D> di;
  return hn::RebindMask(d, hn::Gt(hn::BitCast(di, spread), hn::Set(di, test.limit)));
}

// Whole vectors of pixels, four at a time and then one at a time, until one
// holds a pixel that fails: the per-pixel rule then takes over from there.
template <PixelLayout L, class Test>
int64_t TestVectorRow(const uint32_t* row, int64_t width, const TestKernel<Test>& kernel) {
  const hn::ScalableTag<uint32_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const auto failing = [&](int64_t column) { return FailingLanes<L>(kernel.test, d, hn::LoadU(d, row + column)); };
  int64_t column = 0;
  for (; column + 4 * lanes <= width; column += 4 * lanes) {
    const auto first = hn::Or(failing(column), failing(column + lanes));
    const auto second = hn::Or(failing(column + 2 * lanes), failing(column + 3 * lanes));
    if (!hn::AllFalse(d, hn::Or(first, second))) break;
  }
  for (; column + lanes <= width; column += lanes) {
    if (!hn::AllFalse(d, failing(column))) break;
  }
  return column;
}

// The byte at `index` of every pixel, of the four planes LoadInterleaved4
// gives.
template <int index, class V>
HWY_INLINE V Plane(V byte0, V byte1, V byte2, V byte3) {
  if constexpr (index == 0) return byte0;
  if constexpr (index == 1) return byte1;
  if constexpr (index == 2) return byte2;
  if constexpr (index == 3) return byte3;
}

// With d1, d2 in -255..255, "d above the threshold or below its negation"
// is |d| > threshold for a threshold from 0 up, and always true below 0, as
// is the largest |d| > threshold. The largest of |g - r| and |g - b| is the
// larger of g - min(r, b) and max(r, b) - g, of which the smaller is never
// above 0, so both can be taken in unsigned bytes that stop at 0. A pixel is
// dark when its largest channel is below 30. The pixels are taken apart into
// planes of bytes, as many pixels at once as the target has bytes; the count
// wraps at 32 bits as the rule's does.
template <PixelLayout L>
int64_t ColournessVectorRow(const uint32_t* row, int64_t width, Colourness& kernel) {
  constexpr LayoutDescription l = kLayout<L>;
  const hn::ScalableTag<uint8_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  // A threshold of 255 or more is never passed; below 0, every pixel is apart.
  if (kernel.threshold >= 255) return width;
  const bool alwaysApart = kernel.threshold < 0;
  const auto threshold = hn::Set(d, static_cast<uint8_t>(alwaysApart ? 0 : kernel.threshold));
  const auto always = hn::FirstN(d, alwaysApart ? static_cast<size_t>(lanes) : 0);
  const auto darkBelow = hn::Set(d, 29);
  const auto* bytes = reinterpret_cast<const uint8_t*>(row);
  uint32_t count = 0;
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    hn::Vec<decltype(d)> byte0, byte1, byte2, byte3;
    hn::LoadInterleaved4(d, bytes + 4 * column, byte0, byte1, byte2, byte3);
    const auto r = Plane<l.red / 8>(byte0, byte1, byte2, byte3), g = Plane<l.green / 8>(byte0, byte1, byte2, byte3),
               b = Plane<l.blue / 8>(byte0, byte1, byte2, byte3);
    const auto low = hn::Min(r, b), high = hn::Max(r, b);
    const auto largest = hn::Max(hn::SaturatedSub(g, low), hn::SaturatedSub(high, g));
    const auto apart = hn::Or(hn::Gt(largest, threshold), always);
    const auto lit = hn::Gt(hn::Max(high, g), darkBelow);
    count += static_cast<uint32_t>(hn::CountTrue(d, hn::And(apart, lit)));
  }
  kernel.count += count;
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <class Test>
template <PixelLayout L>
ReadingRow<const TestKernel<Test>> TestKernel<Test>::ReadingRowAt(VectorLevel level) {
  return QVL_VECTOR_ROW(level, TestVectorRow<L, Test>);
}

template <PixelLayout L>
ReadingRow<Colourness> Colourness::ReadingRowAt(VectorLevel level) {
  return QVL_VECTOR_ROW(level, ColournessVectorRow<L>);
}

}  // namespace

bool TestAcquired(PictureReader& reader, Uniformity uniformity, int64_t tolerance, int64_t left, int64_t top,
                  int64_t width, int64_t height) {
  switch (uniformity) {
    case Uniformity::Black:
      return TestRectangle(reader, Black{}, left, top, width, height);
    case Uniformity::White:
      return TestRectangle(reader, White{}, left, top, width, height);
    case Uniformity::Grey:
      break;
  }
  if (tolerance == 0) return TestRectangle(reader, ExactGrey{}, left, top, width, height);
  return TestRectangle(reader, GreyWithin{GreyLimit(tolerance)}, left, top, width, height);
}

double ColournessOfAcquired(PictureReader& reader, int64_t threshold) {
  const auto limit = static_cast<int32_t>(static_cast<uint32_t>(threshold));
  Colourness kernel{limit, static_cast<int32_t>(0u - static_cast<uint32_t>(limit))};
  const VectorLevel level = VectorLevelInUse();
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    const ReadingRow<Colourness> readingRow = ReadingRowOf<L, Colourness>(level);
    for (int64_t y = 0; y < reader.Height; ++y) ReadRow<L>(reader.GetRow(y), reader.Width, kernel, readingRow);
  });
  const auto pixels = static_cast<int64_t>(static_cast<uint64_t>(reader.Width) * static_cast<uint64_t>(reader.Height));
  return static_cast<double>(static_cast<int32_t>(kernel.count)) / static_cast<double>(pixels);
}

namespace {

bool TestPicture(REALpictureStruct* pic, Uniformity uniformity, int64_t tolerance, int64_t left, int64_t top,
                 int64_t width, int64_t height) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return false;
  return TestAcquired(reader, uniformity, tolerance, left, top, width, height);
}

}  // namespace

bool isBlack(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return TestPicture(pic, Uniformity::Black, 0, left, top, width, height);
}

bool isBlack2(REALpictureStruct* pic) { return isBlack(pic, 0, 0, -1, -1); }

bool isWhite(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return TestPicture(pic, Uniformity::White, 0, left, top, width, height);
}

bool isWhite2(REALpictureStruct* pic) { return isWhite(pic, 0, 0, -1, -1); }

bool isGray(REALpictureStruct* pic, int64_t tolerance, int64_t left, int64_t top, int64_t width, int64_t height) {
  return TestPicture(pic, Uniformity::Grey, tolerance, left, top, width, height);
}

bool isGray2(REALpictureStruct* pic, int64_t tolerance) { return isGray(pic, tolerance, 0, 0, -1, -1); }

double ColornessQVL(REALpictureStruct* pic, int64_t threshold) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return 0.0;
  return ColournessOfAcquired(reader, threshold);
}
#endif
