#include "analysis/counting.h"

#include <cstring>

#include "binding/adapters.h"
#include "binding/memory_blocks.h"
#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"

namespace {

constexpr int64_t kHistogramEntries = 256;
constexpr int64_t kHistogramBytes = kHistogramEntries * 4;

// The pixels of a row whose colour bits are `wanted`. Every pixel of an
// unknown layout reads as black.
template <PixelLayout L>
int64_t CountInRow(const uint32_t* row, int64_t width, uint32_t wanted, bool wantedIsBlack) {
  if (L == PixelLayout::Unknown) return wantedIsBlack ? width : 0;
  int64_t count = 0;
  for (int64_t column = 0; column < width; ++column) count += (row[column] & kColourBits<L>) == wanted;
  return count;
}

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

int64_t CountColorQVL(REALpictureStruct* pic, uint32_t col) {
  PictureReader reader(pic);
  if (!reader.picture) return 0;
  const uint32_t r = (col >> 16) & 0xFF, g = (col >> 8) & 0xFF, b = col & 0xFF;
  int64_t count = 0;
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    const uint32_t wanted = L == PixelLayout::Unknown ? 0 : OpaquePixel<L>(r, g, b) & kColourBits<L>;
    for (int64_t y = 0; y < reader.Height; ++y) {
      if (reader.Width > 0) count += CountInRow<L>(reader.base, reader.Width, wanted, (r | g | b) == 0);
      StepRow(reader);
    }
  });
  reader.clear();
  return count;
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
