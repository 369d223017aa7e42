#include "mobile/album.h"

#include "binding/exceptions.h"

namespace {

void RefuseOffMobile() { RaiseException("PlatformNotSupportedException", "iOS only"); }

}  // namespace

bool rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS(REALstringStruct*) {
  RefuseOffMobile();
  return false;
}

bool rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF(REALfolderItemStruct*) {
  RefuseOffMobile();
  return false;
}

void rbUIImageWriteToSavedPhotosAlbum(REALpictureStruct*, REALobjectStruct*) { RefuseOffMobile(); }

void rbUISaveVideoAtPathToSavedPhotosAlbumS(REALstringStruct*, REALobjectStruct*) { RefuseOffMobile(); }

void rbUISaveVideoAtPathToSavedPhotosAlbumF(REALfolderItemStruct*, REALobjectStruct*) { RefuseOffMobile(); }

void rbUISaveImageAtPathToSavedPhotosAlbumS(REALstringStruct*, REALobjectStruct*) { RefuseOffMobile(); }

void rbUISaveImageAtPathToSavedPhotosAlbumF(REALfolderItemStruct*, REALobjectStruct*) { RefuseOffMobile(); }
