// Colour replacement on the filter frame: exact-colour kernels with their
// stored words prepared per row and their vector rows, compiled once per
// target, and the channel tables of TransformColorsQVL, which may write into
// a picture the caller hands in.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/colour_replacement.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "filters/colour_replacement.h"
// clang-format on

#ifndef QVL_FILTERS_COLOUR_REPLACEMENT_KERNELS
#define QVL_FILTERS_COLOUR_REPLACEMENT_KERNELS
#include <algorithm>
#include <cstring>

#include "binding/adapters.h"
#include "binding/diagnostics.h"
#include "binding/exceptions.h"
#include "binding/wrappers.h"

namespace {

constexpr uint32_t RedOf(uint32_t colour) { return (colour >> 16) & 0xFF; }
constexpr uint32_t GreenOf(uint32_t colour) { return (colour >> 8) & 0xFF; }
constexpr uint32_t BlueOf(uint32_t colour) { return colour & 0xFF; }

template <PixelLayout D>
uint32_t OpaqueWordOf(uint32_t colour) {
  return OpaquePixel<D>(RedOf(colour), GreenOf(colour), BlueOf(colour));
}

// The search colour, compared with a pixel's stored R, G and B.
struct SearchedColour {
  uint32_t r, g, b;

  explicit SearchedColour(uint32_t colour) : r(RedOf(colour)), g(GreenOf(colour)), b(BlueOf(colour)) {}
  bool Matches(const Channels& c) const { return ((c.r ^ r) | (c.g ^ g) | (c.b ^ b)) == 0; }
  // The colour bits of a word of layout S that match.
  template <PixelLayout S>
  uint32_t ColourBitsIn() const {
    return OpaquePixel<S>(r, g, b) & kColourBits<S>;
  }
};

struct ReplaceKernel {
  SearchedColour search;
  uint32_t replacement;

  template <PixelLayout S, PixelLayout D>
  VectorRow<ReplaceKernel> VectorRowAt(VectorLevel level) const;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      const uint32_t replacementWord = OpaqueWordOf<D>(replacement);
      for (int64_t column = 0; column < width; ++column) {
        const Channels c = ReadAt<S>(source, column);
        destination[column] = search.Matches(c) ? replacementWord : OpaquePixel<D>(c.r, c.g, c.b);
      }
    }
  }
};

struct ExtractKernel {
  SearchedColour search;
  uint32_t replacement, background;

  template <PixelLayout S, PixelLayout D>
  VectorRow<ExtractKernel> VectorRowAt(VectorLevel level) const;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      const uint32_t replacementWord = OpaqueWordOf<D>(replacement), backgroundWord = OpaqueWordOf<D>(background);
      for (int64_t column = 0; column < width; ++column) {
        destination[column] = search.Matches(ReadAt<S>(source, column)) ? replacementWord : backgroundWord;
      }
    }
  }
};

constexpr int64_t kTableEntries = 256;

// A channel table copied out of its memory block; entries the block does not
// hold are 0, so a short block is never read past its end. The vector rows
// read it sixteen entries at a time.
struct ChannelTable {
  alignas(16) uint8_t entries[kTableEntries] = {};

  explicit ChannelTable(const rbData& block) {
    const int64_t held = std::clamp<int64_t>(block.size, 0, kTableEntries);
    const auto* bytes = static_cast<const uint8_t*>(block.data);
    for (int64_t i = 0; i < held; ++i) entries[i] = bytes[i];
  }
};

struct TableKernel {
  ChannelTable red, green, blue;

  template <PixelLayout S, PixelLayout D>
  VectorRow<TableKernel> VectorRowAt(VectorLevel level) const;

