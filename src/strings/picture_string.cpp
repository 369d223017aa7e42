// The binary picture string: the header, one walk per layout each way, and
// vector rows that move the colour bytes of four pixels per 16-byte block.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "strings/picture_string.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "strings/picture_string.h"
// clang-format on

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "binding/adapters.h"
#include "binding/host_strings.h"
#include "picture/picture_editor.h"
#include "picture/pixels.h"
#include "picture/row_walk.h"
#include "qvl/encodings.h"

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using ByteBlock = std::array<uint8_t, 16>;

// Encoding, per 16-byte block of four pixel words: the first twelve bytes
// take R, G and B of each pixel in turn; the last four are not used.
template <PixelLayout L>
constexpr ByteBlock PackedColours() {
  constexpr LayoutDescription l = kLayout<L>;
  ByteBlock from{};
  for (int p = 0; p < 4; ++p) {
    from[3 * p] = uint8_t(4 * p + l.red / 8);
    from[3 * p + 1] = uint8_t(4 * p + l.green / 8);
    from[3 * p + 2] = uint8_t(4 * p + l.blue / 8);
  }
  return from;
}

// Decoding, the other way round: each pixel word's colour bytes from the
// R, G, B triples in the block's first twelve bytes; its fourth byte zero.
template <PixelLayout L>
constexpr ByteBlock SpreadColours() {
  constexpr LayoutDescription l = kLayout<L>;
  ByteBlock from{};
  for (int p = 0; p < 4; ++p) {
    from[4 * p + 6 - (l.red + l.green + l.blue) / 8] = 0x80;  // the byte no colour takes
    from[4 * p + l.red / 8] = uint8_t(3 * p);
    from[4 * p + l.green / 8] = uint8_t(3 * p + 1);
    from[4 * p + l.blue / 8] = uint8_t(3 * p + 2);
  }
  return from;
}

// Twelve bytes of each 16-byte block side by side: the first three 32-bit
// lanes of every block, in order, at the front of the vector.
template <class D32>
HWY_INLINE auto ThreeOfEveryFourLanes(D32 d32) {
  uint32_t lanes[hn::MaxLanes(D32())] = {};
  for (uint32_t j = 0; j < 3 * hn::Lanes(d32) / 4; ++j) lanes[j] = j / 3 * 4 + j % 3;
  return hn::SetTableIndices(d32, lanes);
}

// The reverse: lanes 3b .. 3b + 2 to the first three lanes of block b.
template <class D32>
HWY_INLINE auto FourFromEveryThreeLanes(D32 d32) {
  uint32_t lanes[hn::MaxLanes(D32())] = {};
  for (uint32_t j = 0; j < hn::Lanes(d32); ++j) lanes[j] = j % 4 == 3 ? 0 : j / 4 * 3 + j % 4;
  return hn::SetTableIndices(d32, lanes);
}

// Whole blocks of a row's pixels as R, G, B bytes, each stored as a full
// vector whose last quarter the next block overwrites; no store reaches
// `room` bytes from out. Returns how many pixels it encoded.
template <PixelLayout L>
int64_t EncodeVectorRow(const uint32_t* pixels, uint8_t* out, int64_t width, int64_t room) {
  const hn::ScalableTag<uint8_t> d8;
  const hn::Repartition<uint32_t, decltype(d8)> d32;
  static constexpr ByteBlock kFrom = PackedColours<L>();
  const auto pack = hn::LoadDup128(d8, kFrom.data());
  const auto compact = ThreeOfEveryFourLanes(d32);
  const int64_t lanes = int64_t(hn::Lanes(d32));
  int64_t x = 0;
  for (; x + lanes <= width && 3 * x + 4 * lanes <= room; x += lanes) {
    const auto packed = hn::TableLookupBytes(hn::LoadU(d8, reinterpret_cast<const uint8_t*>(pixels + x)), pack);
    hn::StoreU(hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(d32, packed), compact)), d8, out + 3 * x);
  }
  return x;
}

