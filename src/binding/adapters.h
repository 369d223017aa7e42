// Views of host strings and memory blocks. Each holds its own reference to
// the handle it views and gives it back when it goes out of scope.
#pragma once

#include <cstdint>

#include "qvl/handles.h"
#include "qvl/string_data.h"

// Read-only zeroes: a view that is empty but valid and zero-terminated in
// each code unit size.
extern const char EmptyBuffer[4];
extern const uint16_t EmptyBufferUInt16[4];
extern const uint32_t EmptyBufferUInt32[4];

// The bytes of a string or memory block, in the host's own memory.
class rbData {
 public:
  explicit rbData(REALstringStruct* str);
  // The offset and length are accepted and ignored: the view is the whole block.
  rbData(REALmemoryBlockStruct* block, uint32_t offset, uint32_t length);
  ~rbData();
  rbData(const rbData&) = delete;
  rbData& operator=(const rbData&) = delete;

  REALstringStruct* string = nullptr;
  REALmemoryBlockStruct* memoryBlock = nullptr;
  REALstringData record{};
  bool disposeRecord = false;
  void* data = nullptr;
  int64_t size = 0;
};

// A string by encoding, with views of its text. View 2 is ASCII, view 3
// UTF-8; views 0 to 4 hold 8-bit text, view 5 16-bit and view 6 32-bit. Check
// words at both ends show, when it goes, whether something wrote over it.
class rbText {
 public:
  static constexpr uint64_t kCheckWord = 0x51564C54;  // "QVLT"
  static constexpr int kViews = 7;
  static constexpr int kUTF8View = 3;
  static constexpr int kASCIIView = 2;

  enum State : uint32_t {
    kUnknown = 0,
    kPureASCII = 1,         // every 8-bit view shares the string's bytes
    kSingleByteOrUTF8 = 2,  // ASCII not tested yet
    kNotASCII = 3,
  };

  explicit rbText(REALstringStruct* str);
  ~rbText();
  rbText(const rbText&) = delete;
  rbText& operator=(const rbText&) = delete;

  // Tests a single-byte or UTF-8 string for pure ASCII and, if so, points
  // every 8-bit view at its bytes.
  void CheckASCII();
  // Zero-terminated UTF-8 text; never null.
  const char* GetUTF8();

  uint64_t check1;
  REALstringStruct* strings[8];
  int64_t lengths[kViews];
  const void* views[kViews];
  void* owned[kViews];
  REALstringData records[kViews];
  bool disposeRecords[kViews];
  bool failed;
  uint32_t encoding;
  uint32_t state;
  uint64_t reserved;
  uint64_t check2;

 private:
  void SetEmpty();
  void ReleaseAll();
  void TakeUnknownText();
};
