#include "scroll/row_block.h"

#include <algorithm>
#include <cstring>

namespace {
constexpr uint32_t kGDPictureType = 8;
constexpr int kFillByte = 0xFF;
}  // namespace

RowBlock::RowBlock(const PictureEditor& editor)
    : rowTable_(editor.pictureType == kGDPictureType ? editor.tpixels : nullptr),
      base_(reinterpret_cast<uint8_t*>(editor.Pixelbase)),
      rowBytes_(editor.BytesPerRow),
      rows_(editor.Height) {}

uint8_t* RowBlock::Row(int64_t row) const {
  if (rowTable_) return reinterpret_cast<uint8_t*>(rowTable_[row]);
  return base_ + row * rowBytes_;
}

// Rows in one block are filled and moved with one call; gd rows one by one.
void RowBlock::FillRows(int64_t first, int64_t count) const {
  if (!rowTable_) {
    if (count > 0) std::memset(Row(first), kFillByte, count * rowBytes_);
    return;
  }
  for (int64_t row = first; row < first + count; ++row) std::memset(Row(row), kFillByte, rowBytes_);
}

void RowBlock::MoveRows(int64_t from, int64_t to, int64_t count) const {
  if (!rowTable_) {
    if (count > 0) std::memmove(Row(to), Row(from), count * rowBytes_);
  } else if (to < from) {
    for (int64_t k = 0; k < count; ++k) std::memmove(Row(to + k), Row(from + k), rowBytes_);
  } else {
    for (int64_t k = count - 1; k >= 0; --k) std::memmove(Row(to + k), Row(from + k), rowBytes_);
  }
}

void RowBlock::RowsToBuffer(int64_t first, int64_t count, uint8_t* buffer) const {
  if (!rowTable_) {
    if (count > 0) std::memcpy(buffer, Row(first), count * rowBytes_);
    return;
  }
  for (int64_t k = 0; k < count; ++k) std::memcpy(buffer + k * rowBytes_, Row(first + k), rowBytes_);
}

void RowBlock::BufferToRows(const uint8_t* buffer, int64_t first, int64_t count) const {
  if (!rowTable_) {
    if (count > 0) std::memcpy(Row(first), buffer, count * rowBytes_);
    return;
  }
  for (int64_t k = 0; k < count; ++k) std::memcpy(Row(first + k), buffer + k * rowBytes_, rowBytes_);
}

// One move in one block; for gd from the end backwards, in pieces that lie
// within one row at both ends: each byte is read before the move reaches the
// place it is written to.
void RowBlock::MoveForward(int64_t offset, int64_t length, int64_t distance) const {
  const int64_t size = rows_ * rowBytes_;
  int64_t remaining = std::min(length, size - offset - distance);
  if (!rowTable_) {
    if (remaining > 0) std::memmove(base_ + offset + distance, base_ + offset, remaining);
    return;
  }
  while (remaining > 0) {
    const int64_t sourceEnd = offset + remaining;
    const int64_t destinationEnd = sourceEnd + distance;
    const int64_t piece = std::min({remaining, BytesBefore(sourceEnd), BytesBefore(destinationEnd)});
    std::memmove(At(destinationEnd - piece), At(sourceEnd - piece), piece);
    remaining -= piece;
  }
}
