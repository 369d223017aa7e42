#include "binding/adapters.h"

#include <cstdlib>
#include <cstring>

#include "binding/diagnostics.h"
#include "binding/host_strings.h"
#include "binding/wrappers.h"
#include "qvl/encodings.h"

const char EmptyBuffer[4] = {};
const uint16_t EmptyBufferUInt16[4] = {};
const uint32_t EmptyBufferUInt32[4] = {};

rbData::rbData(REALstringStruct* str) {
  if (!str) return;
  REALLockString(str);
  string = str;
  size_t length = 0;
  data = const_cast<char*>(REALGetStringContents(str, &length));
  size = int64_t(length);
  if (!data && size != 0) {
    size = 0;
    TraceWord("data is NULL, so size fixed to zero.");
  }
}

rbData::rbData(REALmemoryBlockStruct* block, uint32_t, uint32_t) {
  memoryBlock = block;
  REALLockObject(reinterpret_cast<REALobjectStruct*>(block));
  int64_t blockSize = REALMemoryBlockGetSize(block);
  if (blockSize < 0) blockSize = 0;
  if (!block) return;
  if (void* address = REALMemoryBlockGetPtr(block)) {
    data = address;
    size = blockSize;
  }
}

rbData::~rbData() {
  if (string) REALUnlockString(string);
  string = nullptr;
  if (memoryBlock) REALUnlockObject(reinterpret_cast<REALobjectStruct*>(memoryBlock));
  memoryBlock = nullptr;
  if (disposeRecord) {
    TraceWord("REALDisposeStringData");
    REALDisposeStringData(&record);
  }
  record = REALstringData{};
  disposeRecord = false;
  data = nullptr;
  size = 0;
}

namespace {

// Whether a byte count with room for a four-byte terminator still fits.
bool RoomForTerminator(int64_t size) {
  int64_t sum;
  return !__builtin_add_overflow(size, 4, &sum) && sum > 0;
}

bool HasHighBit(const rbData& view) {
  const auto* bytes = static_cast<const uint8_t*>(view.data);
  for (int64_t i = 0; i < view.size; ++i) {
    if (bytes[i] & 0x80) return true;
  }
  return false;
}

}  // namespace

rbText::rbText(REALstringStruct* str) : check1(kCheckWord), check2(kCheckWord) {
  SetEmpty();
  if (!str) return;
  REALLockString(str);
  strings[0] = str;
  encoding = REALGetStringEncoding(str);
  for (int64_t& length : lengths) length = -1;
  state = kUnknown;
  switch (encoding) {
    case kREALTextEncodingMacRoman:
    case kREALTextEncodingISOLatin1:
    case kREALTextEncodingWindowsLatin1:
      state = kSingleByteOrUTF8;
      break;
    case kREALTextEncodingASCII:
    case kREALTextEncodingUTF8: {
      state = kSingleByteOrUTF8;
      size_t length = 0;
      if (const char* bytes = REALGetStringContents(str, &length)) {
        views[kUTF8View] = bytes;
        lengths[kUTF8View] = int64_t(length);
        if (encoding == kREALTextEncodingASCII) {
          views[kASCIIView] = bytes;
          lengths[kASCIIView] = int64_t(length);
        }
      }
      break;
    }
    case kREALTextEncodingUnicodeDefault:
    case kREALTextEncodingUTF32:
    case kREALTextEncodingUTF16BE:
    case kREALTextEncodingUTF16LE:
    case kREALTextEncodingUTF32BE:
    case kREALTextEncodingUTF32LE:
      state = kNotASCII;
      break;
    case kREALTextEncodingUnknown:
      state = kSingleByteOrUTF8;
      TakeUnknownText();
      break;
    default:
      break;
  }
}

