// Mask extraction: the alpha read out on the frame, the mask written into
// byte 0 of the words through a reader, and the rectangle grouping over two
// bordered byte maps.
#include "filters/mask_extraction.h"

#include <algorithm>
#include <memory>
#include <new>

#include "filters/filter_frame.h"

namespace {

struct AlphaToGreyKernel {
  uint32_t flip;

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

// How many words from the editor's current row to the end of the memory its
// rows lie in: gd rows are allocated one by one, Core Graphics rows lie in
// one block.
int64_t ReadableWords(const PictureEditor& editor) {
  if (editor.tpixels || !editor.Pixelbase) return editor.Width;
  const auto* end = reinterpret_cast<const uint8_t*>(editor.Pixelbase) + editor.BytesPerRow * editor.Height;
  return (end - reinterpret_cast<const uint8_t*>(editor.base)) / static_cast<int64_t>(sizeof(uint32_t));
}

template <PixelLayout M>
void MaskRow(uint8_t* pictureBytes, int64_t width, const uint32_t* mask, int64_t readable, uint32_t flip) {
  const int64_t inside = std::clamp<int64_t>(readable, 0, width);
  for (int64_t column = 0; column < inside; ++column)
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
      for (int64_t x = 0; x < width_; ++x) {
        if (ColourRow(y)[x]) Consume(Grown(y, x));
      }
    }
  }

 private:
  struct Rectangle {
    int64_t top, bottom, left, right;
  };

  bool RowHasCell(int64_t y, int64_t left, int64_t right) {
    const uint8_t* row = ColourRow(y);
    for (int64_t x = left; x <= right; ++x)
      if (row[x]) return true;
    return false;
  }

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
    for (int64_t i = 0; i < rows; ++i) {
      uint8_t* cells = maps.ColourRow(area.top + i);
      for (int64_t x = area.left; x < area.right; ++x) {
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
      for (int64_t y = 0; y < height; ++y) {
        const uint8_t* cells = maps.RectangleRow(y);
        for (int64_t x = 0; x < width; ++x) writer.base[x] = words[cells[x]];
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
    for (int64_t row = 0; row < picture.Height; ++row) {
      MaskRow<decltype(tag)::value>(reinterpret_cast<uint8_t*>(picture.base), picture.Width, maskReader.base,
                                    ReadableWords(maskReader), flip);
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
