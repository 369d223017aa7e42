#include "filters/invert.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "filters/filter_frame.h"
#include "filters/vector_level.h"
#include "picture/masks.h"

#if defined(QVL_X86_VECTOR_ROWS)
#include <immintrin.h>
#endif

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

// Rows whose source and destination share a layout are made a block of four
// words at a time, in a vector register of every x86-64 processor. The rules
// below are written once for a word and for a block: the operators act on
// each word of a block.
constexpr int kBlockWords = 4;
typedef uint32_t WordBlock __attribute__((vector_size(kBlockWords * sizeof(uint32_t))));

inline WordBlock LoadBlock(const uint32_t* words) {
  WordBlock block;
  std::memcpy(&block, words, sizeof block);
  return block;
}

inline void StoreBlock(uint32_t* words, WordBlock block) { std::memcpy(words, &block, sizeof block); }

// All ones where x is 0, else 0: for a word, and for each word of a block.
inline uint32_t OnesWhereZero(uint32_t x) { return 0u - static_cast<uint32_t>(x == 0); }
inline WordBlock OnesWhereZero(WordBlock x) { return reinterpret_cast<WordBlock>(x == 0); }

inline bool AnyBitSet(WordBlock block) {
  uint64_t halves[2];
  static_assert(sizeof halves == sizeof block, "a block is two 64-bit words");
  std::memcpy(halves, &block, sizeof block);
  return (halves[0] | halves[1]) != 0;
}

// The bits of a word of layout L: the three colour bytes, the alpha of the
// opaque write, and the bits that the alpha write fills (none in an unknown
// layout). The alpha as read is 0 exactly when those bits are all clear and
// 255 exactly when they are all set, in gd's 7-bit field as well.
template <PixelLayout L>
struct WordBits {
  uint32_t opaque = OpaquePixel<L>(0, 0, 0);
  uint32_t colour = OpaquePixel<L>(255, 255, 255) ^ opaque;
  uint32_t alpha = L == PixelLayout::Unknown ? 0 : AlphaPixel<L>(0, 0, 0, 255);
  uint32_t alphaShift = alpha == 0 ? 0 : static_cast<uint32_t>(__builtin_ctz(alpha));

  // The key of a word for the per-alpha tables: its alpha bits shifted down.
  uint32_t Key(uint32_t word) const { return (word & alpha) >> alphaShift; }

  template <class W>
  W GreyLanes(W w) const {
    return OnesWhereZero((w ^ (w >> 8)) & colour & (colour >> 8));
  }
  template <class W>
  W Alpha0Lanes(W w) const {
    return OnesWhereZero(w & alpha);
  }
  template <class W>
  W Alpha255Lanes(W w) const {
    return OnesWhereZero((w & alpha) ^ alpha);
  }
};

// The plain rules, per pixel for rows that change layout, and as the bits
// of a word to flip for rows within one layout: each channel is written
// where it was read, so the opaque write of the inverted channels is the
// word with those colour bits flipped and the opaque write's alpha bits.
struct InvertAll {
  static constexpr bool kGreyOnly = false;

  Channels operator()(Channels c) const { return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a}; }

  template <PixelLayout L, class W>
  W Flip(W, const WordBits<L>& bits) const {
    return W{} | bits.colour;
  }
};

struct InvertGrey {
  static constexpr bool kGreyOnly = true;

  Channels operator()(Channels c) const {
    if (!IsGrey(c)) return c;
    return {Inverted(c.r), Inverted(c.g), Inverted(c.b), c.a};
  }

  template <PixelLayout L, class W>
  W Flip(W w, const WordBits<L>& bits) const {
    return bits.GreyLanes(w) & bits.colour;
  }
};

// Stores count words of source, each through words (which takes one word or
// a block), into destination; the two never overlap.
template <class Words>
inline void MapWords(const uint32_t* __restrict source, uint32_t* __restrict destination, int64_t count,
                     const Words& words) {
  int64_t column = 0;
  for (; column + kBlockWords <= count; column += kBlockWords) {
    StoreBlock(destination + column, words(LoadBlock(source + column)));
  }
  for (; column < count; ++column) destination[column] = words(source[column]);
}

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
      const uint32_t a = ReadPixel<S>(key << bits_.alphaShift).a;
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

  WordBits<S> bits_;
  std::vector<uint8_t> table_;
};