  // A source or destination of unknown layout walks no pixel.
  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if (S == PixelLayout::Unknown) return;
    MapRowOpaque<S, D>(source, destination, width, [this](Channels c) {
      return Channels{red.entries[c.r], green.entries[c.g], blue.entries[c.b], 0};
    });
  }
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// The scalar target, which no level uses, is not given rows.
#if HWY_TARGET != HWY_SCALAR
// A pixel a lane: the colour bits of its word compared with the searched
// ones, the matches given the prepared word.
template <PixelLayout S, PixelLayout D>
int64_t ReplaceRow(const uint32_t* source, uint32_t* destination, int64_t width, const ReplaceKernel& kernel) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto colourBits = hn::Set(du, kColourBits<S>), searched = hn::Set(du, kernel.search.ColourBitsIn<S>());
  const auto replacement = hn::Set(du, OpaqueWordOf<D>(kernel.replacement));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(du, source + column);
    const auto copied = OpaqueWords<D>(RedOf<S>(words), GreenOf<S>(words), BlueOf<S>(words));
    hn::StoreU(hn::IfThenElse(hn::Eq(hn::And(words, colourBits), searched), replacement, copied), du,
               destination + column);
  }
  return column;
}

// The entries kFirst .. kFirst + 16 kSixteenths - 1 of a table at the bytes
// of c that fall among them: each sixteenth of the table is looked up by the
// low four bits of c, and a bit of c a level chooses between the halves,
// bit 7 first.
template <int kFirst, int kSixteenths, class V>
HWY_INLINE V LookUpBytes(const uint8_t* entries, V c, V low) {
  const hn::DFromV<V> d;
  if constexpr (kSixteenths == 1) {
    return hn::TableLookupBytes(hn::LoadDup128(d, entries + kFirst), low);
  } else {
    constexpr int kHalf = kSixteenths / 2;
    // The choosing bit moved up to each byte's sign: a shift of 16-bit
    // lanes moves each byte's own bits up to its top.
    constexpr int kRise = kSixteenths == 16 ? 0 : kSixteenths == 8 ? 1 : kSixteenths == 4 ? 2 : 3;
    const hn::Repartition<uint16_t, decltype(d)> d16;
    const hn::RebindToSigned<decltype(d)> di;
    const auto sign = hn::BitCast(di, hn::ShiftLeft<kRise>(hn::BitCast(d16, c)));
    const auto lower = hn::BitCast(di, LookUpBytes<kFirst, kHalf>(entries, c, low));
    const auto upper = hn::BitCast(di, LookUpBytes<kFirst + 16 * kHalf, kHalf>(entries, c, low));
    return hn::BitCast(d, hn::IfNegativeThenElse(sign, upper, lower));
  }
}

template <class V>
HWY_INLINE V LookUpBytes(const ChannelTable& table, V c) {
  return LookUpBytes<0, 16>(table.entries, c, hn::And(c, hn::Set(hn::DFromV<V>(), 0x0F)));
}

// As many pixels a block as the target has bytes: the four bytes of each
// word apart, each channel looked up in its table, and the results put
// where the destination keeps them, its fourth byte opaque.
template <PixelLayout S, PixelLayout D>
int64_t TableRow(const uint32_t* source, uint32_t* destination, int64_t width, const TableKernel& kernel) {
  if (S == PixelLayout::Unknown || D == PixelLayout::Unknown) return 0;
  const hn::ScalableTag<uint8_t> d;
  using V = decltype(hn::Zero(d));
  constexpr LayoutDescription from = kLayout<S>, to = kLayout<D>;
  constexpr int kFourthByte = 6 - (to.red + to.green + to.blue) / 8;
  const V opaque = hn::Set(d, static_cast<uint8_t>(to.opaqueBits >> (8 * kFourthByte)));
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    V in[4], out[4];
    hn::LoadInterleaved4(d, reinterpret_cast<const uint8_t*>(source + column), in[0], in[1], in[2], in[3]);
    out[to.red / 8] = LookUpBytes(kernel.red, in[from.red / 8]);
    out[to.green / 8] = LookUpBytes(kernel.green, in[from.green / 8]);
    out[to.blue / 8] = LookUpBytes(kernel.blue, in[from.blue / 8]);
    out[kFourthByte] = opaque;
    hn::StoreInterleaved4(out[0], out[1], out[2], out[3], d, reinterpret_cast<uint8_t*>(destination + column));
  }
  return column;
}

template <PixelLayout S, PixelLayout D>
int64_t ExtractRow(const uint32_t* source, uint32_t* destination, int64_t width, const ExtractKernel& kernel) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto colourBits = hn::Set(du, kColourBits<S>), searched = hn::Set(du, kernel.search.ColourBitsIn<S>());
  const auto replacement = hn::Set(du, OpaqueWordOf<D>(kernel.replacement)),
             background = hn::Set(du, OpaqueWordOf<D>(kernel.background));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto matches = hn::Eq(hn::And(hn::LoadU(du, source + column), colourBits), searched);
    hn::StoreU(hn::IfThenElse(matches, replacement, background), du, destination + column);
  }
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout S, PixelLayout D>
VectorRow<ReplaceKernel> ReplaceKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, ReplaceRow<S, D>);
}