// Raw bytes that are not pure ASCII are built again as Mac Roman text.
void rbText::TakeUnknownText() {
  CheckASCII();
  if (state == kPureASCII) return;
  rbData view(strings[0]);
  if (!RoomForTerminator(view.size)) {
    TraceWord("Out of Memory.");
    failed = true;
    return;
  }
  if (view.size == 0) {
    ReleaseAll();
    SetEmpty();
    return;
  }
  REALstringStruct* built = REALBuildUnicodeString(view.data, view.size, kREALTextEncodingMacRoman);
  if (built && built != strings[0]) {
    REALLockString(built);
    REALUnlockString(strings[0]);
    strings[0] = built;
    encoding = REALGetStringEncoding(built);
  }
  state = kNotASCII;
  if (built) REALUnlockString(built);
  TraceWord("REALBuildUnicodeString failed");
  failed = true;
}

void rbText::CheckASCII() {
  if (state != kSingleByteOrUTF8) return;
  {
    rbData view(strings[0]);
    if (HasHighBit(view)) {
      state = kNotASCII;
      return;
    }
  }
  state = kPureASCII;
  size_t length = 0;
  const char* bytes = strings[0] ? REALGetStringContents(strings[0], &length) : nullptr;
  if (!bytes) bytes = EmptyBuffer;
  for (int view = 0; view <= 4; ++view) {
    lengths[view] = int64_t(length);
    views[view] = bytes;
    owned[view] = nullptr;
  }
}

const char* rbText::GetUTF8() {
  if (lengths[kUTF8View] >= 0) return static_cast<const char*>(views[kUTF8View]);
  lengths[kUTF8View] = 0;
  views[kUTF8View] = EmptyBuffer;
  if (!strings[0]) return EmptyBuffer;
  CheckASCII();
  if (state == kPureASCII) return static_cast<const char*>(views[kUTF8View]);
  REALstringData& record = records[kUTF8View];
  if (REALGetStringData(strings[0], kREALTextEncodingUTF8, &record)) {
    disposeRecords[kUTF8View] = true;
    // A host that hands back no address for empty text leaves the view empty.
    if (record.data) {
      views[kUTF8View] = record.data;
      lengths[kUTF8View] = record.length;
    }
  } else {
    TraceWord("REALGetStringData failed.");
    failed = true;
  }
  const auto* text = static_cast<const char*>(views[kUTF8View]);
  int64_t length = lengths[kUTF8View];
  if (length > 0 && text[length] != 0) {
    TraceWord("String is not zero terminated. Fixed.");
    char* copy = RoomForTerminator(length) ? static_cast<char*>(std::calloc(size_t(length) + 4, 1)) : nullptr;
    if (copy) {
      std::memcpy(copy, text, size_t(length));
      owned[kUTF8View] = copy;
      views[kUTF8View] = copy;
    } else {
      TraceWord("Out of memory");
      views[kUTF8View] = EmptyBuffer;
      lengths[kUTF8View] = 0;
    }
  }
  return static_cast<const char*>(views[kUTF8View]);
}

rbText::~rbText() {
  if (check1 != kCheckWord) TraceUInt64("Check1 in rbText invalid", check1);
  if (check2 != kCheckWord) TraceUInt64("Check2 in rbText invalid", check2);
  ReleaseAll();
  SetEmpty();
}

void rbText::ReleaseAll() {
  for (REALstringStruct*& str : strings) {
    if (str) REALUnlockString(str);
    str = nullptr;
  }
  for (int view = 0; view < kViews; ++view) {
    if (disposeRecords[view]) REALDisposeStringData(&records[view]);
    disposeRecords[view] = false;
    std::free(owned[view]);
    owned[view] = nullptr;
  }
}

// The valid empty text: no string, every view empty and zero-terminated.
void rbText::SetEmpty() {
  for (REALstringStruct*& str : strings) str = nullptr;
  for (int view = 0; view < kViews; ++view) {
    lengths[view] = 0;
    owned[view] = nullptr;
    records[view] = REALstringData{};
    disposeRecords[view] = false;
  }
  for (int view = 0; view <= 4; ++view) views[view] = EmptyBuffer;
  views[5] = EmptyBufferUInt16;
  views[6] = EmptyBufferUInt32;
  failed = false;
  encoding = kREALTextEncodingASCII;
  state = kPureASCII;
  reserved = 0;
}
