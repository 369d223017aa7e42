// Text encodings as 32-bit values of Apple's Text Encoding Converter.
#pragma once

#include <cstdint>

enum : uint32_t {
  kREALTextEncodingMacRoman = 0,
  kREALTextEncodingUnicodeDefault = 0x100,
  kREALTextEncodingISOLatin1 = 0x201,
  kREALTextEncodingWindowsLatin1 = 0x500,
  kREALTextEncodingASCII = 0x600,
  kREALTextEncodingUnknown = 0xFFFF,
  kREALTextEncodingUTF8 = 0x08000100,
  kREALTextEncodingUTF32 = 0x0C000100,
  kREALTextEncodingUTF16BE = 0x10000100,
  kREALTextEncodingUTF16LE = 0x14000100,
  kREALTextEncodingUTF32BE = 0x18000100,
  kREALTextEncodingUTF32LE = 0x1C000100,
};
