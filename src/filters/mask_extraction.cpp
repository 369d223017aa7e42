// Mask extraction: the alpha read out on the frame, the mask written into
// byte 0 of the words through a reader, and the rectangle grouping over two
// bordered byte maps; the rows of the pixel loops with their vector rows,
// compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/mask_extraction.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "filters/mask_extraction.h"
// clang-format on

#ifndef QVL_FILTERS_MASK_EXTRACTION_KERNELS
#define QVL_FILTERS_MASK_EXTRACTION_KERNELS
#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

namespace {

struct AlphaToGreyKernel {
  uint32_t flip;

  template <PixelLayout S, PixelLayout D>
  VectorRow<AlphaToGreyKernel> VectorRowAt(VectorLevel level) const;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      for (int64_t column = 0; column < width; ++column) {
        const uint32_t v = ReadAt<S>(source, column).a ^ flip;
        destination[column] = OpaquePixel<D>(v, v, v);
      }
    }
  }
};

uint32_t FlipOf(bool swap) { return swap ? 255u : 0u; }

// The rows of the marking and the painting of the rectangles, and of the
// mask's byte written into the picture: the per-pixel rule of each, after
// as many pixels as a vector row made.
using MarkRow = int64_t (*)(const uint32_t* source, uint8_t* cells, int64_t width);
using PaintRow = int64_t (*)(const uint64_t* cells, uint32_t* destination, int64_t width, const uint32_t (&words)[2]);
using MaskBytesRow = int64_t (*)(uint32_t* picture, const uint32_t* mask, int64_t width, uint32_t flip);

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// The scalar target, which no level uses, is not given rows.
#if HWY_TARGET != HWY_SCALAR
// The alpha of each word in its layout, 0..255.
template <PixelLayout S, class V>
HWY_INLINE V AlphaOf(V words) {
  constexpr LayoutDescription l = kLayout<S>;
  if constexpr (l.alphaWidth == 8) {
    return ByteAt<l.alphaShift>(words);
  } else {
    const V field = hn::And(hn::ShiftRight<l.alphaShift>(words), hn::Set(hn::DFromV<V>(), 0x7F));
    return hn::Add(hn::Add(field, field), hn::And(field, hn::Set(hn::DFromV<V>(), 1)));
  }
}

template <PixelLayout S, PixelLayout D>
int64_t AlphaToGreyRow(const uint32_t* source, uint32_t* destination, int64_t width, const AlphaToGreyKernel& kernel) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto flip = hn::Set(du, kernel.flip);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto v = hn::Xor(AlphaOf<S>(hn::LoadU(du, source + column)), flip);
    hn::StoreU(OpaqueWords<D>(v, v, v), du, destination + column);
  }
  return column;
}

// A cell a lane: 1 where the three colour bytes of the word are not all equal.
template <PixelLayout S>
int64_t MarkColouredRow(const uint32_t* source, uint8_t* cells, int64_t width) {
  const hn::ScalableTag<int32_t> di;
  const hn::RebindToUnsigned<decltype(di)> du;
  const hn::Rebind<uint8_t, decltype(di)> d8;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto greyTest = hn::Set(du, kGreyTest<S>);
  const auto one = hn::Set(di, 1);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(du, source + column);
    const auto spread = hn::And(hn::Xor(words, hn::ShiftRight<8>(words)), greyTest);
    const auto coloured = hn::IfThenZeroElse(hn::RebindMask(di, hn::Eq(spread, hn::Zero(du))), one);
    hn::StoreU(hn::DemoteTo(d8, coloured), d8, cells + column);
  }
  return column;
}