// Whole blocks of a row's pixels from R, G, B bytes, with the opaque write;
// each load reads a full vector, of which a quarter belongs to the next
// block, and none reaches `available` bytes from in. Returns how many
// pixels it decoded.
template <PixelLayout L>
int64_t DecodeVectorRow(const uint8_t* in, uint32_t* pixels, int64_t width, int64_t available) {
  const hn::ScalableTag<uint8_t> d8;
  const hn::Repartition<uint32_t, decltype(d8)> d32;
  static constexpr ByteBlock kFrom = SpreadColours<L>();
  const auto spread = hn::LoadDup128(d8, kFrom.data());
  const auto blocks = FourFromEveryThreeLanes(d32);
  const auto opaque = hn::Set(d32, kLayout<L>.opaqueBits);
  const int64_t lanes = int64_t(hn::Lanes(d32));
  int64_t x = 0;
  for (; x + lanes <= width && 3 * x + 4 * lanes <= available; x += lanes) {
    const auto triples = hn::TableLookupLanes(hn::BitCast(d32, hn::LoadU(d8, in + 3 * x)), blocks);
    const auto words = hn::BitCast(d32, hn::TableLookupBytesOr0(hn::BitCast(d8, triples), spread));
    hn::StoreU(hn::Or(words, opaque), d32, pixels + x);
  }
  return x;
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

// Four pixels travel as twelve bytes, moved as three native words.
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "pixel bytes are packed as little-endian words");

namespace {

constexpr int64_t kHeaderSize = 40;
constexpr uint32_t kDepth = 32;
constexpr char kMagic[4] = {'P', 'P', 'I', 'C'};

enum HeaderField : int64_t { kLengthAt = 4, kWidthAt = 8, kHeightAt = 12, kDepthAt = 16, kPixelOffsetAt = 20 };

void StoreBigEndian(uint8_t* at, uint32_t value) {
  at[0] = uint8_t(value >> 24);
  at[1] = uint8_t(value >> 16);
  at[2] = uint8_t(value >> 8);
  at[3] = uint8_t(value);
}

void StoreHeader(uint8_t* bytes, int64_t total, int64_t width, int64_t height) {
  std::memcpy(bytes, kMagic, sizeof kMagic);
  StoreBigEndian(bytes + kLengthAt, uint32_t(total));
  StoreBigEndian(bytes + kWidthAt, uint32_t(width));
  StoreBigEndian(bytes + kHeightAt, uint32_t(height));
  StoreBigEndian(bytes + kDepthAt, kDepth);
  StoreBigEndian(bytes + kPixelOffsetAt, uint32_t(kHeaderSize));
}

// R, G and B of a pixel word in the low three bytes, in that order in memory.
template <PixelLayout L>
inline uint32_t PackedColour(uint32_t p) {
  const Channels c = ReadPixel<L>(p);
  return c.r | c.g << 8 | c.b << 16;
}

template <PixelLayout L>
inline void EncodeRow(const uint32_t* pixels, uint8_t* out, int64_t width) {
  int64_t x = 0;
  for (; x + 4 <= width; x += 4, out += 12) {
    const uint32_t p0 = PackedColour<L>(pixels[x]), p1 = PackedColour<L>(pixels[x + 1]);
    const uint32_t p2 = PackedColour<L>(pixels[x + 2]), p3 = PackedColour<L>(pixels[x + 3]);
    const uint32_t words[3] = {p0 | p1 << 24, p1 >> 8 | p2 << 16, p2 >> 16 | p3 << 8};
    std::memcpy(out, words, sizeof words);
  }
  for (; x < width; ++x, out += 3) {
    const Channels c = ReadPixel<L>(pixels[x]);
    out[0] = uint8_t(c.r);
    out[1] = uint8_t(c.g);
    out[2] = uint8_t(c.b);
  }
}

// One walk per layout; an unknown layout leaves the pixel area zero. The
// vector row, where the level has one, makes what it can of each row and
// the rule the rest.
void EncodePixels(PictureReader& reader, uint8_t* out) {
  const int64_t width = reader.Width, height = reader.Height;
  const VectorLevel level = VectorLevelInUse();
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    if constexpr (L != PixelLayout::Unknown) {
      const auto vectorRow = QVL_VECTOR_ROW(level, EncodeVectorRow<L>);
      int64_t room = 3 * width * height;
      for (int64_t row = 0; row < height; ++row, out += 3 * width, room -= 3 * width) {
        const int64_t done = vectorRow ? vectorRow(reader.base, out, width, room) : 0;
        EncodeRow<L>(reader.base + done, out + 3 * done, width - done);
        reader.base = reader.GetRow(reader.y + 1);
      }
    }
  });
}

struct FreeBytes {
  void operator()(uint8_t* bytes) const { std::free(bytes); }
};

REALstringStruct* EncodedString(PictureReader& reader, int64_t total) {
  std::unique_ptr<uint8_t, FreeBytes> bytes(static_cast<uint8_t*>(std::calloc(size_t(total), 1)));
  if (!bytes) return nullptr;
  StoreHeader(bytes.get(), total, reader.Width, reader.Height);
  EncodePixels(reader, bytes.get() + kHeaderSize);
  return REALBuildUnicodeString(bytes.get(), total, kREALTextEncodingUnknown);
}

