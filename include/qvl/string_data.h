// The host's string data record, filled by REALGetStringData.
#pragma once

#include <cstdint>

struct REALstringData {
  const void* data;  // the text in the asked encoding
  int64_t length;    // its length in bytes
  uint64_t reserved[5];
};
