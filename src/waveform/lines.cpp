#include "waveform/lines.h"

#include "binding/globals.h"
#include "binding/wrappers.h"
#include "picture/pixels.h"

int64_t gOutLineColorR = 0;
int64_t gOutLineColorG = 0;
int64_t gOutLineColorB = 0;

namespace {

constexpr double kFirstVersionWithDoublePen = 2018.02;

// Three 16-bit lanes of a 64-bit word, one a channel: a lane holds a product
// of two bytes, so one multiply serves the three channels.
constexpr uint64_t kLaneBytes = 0x0000'00FF'00FF'00FFull;
constexpr uint64_t kLaneOnes = 0x0000'0001'0001'0001ull;

// The outline colour in lanes, red first, then green and blue.
inline uint64_t OutlineLanes() {
  return uint64_t(gOutLineColorR & 0xFF) | uint64_t(gOutLineColorG & 0xFF) << 16 |
         uint64_t(gOutLineColorB & 0xFF) << 32;
}

// (old * weight + outline * (255 - weight)) / 255 for each channel, the old
// blue feeding the new green and the old green the new blue. Each lane's sum
// is at most 255 * 255, where t / 255 equals (t + 1 + t / 256) / 256.
template <PixelLayout L>
inline uint32_t BlendWord(uint32_t old, uint32_t weight, uint64_t outline) {
  constexpr LayoutDescription l = kLayout<L>;
  const uint64_t lanes = uint64_t((old >> l.red) & 0xFF) | uint64_t((old >> l.blue) & 0xFF) << 16 |
                         uint64_t((old >> l.green) & 0xFF) << 32;
  const uint64_t sums = lanes * weight + outline * (255 - weight);
  const uint64_t quotients = ((sums + kLaneOnes + ((sums >> 8) & kLaneBytes)) >> 8) & kLaneBytes;
  return OpaquePixel<L>(uint32_t(quotients) & 0xFF, uint32_t(quotients >> 16) & 0xFF, uint32_t(quotients >> 32));
}

// DrawPixel for one layout, weight 0..255. The layout is resolved once per
// line, so that a line's walk holds no test of it and no call.
template <PixelLayout L>
inline void BlendPixel(PictureWriter& writer, int64_t x, int64_t y, uint32_t weight, uint64_t outline) {
  if (x < 0 || y < 0 || x >= writer.Width || y >= writer.Height) return;
  uint32_t* row = RowWithin(writer, y);
  if (row && L != PixelLayout::Unknown) row[x] = BlendWord<L>(row[x], weight, outline);
}

// The walk keeps its coordinates in unsigned 64 bits so that a line whose
// ends lie far out wraps instead of overflowing; the counters, the
// accumulator and its adjustment are 16 bits wide.
template <PixelLayout L>
void WuLine(PictureWriter& writer, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  int64_t nearX = x0, nearY = y0, farX = x1, farY = y1;
  if (y0 > y1) {
    nearX = x1;
    nearY = y1;
    farX = int16_t(x0);
    farY = int16_t(y0);
  }
  const uint64_t outline = OutlineLanes();
  auto draw = [&writer, outline](uint64_t x, uint64_t y, uint32_t weight) {
    BlendPixel<L>(writer, int64_t(x), int64_t(y), weight, outline);
  };
  uint64_t x = uint64_t(nearX), y = uint64_t(nearY);
  draw(x, y, 0);
  const int16_t dx = int16_t(uint64_t(farX) - x);
  const int16_t dy = int16_t(uint64_t(farY) - y);
  const uint64_t step = dx >= 0 ? 1 : ~uint64_t(0);
  const int16_t adx = int16_t(dx >= 0 ? dx : -dx);

  if (dy == 0) {
    for (uint16_t n = uint16_t(adx); n != 0; --n) draw(x += step, y, 0);
    return;
  }
  if (dx == 0) {
    for (uint16_t n = uint16_t(dy); n != 0; --n) draw(x, ++y, 0);
    return;
  }
  if (adx == dy) {
    for (uint16_t n = uint16_t(adx); n != 0; --n) draw(x += step, ++y, 0);
    return;
  }
  if (adx < dy) {
    if (dy != 1) {
      const uint16_t adjust = uint16_t((uint32_t(uint16_t(adx)) << 16) / uint16_t(dy));
      uint16_t accumulator = 0;
      for (uint16_t n = uint16_t(dy - 1); n != 0; --n) {
        const uint16_t old = accumulator;
        accumulator = uint16_t(accumulator + adjust);
        if (accumulator <= old) x += step;
        ++y;
        const uint32_t weight = accumulator >> 8;
        draw(x, y, weight);
        draw(x + step, y, weight ^ 255);
      }
    }
  } else if (adx != 1) {
    const uint16_t adjust = uint16_t((uint32_t(uint16_t(dy)) << 16) / uint16_t(adx));
    uint16_t accumulator = 0;
    for (uint16_t n = uint16_t(adx - 1); n != 0; --n) {
      const uint16_t old = accumulator;
      accumulator = uint16_t(accumulator + adjust);
      if (accumulator <= old) ++y;
      x += step;
      const uint32_t weight = accumulator >> 8;
      draw(x, y, weight);
      draw(x, y + 1, weight ^ 255);
    }
  }
  draw(uint64_t(farX), uint64_t(farY), 0);
}

void SetGraphicsPen(REALgraphicsStruct* graphics, const char* side, double value) {
  if (rbversion_rbversion >= kFirstVersionWithDoublePen) {
    if (REALSetPropValueDouble(graphics, "PenSize", value)) return;
    if (REALSetPropValueDouble(graphics, side, value)) return;
  }
  REALSetPropValueInteger(graphics, side, TruncateToInt64(value));
}

}  // namespace

void DrawPixel(PictureWriter& writer, int64_t x, int64_t y, int64_t weight) {
  WithLayout(writer.pictureType, [&](auto layout) {
    BlendPixel<decltype(layout)::value>(writer, x, y, uint32_t(weight) & 0xFF, OutlineLanes());
  });
}

void DrawWuLine(PictureWriter& writer, int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
  WithLayout(writer.pictureType, [&](auto layout) { WuLine<decltype(layout)::value>(writer, x0, y0, x1, y1); });
}

void SetGraphicsPenWidth(REALgraphicsStruct* graphics, double value) { SetGraphicsPen(graphics, "PenWidth", value); }

void SetGraphicsPenHeight(REALgraphicsStruct* graphics, double value) { SetGraphicsPen(graphics, "PenHeight", value); }