// A pixel a lane from a row of cell bits, bit x of word x / 64 for pixel x:
// the bits of a block spread over the lanes, one bit a lane, and tested.
template <PixelLayout D>
int64_t PaintRectanglesRow(const uint64_t* cells, uint32_t* destination, int64_t width, const uint32_t (&words)[2]) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const uint64_t blockBits = lanes == 64 ? ~uint64_t{0} : (uint64_t{1} << lanes) - 1;
  const auto white = hn::Set(du, words[0]), black = hn::Set(du, words[1]);
  const auto laneBit = hn::Shl(hn::Set(du, 1u), hn::Iota(du, 0));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto bits = static_cast<uint32_t>((cells[column / 64] >> (column % 64)) & blockBits);
    const auto inside = hn::Ne(hn::And(hn::Set(du, bits), laneBit), hn::Zero(du));
    hn::StoreU(hn::IfThenElse(inside, black, white), du, destination + column);
  }
  return column;
}

// Byte 0 of each picture word from the mask's red; the other three bytes
// are written back as they were read.
template <PixelLayout M>
int64_t MaskBytesVectorRow(uint32_t* picture, const uint32_t* mask, int64_t width, uint32_t flip) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto kept = hn::Set(du, 0xFFFFFF00u), flipped = hn::Set(du, flip);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto red = hn::Xor(RedOf<M>(hn::LoadU(du, mask + column)), flipped);
    const auto words = hn::LoadU(du, picture + column);
    hn::StoreU(hn::Or(hn::And(words, kept), red), du, picture + column);
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
VectorRow<AlphaToGreyKernel> AlphaToGreyKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, AlphaToGreyRow<S, D>);
}

// How many words from the editor's current row to the end of the memory its
// rows lie in: gd rows are allocated one by one, Core Graphics rows lie in
// one block.
int64_t ReadableWords(const PictureEditor& editor) {
  if (editor.tpixels || !editor.Pixelbase) return editor.Width;
  const auto* end = reinterpret_cast<const uint8_t*>(editor.Pixelbase) + editor.BytesPerRow * editor.Height;
  return (end - reinterpret_cast<const uint8_t*>(editor.base)) / static_cast<int64_t>(sizeof(uint32_t));
}

// The vector rows of a layout at a level, or nullptr; none for an unknown
// layout, whose words read as 0 without being read.
template <PixelLayout L>
MaskBytesRow MaskBytesRowAt(VectorLevel level) {
  if constexpr (L == PixelLayout::Unknown) return nullptr;
  if constexpr (L != PixelLayout::Unknown) return QVL_VECTOR_ROW(level, MaskBytesVectorRow<L>);
}

template <PixelLayout L>
MarkRow MarkRowAt(VectorLevel level) {
  if constexpr (L == PixelLayout::Unknown) return nullptr;
  if constexpr (L != PixelLayout::Unknown) return QVL_VECTOR_ROW(level, MarkColouredRow<L>);
}

template <PixelLayout M>
void MaskRow(uint32_t* picture, int64_t width, const uint32_t* mask, int64_t readable, uint32_t flip,
             MaskBytesRow vectorRow) {
  const int64_t inside = std::clamp<int64_t>(readable, 0, width);
  const int64_t done = vectorRow ? vectorRow(picture, mask, inside, flip) : 0;
  auto* pictureBytes = reinterpret_cast<uint8_t*>(picture);
  for (int64_t column = done; column < inside; ++column)
    pictureBytes[column * 4] = static_cast<uint8_t>(ReadAt<M>(mask, column).r ^ flip);
  for (int64_t column = inside; column < width; ++column) pictureBytes[column * 4] = static_cast<uint8_t>(flip);
}

// A map of one bit a cell, rows of words: bit x + 64 of a row for cell x,
// so that a word of zeros lies before cell 0 and at least one zero bit after
// the last cell, and a row of zeros lies above row 0 and below the last row.
// No test along a rectangle's side needs a bound.
class BitMap {
 public:
  static constexpr int64_t kBorderBits = 64;

  bool Allocate(int64_t cellsPerRow, int64_t rows) {
    wordsPerRow_ = (cellsPerRow + kBorderBits + 64) / 64;
    words_.reset(new (std::nothrow) uint64_t[wordsPerRow_ * (rows + 2)]());
    return words_ != nullptr;
  }

