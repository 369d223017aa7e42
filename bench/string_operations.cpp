// The binary picture string: encoding a layout's opaque source and decoding
// its string, each held to a floor of the same work without the pixel
// shuffle.
#include <cstdlib>
#include <cstring>

#include "binding/host_strings.h"
#include "harness.h"
#include "qvl/encodings.h"
#include "strings/picture_string.h"

namespace {

constexpr int64_t kHeaderBytes = 40;
constexpr const char* kStringFloor = "floor (string)";
// Encoding and decoding take at most 1.5 times the floor.
constexpr double kStringBound = 1.5;

// The floor of encoding: the picture's rows locked, a zeroed buffer of the
// string's size, three quarters of every row copied into it with memcpy,
// the host string built from it and released.
bool RunStringFloor(REALpictureStruct* source) {
  const LockedRows rows(source);
  if (!rows.ok()) return false;
  const size_t rowBytes = size_t(rows.width()) * 3;
  const size_t total = kHeaderBytes + rowBytes * size_t(rows.height());
  auto* bytes = static_cast<uint8_t*>(std::calloc(total, 1));
  if (!bytes) return false;
  for (int64_t y = 0; y < rows.height(); ++y)
    std::memcpy(bytes + kHeaderBytes + size_t(y) * rowBytes, rows.Row(y), rowBytes);
  REALstringStruct* text = REALBuildUnicodeString(bytes, int64_t(total), kREALTextEncodingUnknown);
  std::free(bytes);
  if (!text) return false;
  qvlhost::Release(text);
  return true;
}

// The encoded opaque source of the current layout, made on first use in it
// (within the first repetition, which the median leaves out). Layouts are
// measured one after the other, and the host that held the string of the
// previous layout is gone.
REALstringStruct* LayoutString() {
  static const BenchLayout* layout = nullptr;
  static REALstringStruct* text = nullptr;
  if (layout != &CurrentLayout()) {
    text = PicturetoBinaryString(SourcePicture(SourceKind::Opaque));
    layout = &CurrentLayout();
  }
  return text;
}

template <class Result>
bool Released(Result* result) {
  if (!result) return false;
  qvlhost::Release(result);
  return true;
}

}  // namespace

void AddStringOperations() {
  AddMeasure({kStringFloor, MeasureKind::Floor, SourceKind::Opaque, "", RunStringFloor});
  AddMeasure({"PicturetoBinaryString",
              MeasureKind::Operation,
              SourceKind::Opaque,
              "",
              [](REALpictureStruct* source) { return Released(PicturetoBinaryString(source)); },
              kStringFloor,
              {},
              kStringBound});
  AddMeasure({"BinaryStringtoPicture",
              MeasureKind::Operation,
              SourceKind::Opaque,
              "",
              [](REALpictureStruct*) { return Released(BinaryStringtoPicture(LayoutString())); },
              "",
              {},
              kStringBound});
}
