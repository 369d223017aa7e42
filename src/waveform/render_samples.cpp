#include "waveform/render_samples.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "binding/exceptions.h"
#include "binding/globals.h"
#include "binding/scope_guards.h"
#include "binding/wrappers.h"
#include "picture/pixels.h"
#include "waveform/lines.h"

namespace {

constexpr int64_t kDefaultHeight = 500;
constexpr int64_t kSpareEnvelopeBytes = 20;
constexpr double kFirstVersionWithDoubleDrawLine = 2018.02;
constexpr const char* kDrawLineDouble = "DrawLine( x1 as Double, y1 as Double, x2 as Double, y2 as Double )";
constexpr const char* kDrawLineInteger = "DrawLine( x1 as Integer, y1 as Integer, x2 as Integer, y2 as Integer )";

typedef void (*DrawLineDoubleFn)(REALgraphicsStruct* graphics, double x1, double y1, double x2, double y2);
typedef void (*DrawLineIntegerFn)(REALgraphicsStruct* graphics, int64_t x1, int64_t y1, int64_t x2, int64_t y2);

// Signed arithmetic that wraps as the processor's does, for sizes and rows
// that may come from anywhere.
int64_t WrappingAdd(int64_t a, int64_t b) { return int64_t(uint64_t(a) + uint64_t(b)); }
int64_t WrappingSubtract(int64_t a, int64_t b) { return int64_t(uint64_t(a) - uint64_t(b)); }

// size / bytes, truncating; 0 for a division by zero.
int64_t SamplesInBytes(int64_t size, int64_t bytes) {
  if (bytes == 0) return 0;
  if (bytes == -1) return WrappingSubtract(0, size);
  return size / bytes;
}

// The sample formats. Integer formats sum each half-wave in 64 bits (wrapping
// like the processor's adder) and reach floating point once per column.
template <class E, int64_t Offset, int FullScale>
struct IntegerFormat {
  using Element = E;
  using Sum = uint64_t;
  static constexpr double kFullScale = FullScale;
  static void Add(E element, Sum& negative, Sum& positive) {
    const int64_t value = int64_t(element) - Offset;
    negative += value < 0 ? uint64_t(value) : 0;
    positive += value < 0 ? 0 : uint64_t(value);
  }
  // `count` elements of zero.
  static void AddZeroes(uint64_t count, Sum& negative, Sum&) { negative -= uint64_t(Offset) * count; }
  static double Total(Sum sum) { return double(int64_t(sum)); }
};

// A not-a-number sample fails the test and counts as positive.
template <class E>
struct FloatFormat {
  using Element = E;
  using Sum = double;
  static constexpr double kFullScale = 1.0;
  static void Add(E element, Sum& negative, Sum& positive) {
    const double value = element;
    negative += value < 0 ? value : 0.0;
    positive += value < 0 ? 0.0 : value;
  }
  static void AddZeroes(uint64_t, Sum&, Sum&) {}
  static double Total(Sum sum) { return sum; }
};

using Unsigned8 = IntegerFormat<uint8_t, 128, 127>;
using Signed8 = IntegerFormat<int8_t, 0, 127>;
using Unsigned16 = IntegerFormat<uint16_t, 32768, 32767>;
using Signed16 = IntegerFormat<int16_t, 0, 32767>;
using Float32 = FloatFormat<float>;
using Float64 = FloatFormat<double>;

// The samples as far as the block holds them. A read beyond the block gives
// 0: a last partial element is completed with zero bytes, and every sample
// after it is an element of 0.
template <class Format>
struct SampleSource {
  using Element = typename Format::Element;

  SampleSource(const void* data, int64_t blockSize, int64_t count) : bytes(static_cast<const uint8_t*>(data)) {
    // A block over foreign memory has no size (it reads as negative): the
    // count is all there is to go by.
    if (blockSize < 0) {
      whole = std::max<int64_t>(count, 0);
      return;
    }
    whole = blockSize / int64_t(sizeof(Element));
    const int64_t rest = blockSize % int64_t(sizeof(Element));
    hasPartial = rest > 0;
    std::memcpy(&partial, bytes + whole * int64_t(sizeof(Element)), size_t(rest));
  }

