#include "filters/invert.h"

#include <algorithm>
#include <vector>

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

// All three channels equal, in one comparison.
inline bool IsGrey(const Channels& c) { return ((c.r ^ c.g) | (c.g ^ c.b)) == 0; }

// The same test on a word whose colour bits are colourBits: in every layout
// the three colour bytes lie side by side, so the pixel is grey when each of
// them equals the next one up.
inline bool IsGreyWord(uint32_t word, uint32_t colourBits) {
  return ((word ^ (word >> 8)) & colourBits & (colourBits >> 8)) == 0;
}

// The plain rules also say which colour bits of a word to flip, for rows
// whose source and destination share a layout.
struct InvertAll {
  Channels operator()(Channels c) const { return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a}; }
  uint32_t Flip(uint32_t, uint32_t colourBits) const { return colourBits; }
};

struct InvertGrey {
  Channels operator()(Channels c) const {
    if (!IsGrey(c)) return c;
    return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a};
  }
  uint32_t Flip(uint32_t word, uint32_t colourBits) const {
    return colourBits & (0u - static_cast<uint32_t>(IsGreyWord(word, colourBits)));
  }
};

// A plain row within one layout: each channel is written where it was read,
// so the opaque write of the inverted channels is the word with its colour
// bits flipped and its alpha bits set to the opaque write's.
template <PixelLayout L, class Rule>
inline void InvertWordsRow(const uint32_t* source, uint32_t* destination, int64_t count, const Rule& rule) {
  const uint32_t alphaBits = OpaquePixel<L>(0, 0, 0);
  const uint32_t colourBits = OpaquePixel<L>(255, 255, 255) ^ alphaBits;
  for (int64_t column = 0; column < count; ++column) {
    const uint32_t word = source[column];
    destination[column] = ((word ^ rule.Flip(word, colourBits)) & colourBits) | alphaBits;
  }
}

template <PixelLayout S, PixelLayout D, class Rule>
inline void InvertPlainRow(const uint32_t* source, uint32_t* destination, int64_t count, const Rule& rule) {
  if (D == PixelLayout::Unknown) return;
  if constexpr (S == D) {
    InvertWordsRow<D>(source, destination, count, rule);
  } else {
    for (int64_t column = 0; column < count; ++column) {
      const Channels c = rule(ReadAt<S>(source, column));
      destination[column] = OpaquePixel<D>(c.r, c.g, c.b);
    }
  }
}

// The bits of a word of layout L that the alpha write fills, and the key of
// a word: those bits shifted down, the alpha byte in the Core Graphics
// layouts and the 7-bit field in gd. An unknown layout has no alpha bits.
template <PixelLayout L>
struct AlphaBits {
  uint32_t mask = L == PixelLayout::Unknown ? 0 : AlphaPixel<L>(0, 0, 0, 255);
  uint32_t shift = mask == 0 ? 0 : static_cast<uint32_t>(__builtin_ctz(mask));

  uint32_t Key(uint32_t word) const { return (word & mask) >> shift; }
};

// For every key of source layout S and every stored channel, the channel
// with its straight colour inverted under the alpha A that the key reads
// as: unchanged under A = 0, inverted directly under 255, and in between
// unmultiplied, inverted and premultiplied again through the tables. Made
// once per call, it turns the three cases and two look-ups a channel into
// one look-up; in gd, keyed by the 7-bit field, it has half the rows.
template <PixelLayout S>
class InvertedChannels {
 public:
  InvertedChannels() : table_((bits_.Key(~0u) + 1) * 256) {
    for (uint32_t key = 0; key <= bits_.Key(~0u); ++key) {
      const uint32_t a = ReadPixel<S>(key << bits_.shift).a;
      for (uint32_t c = 0; c < 256; ++c) table_[key * 256 + c] = static_cast<uint8_t>(Inverse(a, c));
    }
  }

  // The inverted channels under the alpha of this word.
  const uint8_t* Row(uint32_t word) const { return table_.data() + bits_.Key(word) * 256; }

 private:
  static uint32_t Inverse(uint32_t a, uint32_t c) {
    if (a == 0) return c;
    if (a == 255) return Inverted(c);
    return MultiplyTable[a * 256 + Inverted(UnmultiplyTable[a * 256 + c])];
  }

