#include "binding/host_strings.h"

#include "binding/diagnostics.h"
#include "binding/exceptions.h"
#include "binding/wrappers.h"
#include "qvl/encodings.h"

namespace {

constexpr int64_t kMaxStringCount = 2147483647;
constexpr double kFirstVersionWithEncodings = 2012.0;

bool HasHighBit(const uint8_t* bytes, int64_t count) {
  uint8_t any = 0;
  for (int64_t i = 0; i < count; ++i) any |= bytes[i];
  return (any & 0x80) != 0;
}

// The encoding the host is given for these bytes.
uint32_t NormalisedEncoding(const void* bytes, int64_t count, uint32_t encoding) {
  switch (encoding) {
    case kREALTextEncodingMacRoman:
    case kREALTextEncodingISOLatin1:
    case kREALTextEncodingWindowsLatin1:
    case kREALTextEncodingUnknown:
      return HasHighBit(static_cast<const uint8_t*>(bytes), count) ? encoding : kREALTextEncodingASCII;
    case kREALTextEncodingASCII:
    case kREALTextEncodingUTF8:
      return encoding;
    default:
      TraceUInt32("Unknown encoding in REALBuildUnicodeString", encoding);
      return encoding;
  }
}

REALstringStruct* BuildWithEncoding(const void* bytes, int64_t count, uint32_t encoding) {
  if (rbversion_rbversion >= kFirstVersionWithEncodings) {
    return REALBuildStringWithEncoding(bytes, int32_t(count), encoding);
  }
  REALstringStruct* built = originalREALBuildString(bytes, int32_t(count));
  if (built) REALSetStringEncoding(built, encoding);
  return built;
}

// UTF-16 is built as such and handed back converted to UTF-8.
REALstringStruct* BuildUTF16AsUTF8(const void* bytes, int64_t count) {
  REALstringStruct* utf16;
  if (rbversion_rbversion >= kFirstVersionWithEncodings) {
    utf16 = REALBuildStringWithEncoding(bytes, int32_t(count), kREALTextEncodingUnicodeDefault);
  } else {
    utf16 = originalREALBuildString(bytes, int32_t(count));
    if (!utf16) {
      TraceWord("Out of memory in REALBuildUnicodeStringUTF16.");
      return nullptr;
    }
    REALSetStringEncoding(utf16, kREALTextEncodingUnicodeDefault);
  }
  REALstringStruct* utf8 = REALConvertString(utf16, kREALTextEncodingUTF8);
  if (utf16) REALUnlockString(utf16);
  return utf8;
}

REALstringStruct* BuildUnicodeString(const void* bytes, int64_t count, uint32_t encoding) {
  if (!bytes || count <= 0) return nullptr;
  if (count > kMaxStringCount) {
    TraceWord("Count too big for REALBuildUnicodeString.");
    return nullptr;
  }
  if (encoding == kREALTextEncodingUnicodeDefault) return BuildUTF16AsUTF8(bytes, count);
  return BuildWithEncoding(bytes, count, NormalisedEncoding(bytes, count, encoding));
}

}  // namespace

REALstringStruct* REALBuildUnicodeString(const void* bytes, int64_t count, uint32_t encoding) {
  return CatchIntoHostException([&] { return BuildUnicodeString(bytes, count, encoding); });
}