// The bytes of a string, read so that nothing outside them is touched: a
// position before or beyond the string reads as 0.
class StringBytes {
 public:
  StringBytes(const void* data, int64_t size) : data_(static_cast<const uint8_t*>(data)), size_(data ? size : 0) {}

  int64_t size() const { return size_; }
  uint8_t At(int64_t position) const { return position >= 0 && position < size_ ? data_[position] : 0; }
  int32_t BigEndianInt32At(int64_t position) const {
    return int32_t(uint32_t(At(position)) << 24 | uint32_t(At(position + 1)) << 16 | uint32_t(At(position + 2)) << 8 |
                   uint32_t(At(position + 3)));
  }
  // Whether count bytes from start lie wholly inside the string.
  bool Holds(int64_t start, int64_t count) const { return start >= 0 && start <= size_ && count <= size_ - start; }
  const uint8_t* Address(int64_t start) const { return data_ + start; }

 private:
  const uint8_t* data_;
  int64_t size_;
};

// The length check is the whole test of the input.
bool HasMagicAndLength(const StringBytes& bytes) {
  if (bytes.size() < 8) return false;
  if (std::memcmp(bytes.Address(0), kMagic, sizeof kMagic) != 0) return false;
  return bytes.size() == bytes.BigEndianInt32At(kLengthAt);
}

template <PixelLayout L>
inline uint32_t PixelOfPacked(uint32_t colour) {
  return OpaquePixel<L>(colour & 0xFF, (colour >> 8) & 0xFF, (colour >> 16) & 0xFF);
}

template <PixelLayout L>
inline void DecodeRow(const uint8_t* in, uint32_t* pixels, int64_t width) {
  int64_t x = 0;
  for (; x + 4 <= width; x += 4, in += 12) {
    uint32_t words[3];
    std::memcpy(words, in, sizeof words);
    pixels[x] = PixelOfPacked<L>(words[0]);
    pixels[x + 1] = PixelOfPacked<L>(words[0] >> 24 | words[1] << 8);
    pixels[x + 2] = PixelOfPacked<L>(words[1] >> 16 | words[2] << 16);
    pixels[x + 3] = PixelOfPacked<L>(words[2] >> 8);
  }
  for (; x < width; ++x, in += 3) pixels[x] = OpaquePixel<L>(in[0], in[1], in[2]);
}

// A row that the string holds only in part, or not at all.
template <PixelLayout L>
inline void DecodeRowWithin(const StringBytes& bytes, int64_t start, uint32_t* pixels, int64_t width) {
  for (int64_t x = 0; x < width; ++x, start += 3)
    pixels[x] = OpaquePixel<L>(bytes.At(start), bytes.At(start + 1), bytes.At(start + 2));
}

// One walk per layout from the pixel offset on; an unknown layout writes
// nothing. Rows the string holds whole go through the vector row, where the
// level has one, and the rule.
void DecodePixels(const StringBytes& bytes, int64_t offset, PictureWriter& writer) {
  const int64_t width = writer.Width, height = writer.Height, rowBytes = 3 * width;
  const VectorLevel level = VectorLevelInUse();
  WithLayout(writer.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    if constexpr (L != PixelLayout::Unknown) {
      const auto vectorRow = QVL_VECTOR_ROW(level, DecodeVectorRow<L>);
      int64_t start = offset;
      for (int64_t row = 0; row < height; ++row, start += rowBytes) {
        if (bytes.Holds(start, rowBytes)) {
          const uint8_t* in = bytes.Address(start);
          const int64_t done = vectorRow ? vectorRow(in, writer.base, width, bytes.size() - start) : 0;
          DecodeRow<L>(in + 3 * done, writer.base + done, width - done);
        } else {
          DecodeRowWithin<L>(bytes, start, writer.base, width);
        }
        writer.base = writer.GetRow(writer.y + 1);
      }
    }
  });
}

}  // namespace

REALstringStruct* PicturetoBinaryString(REALpictureStruct* p) {
  PictureReader reader(p);
  if (!reader.picture) return nullptr;
  const int64_t total = reader.Width * reader.Height * 3 + kHeaderSize;
  REALstringStruct* result = total < 1 ? nullptr : EncodedString(reader, total);
  reader.clear();
  return result;
}

REALpictureStruct* BinaryStringtoPicture(REALstringStruct* data) {
  rbData view(data);
  const StringBytes bytes(view.data, view.size);
  if (!HasMagicAndLength(bytes)) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(bytes.BigEndianInt32At(kWidthAt), bytes.BigEndianInt32At(kHeightAt))) return nullptr;
  DecodePixels(bytes, bytes.BigEndianInt32At(kPixelOffsetAt), writer);
  return writer.RenderPictureWriter();
}

#endif  // HWY_ONCE
