// The filter frame: every filter that walks a source picture into a new one
// runs through it. The frame acquires a reader on the source, makes a writer,
// walks an area of both row by row through the filter's kernel, and renders
// the writer as the result. The layouts of source and destination are
// resolved once per call into a template instance, and the vector level is
// asked once per call, so the pixel loops hold no test of either.
//
// A kernel is a struct holding the call's constants (tables, weights, a
// limit) with two member templates:
//
//   template <PixelLayout S, PixelLayout D>
//   void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const;
//
// the per-pixel rule over one row, for every pair of layouts (a destination
// of unknown layout stores nothing); and, where vector rows pay,
//
//   template <PixelLayout S, PixelLayout D>
//   VectorRow<Kernel> VectorRowAt(VectorLevel level) const;
//
// the row compiled for the level, or nullptr where there is none. It is only
// asked for known layouts. A vector row makes as many whole blocks of the
// row as it can and returns how many pixels it made; the per-pixel rule
// makes the rest. A vector row gives exactly the bytes of the rule.
#pragma once

#include <algorithm>

#include "filters/vector_level.h"
#include "hwy/cache_control.h"
#include "picture/picture_editor.h"
#include "picture/pixels.h"
#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"

// Pixels are taken in blocks of this many: each block is loaded before any
// of it is stored, which lets the compiler run a block in vector registers
// even where source and destination could be one picture.
constexpr int64_t kPixelBlock = 8;

// Rows are walked in parts of this many pixels, and before each part the
// source pixels of the next one are asked for: on some machines the
// processor's own prefetching does not keep a filter's loads fed, and a
// filter then waits on memory for most of its time.
constexpr int64_t kRowPart = 256;
constexpr int64_t kPixelsPerCacheLine = 16;

inline void PrefetchPixels(const uint32_t* pixels, int64_t count) {
  for (int64_t at = 0; at < count; at += kPixelsPerCacheLine) hwy::Prefetch(pixels + at);
}

// One row through a colour rule (Channels in, R, G and B out), stored with
// the opaque write. A destination of unknown layout stores nothing. The rule
// is taken by value so that what it captured stays in registers.
template <PixelLayout S, PixelLayout D, class ColourRule>
inline void MapRowOpaque(const uint32_t* source, uint32_t* destination, int64_t width, ColourRule rule) {
  if (D == PixelLayout::Unknown) return;
  int64_t column = 0;
  for (; column + kPixelBlock <= width; column += kPixelBlock) {
    uint32_t block[kPixelBlock];
    for (int64_t k = 0; k < kPixelBlock; ++k) block[k] = S == PixelLayout::Unknown ? 0 : source[column + k];
    for (int64_t k = 0; k < kPixelBlock; ++k) {
      const Channels out = rule(ReadPixel<S>(block[k]));
      destination[column + k] = OpaquePixel<D>(out.r, out.g, out.b);
    }
  }
  for (; column < width; ++column) {
    const Channels out = rule(ReadAt<S>(source, column));
    destination[column] = OpaquePixel<D>(out.r, out.g, out.b);
  }
}

template <class Kernel>
using VectorRow = int64_t (*)(const uint32_t* source, uint32_t* destination, int64_t width, const Kernel& kernel);

template <class Kernel, class = void>
struct HasVectorRows : std::false_type {};
template <class Kernel>
struct HasVectorRows<
    Kernel,
    std::void_t<decltype(std::declval<const Kernel&>().template VectorRowAt<PixelLayout::RGBA, PixelLayout::RGBA>(
        VectorLevel::Portable))>> : std::true_type {};

// The vector row of a kernel for known layouts at a level, or nullptr.
template <PixelLayout S, PixelLayout D, class Kernel>
VectorRow<Kernel> VectorRowOf(const Kernel& kernel, VectorLevel level) {
  if constexpr (HasVectorRows<Kernel>::value && S != PixelLayout::Unknown && D != PixelLayout::Unknown) {
    return kernel.template VectorRowAt<S, D>(level);
  } else {
    return nullptr;
  }
}

// Read-only kernels, for the operations that answer a question about a
// picture and make none: the per-pixel rule over (part of) a row,
//
//   template <PixelLayout S>
//   auto PixelRow(const uint32_t* row, int64_t width);
//
// which adds what it finds to the kernel or answers for the row; and, where
// vector rows pay,
//
//   template <PixelLayout S>
//   static ReadingRow<Kernel> ReadingRowAt(VectorLevel level);
//
// the row compiled for the level, or nullptr, only asked for known layouts.
// A reading row takes whole blocks from the row's start, adds what they give
// to the kernel, and returns how many pixels it took; it may stop before a
// block that the per-pixel rule must look at. The rule takes the rest.
template <class Kernel>
using ReadingRow = int64_t (*)(const uint32_t* row, int64_t width, Kernel& kernel);