// The premultiplied rules: per pixel through the table for rows that change
// layout; within one layout, Word makes any word through the table, while
// words whose alpha reads 0 or 255 need none: their colour bits are kept or
// flipped (Flip), and the alpha write leaves their alpha bits as they are.
// NeedsTable marks the words that do need it.
struct InvertAllPremultiplied {
  static constexpr bool kGreyOnly = false;

  Channels operator()(Channels c, const uint8_t* inverted) const {
    return {inverted[c.r], inverted[c.g], inverted[c.b], c.a};
  }

  template <PixelLayout L>
  uint32_t Word(uint32_t word, const uint8_t* inverted, const WordBits<L>& bits) const {
    const Channels c = ReadPixel<L>(word);
    return AlphaPixel<L>(inverted[c.r], inverted[c.g], inverted[c.b], 0) | (word & bits.alpha);
  }

  template <PixelLayout L, class W>
  W Flip(W w, const WordBits<L>& bits) const {
    return bits.Alpha255Lanes(w) & bits.colour;
  }

  template <PixelLayout L, class W>
  W NeedsTable(W w, const WordBits<L>& bits) const {
    return ~(bits.Alpha0Lanes(w) | bits.Alpha255Lanes(w));
  }
};

// Grey is judged on the stored, premultiplied values.
struct InvertGreyPremultiplied {
  static constexpr bool kGreyOnly = true;

  Channels operator()(Channels c, const uint8_t* inverted) const {
    if (!IsGrey(c)) return c;
    const uint32_t v = inverted[c.b];
    return {v, v, v, c.a};
  }

  template <PixelLayout L>
  uint32_t Word(uint32_t word, const uint8_t* inverted, const WordBits<L>& bits) const {
    if (!IsGreyWord(word, bits.colour)) return word & (bits.colour | bits.alpha);
    const uint32_t v = inverted[ReadPixel<L>(word).b];
    return AlphaPixel<L>(v, v, v, 0) | (word & bits.alpha);
  }

  template <PixelLayout L, class W>
  W Flip(W w, const WordBits<L>& bits) const {
    return bits.GreyLanes(w) & bits.Alpha255Lanes(w) & bits.colour;
  }

  template <PixelLayout L, class W>
  W NeedsTable(W w, const WordBits<L>& bits) const {
    return bits.GreyLanes(w) & ~(bits.Alpha0Lanes(w) | bits.Alpha255Lanes(w));
  }
};

// A word or a block of a premultiplied row within one layout, for words
// that need no table.
template <PixelLayout L, class Rule, class W>
inline W SettledAlphaWords(W w, const Rule& rule, const WordBits<L>& bits) {
  return (w ^ rule.template Flip<L>(w, bits)) & (bits.colour | bits.alpha);
}

// One word of such a row, through the table only if it needs it.
template <PixelLayout L, class Rule>
inline uint32_t InvertedAlphaWord(uint32_t word, const InvertedChannels<L>& inverted, const Rule& rule,
                                  const WordBits<L>& bits) {
  if (rule.template NeedsTable<L>(word, bits) == 0) return SettledAlphaWords<L>(word, rule, bits);
  return rule.template Word<L>(word, inverted.Row(word), bits);
}

// A premultiplied row within one layout: a block of which no word needs the
// table is made at once, any other block word by word.
template <PixelLayout L, class Rule>
inline void InvertAlphaWords(const uint32_t* __restrict source, uint32_t* __restrict destination, int64_t count,
                             const InvertedChannels<L>& inverted, const Rule& rule) {
  const WordBits<L> bits;
  int64_t column = 0;
  for (; column + kBlockWords <= count; column += kBlockWords) {
    const WordBlock w = LoadBlock(source + column);
    if (AnyBitSet(rule.template NeedsTable<L>(w, bits))) {
      for (int64_t k = 0; k < kBlockWords; ++k) {
        destination[column + k] = InvertedAlphaWord(source[column + k], inverted, rule, bits);
      }
    } else {
      StoreBlock(destination + column, SettledAlphaWords<L>(w, rule, bits));
    }
  }
  for (; column < count; ++column) destination[column] = InvertedAlphaWord(source[column], inverted, rule, bits);
}

#if defined(QVL_X86_VECTOR_ROWS)