  Element At(int64_t index) const {
    Element element;
    std::memcpy(&element, bytes + index * int64_t(sizeof(Element)), sizeof(Element));
    return element;
  }

  // The sums of each half-wave of the samples first .. last - 1.
  void Sum(int64_t first, int64_t last, typename Format::Sum& negative, typename Format::Sum& positive) const {
    const int64_t from = std::max<int64_t>(first, 0);
    const int64_t inBlock = std::min(last, whole);
    for (int64_t i = from; i < inBlock; ++i) Format::Add(At(i), negative, positive);
    const int64_t beyond = std::max(from, whole + int64_t(hasPartial));
    if (hasPartial && whole >= from && whole < last) Format::Add(partial, negative, positive);
    if (last > beyond) Format::AddZeroes(uint64_t(last - beyond), negative, positive);
  }

  const uint8_t* bytes;
  int64_t whole = 0;
  Element partial{};
  bool hasPartial = false;
};

struct Envelopes {
  double* low;
  double* high;
  double peak;
};

// One column after another: the samples c / W * N up to (c + 1) / W * N, each
// bound reckoned in doubles and cut toward zero, give twice the mean of each
// half-wave over the column. A column without samples holds not-a-number.
template <class Format>
void ColumnPass(const SampleSource<Format>& source, int64_t sampleCount, int64_t width, Envelopes& envelopes) {
  const double columns = double(width), samples = double(sampleCount);
  for (int64_t c = 0; c < width; ++c) {
    const int64_t first = TruncateToInt64(double(c) / columns * samples);
    const int64_t last = TruncateToInt64(double(c + 1) / columns * samples);
    int64_t n = WrappingSubtract(last, first);
    typename Format::Sum negative{}, positive{};
    if (n > 0) {
      source.Sum(first, last, negative, positive);
    } else {
      n = 0;
    }
    const double half = double(n) * 0.5;
    envelopes.low[c] = Format::Total(negative) / half;
    envelopes.high[c] = Format::Total(positive) / half;
    if (envelopes.high[c] > envelopes.peak) envelopes.peak = envelopes.high[c];
    if (envelopes.peak < -envelopes.low[c]) envelopes.peak = -envelopes.low[c];
  }
}

// Runs the column pass of the format Bits names; false for any other code.
bool ColumnPassOf(int64_t bits, const void* data, int64_t blockSize, int64_t sampleCount, int64_t width,
                  Envelopes& envelopes, double& fullScale) {
  auto run = [&](auto format) {
    using Format = decltype(format);
    fullScale = Format::kFullScale;
    ColumnPass<Format>(SampleSource<Format>(data, blockSize, sampleCount), sampleCount, width, envelopes);
    return true;
  };
  switch (bits) {
    case 8:
      return run(Unsigned8{});
    case 7:
      return run(Signed8{});
    case 16:
      return run(Unsigned16{});
    case 15:
      return run(Signed16{});
    case -32:
      return run(Float32{});
    case -64:
      return run(Float64{});
    default:
      return false;
  }
}

// An exponential moving average of length `smooth` over the columns, applied
// to the full scale as well; then every entry in rows of the picture.
void SmoothAndScale(int64_t smooth, int64_t width, int64_t height, Envelopes& envelopes, double fullScale) {
  const double alpha = 2.0 / double(WrappingAdd(smooth, 1));
  if (alpha > 0.0) {
    const double beta = 1.0 - alpha;
    if (width > 0) {
      for (double* entries : {envelopes.low, envelopes.high}) {
        double previous = entries[0];
        for (int64_t c = 0; c < width; ++c) previous = entries[c] = entries[c] * alpha + previous * beta;
      }
    }
    fullScale = alpha * fullScale + beta * fullScale;
  }
  const double rows = double(height);
  for (double* entries : {envelopes.low, envelopes.high}) {
    for (int64_t c = 0; c < width; ++c) entries[c] = entries[c] * rows / fullScale;
  }
}

// Every row of the picture in the background colour, by the row walk.
template <PixelLayout L>
void FillBackground(PictureWriter& writer, uint32_t colour) {
  const uint32_t word = OpaquePixel<L>((colour >> 16) & 0xFF, (colour >> 8) & 0xFF, colour & 0xFF);
  for (int64_t row = 0; row < writer.Height; ++row) {
    if (L != PixelLayout::Unknown) std::fill(writer.base, writer.base + writer.Width, word);
    writer.base = writer.GetRow(writer.y + 1);
  }
  writer.base = writer.Pixelbase;
}

// Each column from the middle row to the row of each entry, both included,
// in the fore colour. A not-a-number entry spans from row 0 to the middle.
template <PixelLayout L>
void DrawBody(PictureWriter& writer, const Envelopes& envelopes, int64_t width, int64_t middle, uint32_t colour) {
  if (L == PixelLayout::Unknown) return;
  const uint32_t word = OpaquePixel<L>((colour >> 16) & 0xFF, (colour >> 8) & 0xFF, colour & 0xFF);
  const double middleRow = double(middle);
  for (int64_t x = 0; x < width && x < writer.Width; ++x) {
    for (const double* entries : {envelopes.low, envelopes.high}) {
      const int64_t y = TruncateToInt64(entries[x] + middleRow);
      const int64_t top = std::min(std::max<int64_t>(std::min(y, middle), 0), writer.Height - 1);
      const int64_t bottom = std::min(std::max<int64_t>(std::max(y, middle), 0), writer.Height - 1);
      for (int64_t row = top; row <= bottom; ++row) RowWithin(writer, row)[x] = word;
    }
  }
}

// The outline's two edges, one segment a column, from the middle row in
// column 0. `segment` draws from (x0, y0) to (x1, y1).
template <class Segment>
void TraceOutline(const Envelopes& envelopes, int64_t width, int64_t middle, Segment&& segment) {
  const double middleRow = double(middle);
  int64_t previousX = 0, previousLow = middle, previousHigh = middle;
  for (int64_t x = 0; x < width; ++x) {
    const int64_t lowY = TruncateToInt64(envelopes.low[x] + middleRow);
    segment(previousX, previousLow, x, lowY);
    const int64_t highY = TruncateToInt64(envelopes.high[x] + middleRow);
    segment(previousX, previousHigh, x, highY);
    previousX = x;
    previousLow = lowY;
    previousHigh = highY;
  }
}

// One line by the host's DrawLine, looked up for every line: the Double
// declaration first from 2018.02, else the Integer one; without either the
// line is skipped.
void DrawHostLine(REALgraphicsStruct* graphics, int64_t x1, int64_t y1, int64_t x2, int64_t y2) {
  if (rbversion_rbversion >= kFirstVersionWithDoubleDrawLine) {
    if (auto draw = reinterpret_cast<DrawLineDoubleFn>(REALLoadObjectMethod(graphics, kDrawLineDouble))) {
      return draw(graphics, double(x1), double(y1), double(x2), double(y2));
    }
  }
  if (auto draw = reinterpret_cast<DrawLineIntegerFn>(REALLoadObjectMethod(graphics, kDrawLineInteger))) {
    draw(graphics, x1, y1, x2, y2);
  }
}

// An outline of two pixels or more, drawn by the host on the rendered
// picture with a pen of that size, shifted up and left by half of it.
void DrawHostOutline(REALpictureStruct* picture, const Envelopes& envelopes, int64_t width, int64_t middle,
                     int64_t outlineWidth, uint32_t outlineColor) {
  REALgraphicsStruct* graphics = REALGetPictureGraphics(picture);
  if (!graphics) {
    RaiseException("OutOfMemoryException", "Failed to get graphics object.");
    return;
  }
  REALobjectStruct* graphicsReference = graphics;
  rbFreeLater release(&graphicsReference, nullptr);
  REALSetPropValueColor(graphics, "ForeColor", outlineColor);
  const double penSize = double(outlineWidth);
  SetGraphicsPenHeight(graphics, penSize);
  SetGraphicsPenWidth(graphics, penSize);
  const int64_t half = outlineWidth / 2;
  TraceOutline(envelopes, width, middle, [&](int64_t x0, int64_t y0, int64_t x1, int64_t y1) {
    DrawHostLine(graphics, WrappingSubtract(x0, half), WrappingSubtract(y0, half), WrappingSubtract(x1, half),
                 WrappingSubtract(y1, half));
  });
}

struct FreeEnvelope {
  void operator()(double* entries) const { std::free(entries); }
};
using EnvelopeArray = std::unique_ptr<double, FreeEnvelope>;

// W * 8 + 20 bytes of zeroes, or nil when that count is zero or less or does
// not fit in 64 bits (where it would wrap to a few bytes).
EnvelopeArray AllocateEnvelope(int64_t width) {
  const int64_t bytes = WrappingAdd(int64_t(uint64_t(width) * 8), kSpareEnvelopeBytes);
  if (bytes <= 0 || width > (INT64_MAX - kSpareEnvelopeBytes) / 8) return nullptr;
  return EnvelopeArray(static_cast<double*>(std::calloc(1, size_t(bytes))));
}

REALpictureStruct* Render(REALmemoryBlockStruct* samples, int64_t sampleCount, int64_t smooth, int64_t width,
                          int64_t height, int64_t outlineWidth, uint32_t backColor, uint32_t foreColor,
                          uint32_t outlineColor, int64_t bits, bool autoScale) {
  if (!samples) {
    RaiseException("NilObjectException", "memoryblock is nil");
    return nullptr;
  }
  gOutLineColorR = (outlineColor >> 16) & 0xFF;
  gOutLineColorG = (outlineColor >> 8) & 0xFF;
  gOutLineColorB = outlineColor & 0xFF;

  // The size is asked for a given count too: it bounds what is read.
  const int64_t blockSize = REALMemoryBlockGetSize(samples);
  const int64_t count = sampleCount > 0 ? sampleCount : SamplesInBytes(blockSize, WrappingAdd(bits, 7) / 8);
  const int64_t rows = height > 0 ? height : kDefaultHeight;
  const int64_t columns = width > 0 ? width : count;
  const void* data = REALMemoryBlockGetPtr(samples);
  if (!data) {
    RaiseException("UnsupportedOperationException", "Failed to get data for memoryblock.");
    return nullptr;
  }
  EnvelopeArray low = AllocateEnvelope(columns);
  EnvelopeArray high = low ? AllocateEnvelope(columns) : nullptr;
  if (!low || !high) {
    RaiseException("OutOfMemoryException", "Failed to allocate memory.");
    return nullptr;
  }
  Envelopes envelopes{low.get(), high.get(), 0.0};
  double fullScale = 0.0;
  if (!ColumnPassOf(bits, data, blockSize, count, columns, envelopes, fullScale)) return nullptr;
  if (autoScale) fullScale = 2 * envelopes.peak;
  SmoothAndScale(smooth, columns, rows, envelopes, fullScale);

  PictureWriter writer;
  if (!writer.NewPictureWriter(columns, rows)) {
    RaiseException("OutOfMemoryException", "Failed to allocate picture.");
    return nullptr;
  }
  const int64_t middle = rows / 2;
  WithLayoutOf(writer, [&](auto layout) {
    FillBackground<decltype(layout)::value>(writer, backColor);
    DrawBody<decltype(layout)::value>(writer, envelopes, columns, middle, foreColor);
  });
  if (outlineWidth == 1) {
    TraceOutline(envelopes, columns, middle,
                 [&writer](int64_t x0, int64_t y0, int64_t x1, int64_t y1) { DrawWuLine(writer, x0, y0, x1, y1); });
  }
  REALpictureStruct* picture = writer.RenderPictureWriter();
  if (picture && outlineWidth >= 2) {
    REALobjectStruct* pending = picture;
    rbFreeLater releaseOnException(&pending, nullptr);
    DrawHostOutline(picture, envelopes, columns, middle, outlineWidth, outlineColor);
    pending = nullptr;
  }
  return picture;
}

}  // namespace

REALpictureStruct* RenderSamples(REALmemoryBlockStruct* Samples, int64_t SampleCount, int64_t Smooth, int64_t Width,
                                 int64_t Height, int64_t outlinewidth, uint32_t BackColor, uint32_t ForeColor,
                                 uint32_t OutLineColor, int64_t Bits, bool AutoScale) {
  try {
    return Render(Samples, SampleCount, Smooth, Width, Height, outlinewidth, BackColor, ForeColor, OutLineColor, Bits,
                  AutoScale);
  } catch (const std::exception& exception) {
    RaiseRuntimeException(exception);
  } catch (...) {
    RaiseUnnamedException();
  }
  return nullptr;
}
