// Pixel storage of host pictures: the Core Graphics stand-in (a bitmap
// context record over rows padded by the configured extra bytes) and real gd
// images, with the conversion of a pixel word to and from its channels.
#include <algorithm>
#include <climits>
#include <cstring>
#include <new>
#include <type_traits>

#include "host_internal.h"

namespace qvlhost {

namespace {

bool IsCoreGraphics(const Storage& storage) { return storage.kind == Storage::CoreGraphics; }

// Core Graphics layouts with the alpha byte first in memory (A, R, G, B).
bool AlphaFirst(const Storage& storage) {
  return storage.alphaInfo == kQVLAlphaPremultipliedFirst || storage.alphaInfo == kQVLAlphaFirst ||
         storage.alphaInfo == kQVLAlphaNoneSkipFirst;
}

// Whether the stored alpha byte means opacity.
bool StoresAlpha(const Storage& storage) {
  if (!IsCoreGraphics(storage)) return true;
  if (storage.bitsPerPixel != 32) return false;
  return storage.alphaInfo >= kQVLAlphaPremultipliedLast && storage.alphaInfo <= kQVLAlphaFirst;
}

int64_t BytesPerPixel(const Storage& storage) { return IsCoreGraphics(storage) ? storage.bitsPerPixel / 8 : 4; }

// The word a colour, as stored, takes in a Core Graphics layout.
uint32_t CoreGraphicsWord(const Storage& storage, Rgba colour) {
  const uint32_t r = colour.r, g = colour.g, b = colour.b, a = colour.a;
  if (storage.bitsPerPixel != 32) return r | g << 8 | b << 16;
  if (AlphaFirst(storage)) return a | r << 8 | g << 16 | b << 24;
  return r | g << 8 | b << 16 | a << 24;
}

bool Inside(const Picture* picture, int64_t x, int64_t y) {
  return picture && picture->HasPixels() && x >= 0 && y >= 0 && x < picture->width && y < picture->height;
}

uint8_t Premultiply(uint32_t c, uint32_t a) { return static_cast<uint8_t>((c * a + 127) / 255); }

uint8_t Unpremultiply(uint32_t c, uint32_t a) {
  if (a == 0) return 0;
  uint32_t value = (c * 255 + a / 2) / a;
  return static_cast<uint8_t>(value > 255 ? 255 : value);
}

// Bytes a picture of this size needs, or -1 when it is beyond every limit.
int64_t NeededBytes(int64_t width, int64_t height, const Storage& storage, int64_t extraBytesPerRow) {
  const int64_t limit = INT64_MAX / 8;
  int64_t pixelBytes = BytesPerPixel(storage);
  if (width > limit / pixelBytes) return -1;
  const int64_t padding = IsCoreGraphics(storage) ? extraBytesPerRow : 0;
  if (padding > limit - width * pixelBytes) return -1;
  int64_t rowBytes = width * pixelBytes + padding;
  if (rowBytes > limit / height) return -1;
  return rowBytes * height;
}

bool AllocateCoreGraphics(Picture* picture, int64_t width, int64_t height, int64_t extraBytesPerRow) {
  const Storage& storage = picture->storage;
  int64_t pixelRowBytes = width * BytesPerPixel(storage);
  int64_t bytesPerRow = pixelRowBytes + extraBytesPerRow;
  uint8_t* pixels = new (std::nothrow) uint8_t[bytesPerRow * height]();
  if (!pixels) return false;
  picture->cgPixels.reset(pixels);
  for (int64_t y = 0; y < height; ++y) {
    for (int64_t i = 0; i < extraBytesPerRow; ++i) pixels[y * bytesPerRow + pixelRowBytes + i] = PaddingByte(i);
  }
  QVLBitmapContext& context = picture->context;
  context.data = pixels;
  context.width = static_cast<size_t>(width);
  context.height = static_cast<size_t>(height);
  context.bitsPerComponent = 8;
  context.bitsPerPixel = storage.bitsPerPixel;
  context.bytesPerRow = static_cast<size_t>(bytesPerRow);
  context.alphaInfo = storage.alphaInfo;
  context.bitmapInfo = storage.alphaInfo;
  return true;
}

// The padding a row gets: rows of 32-bit pixels start on whole words, as the
// platform's bitmap contexts keep them, so their padding is rounded up to one.
int64_t RowPaddingBytes(const Storage& storage, int64_t requested) {
  if (requested <= 0) return 0;
  if (storage.bitsPerPixel != 32 || requested > INT64_MAX / 2) return requested;
  return (requested + 3) / 4 * 4;
}

bool AllocatePixels(Picture* picture, int64_t width, int64_t height, const Storage& storage) {
  const Config& config = State().config;
  if (width < 1 || height < 1) return false;
  if (IsCoreGraphics(storage) && storage.bitsPerPixel != 32 && storage.bitsPerPixel != 24) return false;
  int64_t extra = RowPaddingBytes(storage, config.extraBytesPerRow);
  int64_t bytes = NeededBytes(width, height, storage, extra);
  if (bytes < 0 || bytes > config.maxPictureBytes) return false;
  picture->storage = storage;
  if (IsCoreGraphics(storage)) {
    if (!AllocateCoreGraphics(picture, width, height, extra)) return false;
  } else {
    if (width > INT_MAX || height > INT_MAX) return false;
    int w = static_cast<int>(width), h = static_cast<int>(height);
    picture->gd = storage.kind == Storage::GDTrueColor ? gdImageCreateTrueColor(w, h) : gdImageCreate(w, h);
    if (!picture->gd) return false;
  }
  picture->width = width;
  picture->height = height;
  return true;
}

void FreePixels(Picture* picture) {
  picture->cgPixels.reset();
  picture->context = QVLBitmapContext{};
  if (picture->gd) gdImageDestroy(picture->gd);
  picture->gd = nullptr;
}

void FillCoreGraphics(Picture* picture, uint8_t value) {
  int64_t pixelRowBytes = picture->width * BytesPerPixel(picture->storage);
  for (int64_t y = 0; y < picture->height; ++y) std::memset(picture->RowAddress(y), value, pixelRowBytes);
}

void FillGD(Picture* picture, int colour) {
  gdImagePtr image = picture->gd;
  for (int y = 0; y < image->sy; ++y) {
    for (int x = 0; x < image->sx; ++x) {
      if (image->trueColor) {
        image->tpixels[y][x] = colour;
      } else {
        image->pixels[y][x] = static_cast<unsigned char>(colour);
      }
    }
  }
}

}  // namespace

uint8_t PaddingByte(int64_t index) { return static_cast<uint8_t>(0xA0 | (index & 0x0F)); }

Picture::~Picture() { FreePixels(this); }

void Picture::ReleaseContents() {
  FreePixels(this);
  Picture* held = mask;
  mask = nullptr;
  if (held) DropReference(held);
  std::vector<Picture*> bitmaps;
  bitmaps.swap(representations);
  for (Picture* bitmap : bitmaps) DropReference(bitmap);
}

void Picture::ListHeld(std::vector<const void*>* held) const {
  if (mask) held->push_back(mask);
  held->insert(held->end(), representations.begin(), representations.end());
}

uint8_t* Picture::RowAddress(int64_t y) const { return cgPixels.get() + static_cast<size_t>(y) * context.bytesPerRow; }

Picture* MakePicture(int64_t width, int64_t height, const Storage& storage) {
  auto picture = std::make_unique<Picture>();
  if (!AllocatePixels(picture.get(), width, height, storage)) return nullptr;
  const Config& config = State().config;
  picture->kind = config.pictureKind;
  picture->horizontalResolution = config.newPictureResolution;
  picture->verticalResolution = config.newPictureResolution;
  return Adopt(std::move(picture));
}

bool GiveAlphaStorage(Picture* picture, int64_t width, int64_t height) {
  Picture fresh;
  if (!AllocatePixels(&fresh, width, height, State().config.storage)) return false;
  FreePixels(picture);
  picture->storage = fresh.storage;
  picture->width = fresh.width;
  picture->height = fresh.height;
  picture->context = fresh.context;
  picture->cgPixels = std::move(fresh.cgPixels);
  picture->gd = fresh.gd;
  fresh.gd = nullptr;
  fresh.context = QVLBitmapContext{};
  picture->hasAlpha = true;
  FillTransparent(picture);
  return true;
}

void FillOpaqueWhite(Picture* picture) {
  if (picture->cgPixels) return FillCoreGraphics(picture, 0xFF);
  if (!picture->gd) return;
  if (picture->gd->trueColor) return FillGD(picture, 0x00FFFFFF);
  FillGD(picture, gdImageColorResolveAlpha(picture->gd, 255, 255, 255, gdAlphaOpaque));
}

void FillTransparent(Picture* picture) {
  if (picture->cgPixels) return FillCoreGraphics(picture, 0);
  if (!picture->gd) return;
  gdImageSaveAlpha(picture->gd, 1);
  if (picture->gd->trueColor) return FillGD(picture, gdTrueColorAlpha(0, 0, 0, gdAlphaTransparent));
  int transparent = gdImageColorResolveAlpha(picture->gd, 0, 0, 0, gdAlphaTransparent);
  gdImageColorTransparent(picture->gd, transparent);
  FillGD(picture, transparent);
}

uint32_t ReadWord(const Picture* picture, int64_t x, int64_t y) {
  if (!Inside(picture, x, y)) return 0;
  if (picture->gd) {
    if (picture->gd->trueColor) return static_cast<uint32_t>(picture->gd->tpixels[y][x]);
    return picture->gd->pixels[y][x];
  }
  uint32_t word = 0;
  std::memcpy(&word, picture->RowAddress(y) + x * BytesPerPixel(picture->storage), BytesPerPixel(picture->storage));
  return word;
}

void WriteWord(Picture* picture, int64_t x, int64_t y, uint32_t word) {
  if (!Inside(picture, x, y)) return;
  if (picture->gd) {
    if (picture->gd->trueColor) {
      picture->gd->tpixels[y][x] = static_cast<int>(word);
    } else {
      picture->gd->pixels[y][x] = static_cast<unsigned char>(word);
    }
    return;
  }
  std::memcpy(picture->RowAddress(y) + x * BytesPerPixel(picture->storage), &word, BytesPerPixel(picture->storage));
}

uint8_t GDAlphaToOpacity(int field) { return static_cast<uint8_t>(((gdAlphaMax - field) * 255 + 63) / gdAlphaMax); }

int OpacityToGDAlpha(uint8_t opacity) { return gdAlphaMax - (opacity * gdAlphaMax + 127) / 255; }

Rgba StoredRgba(const Picture* picture, int64_t x, int64_t y) {
  if (!Inside(picture, x, y)) return Rgba{0, 0, 0, 0};
  uint32_t word = ReadWord(picture, x, y);
  if (picture->gd) {
    gdImagePtr image = picture->gd;
    int c = static_cast<int>(word);
    return Rgba{static_cast<uint8_t>(gdImageRed(image, c)), static_cast<uint8_t>(gdImageGreen(image, c)),
                static_cast<uint8_t>(gdImageBlue(image, c)), GDAlphaToOpacity(gdImageAlpha(image, c))};
  }
  auto byte = [word](int index) { return static_cast<uint8_t>(word >> (8 * index)); };
  if (picture->storage.bitsPerPixel != 32) return Rgba{byte(0), byte(1), byte(2), 255};
  if (AlphaFirst(picture->storage)) return Rgba{byte(1), byte(2), byte(3), byte(0)};
  return Rgba{byte(0), byte(1), byte(2), byte(3)};
}

void StoreRgba(Picture* picture, int64_t x, int64_t y, Rgba colour) {
  if (!Inside(picture, x, y)) return;
  if (picture->gd) {
    int field = OpacityToGDAlpha(colour.a);
    if (picture->gd->trueColor) {
      return WriteWord(picture, x, y, static_cast<uint32_t>(gdTrueColorAlpha(colour.r, colour.g, colour.b, field)));
    }
    int index = gdImageColorResolveAlpha(picture->gd, colour.r, colour.g, colour.b, field);
    return WriteWord(picture, x, y, static_cast<uint32_t>(index));
  }
  WriteWord(picture, x, y, CoreGraphicsWord(picture->storage, colour));
}

Rgba StraightRgba(const Picture* picture, int64_t x, int64_t y) {
  Rgba colour = StoredRgba(picture, x, y);
  if (!Inside(picture, x, y)) return colour;
  if (!StoresAlpha(picture->storage)) colour.a = 255;
  if (picture->storage.premultiplied()) {
    colour = Rgba{Unpremultiply(colour.r, colour.a), Unpremultiply(colour.g, colour.a),
                  Unpremultiply(colour.b, colour.a), colour.a};
  }
  return colour;
}

void StoreStraightRgba(Picture* picture, int64_t x, int64_t y, Rgba colour) {
  if (!Inside(picture, x, y)) return;
  if (!StoresAlpha(picture->storage)) colour.a = 255;
  if (picture->storage.premultiplied()) {
    colour = Rgba{Premultiply(colour.r, colour.a), Premultiply(colour.g, colour.a), Premultiply(colour.b, colour.a),
                  colour.a};
  }
  StoreRgba(picture, x, y, colour);
}

void FillOpaqueRect(Picture* picture, int64_t left, int64_t top, int64_t right, int64_t bottom, Rgba colour) {
  left = std::max<int64_t>(left, 0), right = std::min(right, picture->width);
  top = std::max<int64_t>(top, 0), bottom = std::min(bottom, picture->height);
  if (left >= right || top >= bottom || !picture->HasPixels()) return;
  colour.a = 255;
  if (picture->gd) {
    for (int64_t y = top; y < bottom; ++y) {
      for (int64_t x = left; x < right; ++x) StoreRgba(picture, x, y, colour);
    }
    return;
  }
  const uint32_t word = CoreGraphicsWord(picture->storage, colour);
  const auto fill = [&](auto pixelBytes) {
    for (int64_t y = top; y < bottom; ++y) {
      uint8_t* const row = picture->RowAddress(y) + size_t(left) * pixelBytes;
      for (size_t at = 0; at < size_t(right - left) * pixelBytes; at += pixelBytes)
        std::memcpy(row + at, &word, pixelBytes);
    }
  };
  // Pixels of 32 or 24 bits, each size known to the compiler.
  if (picture->storage.bitsPerPixel == 32) return fill(std::integral_constant<size_t, 4>());
  fill(std::integral_constant<size_t, 3>());
}

}  // namespace qvlhost