// Under AVX2 the channels of words that need the table are computed instead,
// sixteen 16-bit lanes at once, giving the table's bytes exactly (the tests
// compare every alpha with every channel). For a stored channel c under an
// alpha a from 1 to 255: where c is at most a, the straight value u that
// the table finds premultiplies to c, and 255 - u premultiplies to a - c;
// above a, u is c itself and the result is (a(255 - c) + 127) / 255 cut
// down, a quotient that (x * 0x8081) >> 23 gives exactly for any x below
// 65536.
__attribute__((target("avx2"))) inline __m256i InvertedUnder(__m256i c, __m256i a) {
  const __m256i reached = _mm256_sub_epi16(a, c);
  const __m256i product =
      _mm256_add_epi16(_mm256_mullo_epi16(a, _mm256_xor_si256(c, _mm256_set1_epi16(255))), _mm256_set1_epi16(127));
  const __m256i unreached = _mm256_srli_epi16(_mm256_mulhi_epu16(product, _mm256_set1_epi16(-0x7F7F)), 7);
  return _mm256_blendv_epi8(reached, unreached, _mm256_cmpgt_epi16(c, a));
}

// Every byte of eight words through InvertedUnder, each under the alpha of
// its word, given in the low byte of the word's lane of a.
__attribute__((target("avx2"))) inline __m256i InvertedBytes(__m256i w, __m256i a) {
  const __m256i zero = _mm256_setzero_si256();
  const __m256i lowByteToAll = _mm256_setr_epi8(0, 0, 0, 0, 4, 4, 4, 4, 8, 8, 8, 8, 12, 12, 12, 12, 0, 0, 0, 0, 4, 4, 4,
                                                4, 8, 8, 8, 8, 12, 12, 12, 12);
  const __m256i aBytes = _mm256_shuffle_epi8(a, lowByteToAll);
  const __m256i low = InvertedUnder(_mm256_unpacklo_epi8(w, zero), _mm256_unpacklo_epi8(aBytes, zero));
  const __m256i high = InvertedUnder(_mm256_unpackhi_epi8(w, zero), _mm256_unpackhi_epi8(aBytes, zero));
  return _mm256_packus_epi16(low, high);
}

// All ones in each word that a rule acts on: every word, or under the grey
// rules the grey ones, where each colour byte equals the next one up.
template <class Rule>
__attribute__((target("avx2"))) inline __m256i ActingLanes(__m256i w, uint32_t colour) {
  const __m256i ones = _mm256_cmpeq_epi32(w, w);
  if (!Rule::kGreyOnly) return ones;
  const __m256i greyTest = _mm256_set1_epi32(static_cast<int>(colour & (colour >> 8)));
  const __m256i differences = _mm256_and_si256(_mm256_xor_si256(w, _mm256_srli_epi32(w, 8)), greyTest);
  return _mm256_cmpeq_epi32(differences, _mm256_setzero_si256());
}

// The same row with AVX2, eight words a block; a block that needs the table
// is computed as above, and then keeps the words whose alpha reads 0 and,
// in the grey filter, the coloured ones. A grey word needs no test of its
// own: its three equal bytes give three equal results.
template <PixelLayout L, class Rule>
__attribute__((target("avx2"))) void InvertAlphaWordsAvx2(const uint32_t* __restrict source,
                                                          uint32_t* __restrict destination, int64_t count,
                                                          const InvertedChannels<L>& inverted, const Rule& rule) {
  const WordBits<L> bits;
  const __m256i alpha = _mm256_set1_epi32(static_cast<int>(bits.alpha));
  const __m256i colour = _mm256_set1_epi32(static_cast<int>(bits.colour));
  const __m256i kept = _mm256_set1_epi32(static_cast<int>(bits.colour | bits.alpha));
  const __m256i zero = _mm256_setzero_si256();
  const __m128i keyShift = _mm_cvtsi32_si128(static_cast<int>(bits.alphaShift));
  int64_t column = 0;
  for (; column + 8 <= count; column += 8) {
    const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + column));
    const __m256i alphaBits = _mm256_and_si256(w, alpha);
    const __m256i alpha0 = _mm256_cmpeq_epi32(alphaBits, zero);
    const __m256i alpha255 = _mm256_cmpeq_epi32(alphaBits, alpha);
    const __m256i acting = ActingLanes<Rule>(w, bits.colour);
    __m256i out;
    // Whether every alpha reads 0 or 255, a question that the grey filter
    // asks too: one about the grey words alone would be answered at random.
    if (_mm256_testc_si256(_mm256_or_si256(alpha0, alpha255), _mm256_cmpeq_epi32(w, w))) {
      const __m256i flip = _mm256_and_si256(_mm256_and_si256(alpha255, acting), colour);
      out = _mm256_and_si256(_mm256_xor_si256(w, flip), kept);
    } else {
      // The alpha as read: the alpha byte, or gd's 7-bit field stretched to 8 bits.
      __m256i a = _mm256_srl_epi32(alphaBits, keyShift);
      if (L == PixelLayout::GD) a = _mm256_or_si256(_mm256_add_epi32(a, a), _mm256_and_si256(a, _mm256_set1_epi32(1)));
      const __m256i computed = _mm256_or_si256(_mm256_and_si256(InvertedBytes(w, a), colour), alphaBits);
      out = _mm256_blendv_epi8(_mm256_and_si256(w, kept), computed, _mm256_andnot_si256(alpha0, acting));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + column), out);
  }
  for (; column < count; ++column) destination[column] = InvertedAlphaWord(source[column], inverted, rule, bits);
}

