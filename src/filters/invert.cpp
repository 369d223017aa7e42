#include "filters/invert.h"

#include <algorithm>

#include "filters/filter_frame.h"
#include "picture/masks.h"

namespace {

// Which sizes stand for the picture's own width or height.
enum class WholeWhen { NotPositive, Negative };

int64_t SizeOrWhole(int64_t size, int64_t whole, WholeWhen when) {
  const bool useWhole = when == WholeWhen::NotPositive ? size <= 0 : size < 0;
  return useWhole ? whole : size;
}

// Sums as the processor makes them: an overflow wraps instead of being
// undefined.
int64_t WrappingAdd(int64_t a, int64_t b) {
  return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

struct Rectangle {
  int64_t left, top, right, bottom;
};

// Right and bottom come from the unclipped start, so a rectangle that starts
// outside the picture loses that part instead of sliding in.
Rectangle Clip(int64_t left, int64_t top, int64_t width, int64_t height, int64_t pictureWidth, int64_t pictureHeight) {
  Rectangle r{left, top, WrappingAdd(left, width), WrappingAdd(top, height)};
  r.left = std::max<int64_t>(r.left, 0);
  r.top = std::max<int64_t>(r.top, 0);
  r.right = std::min(r.right, pictureWidth);
  r.bottom = std::min(r.bottom, pictureHeight);
  return r;
}

// Steps past the last row only count row warnings, and an editor writes no
// line after its ninth; so a skip that runs beyond the picture stops there,
// which changes nothing but the time a far-off top would take.
constexpr int64_t kLoggedRowWarnings = 9;

void SkipRows(PictureWriter& writer, PictureReader& reader, int64_t top, int64_t pictureHeight) {
  const int64_t steps = std::min(top, pictureHeight + kLoggedRowWarnings);
  for (int64_t step = 0; step < steps; ++step) StepRows(writer, reader);
}

inline uint32_t Inverted(uint32_t channel) { return channel ^ 255u; }

inline bool IsGrey(const Channels& c) { return c.r == c.g && c.g == c.b; }

// The straight colour of a premultiplied channel, inverted and premultiplied
// again under the same alpha (1..254).
struct PremultipliedInverse {
  const uint8_t* multiply = MultiplyTable;
  const uint8_t* unmultiply = UnmultiplyTable;

  uint32_t operator()(uint32_t a, uint32_t channel) const {
    return multiply[a * 256 + Inverted(unmultiply[a * 256 + channel])];
  }
};

struct InvertAll {
  Channels operator()(Channels c) const { return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a}; }
};

struct InvertAllPremultiplied {
  PremultipliedInverse inverse;
  Channels operator()(Channels c) const {
    if (c.a == 0) return c;
    if (c.a == 255) return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a};
    return {inverse(c.a, c.r), inverse(c.a, c.g), inverse(c.a, c.b), c.a};
  }
};

struct InvertGrey {
  Channels operator()(Channels c) const {
    if (!IsGrey(c)) return c;
    return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a};
  }
};

// Grey is judged on the stored, premultiplied values.
struct InvertGreyPremultiplied {
  PremultipliedInverse inverse;
  Channels operator()(Channels c) const {
    if (!IsGrey(c) || c.a == 0) return c;
    const uint32_t v = c.a == 255 ? Inverted(c.b) : inverse(c.a, c.b);
    return {v, v, v, c.a};
  }
};

template <PixelLayout S, PixelLayout D, bool WithAlpha, class Rule>
inline void InvertRow(const uint32_t* source, uint32_t* destination, int64_t count, const Rule& rule) {
  if (D == PixelLayout::Unknown) return;
  for (int64_t column = 0; column < count; ++column) {
    const Channels c = rule(ReadAt<S>(source, column));
    destination[column] = WithAlpha ? AlphaPixel<D>(c.r, c.g, c.b, c.a) : OpaquePixel<D>(c.r, c.g, c.b);
  }
}

// The rows of the clipped rectangle; the editors stand at its top row.
template <bool WithAlpha, class Rule>
void InvertRectangleRows(PictureWriter& writer, PictureReader& reader, const Rectangle& r, const Rule& rule) {
  if (r.bottom <= r.top) return;
  const int64_t rows = r.bottom - r.top;
  if (r.right <= r.left) {
    for (int64_t row = 0; row < rows; ++row) StepRows(writer, reader);
    return;
  }
  const int64_t columns = r.right - r.left;
  WithLayouts(reader.pictureType, writer.pictureType, [&](auto source, auto destination) {
    for (int64_t row = 0; row < rows; ++row) {
      InvertRow<decltype(source)::value, decltype(destination)::value, WithAlpha>(reader.base + r.left,
                                                                                  writer.base + r.left, columns, rule);
      StepRows(writer, reader);
    }
  });
}

template <class PlainRule, class PremultipliedRule>
REALpictureStruct* InvertRectangle(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height,
                                   WholeWhen wholeWhen) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return nullptr;
  const int64_t pictureWidth = reader.Width;
  const int64_t pictureHeight = reader.Height;
  width = SizeOrWhole(width, pictureWidth, wholeWhen);
  height = SizeOrWhole(height, pictureHeight, wholeWhen);
  const bool premultiplied = reader.HasAlphaChannel;
  if (premultiplied) InitMultiplyTable();
  REALpictureStruct* result = nullptr;
  {
    PictureWriter writer;
    if (writer.NewPictureWriter(reader)) {
      const Rectangle r = Clip(left, top, width, height, pictureWidth, pictureHeight);
      SkipRows(writer, reader, r.top, pictureHeight);
      if (premultiplied) {
        InvertRectangleRows<true>(writer, reader, r, PremultipliedRule{});
      } else {
        InvertRectangleRows<false>(writer, reader, r, PlainRule{});
      }
      result = writer.RenderPictureWriter();
    }
    reader.clear();
  }
  return result;
}

}  // namespace

REALpictureStruct* InvertPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return InvertRectangle<InvertAll, InvertAllPremultiplied>(pic, left, top, width, height, WholeWhen::NotPositive);
}

REALpictureStruct* InvertPicture2(REALpictureStruct* pic) { return InvertPicture(pic, 0, 0, -1, -1); }

REALpictureStruct* InvertGrayPicture(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width, int64_t height) {
  return InvertRectangle<InvertGrey, InvertGreyPremultiplied>(pic, left, top, width, height, WholeWhen::Negative);
}

REALpictureStruct* InvertGrayPicture2(REALpictureStruct* pic) { return InvertGrayPicture(pic, 0, 0, -1, -1); }
