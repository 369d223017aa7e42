// Methods of the Picture class that the host hands out by declaration.
#include "host_internal.h"

namespace qvlhost {

namespace {

constexpr const char* kConstructor = "Constructor(width as integer, height as integer)";
constexpr const char* kMaskGetter = "Mask(create As Boolean = True) As Picture";
constexpr const char* kMaskSetter = "Mask(assigns newMask As Picture)";
constexpr const char* kBestRepresentation =
    "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture";

// Makes the picture width x height with an alpha channel, fully transparent.
// A size the host cannot make leaves the picture as it was.
void Constructor(REALobjectStruct* self, int64_t width, int64_t height) {
  CallRecorder{kConstructor}(self, width, height);
  if (Picture* picture = Live<Picture>(self, "Picture.Constructor")) GiveAlphaStorage(picture, width, height);
}

REALpictureStruct* MaskGetter(REALobjectStruct* self, bool create) {
  CallRecorder{kMaskGetter}(self, create);
  Picture* picture = Live<Picture>(self, "Picture.Mask");
  return picture ? HandleOf<REALpictureStruct>(MaskOf(picture, create)) : nullptr;
}

void MaskSetter(REALobjectStruct* self, REALpictureStruct* newMask) {
  CallRecorder{kMaskSetter}(self, newMask);
  Picture* picture = Live<Picture>(self, "Picture.Mask");
  Picture* mask = Live<Picture>(newMask, "Picture.Mask");
  if (picture && (mask || !newMask)) SetMask(picture, mask);
}

REALpictureStruct* BestRepresentation(REALobjectStruct* self, int64_t width, int64_t height, double scale) {
  CallRecorder{kBestRepresentation}(self, width, height, scale);
  Picture* picture = Live<Picture>(self, "Picture.BestRepresentation");
  if (!picture || !picture->HasPixels()) return nullptr;
  return HandleOf<REALpictureStruct>(BestRepresentationOf(picture, width, height, scale));
}

}  // namespace

void* PictureMethod(const std::string& declaration) {
  if (SameDeclaration(declaration, kConstructor)) return reinterpret_cast<void*>(&Constructor);
  if (SameDeclaration(declaration, kMaskGetter)) return reinterpret_cast<void*>(&MaskGetter);
  if (SameDeclaration(declaration, kMaskSetter)) return reinterpret_cast<void*>(&MaskSetter);
  if (SameDeclaration(declaration, kBestRepresentation)) return reinterpret_cast<void*>(&BestRepresentation);
  return nullptr;
}

}  // namespace qvlhost