  AlphaBits<S> bits_;
  std::vector<uint8_t> table_;
};

// The premultiplied rules also make the whole word for rows whose source and
// destination share a layout, where the alpha as read is the word's own
// alpha bits and a pixel kept as it is, is the word as the alpha write
// leaves it.
struct InvertAllPremultiplied {
  Channels operator()(Channels c, const uint8_t* inverted) const {
    return {inverted[c.r], inverted[c.g], inverted[c.b], c.a};
  }

  template <PixelLayout L>
  uint32_t Word(uint32_t word, Channels c, const uint8_t* inverted, uint32_t alphaMask) const {
    return AlphaPixel<L>(inverted[c.r], inverted[c.g], inverted[c.b], 0) | (word & alphaMask);
  }
};

// Grey is judged on the stored, premultiplied values.
struct InvertGreyPremultiplied {
  Channels operator()(Channels c, const uint8_t* inverted) const {
    if (!IsGrey(c)) return c;
    const uint32_t v = inverted[c.b];
    return {v, v, v, c.a};
  }

  template <PixelLayout L>
  uint32_t Word(uint32_t word, Channels c, const uint8_t* inverted, uint32_t alphaMask) const {
    if (!IsGreyWord(word, AlphaPixel<L>(255, 255, 255, 0))) return word & AlphaPixel<L>(255, 255, 255, 255);
    const uint32_t v = inverted[c.b];
    return AlphaPixel<L>(v, v, v, 0) | (word & alphaMask);
  }
};

// The alpha path: stored with the alpha write and the alpha as read.
template <PixelLayout S, PixelLayout D, class Rule>
inline void InvertAlphaRow(const uint32_t* source, uint32_t* destination, int64_t count,
                           const InvertedChannels<S>& inverted, const Rule& rule) {
  if (D == PixelLayout::Unknown) return;
  const AlphaBits<D> alpha;
  for (int64_t column = 0; column < count; ++column) {
    const uint32_t word = S == PixelLayout::Unknown ? 0 : source[column];
    const Channels in = ReadPixel<S>(word);
    if constexpr (S == D) {
      destination[column] = rule.template Word<D>(word, in, inverted.Row(word), alpha.mask);
    } else {
      const Channels out = rule(in, inverted.Row(word));
      destination[column] = AlphaPixel<D>(out.r, out.g, out.b, in.a);
    }
  }
}

// The rows of the clipped rectangle; the editors stand at its top row.
// rowOfLayouts(sourceLayout, destinationLayout) makes, once per call, the
// function that inverts one row.
template <class RowOfLayouts>
void InvertRectangleRows(PictureWriter& writer, PictureReader& reader, const Rectangle& r,
                         const RowOfLayouts& rowOfLayouts) {
  if (r.bottom <= r.top) return;
  const int64_t rows = r.bottom - r.top;
  if (r.right <= r.left) {
    for (int64_t row = 0; row < rows; ++row) StepRows(writer, reader);
    return;
  }
  const int64_t columns = r.right - r.left;
  WithLayouts(reader.pictureType, writer.pictureType, [&](auto sourceLayout, auto destinationLayout) {
    const auto invertRow = rowOfLayouts(sourceLayout, destinationLayout);
    for (int64_t row = 0; row < rows; ++row) {
      invertRow(reader.base + r.left, writer.base + r.left, columns);
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
        InvertRectangleRows(writer, reader, r, [](auto sourceLayout, auto destinationLayout) {
          constexpr PixelLayout S = decltype(sourceLayout)::value;
          constexpr PixelLayout D = decltype(destinationLayout)::value;
          return [inverted = InvertedChannels<S>()](const uint32_t* from, uint32_t* to, int64_t count) {
            InvertAlphaRow<S, D>(from, to, count, inverted, PremultipliedRule{});
          };
        });
      } else {
        InvertRectangleRows(writer, reader, r, [](auto sourceLayout, auto destinationLayout) {
          constexpr PixelLayout S = decltype(sourceLayout)::value;
          constexpr PixelLayout D = decltype(destinationLayout)::value;
          return [](const uint32_t* from, uint32_t* to, int64_t count) {
            InvertPlainRow<S, D>(from, to, count, PlainRule{});
          };
        });
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