  uint64_t* Row(int64_t y) { return words_.get() + (y + 1) * wordsPerRow_; }
  const uint64_t* Row(int64_t y) const { return words_.get() + (y + 1) * wordsPerRow_; }
  // Bit 0 of the first word is cell 0.
  const uint64_t* Cells(int64_t y) const { return Row(y) + kBorderBits / 64; }
  int64_t WordsPerRow() const { return wordsPerRow_; }

  // The first cell holding 1 in row y from `from` up to but excluding `end`,
  // or `end`.
  int64_t FirstSet(int64_t y, int64_t from, int64_t end) const {
    if (from >= end) return end;
    const uint64_t* row = Row(y);
    const int64_t first = from + kBorderBits, last = end + kBorderBits;
    int64_t word = first / 64;
    uint64_t bits = row[word] & (~uint64_t{0} << (first % 64));
    while (bits == 0) {
      if (++word * 64 >= last) return end;
      bits = row[word];
    }
    const int64_t found = word * 64 + hwy::Num0BitsBelowLS1Bit_Nonzero64(bits) - kBorderBits;
    return std::min(found, end);
  }

  bool AnySet(int64_t y, int64_t first, int64_t last) const { return FirstSet(y, first, last + 1) <= last; }

  // Cells first..last of row y set to 1, or to 0.
  void Fill(int64_t y, int64_t first, int64_t last, bool value) {
    uint64_t* row = Row(y);
    const int64_t from = first + kBorderBits, to = last + kBorderBits;
    for (int64_t word = from / 64; word <= to / 64; ++word) {
      const uint64_t low = word == from / 64 ? ~uint64_t{0} << (from % 64) : ~uint64_t{0};
      const uint64_t high = word == to / 64 ? ~uint64_t{0} >> (63 - to % 64) : ~uint64_t{0};
      row[word] = value ? row[word] | (low & high) : row[word] & ~(low & high);
    }
  }

 private:
  int64_t wordsPerRow_ = 0;
  std::unique_ptr<uint64_t[]> words_;
};

// Bit c of a[r] to bit r of a[c]: the halves of each square of bits
// exchanged across its diagonal, from squares of 32 down to squares of 1.
void Transpose64(uint64_t (&a)[64]) {
  uint64_t mask = 0x00000000FFFFFFFFull;
  for (int half = 32; half != 0; half >>= 1, mask ^= mask << half) {
    for (int k = 0; k < 64; k = ((k | half) + 1) & ~half) {
      const uint64_t t = ((a[k] >> half) ^ a[k | half]) & mask;
      a[k] ^= t << half;
      a[k | half] ^= t;
    }
  }
}

// The maps of the grouping: the coloured cells by rows and by columns, so
// that a rectangle's side is tested a word of cells at a time whichever way
// it runs, and the cells of the rectangles found.
class CellMaps {
 public:
  CellMaps(int64_t width, int64_t height) : width_(width), height_(height) {}

  bool Allocate() {
    marks_.reset(new (std::nothrow) uint8_t[(width_ + 63) / 64 * 64]());
    return marks_ && byRows_.Allocate(width_, height_) && byColumns_.Allocate(height_, width_) &&
           rectangles_.Allocate(width_, height_);
  }

  // A row of cells a byte each, for the marking; it runs on as zeros to a
  // whole word of cells past the picture's width.
  uint8_t* Marks() { return marks_.get(); }

  uint64_t* ColourRow(int64_t y) { return byRows_.Row(y); }
  const uint64_t* RectangleCells(int64_t y) const { return rectangles_.Cells(y); }

