// Sub-picture search: the matching rule, and the vector row that looks for
// the needle's first pixel, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/search.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "analysis/search.h"
#include "filters/layout_rows-inl.h"
// clang-format on

#ifndef QVL_ANALYSIS_SEARCH_KERNELS
#define QVL_ANALYSIS_SEARCH_KERNELS
#include <algorithm>

#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"

namespace {

// Strictly less than the tolerance apart, channel by channel in the order
// R, G, B: |a - b| < t exactly when a - b + (t - 1) lies in 0 .. 2 (t - 1),
// for a tolerance of at least 1.
struct Closeness {
  uint32_t slack;  // tolerance - 1
  bool operator()(const Channels& a, const Channels& b) const {
    return a.r - b.r + slack <= 2 * slack && a.g - b.g + slack <= 2 * slack && a.b - b.b + slack <= 2 * slack;
  }
};

// Where the search begins, after the start adjustment; false when it lies
// below the haystack.
bool AdjustStart(int64_t width, int64_t height, int64_t* startX, int64_t* startY) {
  *startX = std::max<int64_t>(*startX, 0);
  *startY = std::max<int64_t>(*startY, 0);
  if (*startX >= width) {
    // Stepping off the end of the row; a start on the last row or below
    // leaves the picture (tested before the step, which could overflow).
    if (*startY >= height - 1) return false;
    *startX = 0;
    ++*startY;
  }
  return *startY < height;
}

// The rest of the needle at (x, y), after its first pixel matched: the rest
// of row 0, then every further row from column 0.
template <PixelLayout H, PixelLayout N>
bool RestMatches(PictureReader& haystack, PictureReader& needle, const uint32_t* haystackRow,
                 const uint32_t* needleRow0, int64_t x, int64_t y, Closeness close) {
  const int64_t width = needle.Width;
  for (int64_t column = 1; column < width; ++column) {
    if (!close(ReadAt<H>(haystackRow, x + column), ReadAt<N>(needleRow0, column))) return false;
  }
  for (int64_t k = 1; k < needle.Height; ++k) {
    const uint32_t* hayRow = haystack.GetRow(y + k);
    const uint32_t* needleRow = needle.GetRow(k);
    for (int64_t column = 0; column < width; ++column) {
      if (!close(ReadAt<H>(hayRow, x + column), ReadAt<N>(needleRow, column))) return false;
    }
  }
  return true;
}

struct SearchArea {
  int64_t startX, startY, maxX, maxY;
};

// The needle's first pixel and the largest difference a channel may show,
// tolerance - 1 (at least 0), for the reading row that passes over the
// positions where the first pixel does not match. Channels lie in 0..255,
// so a slack from 255 up lets every pixel match.
struct FirstPixel {
  Channels first;
  uint8_t slack;

  template <PixelLayout H>
  static ReadingRow<const FirstPixel> ReadingRowAt(VectorLevel level);
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
// Whole vectors of positions up to the first whose pixel matches the first
// pixel: its column, or all the whole vectors when none does. The first
// pixel is placed as a word of the haystack's layout, and each colour byte
// of a word may differ from it by at most the slack.
template <PixelLayout H>
int64_t FirstPixelVectorRow(const uint32_t* row, int64_t width, const FirstPixel& kernel) {
  const hn::ScalableTag<uint32_t> d;
  const hn::Repartition<uint8_t, decltype(d)> bytes;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const Channels& c = kernel.first;
  const auto first = hn::BitCast(bytes, hn::Set(d, OpaquePixel<H>(c.r, c.g, c.b)));
  const auto slack = hn::Set(bytes, kernel.slack);
  const auto colourBits = hn::Set(d, kColourBits<H>);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::BitCast(bytes, hn::LoadU(d, row + column));
    const auto distance = hn::Or(hn::SaturatedSub(words, first), hn::SaturatedSub(first, words));
    const auto beyond = hn::And(hn::BitCast(d, hn::SaturatedSub(distance, slack)), colourBits);
    const intptr_t match = hn::FindFirstTrue(d, hn::Eq(beyond, hn::Zero(d)));
    if (match >= 0) return column + match;
  }
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout H>
ReadingRow<const FirstPixel> FirstPixel::ReadingRowAt(VectorLevel level) {
  return QVL_VECTOR_ROW(level, FirstPixelVectorRow<H>);
}

// Raster order from the start: the needle's first pixel is compared at each
// position, and only where it matches is the rest of the needle looked at.
// The reading row, where there is one, passes over positions that can't
// match; the rule is still applied to every position it stops at.
template <PixelLayout H, PixelLayout N>
bool Scan(PictureReader& haystack, PictureReader& needle, const SearchArea& area, Closeness close, int64_t* x,
          int64_t* y) {
  const uint32_t* needleRow0 = needle.GetRow(0);
  const Channels first = ReadAt<N>(needleRow0, 0);
  const FirstPixel firstPixel{first, static_cast<uint8_t>(std::min<uint32_t>(close.slack, 255))};
  const ReadingRow<const FirstPixel> passOver = ReadingRowOf<H, const FirstPixel>(VectorLevelInUse());
  for (int64_t row = area.startY; row <= area.maxY; ++row) {
    const int64_t from = row == area.startY ? area.startX : 0;
    if (from > area.maxX) continue;
    const uint32_t* haystackRow = haystack.GetRow(row);
    for (int64_t column = from; column <= area.maxX; ++column) {
      column += TakeWithReadingRow(passOver, haystackRow + column, area.maxX + 1 - column, firstPixel);
      if (column > area.maxX) break;
      if (!close(ReadAt<H>(haystackRow, column), first)) continue;
      if (RestMatches<H, N>(haystack, needle, haystackRow, needleRow0, column, row, close)) {
        *x = column;
        *y = row;
        return true;
      }
    }
  }
  return false;
}

}  // namespace

bool FindPicture(REALpictureStruct* haystackPic, REALpictureStruct* pic, int64_t* x, int64_t* y, int64_t StartX,
                 int64_t StartY, int64_t Tolerance) {
  *x = 0;
  *y = 0;
  RegistrationCheck();
  PictureReader haystack(haystackPic);
  if (!haystack.picture) return false;
  SearchArea area{StartX, StartY, 0, 0};
  if (!AdjustStart(haystack.Width, haystack.Height, &area.startX, &area.startY)) return false;
  PictureReader needle(pic);
  if (!needle.picture) return false;
  area.maxY = haystack.Height - needle.Height;
  area.maxX = haystack.Width - needle.Width;
  const auto tolerance = static_cast<int32_t>(static_cast<uint32_t>(Tolerance));
  if (area.startY > area.maxY || tolerance <= 0) return false;
  const Closeness close{static_cast<uint32_t>(tolerance) - 1};
  bool found = false;
  WithLayouts(haystack.pictureType, needle.pictureType, [&](auto h, auto n) {
    found = Scan<decltype(h)::value, decltype(n)::value>(haystack, needle, area, close, x, y);
  });
  return found;
}
#endif
