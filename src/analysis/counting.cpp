// Colour counting: the per-pixel rules and the vector row of the exact
// colour count, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis/counting.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "analysis/counting.h"
#include "filters/layout_rows-inl.h"
// clang-format on

#ifndef QVL_ANALYSIS_COUNTING_KERNELS
#define QVL_ANALYSIS_COUNTING_KERNELS
#include <cstring>

#include "binding/adapters.h"
#include "binding/memory_blocks.h"
#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"

namespace {

constexpr int64_t kHistogramEntries = 256;
constexpr int64_t kHistogramBytes = kHistogramEntries * 4;

// The pixels whose colour bits are `wanted`, the colour placed for the
// layout walked. Every pixel of an unknown layout reads as black.
struct ColourCount {
  uint32_t wanted;
  bool wantedIsBlack;
  int64_t count = 0;

  template <PixelLayout L>
  void PixelRow(const uint32_t* row, int64_t width) {
    if (L == PixelLayout::Unknown) {
      count += wantedIsBlack ? width : 0;
      return;
    }
    for (int64_t column = 0; column < width; ++column) count += (row[column] & kColourBits<L>) == wanted;
  }

  template <PixelLayout L>
  static ReadingRow<ColourCount> ReadingRowAt(VectorLevel level);
};

// Counters of the three channels for one call, added to the blocks at the
// end. Unsigned 32-bit sums wrap as the blocks' own counters would.
struct Histograms {
  uint32_t channel[3][kHistogramEntries];
};

template <PixelLayout L>
void HistogramRow(const uint32_t* row, int64_t width, Histograms& histograms) {
  if (L == PixelLayout::Unknown) {
    for (auto& counters : histograms.channel) counters[0] += static_cast<uint32_t>(width);
    return;
  }
  for (int64_t column = 0; column < width; ++column) {
    const Channels c = ReadPixel<L>(row[column]);
    ++histograms.channel[0][c.r];
    ++histograms.channel[1][c.g];
    ++histograms.channel[2][c.b];
  }
}

// Adds the counters to the block's, in the processor's byte order. Counters
// beyond a block shorter than 1024 bytes are dropped: nothing outside the
// block is written.
void AddCounters(const uint32_t* counters, const rbData& block) {
  const int64_t entries = std::min(kHistogramEntries, block.size / 4);
  auto* bytes = static_cast<uint8_t*>(block.data);
  for (int64_t v = 0; v < entries; ++v) {
    uint32_t held;
    std::memcpy(&held, bytes + v * 4, 4);
    held += counters[v];
    std::memcpy(bytes + v * 4, &held, 4);
  }
}

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
// A vector of pixels a step: each lane counts its matches down from 0 by the
// all-ones of a true comparison, added up at the row's end (a row of pixel
// memory holds far fewer than 2^32 pixels).
template <PixelLayout L>
int64_t CountVectorRow(const uint32_t* row, int64_t width, ColourCount& kernel) {
  const hn::ScalableTag<uint32_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const auto colourBits = hn::Set(d, kColourBits<L>), wanted = hn::Set(d, kernel.wanted);
  auto matches = hn::Zero(d);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(d, row + column);
    matches = hn::Sub(matches, hn::VecFromMask(d, hn::Eq(hn::And(words, colourBits), wanted)));
  }
  kernel.count += hn::GetLane(hn::SumOfLanes(d, matches));
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout L>
ReadingRow<ColourCount> ColourCount::ReadingRowAt(VectorLevel level) {
  return QVL_VECTOR_ROW(level, CountVectorRow<L>);
}

}  // namespace

int64_t CountColorQVL(REALpictureStruct* pic, uint32_t col) {
  PictureReader reader(pic);
  if (!reader.picture) return 0;
  const uint32_t r = (col >> 16) & 0xFF, g = (col >> 8) & 0xFF, b = col & 0xFF;
  ColourCount kernel{0, (r | g | b) == 0};
  const VectorLevel level = VectorLevelInUse();
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    kernel.wanted = L == PixelLayout::Unknown ? 0 : OpaquePixel<L>(r, g, b) & kColourBits<L>;
    const ReadingRow<ColourCount> readingRow = ReadingRowOf<L, ColourCount>(level);
    for (int64_t y = 0; y < reader.Height; ++y) {
      if (reader.Width > 0) ReadRow<L>(reader.base, reader.Width, kernel, readingRow);
      StepRow(reader);
    }
  });
  reader.clear();
  return kernel.count;
}

void CountColorsQVL(REALpictureStruct* pic, REALmemoryBlockStruct** red, REALmemoryBlockStruct** blue,
                    REALmemoryBlockStruct** green, int64_t* count) {
  RegistrationCheck();
  for (REALmemoryBlockStruct** block : {red, blue, green}) {
    if (!*block) *block = REALNewMemoryBlock(kHistogramBytes);
  }
  if (!*red || !*blue || !*green) {
    *count = -1;
    return;
  }
  PictureReader reader(pic);
  if (!reader.picture) {
    *count = -1;
    return;
  }
  const rbData blocks[3] = {{*red, 0, 0}, {*blue, 0, 0}, {*green, 0, 0}};
  Histograms histograms{};
  WithLayout(reader.pictureType, [&](auto layout) {
    for (int64_t y = 0; y < reader.Height; ++y) {
      if (reader.Width > 0) HistogramRow<decltype(layout)::value>(reader.base, reader.Width, histograms);
      StepRow(reader);
    }
  });
  for (int channel = 0; channel < 3; ++channel) AddCounters(histograms.channel[channel], blocks[channel]);
  *count = reader.Width > 0 && reader.Height > 0 ? reader.Width * reader.Height : 0;
}
#endif
