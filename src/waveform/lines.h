// Antialiased lines drawn into a writer, and the pen of host graphics objects
// for outlines the host draws itself.
#pragma once

#include <cstdint>

#include "picture/picture_editor.h"
#include "picture/row_walk.h"
#include "qvl/handles.h"

// The colour DrawPixel blends in, each 0..255. RenderSamples sets them at the
// head of every call; they are not parameters.
extern int64_t gOutLineColorR;
extern int64_t gOutLineColorG;
extern int64_t gOutLineColorB;

// A double cut toward zero as the x86-64 conversion gives it: not-a-number
// and values beyond 64 bits become INT64_MIN.
inline int64_t TruncateToInt64(double value) {
  constexpr double kTwoTo63 = 9223372036854775808.0;
  if (!(value >= -kTwoTo63 && value < kTwoTo63)) return INT64_MIN;
  return static_cast<int64_t>(value);
}

// The address of a row inside the picture, as GetRow gives it, without a
// call: the pixel loops of the lines and the body take a row per pixel.
inline uint32_t* RowWithin(PictureEditor& editor, int64_t row) {
  editor.y = row;
  if (editor.pictureType == 8) return editor.tpixels[row];
  return reinterpret_cast<uint32_t*>(reinterpret_cast<uint8_t*>(editor.Pixelbase) + row * editor.BytesPerRow);
}

// Blends the outline colour into one pixel; weight 0..255 is the old pixel's
// share. The old green feeds the new blue and the old blue the new green.
// Pixels outside the picture are skipped.
void DrawPixel(PictureWriter& writer, int64_t x, int64_t y, int64_t weight);

// Wu's antialiased line in integers, walked with rising y. Its extent is
// reckoned in 16 bits (a longer line wraps), and only the far end of a line
// given downward is narrowed to 16 bits. Draws only through DrawPixel.
void DrawWuLine(PictureWriter& writer, int64_t x0, int64_t y0, int64_t x1, int64_t y1);

// The pen of a host graphics object: the double "PenSize" or the double side
// from 2018.02, else the integer side. A pen nobody takes is left as it was.
void SetGraphicsPenWidth(REALgraphicsStruct* graphics, double value);
void SetGraphicsPenHeight(REALgraphicsStruct* graphics, double value);