template <PixelLayout S, class Kernel>
ReadingRow<Kernel> ReadingRowOf(VectorLevel level) {
  if constexpr (S != PixelLayout::Unknown) {
    return Kernel::template ReadingRowAt<S>(level);
  } else {
    return nullptr;
  }
}

// A reading row over a row, if there is one: how many pixels it took. The
// processor's own prefetching keeps a read-only pass fed; asking for the
// next part as the writing frame does slowed these passes by a third on an
// AMD EPYC.
template <class Kernel>
int64_t TakeWithReadingRow(ReadingRow<Kernel> readingRow, const uint32_t* row, int64_t width, Kernel& kernel) {
  return readingRow ? readingRow(row, width, kernel) : 0;
}

// One row through a read-only kernel: its reading row, then the per-pixel
// rule over what is left; the rule's answer.
template <PixelLayout S, class Kernel>
auto ReadRow(const uint32_t* row, int64_t width, Kernel& kernel, ReadingRow<Kernel> readingRow) {
  const int64_t taken = TakeWithReadingRow(readingRow, row, width, kernel);
  return kernel.template PixelRow<S>(row + taken, width - taken);
}

// Where the frame calls the registration check: first of all, once the
// source is acquired, once the writer is made, or not at all (the jobs).
enum class RegistrationCheckAt { First, AfterAcquire, AfterWriter, Never };

// The writer takes the reader's picture kind (an alpha channel where the
// source has one), or is a plain new picture of the reader's size.
enum class WriterFrom { Reader, Size };

struct FrameVariant {
  RegistrationCheckAt checkAt;
  WriterFrom writerFrom = WriterFrom::Reader;
};

// The columns left..right - 1 of the rows top..bottom - 1; left and top are
// not negative and right is at most the width. A top beyond the picture or
// a bottom at or above the top walks no row.
struct FrameArea {
  int64_t left, top, right, bottom;
};

inline FrameArea WholePicture(int64_t width, int64_t height) { return {0, 0, width, height}; }

// Steps both editors to their next row, writer first, as the walk does.
inline void StepRows(PictureWriter& writer, PictureReader& reader) {
  StepRow(writer);
  StepRow(reader);
}

inline void SkipRows(PictureWriter& writer, PictureReader& reader, int64_t top, int64_t pictureHeight) {
  const int64_t steps = RowStepsToSkip(top, pictureHeight);
  for (int64_t step = 0; step < steps; ++step) StepRows(writer, reader);
}

// The rows of the area, the editors standing at its top row.
template <class Kernel>
void WalkArea(PictureWriter& writer, PictureReader& reader, const FrameArea& area, const Kernel& kernel) {
  if (area.bottom <= area.top) return;
  const int64_t rows = area.bottom - area.top;
  if (area.right <= area.left) {
    for (int64_t row = 0; row < rows; ++row) StepRows(writer, reader);
    return;
  }
  const int64_t columns = area.right - area.left;
  const VectorLevel level = VectorLevelInUse();
  WithLayouts(reader.pictureType, writer.pictureType, [&](auto source, auto destination) {
    constexpr PixelLayout S = decltype(source)::value;
    constexpr PixelLayout D = decltype(destination)::value;
    const VectorRow<Kernel> vectorRow = VectorRowOf<S, D>(kernel, level);
    for (int64_t row = 0; row < rows; ++row) {
      const uint32_t* from = reader.base + area.left;
      uint32_t* to = writer.base + area.left;
      for (int64_t start = 0; start < columns; start += kRowPart) {
        const int64_t part = std::min(kRowPart, columns - start);
        PrefetchPixels(from + start + part, std::min(kRowPart, columns - start - part));
        const int64_t done = vectorRow ? vectorRow(from + start, to + start, part, kernel) : 0;
        kernel.template PixelRow<S, D>(from + start + done, to + start + done, part - done);
      }
      StepRows(writer, reader);
    }
  });
}

// A kernel for sources without an alpha channel and one for sources with
// one; the frame walks with the one that fits the source.
template <class Plain, class WithAlpha>
struct ByAlphaChannel {
  Plain plain;
  WithAlpha withAlpha;
};

template <class Plain, class WithAlpha>
void WalkArea(PictureWriter& writer, PictureReader& reader, const FrameArea& area,
              const ByAlphaChannel<Plain, WithAlpha>& kernels) {
  if (reader.HasAlphaChannel) {
    WalkArea(writer, reader, area, kernels.withAlpha);
  } else {
    WalkArea(writer, reader, area, kernels.plain);
  }
}

// What a run of the frame gave: whether the source was acquired and the
// writer made, so that the area was walked, and the rendered writer, which
// may be nil even then.
struct FrameRun {
  bool walked = false;
  REALpictureStruct* result = nullptr;
};

