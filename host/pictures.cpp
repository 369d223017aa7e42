// Pictures as the tests and tools see them: making them and reading or
// changing their pixels and properties directly.
#include "host_internal.h"

namespace qvlhost {

namespace {

Picture* TestPicture(const void* handle, const char* use) { return Live<Picture>(handle, use); }

}  // namespace

REALpictureStruct* NewPicture(int64_t width, int64_t height) {
  Picture* picture = MakePicture(width, height, State().config.storage);
  if (!picture) return nullptr;
  FillOpaqueWhite(picture);
  return HandleOf<REALpictureStruct>(picture);
}

REALpictureStruct* NewAlphaPicture(int64_t width, int64_t height) {
  Object* object = NewInstanceOf("Picture");
  auto* picture = dynamic_cast<Picture*>(object);
  if (!picture) return nullptr;
  if (!GiveAlphaStorage(picture, width, height)) {
    DropReference(picture);
    return nullptr;
  }
  return HandleOf<REALpictureStruct>(picture);
}

int64_t PictureWidth(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "PictureWidth");
  return picture ? picture->width : 0;
}

int64_t PictureHeight(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "PictureHeight");
  return picture ? picture->height : 0;
}

Storage PictureStorage(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "PictureStorage");
  return picture ? picture->storage : Storage();
}

bool HasAlphaChannel(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "HasAlphaChannel");
  return picture && picture->hasAlpha;
}

void SetHasAlphaChannel(REALpictureStruct* handle, bool hasAlpha) {
  if (Picture* picture = TestPicture(handle, "SetHasAlphaChannel")) picture->hasAlpha = hasAlpha;
}

void SetPictureKind(REALpictureStruct* handle, int64_t kind) {
  if (Picture* picture = TestPicture(handle, "SetPictureKind")) picture->kind = kind;
}

void SetResolution(REALpictureStruct* handle, int64_t horizontal, int64_t vertical) {
  if (Picture* picture = TestPicture(handle, "SetResolution")) {
    picture->horizontalResolution = horizontal;
    picture->verticalResolution = vertical;
  }
}

int64_t HorizontalResolution(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "HorizontalResolution");
  return picture ? picture->horizontalResolution : 0;
}

int64_t VerticalResolution(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "VerticalResolution");
  return picture ? picture->verticalResolution : 0;
}

REALpictureStruct* PictureMask(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "PictureMask");
  return picture ? HandleOf<REALpictureStruct>(picture->mask) : nullptr;
}

void SetPictureMask(REALpictureStruct* handle, REALpictureStruct* maskHandle) {
  Picture* picture = TestPicture(handle, "SetPictureMask");
  Picture* mask = TestPicture(maskHandle, "SetPictureMask");
  if (picture && (mask || !maskHandle)) SetMask(picture, mask);
}

int64_t DescriptionLockCount(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "DescriptionLockCount");
  return picture ? picture->descriptionLocks : 0;
}

int64_t CacheClearCount(REALpictureStruct* handle) {
  Picture* picture = TestPicture(handle, "CacheClearCount");
  return picture ? picture->cacheClears : 0;
}

uint32_t PixelWord(REALpictureStruct* handle, int64_t x, int64_t y) {
  return ReadWord(TestPicture(handle, "PixelWord"), x, y);
}

void SetPixelWord(REALpictureStruct* handle, int64_t x, int64_t y, uint32_t word) {
  if (Picture* picture = TestPicture(handle, "SetPixelWord")) WriteWord(picture, x, y, word);
}

Rgba PixelRgba(REALpictureStruct* handle, int64_t x, int64_t y) {
  return StoredRgba(TestPicture(handle, "PixelRgba"), x, y);
}

void SetPixelRgba(REALpictureStruct* handle, int64_t x, int64_t y, Rgba colour) {
  if (Picture* picture = TestPicture(handle, "SetPixelRgba")) StoreRgba(picture, x, y, colour);
}

Rgba PixelColour(REALpictureStruct* handle, int64_t x, int64_t y) {
  return StraightRgba(TestPicture(handle, "PixelColour"), x, y);
}

void SetPixelColour(REALpictureStruct* handle, int64_t x, int64_t y, Rgba colour) {
  if (Picture* picture = TestPicture(handle, "SetPixelColour")) StoreStraightRgba(picture, x, y, colour);
}

std::vector<uint8_t> RowPadding(REALpictureStruct* handle, int64_t y) {
  Picture* picture = TestPicture(handle, "RowPadding");
  if (!picture || !picture->cgPixels || y < 0 || y >= picture->height) return {};
  size_t pixelBytes = static_cast<size_t>(picture->width) * (picture->storage.bitsPerPixel / 8);
  const uint8_t* row = picture->RowAddress(y);
  return std::vector<uint8_t>(row + pixelBytes, row + picture->context.bytesPerRow);
}

std::vector<uint8_t> FreshRowPadding(int64_t extraBytesPerRow) {
  std::vector<uint8_t> padding;
  for (int64_t i = 0; i < extraBytesPerRow; ++i) padding.push_back(PaddingByte(i));
  return padding;
}

}  // namespace qvlhost