template <PixelLayout S, PixelLayout D>
VectorRow<ExtractKernel> ExtractKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, ExtractRow<S, D>);
}

template <PixelLayout S, PixelLayout D>
VectorRow<TableKernel> TableKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, TableRow<S, D>);
}

// The first nil handle raises; true when all are there.
bool TransformHandlesPresent(REALpictureStruct* pic, REALmemoryBlockStruct* red, REALmemoryBlockStruct* green,
                             REALmemoryBlockStruct* blue) {
  const struct {
    const void* handle;
    const char* message;
  } handles[] = {{pic, "picture is nil"},
                 {red, "red memoryblock is nil"},
                 {green, "green memoryblock is nil"},
                 {blue, "blue memoryblock is nil"}};
  for (const auto& entry : handles) {
    if (!entry.handle) {
      RaiseException("NilObjectException", entry.message);
      return false;
    }
  }
  return true;
}

int64_t PropertyOrZero(REALpictureStruct* pic, const char* name) {
  int64_t value = 0;
  if (!REALGetPropValueInteger(pic, name, &value)) value = 0;
  return value;
}

// Binds the writer to dest where dest holds the source's size and can be
// acquired; otherwise to a new picture of that size.
bool BindTransformWriter(PictureWriter& writer, REALpictureStruct* dest, int64_t width, int64_t height) {
  TraceWord("NewPictureWriter with destination picture");
  TracePointer("pic", dest);
  TraceInt64("width", width);
  TraceInt64("height", height);
  if (dest) {
    const int64_t destWidth = PropertyOrZero(dest, "Width"), destHeight = PropertyOrZero(dest, "Height");
    TraceInt64("w", destWidth, width);
    TraceInt64("h", destHeight, height);
    if (destWidth >= width && destHeight >= height) {
      TracePointer("reuse picture", dest);
      if (writer.GetPictureEditor(dest, false, true)) return true;
    }
  }
  TraceWord("Create new picture");
  return writer.NewPictureWriter(width, height);
}

}  // namespace

REALpictureStruct* ReplaceColorQVL(REALpictureStruct* pic, uint32_t SearchColor, uint32_t ReplaceWithColor) {
  return RunFilterFrame(pic, {RegistrationCheckAt::First},
                        ReplaceKernel{SearchedColour(SearchColor), ReplaceWithColor});
}

REALpictureStruct* ExtractColorQVL(REALpictureStruct* pic, uint32_t SearchColor, uint32_t ReplaceWithColor,
                                   uint32_t BackGroundColor) {
  return RunFilterFrame(pic, {RegistrationCheckAt::First, WriterFrom::Size},
                        ExtractKernel{SearchedColour(SearchColor), ReplaceWithColor, BackGroundColor});
}

REALpictureStruct* TransformColorsQVL(REALpictureStruct* pic, REALmemoryBlockStruct* red, REALmemoryBlockStruct* blue,
                                      REALmemoryBlockStruct* green, REALpictureStruct* dest) {
  RegistrationCheck();
  if (!TransformHandlesPresent(pic, red, green, blue)) return nullptr;
  const rbData redBlock(red, 0, 0), greenBlock(green, 0, 0), blueBlock(blue, 0, 0);
  if (!redBlock.data || !greenBlock.data || !blueBlock.data) return nullptr;
  const TableKernel kernel{ChannelTable(redBlock), ChannelTable(greenBlock), ChannelTable(blueBlock)};
  PictureReader reader(pic);
  if (!reader.picture) return nullptr;
  const int64_t width = reader.Width, height = reader.Height;
  REALpictureStruct* result = nullptr;
  {
    PictureWriter writer;
    if (BindTransformWriter(writer, dest, width, height)) {
      WalkArea(writer, reader, WholePicture(width, height), kernel);
      result = writer.RenderPictureWriter();
    }
    reader.clear();
  }
  return result;
}
#endif
