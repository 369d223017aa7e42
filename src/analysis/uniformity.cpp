#include "analysis/uniformity.h"

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

template <PixelLayout L, class Test>
bool RowPasses(const Test& test, const uint32_t* row, int64_t from, int64_t to) {
  if (L == PixelLayout::Unknown) return Test::kUnknownPasses;
  int64_t column = from;
  for (; column + kTestBlock <= to; column += kTestBlock) {
    uint32_t failed = 0;
    for (int64_t k = 0; k < kTestBlock; ++k) failed |= test.template Fails<L>(row[column + k]);
    if (failed) return false;
  }
  for (; column < to; ++column) {
    if (test.template Fails<L>(row[column])) return false;
  }
  return true;
}

// The frame of the three tests: the rows above the rectangle are stepped
// over, then each row of it is tested until a pixel fails.
template <class Test>
bool TestRectangle(REALpictureStruct* pic, const Test& test, int64_t left, int64_t top, int64_t width, int64_t height) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return false;
  const TestedRectangle r = Rectangle(left, top, width, height, reader.Width, reader.Height);
  SkipRows(reader, r.startY);
  if (r.bottom <= r.startY) return true;
  bool passes = true;
  WithLayout(reader.pictureType, [&](auto layout) {
    for (int64_t y = r.startY; y < r.bottom; ++y) {
      if (r.right > r.startX) passes = RowPasses<decltype(layout)::value>(test, reader.base, r.startX, r.right);
      if (!passes) return;
      StepRow(reader);
    }
  });
  if (!passes) reader.clear();
  return passes;
}

// Dark pixels never count; the others count when green is more than the
// threshold away from red or from blue, in 32-bit arithmetic.
template <PixelLayout L>
uint32_t ColouredInRow(const uint32_t* row, int64_t width, int32_t threshold, int32_t negated) {
  if (L == PixelLayout::Unknown) return 0;
  uint32_t count = 0;
  for (int64_t column = 0; column < width; ++column) {
    const Channels c = ReadPixel<L>(row[column]);
    const int32_t r = c.r, g = c.g, b = c.b;
    const bool dark = (r < 30) & (g < 30) & (b < 30);
    const int32_t d1 = g - r, d2 = g - b;
    const bool apart = (d1 > threshold) | (d1 < negated) | (d2 > threshold) | (d2 < negated);
    count += apart & !dark;
  }
  return count;
}

}  // namespace

bool isBlack(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return TestRectangle(pic, Black{}, left, top, width, height);
}

bool isBlack2(REALpictureStruct* pic) { return isBlack(pic, 0, 0, -1, -1); }

bool isWhite(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return TestRectangle(pic, White{}, left, top, width, height);
}

bool isWhite2(REALpictureStruct* pic) { return isWhite(pic, 0, 0, -1, -1); }

bool isGray(REALpictureStruct* pic, int64_t tolerance, int64_t left, int64_t top, int64_t width, int64_t height) {
  if (tolerance == 0) return TestRectangle(pic, ExactGrey{}, left, top, width, height);
  return TestRectangle(pic, GreyWithin{GreyLimit(tolerance)}, left, top, width, height);
}

bool isGray2(REALpictureStruct* pic, int64_t tolerance) { return isGray(pic, tolerance, 0, 0, -1, -1); }

double ColornessQVL(REALpictureStruct* pic, int64_t threshold) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return 0.0;
  const auto limit = static_cast<int32_t>(static_cast<uint32_t>(threshold));
  const auto negated = static_cast<int32_t>(0u - static_cast<uint32_t>(limit));
  uint32_t count = 0;
  WithLayout(reader.pictureType, [&](auto layout) {
    for (int64_t y = 0; y < reader.Height; ++y) {
      count += ColouredInRow<decltype(layout)::value>(reader.GetRow(y), reader.Width, limit, negated);
    }
  });
  const auto pixels = static_cast<int64_t>(static_cast<uint64_t>(reader.Width) * static_cast<uint64_t>(reader.Height));
  return static_cast<double>(static_cast<int32_t>(count)) / static_cast<double>(pixels);
}
