// BinaryStringtoPictureQVL through the embedded host: any bytes as a string of
// unknown encoding, decoded by the registered global method in one of the
// seven layouts (picked by the length). A decoded picture must hold the
// string's bytes from the pixel offset on, 0 beyond the string, which
// PicturetoBinaryStringQVL shows; every input must leave the host balanced.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz_host.h"

namespace {

using qvlhost::TypeKind;
using qvlhost::Value;

// A big-endian signed 32-bit field; bytes beyond the string read as 0.
int64_t FieldAt(const std::string& bytes, int64_t at) {
  uint32_t value = 0;
  for (int64_t i = at; i < at + 4; ++i) value = value << 8 | (i < int64_t(bytes.size()) ? uint8_t(bytes[i]) : 0u);
  return int32_t(value);
}

// The pixel bytes a decoded picture must hold: count bytes from offset.
std::string PixelBytesFrom(const std::string& bytes, int64_t offset, int64_t count) {
  std::string pixels(size_t(count), '\0');
  for (int64_t i = 0; i < count; ++i) {
    const int64_t at = offset + i;
    if (at >= 0 && at < int64_t(bytes.size())) pixels[size_t(i)] = bytes[size_t(at)];
  }
  return pixels;
}

void RequireDecodedPixels(const std::string& bytes, REALpictureStruct* picture) {
  const int64_t width = qvlhost::PictureWidth(picture), height = qvlhost::PictureHeight(picture);
  if (width != FieldAt(bytes, 8) || height != FieldAt(bytes, 12)) fuzzhost::Fail("size differs from the header");
  const Value encoded = fuzzhost::CallGlobal("PicturetoBinaryStringQVL", Value::Handle(TypeKind::Picture, picture));
  if (!encoded.handle) fuzzhost::Fail("a decoded picture does not encode");
  const std::string again = qvlhost::StringBytes(static_cast<REALstringStruct*>(encoded.handle));
  qvlhost::ReleaseValue(encoded);
  if (again.size() < 40 || again.substr(40) != PixelBytesFrom(bytes, FieldAt(bytes, 20), width * height * 3))
    fuzzhost::Fail("decoded pixels differ from the string's bytes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<qvlhost::Storage> layouts = qvlhost::Storage::SevenLayouts();
  fuzzhost::FreshHost(layouts[size % layouts.size()]);
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  REALstringStruct* text = qvlhost::NewString(bytes, 0xFFFF);
  const Value picture = fuzzhost::CallGlobal("BinaryStringtoPictureQVL", Value::Handle(TypeKind::String, text));
  qvlhost::Release(text);
  if (picture.handle) RequireDecodedPixels(bytes, static_cast<REALpictureStruct*>(picture.handle));
  qvlhost::ReleaseValue(picture);
  fuzzhost::RequireBalance();
  return 0;
}
