// The filter frame: a reader on the source, a writer of the same size, a
// walk of both row by row, then the writer rendered as the result. The
// layouts of source and destination are resolved once per call into a
// template instance, so the pixel loop holds no test of them and no call.
#pragma once

#include <type_traits>

#include "picture/picture_editor.h"
#include "picture/pixels.h"
#include "registrationclient/registration_check.h"

template <PixelLayout L>
using LayoutTag = std::integral_constant<PixelLayout, L>;

// Calls body(LayoutTag<S>{}) for the layout of pictureType.
template <class Body>
inline void WithLayout(uint32_t pictureType, Body&& body) {
  switch (LayoutOf(pictureType)) {
    case PixelLayout::RGBA:
      body(LayoutTag<PixelLayout::RGBA>{});
      break;
    case PixelLayout::ARGB:
      body(LayoutTag<PixelLayout::ARGB>{});
      break;
    case PixelLayout::GD:
      body(LayoutTag<PixelLayout::GD>{});
      break;
    case PixelLayout::Unknown:
      body(LayoutTag<PixelLayout::Unknown>{});
      break;
  }
}

// Calls body(LayoutTag<S>{}, LayoutTag<D>{}) for a source and a destination.
template <class Body>
inline void WithLayouts(uint32_t sourceType, uint32_t destinationType, Body&& body) {
  WithLayout(sourceType,
             [&](auto source) { WithLayout(destinationType, [&](auto destination) { body(source, destination); }); });
}

// A source of unknown layout gives all-zero channels and its pointer stays:
// reading index 0 of a zero word does both at once.
template <PixelLayout S>
inline Channels ReadAt(const uint32_t* row, int64_t column) {
  return S == PixelLayout::Unknown ? Channels{0, 0, 0, 0} : ReadPixel<S>(row[column]);
}

// Pixels are taken in blocks of this many: each block is loaded before any
// of it is stored, which lets the compiler run a block in vector registers
// even where source and destination could be one picture.
constexpr int64_t kPixelBlock = 8;

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

// Steps both editors to their next row, writer first, as the walk does.
inline void StepRows(PictureWriter& writer, PictureReader& reader) {
  writer.base = writer.GetRow(writer.y + 1);
  reader.base = reader.GetRow(reader.y + 1);
}

enum class RegistrationCheckAt { First, AfterAcquire };

// Runs the whole frame with a row function called as
// rowFunction(LayoutTag<S>{}, LayoutTag<D>{}, source, destination, width).
// Returns the rendered writer, or nil.
template <class RowFunction>
REALpictureStruct* RunFilterFrame(REALpictureStruct* pic, RegistrationCheckAt checkAt, const RowFunction& rowFunction) {
  if (checkAt == RegistrationCheckAt::First) RegistrationCheck();
  PictureReader reader(pic);
  if (!reader.picture) return nullptr;
  if (checkAt == RegistrationCheckAt::AfterAcquire) RegistrationCheck();
  const int64_t width = reader.Width;
  const int64_t height = reader.Height;
  REALpictureStruct* result = nullptr;
  {
    PictureWriter writer;
    if (writer.NewPictureWriter(reader)) {
      WithLayouts(reader.pictureType, writer.pictureType, [&](auto source, auto destination) {
        for (int64_t row = 0; row < height; ++row) {
          if (width > 0) rowFunction(source, destination, reader.base, writer.base, width);
          StepRows(writer, reader);
        }
      });
      result = writer.RenderPictureWriter();
    }
    reader.clear();
  }
  return result;
}

// The frame for a colour rule with the opaque write, the shape of most filters.
template <class ColourRule>
REALpictureStruct* RunColourFilter(REALpictureStruct* pic, RegistrationCheckAt checkAt, const ColourRule& rule) {
  return RunFilterFrame(pic, checkAt,
                        [&](auto source, auto destination, const uint32_t* from, uint32_t* to, int64_t width) {
                          MapRowOpaque<decltype(source)::value, decltype(destination)::value>(from, to, width, rule);
                        });
}
