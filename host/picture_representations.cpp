// HiDPI pictures: bitmaps of one picture at several scales, and the choice
// of the representation that best fits a size.
#include "host_internal.h"

namespace qvlhost {

namespace {

int64_t Area(const Picture* picture) { return picture->width * picture->height; }

// The smallest bitmap at least as large as the wanted size on both sides;
// the largest when none is.
Picture* BestFit(const std::vector<Picture*>& bitmaps, double wantedWidth, double wantedHeight) {
  Picture* fitting = nullptr;
  Picture* largest = nullptr;
  for (Picture* bitmap : bitmaps) {
    if (!largest || Area(bitmap) > Area(largest)) largest = bitmap;
    bool fits = bitmap->width >= wantedWidth && bitmap->height >= wantedHeight;
    if (fits && (!fitting || Area(bitmap) < Area(fitting))) fitting = bitmap;
  }
  return fitting ? fitting : largest;
}

}  // namespace

Picture* ScaledCopy(const Picture* source, int64_t width, int64_t height) {
  Picture* copy = MakePicture(width, height, source->storage);
  if (!copy) return nullptr;
  copy->hasAlpha = source->hasAlpha;
  if (copy->gd && source->hasAlpha) gdImageSaveAlpha(copy->gd, 1);
  copy->horizontalResolution = source->horizontalResolution;
  copy->verticalResolution = source->verticalResolution;
  for (int64_t y = 0; y < height; ++y) {
    const int64_t fromY = y * source->height / height;
    for (int64_t x = 0; x < width; ++x) StoreRgba(copy, x, y, StoredRgba(source, x * source->width / width, fromY));
  }
  return copy;
}

Picture* BestRepresentationOf(Picture* picture, int64_t width, int64_t height, double scale) {
  const double wantedWidth = double(width) * scale, wantedHeight = double(height) * scale;
  if (picture->IsVector()) {
    Picture* rendering = ScaledCopy(picture, int64_t(wantedWidth), int64_t(wantedHeight));
    if (rendering) rendering->kind = 2;
    return rendering;
  }
  Picture* best =
      picture->representations.empty() ? picture : BestFit(picture->representations, wantedWidth, wantedHeight);
  AddReference(best);
  return best;
}

REALpictureStruct* NewHiDPIPicture(int64_t width, int64_t height, const std::vector<REALpictureStruct*>& bitmaps) {
  std::vector<Picture*> held;
  for (REALpictureStruct* handle : bitmaps) {
    Picture* bitmap = Live<Picture>(handle, "NewHiDPIPicture");
    if (!bitmap || !bitmap->HasPixels() || bitmap->IsVector()) return nullptr;
    held.push_back(bitmap);
  }
  if (held.empty()) return nullptr;
  Picture* smallest = held.front();
  for (Picture* bitmap : held) {
    if (Area(bitmap) < Area(smallest)) smallest = bitmap;
  }
  Picture* picture = ScaledCopy(smallest, width, height);
  if (!picture) return nullptr;
  picture->kind = 0;
  for (Picture* bitmap : held) AddReference(bitmap);
  picture->representations = std::move(held);
  return HandleOf<REALpictureStruct>(picture);
}

REALpictureStruct* ScaledPicture(REALpictureStruct* handle, int64_t width, int64_t height) {
  Picture* source = Live<Picture>(handle, "ScaledPicture");
  if (!source || !source->HasPixels()) return nullptr;
  return HandleOf<REALpictureStruct>(ScaledCopy(source, width, height));
}

}  // namespace qvlhost
