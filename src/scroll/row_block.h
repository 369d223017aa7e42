// A picture's pixel memory as Height rows of BytesPerRow bytes, reckoned as
// one block from row 0, for operations that move content in place. Core
// Graphics rows lie in one block, padding included; gd rows are separate
// blocks found through the row table. So every fill and move goes row by row,
// a range is split where a row ends, and nothing beyond the last row is read
// or written.
#pragma once

#include <cstdint>

#include "picture/picture_editor.h"

class RowBlock {
 public:
  explicit RowBlock(const PictureEditor& editor);

  int64_t RowBytes() const { return rowBytes_; }
  int64_t Rows() const { return rows_; }
  uint8_t* Row(int64_t row) const;

  // Sets every byte of `count` rows from `first` to 0xFF.
  void FillRows(int64_t first, int64_t count) const;
  // Copies `count` rows from row `from` to row `to`, as if all were read
  // before any was written.
  void MoveRows(int64_t from, int64_t to, int64_t count) const;
  void RowsToBuffer(int64_t first, int64_t count, uint8_t* buffer) const;
  void BufferToRows(const uint8_t* buffer, int64_t first, int64_t count) const;
  // Moves `length` bytes from `offset` to `offset + distance` (distance
  // above 0), as if all were read before any was written. Bytes that would
  // land beyond the last row are dropped.
  void MoveForward(int64_t offset, int64_t length, int64_t distance) const;

 private:
  uint8_t* At(int64_t offset) const { return Row(offset / rowBytes_) + offset % rowBytes_; }
  // Bytes of the row holding offset - 1 that lie before offset.
  int64_t BytesBefore(int64_t offset) const { return (offset - 1) % rowBytes_ + 1; }

  uint32_t** rowTable_;  // gd: the image's rows; null for one block
  uint8_t* base_;
  int64_t rowBytes_;
  int64_t rows_;
};