  // The columns' map from the rows', in squares of 64 by 64 cells.
  void MapColumns() {
    for (int64_t top = 0; top < height_; top += 64) {
      for (int64_t word = 1; word < byRows_.WordsPerRow(); ++word) {
        uint64_t square[64], any = 0;
        for (int64_t r = 0; r < 64; ++r) any |= square[r] = top + r < height_ ? byRows_.Row(top + r)[word] : 0;
        if (!any) continue;  // the columns' words are 0 already
        Transpose64(square);
        const int64_t left = (word - 1) * 64;
        for (int64_t c = 0; c < 64 && left + c < width_; ++c) byColumns_.Row(left + c)[top / 64 + 1] = square[c];
      }
    }
  }

  // Groups the coloured cells into rectangles. The search resumes where the
  // last rectangle was found: no cell before it can become 1 again, so this
  // finds what a search from row 0 each time would.
  void Group() {
    for (int64_t y = 0; y < height_; ++y) {
      for (int64_t x = byRows_.FirstSet(y, 0, width_); x < width_; x = byRows_.FirstSet(y, x + 1, width_))
        Consume(Grown(y, x));
    }
  }

 private:
  struct Rectangle {
    int64_t top, bottom, left, right;
  };

  // One pass moves each side out by one where a cell along it holds 1,
  // until no side moves.
  Rectangle Grown(int64_t y, int64_t x) const {
    Rectangle r{y, y, x, x};
    bool moved = true;
    while (moved) {
      moved = false;
      if (byRows_.AnySet(r.top - 1, r.left, r.right)) --r.top, moved = true;
      if (byRows_.AnySet(r.bottom + 1, r.left, r.right)) ++r.bottom, moved = true;
      if (byColumns_.AnySet(r.left - 1, r.top, r.bottom)) --r.left, moved = true;
      if (byColumns_.AnySet(r.right + 1, r.top, r.bottom)) ++r.right, moved = true;
    }
    return r;
  }

  void Consume(const Rectangle& r) {
    for (int64_t y = r.top; y <= r.bottom; ++y) {
      byRows_.Fill(y, r.left, r.right, false);
      rectangles_.Fill(y, r.left, r.right, true);
    }
    for (int64_t x = r.left; x <= r.right; ++x) byColumns_.Fill(x, r.top, r.bottom, false);
  }

  int64_t width_, height_;
  std::unique_ptr<uint8_t[]> marks_;
  BitMap byRows_, byColumns_, rectangles_;
};

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "cells are packed from bytes read as a word");

// Cells of a byte each, 0 or 1, as the bits of a map row from cell `first`
// on; the bytes run on as zeros to a whole word of cells. The multiply
// gathers the low bits of eight bytes into its top byte, byte i to bit i.
void PackCells(const uint8_t* cells, int64_t count, uint64_t* row, int64_t first) {
  const int64_t start = first + BitMap::kBorderBits;
  for (int64_t at = 0; at < count; at += 64) {
    uint64_t bits = 0;
    for (int64_t b = 0; b < 64; b += 8) {
      uint64_t eight;
      std::memcpy(&eight, cells + at + b, sizeof eight);
      bits |= ((eight * 0x0102040810204080ull) >> 56) << b;
    }
    const int64_t bit = start + at, shift = bit % 64;
    row[bit / 64] |= bits << shift;
    // Bits carried into the next word are cells of the row, so it exists.
    if (shift != 0 && (bits >> (64 - shift)) != 0) row[bit / 64 + 1] |= bits >> (64 - shift);
  }
}

// Marks map rows top.. from the reader's rows 0.., which is how the rows of
// the rectangle run apart from the pixels when top is above 0. Each row's
// cells are made a byte each, then packed.
void MarkColoured(PictureReader& reader, CellMaps& maps, const FrameArea& area) {
  if (area.bottom <= area.top) return;
  const int64_t rows = area.bottom - area.top;
  if (area.left >= area.right) {
    for (int64_t i = 0; i < rows; ++i) StepRow(reader);
    return;
  }
  const int64_t columns = area.right - area.left;
  uint8_t* cells = maps.Marks();
  WithLayout(reader.pictureType, [&](auto tag) {
    constexpr PixelLayout S = decltype(tag)::value;
    const MarkRow vectorRow = MarkRowAt<S>(VectorLevelInUse());
    for (int64_t i = 0; i < rows; ++i) {
      const uint32_t* pixels = reader.base + area.left;
      const int64_t done = vectorRow ? vectorRow(pixels, cells, columns) : 0;
      for (int64_t x = done; x < columns; ++x) {
        const Channels c = ReadAt<S>(pixels, x);
        cells[x] = (c.r != c.g) | (c.b != c.g);
      }
      PackCells(cells, columns, maps.ColourRow(area.top + i), area.left);
      StepRow(reader);
    }
  });
}

