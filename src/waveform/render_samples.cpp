#include "waveform/render_samples.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <vector>

#include "binding/exceptions.h"
#include "binding/globals.h"
#include "binding/scope_guards.h"
#include "binding/wrappers.h"
#include "picture/pixels.h"
#include "qvl/host_methods.h"
#include "waveform/body_rows.h"
#include "waveform/lines.h"

namespace {

constexpr int64_t kDefaultHeight = 500;
constexpr int64_t kSpareEnvelopeBytes = 20;
constexpr int64_t kSampleBlock = 16;
constexpr double kFirstVersionWithDoubleDrawLine = 2018.02;

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
  // A block of samples summed in 32 bits first, where 16 samples of 16 bits
  // cannot overflow, so that the compiler can carry it in vector registers.
  static void AddBlock(const E* block, Sum& negative, Sum& positive) {
    int32_t blockNegative = 0, blockPositive = 0;
    for (int64_t k = 0; k < kSampleBlock; ++k) {
      const int32_t value = int32_t(block[k]) - int32_t(Offset);
      blockNegative += value < 0 ? value : 0;
      blockPositive += value < 0 ? 0 : value;
    }
    negative += uint64_t(int64_t(blockNegative));
    positive += uint64_t(int64_t(blockPositive));
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
  // In order: the sums of doubles depend on it.
  static void AddBlock(const E* block, Sum& negative, Sum& positive) {
    for (int64_t k = 0; k < kSampleBlock; ++k) Add(block[k], negative, positive);
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
    int64_t i = from;
    for (; i + kSampleBlock <= inBlock; i += kSampleBlock) {
      Element block[kSampleBlock];
      std::memcpy(block, bytes + i * int64_t(sizeof(Element)), sizeof(block));
      Format::AddBlock(block, negative, positive);
    }
    for (; i < inBlock; ++i) Format::Add(At(i), negative, positive);
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

// The rows of each column's body: from tops[x] to bottoms[x], both included.
struct BodySpans {
  std::vector<int32_t> tops, bottoms;
};

// From the middle row to the row of each entry, both included and limited to
// the picture. Both spans of a column hold the middle row, so together they
// are one. A not-a-number entry spans from row 0 to the middle.
BodySpans SpansOf(const Envelopes& envelopes, int64_t width, int64_t height, int64_t middle) {
  BodySpans spans{std::vector<int32_t>(size_t(width), int32_t(middle)),
                  std::vector<int32_t>(size_t(width), int32_t(middle))};
  const double middleRow = double(middle);
  for (int64_t x = 0; x < width; ++x) {
    for (const double* entries : {envelopes.low, envelopes.high}) {
      const int64_t y = TruncateToInt64(entries[x] + middleRow);
      const int64_t top = std::min(std::max<int64_t>(std::min(y, middle), 0), height - 1);
      const int64_t bottom = std::min(std::max<int64_t>(std::max(y, middle), 0), height - 1);
      spans.tops[size_t(x)] = int32_t(std::min<int64_t>(top, spans.tops[size_t(x)]));
      spans.bottoms[size_t(x)] = int32_t(std::max<int64_t>(bottom, spans.bottoms[size_t(x)]));
    }
  }
  return spans;
}

// The background with the body over it, in one walk of the rows: a pixel in
// its column's span takes the fore colour, any other the back colour, both
// by the opaque write. Row after row keeps the writes in the order of memory;
// the vector row of the level in use takes what it can of each.
template <PixelLayout L>
void FillBackgroundAndBody(PictureWriter& writer, const BodySpans& spans, uint32_t back, uint32_t fore) {
  const uint32_t backWord = OpaquePixel<L>((back >> 16) & 0xFF, (back >> 8) & 0xFF, back & 0xFF);
  const uint32_t foreWord = OpaquePixel<L>((fore >> 16) & 0xFF, (fore >> 8) & 0xFF, fore & 0xFF);
  const int32_t* tops = spans.tops.data();
  const int32_t* bottoms = spans.bottoms.data();
  const BodyRow vectorRow = BodyRowAt(VectorLevelInUse());
  for (int64_t row = 0; row < writer.Height; ++row) {
    uint32_t* pixels = writer.base;
    if (L != PixelLayout::Unknown) {
      const int32_t y = int32_t(row);
      int64_t x = vectorRow ? vectorRow(tops, bottoms, writer.Width, y, foreWord, backWord, pixels) : 0;
      for (; x < writer.Width; ++x) pixels[x] = tops[x] <= y && y <= bottoms[x] ? foreWord : backWord;
    }
    writer.base = writer.GetRow(writer.y + 1);
  }
  writer.base = writer.Pixelbase;
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
    if (auto draw = reinterpret_cast<DrawLineDoubleFn>(REALLoadObjectMethod(graphics, QVL_GRAPHICS_DRAW_LINE_DOUBLE))) {
      return draw(graphics, double(x1), double(y1), double(x2), double(y2));
    }
  }
  if (auto draw = reinterpret_cast<DrawLineIntegerFn>(REALLoadObjectMethod(graphics, QVL_GRAPHICS_DRAW_LINE_INTEGER))) {
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
  const BodySpans spans = SpansOf(envelopes, columns, rows, middle);
  WithLayout(writer.pictureType,
             [&](auto layout) { FillBackgroundAndBody<decltype(layout)::value>(writer, spans, backColor, foreColor); });
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
