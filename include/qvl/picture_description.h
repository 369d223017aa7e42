// The host's picture description, filled by REALLockPictureDescription.
#pragma once

#include <cstdint>

// Storage forms that REALLockPictureDescription can be asked for.
enum : uint32_t {
  pictureCGBitmapContext = 8,
  pictureGDImagePtr = 10,
};

struct REALpictureDescription {
  uint32_t pictureType;  // the storage form, pictureCGBitmapContext or pictureGDImagePtr
  void* pictureData;     // QVLBitmapContext* (or CGContextRef on Apple), or gdImagePtr
  int32_t width;
  int32_t height;
  int32_t depth;
  int32_t reserved0;
  void* reserved1;
  void* reserved2;
};