// Runs the whole frame; areaOf(width, height) gives the area once the source
// is acquired.
template <class Kernel, class AreaOf = FrameArea (*)(int64_t, int64_t)>
FrameRun RunFrame(REALpictureStruct* pic, FrameVariant variant, const Kernel& kernel,
                  const AreaOf& areaOf = WholePicture) {
  if (variant.checkAt == RegistrationCheckAt::First) RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return {};
  if (variant.checkAt == RegistrationCheckAt::AfterAcquire) RegistrationCheck();
  const int64_t height = reader.Height;
  const FrameArea area = areaOf(reader.Width, height);
  FrameRun run;
  {
    PictureWriter writer;
    const bool made = variant.writerFrom == WriterFrom::Reader ? writer.NewPictureWriter(reader)
                                                               : writer.NewPictureWriter(reader.Width, height);
    if (made) {
      if (variant.checkAt == RegistrationCheckAt::AfterWriter) RegistrationCheck();
      SkipRows(writer, reader, area.top, height);
      WalkArea(writer, reader, area, kernel);
      run = {true, writer.RenderPictureWriter()};
    }
    reader.clear();
  }
  return run;
}

// The frame of the filters: the rendered writer, or nil.
template <class Kernel, class AreaOf = FrameArea (*)(int64_t, int64_t)>
REALpictureStruct* RunFilterFrame(REALpictureStruct* pic, FrameVariant variant, const Kernel& kernel,
                                  const AreaOf& areaOf = WholePicture) {
  return RunFrame(pic, variant, kernel, areaOf).result;
}

// A kernel made of a colour rule alone, stored with the opaque write.
template <class ColourRule>
struct ColourKernel {
  ColourRule rule;

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    MapRowOpaque<S, D>(source, destination, width, rule);
  }
};

template <class ColourRule>
ColourKernel(ColourRule) -> ColourKernel<ColourRule>;

// Calls body(LayoutTag<L>{}...) with the layout of each editor, in order.
template <class Body>
inline void WithLayoutsOf(Body&& body) {
  body();
}

template <class Body, class... Editors>
inline void WithLayoutsOf(Body&& body, const PictureEditor& first, const Editors&... rest) {
  WithLayout(first.pictureType, [&](auto tag) { WithLayoutsOf([&](auto... tags) { body(tag, tags...); }, rest...); });
}

// Several sources walked in step with a writer made by size, each read by
// its own layout: the writer's rows and columns, a row of every source to a
// row of the writer. The kernel's rule over one row is
//
//   template <PixelLayout D, PixelLayout... S>
//   void PixelRow(uint32_t* destination, const uint32_t*... sources, int64_t width) const;
//
// with one source row per reader, in the order given. Where vector rows pay,
// the kernel names their type as VectorStepRow (a function of the same
// arguments and the kernel) and gives them, for known layouts, by
//
//   template <PixelLayout D, PixelLayout... S>
//   VectorStepRow VectorRowAt(VectorLevel level) const;
//
// as the one-source kernels do. Every source holds at least the writer's
// width. At the end of a row the writer steps first, then the readers in
// order.
template <class Kernel, class = void>
struct HasVectorStepRows : std::false_type {};
template <class Kernel>
struct HasVectorStepRows<Kernel, std::void_t<typename Kernel::VectorStepRow>> : std::true_type {};

template <class Kernel, PixelLayout D, PixelLayout... S>
auto VectorStepRowOf(const Kernel& kernel, VectorLevel level) {
  if constexpr (HasVectorStepRows<Kernel>::value) {
    constexpr bool known = D != PixelLayout::Unknown && ((S != PixelLayout::Unknown) && ...);
    if constexpr (known) return kernel.template VectorRowAt<D, S...>(level);
    if constexpr (!known) return typename Kernel::VectorStepRow{nullptr};
  } else {
    return nullptr;
  }
}

template <class Kernel, class... Readers>
void WalkInStep(PictureWriter& writer, const Kernel& kernel, Readers&... readers) {
  const int64_t width = writer.Width, rows = writer.Height;
  const VectorLevel level = VectorLevelInUse();
  WithLayoutsOf(
      [&](auto destination, auto... sources) {
        constexpr PixelLayout D = decltype(destination)::value;
        const auto vectorRow = VectorStepRowOf<Kernel, D, decltype(sources)::value...>(kernel, level);
        for (int64_t row = 0; row < rows; ++row) {
          int64_t done = 0;
          if constexpr (HasVectorStepRows<Kernel>::value) {
            if (vectorRow) done = vectorRow(writer.base, readers.base..., width, kernel);
          }
          kernel.template PixelRow<D, decltype(sources)::value...>(writer.base + done, (readers.base + done)...,
                                                                   width - done);
          StepRow(writer);
          (StepRow(readers), ...);
        }
      },
      writer, readers...);
}
