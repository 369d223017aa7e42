// Masks: a picture's mask is a picture of its own, held by one reference.
#include "host_internal.h"

namespace qvlhost {

void SetMask(Picture* picture, Picture* mask) {
  if (mask) AddReference(mask);
  Picture* old = picture->mask;
  picture->mask = mask;
  if (old) DropReference(old);
}

Picture* MaskOf(Picture* picture, bool create) {
  if (!picture->mask && create && picture->HasPixels()) {
    Picture* mask = MakePicture(picture->width, picture->height, picture->storage);
    if (!mask) return nullptr;
    FillOpaqueWhite(mask);
    SetMask(picture, mask);
    DropReference(mask);
  }
  if (picture->mask) AddReference(picture->mask);
  return picture->mask;
}

namespace entries {

REALpictureStruct* REALGetPictureMask(REALpictureStruct* handle, bool create) {
  Picture* picture = Live<Picture>(handle, "REALGetPictureMask");
  return picture ? HandleOf<REALpictureStruct>(MaskOf(picture, create)) : nullptr;
}

}  // namespace entries

}  // namespace qvlhost