void PaintRectangles(PictureWriter& writer, const CellMaps& maps, int64_t width, int64_t height) {
  WithLayout(writer.pictureType, [&](auto tag) {
    constexpr PixelLayout D = decltype(tag)::value;
    if constexpr (D != PixelLayout::Unknown) {
      const uint32_t words[2] = {OpaquePixel<D>(255, 255, 255), OpaquePixel<D>(0, 0, 0)};
      const PaintRow vectorRow = QVL_VECTOR_ROW(VectorLevelInUse(), PaintRectanglesRow<D>);
      for (int64_t y = 0; y < height; ++y) {
        const uint64_t* cells = maps.RectangleCells(y);
        const int64_t done = vectorRow ? vectorRow(cells, writer.base, width, words) : 0;
        for (int64_t x = done; x < width; ++x) writer.base[x] = words[(cells[x / 64] >> (x % 64)) & 1];
        StepRow(writer);
      }
    }
  });
}

}  // namespace

REALpictureStruct* GetEmbededMask(REALpictureStruct* pic, bool swap) {
  return RunFilterFrame(pic, {RegistrationCheckAt::AfterWriter, WriterFrom::Size}, AlphaToGreyKernel{FlipOf(swap)});
}

void SetEmbededMask(REALpictureStruct* pic, bool swap, REALpictureStruct* mask) {
  if (!mask) return;
  PictureReader picture(pic);
  if (!picture.picture) return;
  PictureReader maskReader(mask);
  if (!maskReader.picture) return;
  RegistrationCheck();
  const uint32_t flip = FlipOf(swap);
  WithLayout(maskReader.pictureType, [&](auto tag) {
    constexpr PixelLayout M = decltype(tag)::value;
    const MaskBytesRow vectorRow = MaskBytesRowAt<M>(VectorLevelInUse());
    for (int64_t row = 0; row < picture.Height; ++row) {
      MaskRow<M>(picture.base, picture.Width, maskReader.base, ReadableWords(maskReader), flip, vectorRow);
      StepRow(maskReader);
      StepRow(picture);
    }
  });
  maskReader.clear();
  picture.clear();
}

REALpictureStruct* ExtractColorRectangleMaskQVL(REALpictureStruct* pic, int64_t left, int64_t top, int64_t width,
                                                int64_t height) {
  RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return nullptr;
  const int64_t pictureWidth = reader.Width, pictureHeight = reader.Height;
  if (width < 0) width = pictureWidth;
  if (height < 0) height = pictureHeight;
  CellMaps maps(pictureWidth, pictureHeight);
  if (!maps.Allocate()) return nullptr;
  PictureWriter writer;
  if (!writer.NewPictureWriter(pictureWidth, pictureHeight)) return nullptr;
  const FrameArea area{std::max<int64_t>(left, 0), std::max<int64_t>(top, 0),
                       std::min(WrappingAdd(left, width), pictureWidth),
                       std::min(WrappingAdd(top, height), pictureHeight)};
  MarkColoured(reader, maps, area);
  maps.MapColumns();
  maps.Group();
  PaintRectangles(writer, maps, pictureWidth, pictureHeight);
  return writer.RenderPictureWriter();
}

REALpictureStruct* ExtractColorRectangleMaskQVL2(REALpictureStruct* pic) {
  return ExtractColorRectangleMaskQVL(pic, 0, 0, -1, -1);
}
#endif
