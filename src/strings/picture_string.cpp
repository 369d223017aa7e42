#include "strings/picture_string.h"

#include <cstdlib>
#include <cstring>
#include <memory>

#include "binding/adapters.h"
#include "binding/host_strings.h"
#include "filters/filter_frame.h"
#include "picture/picture_editor.h"
#include "picture/pixels.h"
#include "qvl/encodings.h"

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

// One walk per layout; an unknown layout leaves the pixel area zero.
void EncodePixels(PictureReader& reader, uint8_t* out) {
  const int64_t width = reader.Width, height = reader.Height;
  WithLayout(reader.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    if constexpr (L != PixelLayout::Unknown) {
      for (int64_t row = 0; row < height; ++row, out += 3 * width) {
        EncodeRow<L>(reader.base, out, width);
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

// One walk per layout from the pixel offset on; an unknown layout writes nothing.
void DecodePixels(const StringBytes& bytes, int64_t offset, PictureWriter& writer) {
  const int64_t width = writer.Width, height = writer.Height, rowBytes = 3 * width;
  WithLayout(writer.pictureType, [&](auto layout) {
    constexpr PixelLayout L = decltype(layout)::value;
    if constexpr (L != PixelLayout::Unknown) {
      int64_t start = offset;
      for (int64_t row = 0; row < height; ++row, start += rowBytes) {
        if (bytes.Holds(start, rowBytes))
          DecodeRow<L>(bytes.Address(start), writer.base, width);
        else
          DecodeRowWithin<L>(bytes, start, writer.base, width);
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
