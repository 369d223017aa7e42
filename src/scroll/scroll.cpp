#include "scroll/scroll.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "binding/diagnostics.h"
#include "binding/scope_guards.h"
#include "picture/masks.h"
#include "picture/picture_editor.h"
#include "picture/row_walk.h"
#include "registrationclient/registration_check.h"
#include "scroll/row_block.h"

namespace {

constexpr int kFillByte = 0xFF;
constexpr int64_t kPixelBytes = 4;
// Unit of the positive horizontal scroll without wrap: two pixels.
constexpr int64_t kUnitBytes = 8;

// A buffer from malloc, given back with free. Every byte read from it was
// written first, so it needs no clearing.
class ScrollBuffer {
 public:
  explicit ScrollBuffer(int64_t bytes)
      : bytes_(bytes > 0 ? static_cast<uint8_t*>(std::malloc(static_cast<size_t>(bytes))) : nullptr) {}
  ~ScrollBuffer() { std::free(bytes_); }
  ScrollBuffer(const ScrollBuffer&) = delete;
  ScrollBuffer& operator=(const ScrollBuffer&) = delete;
  uint8_t* get() const { return bytes_; }

 private:
  uint8_t* bytes_;
};

// The shortest way round, apart from a distance of exactly half the size.
int64_t ReducedDistance(int64_t delta, int64_t size) {
  if (size <= 0) return 0;
  const int64_t half = size / 2;
  int64_t r = delta % size;
  if (r >= half) r -= size;
  if (r <= -half) r += size;
  return r;
}

// The start of every worker once delta is not 0: the registration check and
// the picture locked for reading and writing.
bool AcquireForScroll(PictureEditor& editor, REALpictureStruct* pic) {
  RegistrationCheck();
  TraceWord("GetPictureEditor");
  return editor.GetPictureEditor(pic, true, true);
}

bool ScrollVerticalWrap(REALpictureStruct* pic, int64_t delta) {
  if (delta == 0) return true;
  PictureEditor editor;
  if (!AcquireForScroll(editor, pic)) return false;
  const RowBlock block(editor);
  const int64_t height = block.Rows();
  const int64_t d = ReducedDistance(delta, height);
  if (d > 0) {
    // The buffer is taken for rows 0 .. H - d - 1, which go down by d while
    // the last d rows go to the top; the smaller part waits in it.
    ScrollBuffer buffer((height - d) * block.RowBytes());
    if (!buffer.get()) return false;
    if (d <= height - d) {
      block.RowsToBuffer(height - d, d, buffer.get());
      block.MoveRows(0, d, height - d);
      block.BufferToRows(buffer.get(), 0, d);
    } else {
      block.RowsToBuffer(0, height - d, buffer.get());
      block.MoveRows(height - d, 0, d);
      block.BufferToRows(buffer.get(), d, height - d);
    }
  } else if (d < 0) {
    // The buffer is taken for the whole picture, though only n rows wait in it.
    const int64_t n = -d;
    ScrollBuffer buffer(height * block.RowBytes());
    if (!buffer.get()) return false;
    block.RowsToBuffer(0, n, buffer.get());
    block.MoveRows(n, 0, height - n);
    block.BufferToRows(buffer.get(), height - n, n);
  }
  editor.clear();
  return true;
}

bool ScrollVertical(REALpictureStruct* pic, int64_t delta) {
  if (delta == 0) return true;
  PictureEditor editor;
  if (!AcquireForScroll(editor, pic)) return false;
  const RowBlock block(editor);
  const int64_t height = block.Rows();
  if (delta >= height || delta <= -height) {
    block.FillRows(0, height);
  } else if (delta > 0) {
    block.MoveRows(0, delta, height - delta);
    block.FillRows(0, delta);
  } else {
    const int64_t n = -delta;
    block.MoveRows(n, 0, height - n);
    block.FillRows(height - n, n);
  }
  editor.clear();
  return true;
}

void ScrollHorizontalWrap(REALpictureStruct* pic, int64_t delta) {
  if (delta == 0) return;
  PictureEditor editor;
  if (!AcquireForScroll(editor, pic)) return;
  const int64_t width = editor.Width;
  const int64_t d = ReducedDistance(delta, width);
  if (d != 0) {
    ScrollBuffer buffer(width * kPixelBytes);
    if (!buffer.get()) return;
    // Each row turns left by `ahead` bytes: the first W - d pixels for a
    // move right, the first n for a move left go to its end. The smaller
    // part waits in the buffer while the other is moved.
    const int64_t ahead = (d > 0 ? width - d : -d) * kPixelBytes;
    const int64_t behind = width * kPixelBytes - ahead;
    for (int64_t y = 0; y < editor.Height; ++y) {
      auto* row = reinterpret_cast<uint8_t*>(editor.base);
      if (ahead <= behind) {
        std::memcpy(buffer.get(), row, ahead);
        std::memmove(row, row + ahead, behind);
        std::memcpy(row + behind, buffer.get(), ahead);
      } else {
        std::memcpy(buffer.get(), row + ahead, behind);
        std::memmove(row + behind, row, ahead);
        std::memcpy(row, buffer.get(), behind);
      }
      StepRow(editor);
    }
  }
  editor.clear();
}

// The positive scroll in units of two pixels gives, row by row from the
// top, what this gives in one pass that moves each byte once. With R bytes a
// row, the last P of them padding, and D = 8 delta, a row's move reaches
// 2R - 2P bytes from its start. So row k, before its own move, holds S: the
// last D bytes of the row above's S (the carry), then its own bytes moved on
// by D up to R - 2P, then its own bytes. Its move leaves the fill, S from
// 4 delta to D, then S from 0 moved on by D. Row 0 holds its own bytes.
// False, with nothing changed, where D is above R / 2 or R - 2P, or no
// carry buffer is available.
bool ScrollRightInOnePass(PictureEditor& editor, int64_t delta) {
  const int64_t rowBytes = editor.BytesPerRow, padding = rowBytes - editor.Width * kPixelBytes;
  const int64_t distance = delta * kUnitBytes, filled = delta * kPixelBytes;
  if (padding < 0 || 2 * distance > rowBytes || distance + 2 * padding > rowBytes) return false;
  ScrollBuffer buffer(2 * distance);
  if (!buffer.get()) return false;
  uint8_t* carry = buffer.get();
  uint8_t* nextCarry = carry + distance;
  const int64_t reached = rowBytes - 2 * padding;
  const int64_t carriedMoved = std::min(std::max<int64_t>(distance - 2 * padding, 0), distance);
  const int64_t ownMoved = std::min(reached, rowBytes - distance) - distance;
  for (int64_t y = 0; y < editor.Height; ++y) {
    auto* row = reinterpret_cast<uint8_t*>(editor.base);
    if (y == 0) {
      std::memcpy(nextCarry, row + rowBytes - distance, distance);
      std::memmove(row + distance, row, rowBytes - distance);
    } else {
      std::memcpy(nextCarry, row + rowBytes - 2 * distance, carriedMoved);
      std::memcpy(nextCarry + carriedMoved, row + rowBytes - distance + carriedMoved, distance - carriedMoved);
      if (2 * padding > distance) std::memmove(row + reached + distance, row + reached, 2 * padding - distance);
      if (ownMoved > 0) std::memmove(row + 2 * distance, row, ownMoved);
      std::memcpy(row + distance, carry, distance);
      std::memcpy(row + filled, carry + filled, distance - filled);
    }
    std::memset(row, kFillByte, filled);
    std::swap(carry, nextCarry);
    StepRow(editor);
  }
  return true;
}

void ScrollHorizontal(REALpictureStruct* pic, int64_t delta) {
  if (delta == 0) return;
  PictureEditor editor;
  if (!AcquireForScroll(editor, pic)) return;
  const RowBlock block(editor);
  const int64_t width = editor.Width;
  if (delta >= width || delta <= -width) {
    block.FillRows(0, block.Rows());
  } else if (delta < 0) {
    const int64_t n = -delta;
    for (int64_t y = 0; y < editor.Height; ++y) {
      auto* row = reinterpret_cast<uint8_t*>(editor.base);
      std::memmove(row, row + n * kPixelBytes, (width - n) * kPixelBytes);
      std::memset(row + (width - n) * kPixelBytes, kFillByte, n * kPixelBytes);
      StepRow(editor);
    }
  } else if (!ScrollRightInOnePass(editor, delta)) {
    // Units of two pixels: the content moves by 2 * delta pixels, reaching
    // into the next row, and only delta pixels are filled. Rows go from the
    // top, so each row starts out with what the row above pushed into it.
    for (int64_t y = 0; y < editor.Height; ++y) {
      block.MoveForward(y * block.RowBytes(), (width - delta) * kUnitBytes, delta * kUnitBytes);
      std::memset(editor.base, kFillByte, delta * kPixelBytes);
      StepRow(editor);
    }
  }
  editor.clear();
}

// Runs the worker on the picture's mask, if it has one; the worker's answer,
// or true without a mask.
template <class Worker>
bool ScrollMask(REALpictureStruct* pic, Worker worker) {
  REALpictureStruct* mask = MyREALGetPictureMask(pic, false);
  if (!mask) return true;
  auto* held = reinterpret_cast<REALobjectStruct*>(mask);
  rbFreeLater release(&held, nullptr);
  return worker(mask);
}

}  // namespace

bool ScrollVerticalQVL(REALpictureStruct* pic, int64_t delta, bool wrap, bool scrollmask) {
  const auto worker = [wrap, delta](REALpictureStruct* picture) {
    return wrap ? ScrollVerticalWrap(picture, delta) : ScrollVertical(picture, delta);
  };
  if (scrollmask && !ScrollMask(pic, worker)) return false;
  return worker(pic);
}

bool ScrollHorizontalQVL(REALpictureStruct* pic, int64_t delta, bool wrap, bool scrollmask) {
  const auto worker = [wrap, delta](REALpictureStruct* picture) {
    if (wrap) {
      ScrollHorizontalWrap(picture, delta);
    } else {
      ScrollHorizontal(picture, delta);
    }
    return true;
  };
  if (scrollmask) ScrollMask(pic, worker);
  worker(pic);
  return true;
}

bool ScrollQVL(REALpictureStruct* pic, int64_t deltaX, int64_t deltaY, bool wrap, bool scrollmask) {
  ScrollHorizontalQVL(pic, deltaX, wrap, scrollmask);
  return ScrollVerticalQVL(pic, deltaY, wrap, scrollmask);
}