// A plain row with AVX2, eight words a block.
template <PixelLayout L, class Rule>
__attribute__((target("avx2"))) void InvertPlainWordsAvx2(const uint32_t* __restrict source,
                                                          uint32_t* __restrict destination, int64_t count,
                                                          const Rule& rule) {
  const WordBits<L> bits;
  const __m256i colour = _mm256_set1_epi32(static_cast<int>(bits.colour));
  const __m256i opaque = _mm256_set1_epi32(static_cast<int>(bits.opaque));
  int64_t column = 0;
  for (; column + 8 <= count; column += 8) {
    const __m256i w = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(source + column));
    const __m256i flip = _mm256_and_si256(ActingLanes<Rule>(w, bits.colour), colour);
    const __m256i out = _mm256_or_si256(_mm256_and_si256(_mm256_xor_si256(w, flip), colour), opaque);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(destination + column), out);
  }
  for (; column < count; ++column) {
    destination[column] = ((source[column] ^ rule.template Flip<L>(source[column], bits)) & bits.colour) | bits.opaque;
  }
}
#endif

template <PixelLayout S, PixelLayout D, class Rule>
inline void InvertPlainRow(const uint32_t* source, uint32_t* destination, int64_t count, const Rule& rule,
                           [[maybe_unused]] bool avx2) {
  if (D == PixelLayout::Unknown) return;
  if constexpr (S == D) {
#if defined(QVL_X86_VECTOR_ROWS)
    if (avx2) return InvertPlainWordsAvx2<D>(source, destination, count, rule);
#endif
    const WordBits<D> bits;
    MapWords(source, destination, count,
             [&](auto w) { return ((w ^ rule.template Flip<D>(w, bits)) & bits.colour) | bits.opaque; });
  } else {
    for (int64_t column = 0; column < count; ++column) {
      const Channels c = rule(ReadAt<S>(source, column));
      destination[column] = OpaquePixel<D>(c.r, c.g, c.b);
    }
  }
}

// The alpha path: stored with the alpha write and the alpha as read.
template <PixelLayout S, PixelLayout D, class Rule>
inline void InvertAlphaRow(const uint32_t* source, uint32_t* destination, int64_t count,
                           const InvertedChannels<S>& inverted, const Rule& rule, [[maybe_unused]] bool avx2) {
  if (D == PixelLayout::Unknown) return;
  if constexpr (S == D) {
#if defined(QVL_X86_VECTOR_ROWS)
    if (avx2) return InvertAlphaWordsAvx2<D>(source, destination, count, inverted, rule);
#endif
    InvertAlphaWords<D>(source, destination, count, inverted, rule);
  } else {
    for (int64_t column = 0; column < count; ++column) {
      const uint32_t word = S == PixelLayout::Unknown ? 0 : source[column];
      const Channels in = ReadPixel<S>(word);
      const Channels out = rule(in, inverted.Row(word));
      destination[column] = AlphaPixel<D>(out.r, out.g, out.b, in.a);
    }
  }
}

// Whether the AVX2 rows are chosen; asked once per call.
bool HasAvx2() { return VectorLevelInUse() >= VectorLevel::Avx2; }

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
          return
              [inverted = InvertedChannels<S>(), avx2 = HasAvx2()](const uint32_t* from, uint32_t* to, int64_t count) {
                InvertAlphaRow<S, D>(from, to, count, inverted, PremultipliedRule{}, avx2);
              };
        });
      } else {
        InvertRectangleRows(writer, reader, r, [](auto sourceLayout, auto destinationLayout) {
          constexpr PixelLayout S = decltype(sourceLayout)::value;
          constexpr PixelLayout D = decltype(destinationLayout)::value;
          return [avx2 = HasAvx2()](const uint32_t* from, uint32_t* to, int64_t count) {
            InvertPlainRow<S, D>(from, to, count, PlainRule{}, avx2);
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
