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
using PaintRow = int64_t (*)(const uint8_t* cells, uint32_t* destination, int64_t width, const uint32_t (&words)[2]);
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

template <PixelLayout D>
int64_t PaintRectanglesRow(const uint8_t* cells, uint32_t* destination, int64_t width, const uint32_t (&words)[2]) {
  const hn::ScalableTag<uint32_t> du;
  const hn::Rebind<uint8_t, decltype(du)> d8;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto white = hn::Set(du, words[0]), black = hn::Set(du, words[1]);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto inside = hn::PromoteTo(du, hn::LoadU(d8, cells + column));
    hn::StoreU(hn::IfThenElse(hn::Eq(inside, hn::Zero(du)), white, black), du, destination + column);
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

// The two bordered maps of the grouping: a cell per pixel and a border of
// one cell all round, so that no test along a rectangle's side needs a bound.
class CellMaps {
 public:
  CellMaps(int64_t width, int64_t height) : stride_(width + 2), width_(width), height_(height) {}

  bool Allocate() {
    const int64_t cells = stride_ * (height_ + 2);
    if (cells <= 0) return false;
    colour_.reset(new (std::nothrow) uint8_t[cells]());
    if (colour_) rectangle_.reset(new (std::nothrow) uint8_t[cells]());
    return colour_ && rectangle_;
  }

  uint8_t* ColourRow(int64_t y) { return colour_.get() + (y + 1) * stride_ + 1; }
  const uint8_t* RectangleRow(int64_t y) const { return rectangle_.get() + (y + 1) * stride_ + 1; }

  // Groups the coloured cells into rectangles. The search resumes where the
  // last rectangle was found: no cell before it can become 1 again, so this
  // finds what a search from row 0 each time would.
  void Group() {
    for (int64_t y = 0; y < height_; ++y) {
      const uint8_t* row = ColourRow(y);
      for (int64_t x = FirstCell(row, 0, width_); x < width_; x = FirstCell(row, x + 1, width_)) Consume(Grown(y, x));
    }
  }

 private:
  struct Rectangle {
    int64_t top, bottom, left, right;
  };

  // The column of the first cell holding 1 from `from` up to but excluding
  // `end`, or `end`; cells hold 0 or 1.
  static int64_t FirstCell(const uint8_t* row, int64_t from, int64_t end) {
    if (from >= end) return end;
    const void* found = std::memchr(row + from, 1, static_cast<size_t>(end - from));
    return found ? static_cast<const uint8_t*>(found) - row : end;
  }

  bool RowHasCell(int64_t y, int64_t left, int64_t right) { return FirstCell(ColourRow(y), left, right + 1) <= right; }

  bool ColumnHasCell(int64_t x, int64_t top, int64_t bottom) {
    for (int64_t y = top; y <= bottom; ++y)
      if (ColourRow(y)[x]) return true;
    return false;
  }

  // One pass moves each side out by one where a cell along it holds 1,
  // until no side moves.
  Rectangle Grown(int64_t y, int64_t x) {
    Rectangle r{y, y, x, x};
    bool moved = true;
    while (moved) {
      moved = false;
      if (RowHasCell(r.top - 1, r.left, r.right)) --r.top, moved = true;
      if (RowHasCell(r.bottom + 1, r.left, r.right)) ++r.bottom, moved = true;
      if (ColumnHasCell(r.left - 1, r.top, r.bottom)) --r.left, moved = true;
      if (ColumnHasCell(r.right + 1, r.top, r.bottom)) ++r.right, moved = true;
    }
    return r;
  }

  void Consume(const Rectangle& r) {
    for (int64_t y = r.top; y <= r.bottom; ++y) {
      std::fill(ColourRow(y) + r.left, ColourRow(y) + r.right + 1, uint8_t{0});
      std::fill(rectangle_.get() + (y + 1) * stride_ + 1 + r.left, rectangle_.get() + (y + 1) * stride_ + 2 + r.right,
                uint8_t{1});
    }
  }

  int64_t stride_, width_, height_;
  std::unique_ptr<uint8_t[]> colour_, rectangle_;
};

// Marks map rows top.. from the reader's rows 0.., which is how the rows of
// the rectangle run apart from the pixels when top is above 0.
void MarkColoured(PictureReader& reader, CellMaps& maps, const FrameArea& area) {
  if (area.bottom <= area.top) return;
  const int64_t rows = area.bottom - area.top;
  if (area.left >= area.right) {
    for (int64_t i = 0; i < rows; ++i) StepRow(reader);
    return;
  }
  WithLayout(reader.pictureType, [&](auto tag) {
    constexpr PixelLayout S = decltype(tag)::value;
    const MarkRow vectorRow = MarkRowAt<S>(VectorLevelInUse());
    for (int64_t i = 0; i < rows; ++i) {
      uint8_t* cells = maps.ColourRow(area.top + i);
      const int64_t done =
          vectorRow ? vectorRow(reader.base + area.left, cells + area.left, area.right - area.left) : 0;
      for (int64_t x = area.left + done; x < area.right; ++x) {
        const Channels c = ReadAt<S>(reader.base, x);
        cells[x] = (c.r != c.g) | (c.b != c.g);
      }
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
        const uint8_t* cells = maps.RectangleRow(y);
        const int64_t done = vectorRow ? vectorRow(cells, writer.base, width, words) : 0;
        for (int64_t x = done; x < width; ++x) writer.base[x] = words[cells[x]];
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
  maps.Group();
  PaintRectangles(writer, maps, pictureWidth, pictureHeight);
  return writer.RenderPictureWriter();
}

REALpictureStruct* ExtractColorRectangleMaskQVL2(REALpictureStruct* pic) {
  return ExtractColorRectangleMaskQVL(pic, 0, 0, -1, -1);
}
#endif
