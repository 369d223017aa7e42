// Methods of the Picture class that the host hands out by declaration.
#include "host_internal.h"
#include "qvl/host_methods.h"

namespace qvlhost {

namespace {

// Makes the picture width x height with an alpha channel, fully transparent.
// A size the host cannot make leaves the picture as it was.
void Constructor(REALobjectStruct* self, int64_t width, int64_t height) {
  CallRecorder{QVL_PICTURE_CONSTRUCTOR}(self, width, height);
  if (Picture* picture = Live<Picture>(self, "Picture.Constructor")) GiveAlphaStorage(picture, width, height);
}

REALpictureStruct* MaskGetter(REALobjectStruct* self, bool create) {
  CallRecorder{QVL_PICTURE_MASK_GETTER}(self, create);
  Picture* picture = Live<Picture>(self, "Picture.Mask");
  return picture ? HandleOf<REALpictureStruct>(MaskOf(picture, create)) : nullptr;
}

void MaskSetter(REALobjectStruct* self, REALpictureStruct* newMask) {
  CallRecorder{QVL_PICTURE_MASK_SETTER}(self, newMask);
  Picture* picture = Live<Picture>(self, "Picture.Mask");
  Picture* mask = Live<Picture>(newMask, "Picture.Mask");
  if (picture && (mask || !newMask)) SetMask(picture, mask);
}

REALpictureStruct* BestRepresentation(REALobjectStruct* self, int64_t width, int64_t height, double scale) {
  CallRecorder{QVL_PICTURE_BEST_REPRESENTATION}(self, width, height, scale);
  Picture* picture = Live<Picture>(self, "Picture.BestRepresentation");
  if (!picture || !picture->HasPixels()) return nullptr;
  return HandleOf<REALpictureStruct>(BestRepresentationOf(picture, width, height, scale));
}

}  // namespace

void* PictureMethod(std::string_view declaration) {
  if (SameDeclaration(declaration, QVL_PICTURE_CONSTRUCTOR)) return HandedOut<&Constructor>();
  if (SameDeclaration(declaration, QVL_PICTURE_MASK_GETTER)) return HandedOut<&MaskGetter>();
  if (SameDeclaration(declaration, QVL_PICTURE_MASK_SETTER)) return HandedOut<&MaskSetter>();
  if (SameDeclaration(declaration, QVL_PICTURE_BEST_REPRESENTATION)) return HandedOut<&BestRepresentation>();
  return nullptr;
}

}  // namespace qvlhost
