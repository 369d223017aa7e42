// Entry points on pictures: making them, locking their storage description,
// their kind and their cache.
#include <cstring>

#include "host_internal.h"

namespace qvlhost {

namespace {

bool DescribeStorage(Picture* picture, REALpictureDescription* description, uint32_t pictureType) {
  if (picture->IsVector()) return false;
  bool coreGraphics = picture->cgPixels != nullptr;
  if (pictureType == pictureCGBitmapContext && coreGraphics) {
    description->pictureData = &picture->context;
    description->depth = static_cast<int32_t>(picture->storage.bitsPerPixel);
  } else if (pictureType == pictureGDImagePtr && picture->gd) {
    description->pictureData = picture->gd;
    description->depth = 32;
  } else {
    return false;
  }
  description->pictureType = pictureType;
  description->width = static_cast<int32_t>(picture->width);
  description->height = static_cast<int32_t>(picture->height);
  return true;
}

}  // namespace

namespace entries {

REALpictureStruct* REALNewPicture(int64_t width, int64_t height, int32_t depth) {
  (void)depth;  // every picture the host makes is 32-bit; the plug-in always asks for 32
  return NewPicture(width, height);
}

// Mode 1: the buffer holds rows of 32-bit pixel words in the host's storage layout.
REALpictureStruct* REALBuildPictureFromBuffer(int32_t width, int32_t height, int32_t mode, void* buffer,
                                              int32_t bytesPerRow) {
  if (mode != 1 || !buffer || width < 1 || height < 1 || bytesPerRow < int64_t(width) * 4) return nullptr;
  Picture* picture = MakePicture(width, height, State().config.storage);
  if (!picture) return nullptr;
  const auto* bytes = static_cast<const uint8_t*>(buffer);
  for (int32_t y = 0; y < height; ++y) {
    for (int32_t x = 0; x < width; ++x) {
      uint32_t word;
      std::memcpy(&word, bytes + static_cast<int64_t>(y) * bytesPerRow + x * 4, 4);
      WriteWord(picture, x, y, word);
    }
  }
  return HandleOf<REALpictureStruct>(picture);
}

bool REALLockPictureDescription(REALpictureStruct* handle, REALpictureDescription* description, uint32_t pictureType) {
  Picture* picture = Live<Picture>(handle, "REALLockPictureDescription");
  if (!picture || !description || !DescribeStorage(picture, description, pictureType)) return false;
  ++picture->descriptionLocks;
  return true;
}

void REALUnlockPictureDescription(REALpictureStruct* handle) {
  Picture* picture = Live<Picture>(handle, "unlockPictureDescription");
  if (!picture) return;
  if (picture->descriptionLocks == 0) {
    AddProblem("unlockPictureDescription: " + picture->Describe() + " has no description locked");
    return;
  }
  --picture->descriptionLocks;
}

int64_t REALGetPictureType(REALpictureStruct* handle) {
  Picture* picture = Live<Picture>(handle, "PluginPictureGetType");
  return picture ? picture->kind : 2;
}

void REALPictureClearCache(REALpictureStruct* handle) {
  if (Picture* picture = Live<Picture>(handle, "REALPictureClearCache")) ++picture->cacheClears;
}

}  // namespace entries

}  // namespace qvlhost
