// Reading and writing PNG, JPEG and GIF files through libgd, converted to
// and from the host's storage. A picture read from a file has an alpha
// channel exactly when the file has one; one written keeps its alpha channel.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

#include "host_internal.h"

namespace qvlhost {

namespace {

enum class Format { Unknown, PNG, JPEG, GIF };

const unsigned char kPngSignature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

Format FormatOfContents(const std::vector<unsigned char>& bytes) {
  if (bytes.size() >= 8 && std::memcmp(bytes.data(), kPngSignature, 8) == 0) return Format::PNG;
  if (bytes.size() >= 3 && bytes[0] == 0xFF && bytes[1] == 0xD8 && bytes[2] == 0xFF) return Format::JPEG;
  if (bytes.size() >= 6 && std::memcmp(bytes.data(), "GIF8", 4) == 0) return Format::GIF;
  return Format::Unknown;
}

Format FormatOfName(const std::string& path) {
  size_t dot = path.rfind('.');
  if (dot == std::string::npos) return Format::Unknown;
  std::string extension;
  for (char c : path.substr(dot + 1)) extension += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (extension == "png") return Format::PNG;
  if (extension == "jpg" || extension == "jpeg") return Format::JPEG;
  if (extension == "gif") return Format::GIF;
  return Format::Unknown;
}

uint32_t BigEndian32(const unsigned char* bytes) {
  return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 | bytes[3];
}

// A PNG has alpha when its colour type carries it (4, 6) or a tRNS chunk
// comes before the image data.
bool PngHasAlpha(const std::vector<unsigned char>& bytes) {
  const size_t colourTypeOffset = 8 + 8 + 9;
  if (bytes.size() <= colourTypeOffset) return false;
  if (bytes[colourTypeOffset] == 4 || bytes[colourTypeOffset] == 6) return true;
  for (size_t at = 8; at + 8 <= bytes.size();) {
    uint32_t length = BigEndian32(&bytes[at]);
    const unsigned char* type = &bytes[at + 4];
    if (std::memcmp(type, "tRNS", 4) == 0) return true;
    if (std::memcmp(type, "IDAT", 4) == 0 || std::memcmp(type, "IEND", 4) == 0) return false;
    if (length > bytes.size()) return false;
    at += size_t(length) + 12;
  }
  return false;
}

gdImagePtr Decode(Format format, std::vector<unsigned char>& bytes) {
  int size = static_cast<int>(bytes.size());
  switch (format) {
    case Format::PNG:
      return gdImageCreateFromPngPtr(size, bytes.data());
    case Format::JPEG:
      return gdImageCreateFromJpegPtr(size, bytes.data());
    case Format::GIF:
      return gdImageCreateFromGifPtr(size, bytes.data());
    case Format::Unknown:
      break;
  }
  return nullptr;
}

Picture* PictureFromImage(gdImagePtr image, bool hasAlpha) {
  Picture* picture = MakePicture(gdImageSX(image), gdImageSY(image), State().config.storage);
  if (!picture) return nullptr;
  picture->hasAlpha = hasAlpha;
  if (hasAlpha && picture->gd) gdImageSaveAlpha(picture->gd, 1);
  int transparent = gdImageGetTransparent(image);
  for (int y = 0; y < gdImageSY(image); ++y) {
    for (int x = 0; x < gdImageSX(image); ++x) {
      int c = gdImageGetPixel(image, x, y);
      int field = !gdImageTrueColor(image) && c == transparent ? gdAlphaTransparent : gdImageAlpha(image, c);
      uint8_t opacity = hasAlpha ? GDAlphaToOpacity(field) : 255;
      StoreStraightRgba(picture, x, y,
                        Rgba{uint8_t(gdImageRed(image, c)), uint8_t(gdImageGreen(image, c)),
                             uint8_t(gdImageBlue(image, c)), opacity});
    }
  }
  return picture;
}

// A true-colour gd image of the picture's straight colours; alpha kept when the picture has it.
gdImagePtr ImageFromPicture(const Picture* picture) {
  gdImagePtr image = gdImageCreateTrueColor(int(picture->width), int(picture->height));
  if (!image) return nullptr;
  gdImageAlphaBlending(image, 0);
  gdImageSaveAlpha(image, picture->hasAlpha ? 1 : 0);
  for (int y = 0; y < image->sy; ++y) {
    for (int x = 0; x < image->sx; ++x) {
      Rgba colour = StraightRgba(picture, x, y);
      int field = picture->hasAlpha ? OpacityToGDAlpha(colour.a) : gdAlphaOpaque;
      image->tpixels[y][x] = gdTrueColorAlpha(colour.r, colour.g, colour.b, field);
    }
  }
  return image;
}

// A palette image with exactly the colours of the opaque pixels, when there
// are few enough of them; null otherwise. Index 0 is left for transparency.
gdImagePtr ExactPalette(gdImagePtr image, bool hasAlpha) {
  gdImagePtr palette = gdImageCreate(image->sx, image->sy);
  if (!palette) return nullptr;
  if (hasAlpha) gdImageColorTransparent(palette, gdImageColorAllocateAlpha(palette, 0, 0, 0, gdAlphaTransparent));
  for (int y = 0; y < image->sy; ++y) {
    for (int x = 0; x < image->sx; ++x) {
      int c = image->tpixels[y][x];
      if (hasAlpha && GDAlphaToOpacity(gdTrueColorGetAlpha(c)) < 128) continue;
      int r = gdTrueColorGetRed(c), g = gdTrueColorGetGreen(c), b = gdTrueColorGetBlue(c);
      int index = gdImageColorExact(palette, r, g, b);
      if (index < 0) index = gdImageColorAllocate(palette, r, g, b);
      if (index < 0) {
        gdImageDestroy(palette);
        return nullptr;
      }
      palette->pixels[y][x] = static_cast<unsigned char>(index);
    }
  }
  return palette;
}

// gd's quantizer for pictures of many colours; pixels less than half opaque
// take the one transparent entry.
gdImagePtr QuantizedPalette(gdImagePtr image, bool hasAlpha) {
  gdImagePtr opaque = gdImageClone(image);
  if (!opaque) return nullptr;
  for (int y = 0; y < opaque->sy; ++y) {
    for (int x = 0; x < opaque->sx; ++x) opaque->tpixels[y][x] &= 0x00FFFFFF;
  }
  gdImagePtr palette = gdImageCreatePaletteFromTrueColor(opaque, 0, hasAlpha ? gdMaxColors - 1 : gdMaxColors);
  gdImageDestroy(opaque);
  if (!palette || !hasAlpha) return palette;
  int transparent = gdImageColorAllocateAlpha(palette, 0, 0, 0, gdAlphaTransparent);
  gdImageColorTransparent(palette, transparent);
  for (int y = 0; y < image->sy; ++y) {
    for (int x = 0; x < image->sx; ++x) {
      if (GDAlphaToOpacity(gdTrueColorGetAlpha(image->tpixels[y][x])) < 128) {
        palette->pixels[y][x] = static_cast<unsigned char>(transparent);
      }
    }
  }
  return palette;
}

void* EncodeGif(gdImagePtr image, bool hasAlpha, int* size) {
  gdImagePtr palette = ExactPalette(image, hasAlpha);
  if (!palette) palette = QuantizedPalette(image, hasAlpha);
  if (!palette) return nullptr;
  void* bytes = gdImageGifPtr(palette, size);
  gdImageDestroy(palette);
  return bytes;
}

void* Encode(Format format, gdImagePtr image, bool hasAlpha, int* size) {
  switch (format) {
    case Format::PNG:
      return gdImagePngPtr(image, size);
    case Format::JPEG:
      return gdImageJpegPtr(image, size, 95);
    case Format::GIF:
      return EncodeGif(image, hasAlpha, size);
    case Format::Unknown:
      break;
  }
  return nullptr;
}

bool WriteBytes(const std::string& path, const void* bytes, int size) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  bool written = std::fwrite(bytes, 1, size_t(size), file) == size_t(size);
  return std::fclose(file) == 0 && written;
}

}  // namespace

REALpictureStruct* ReadPictureFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return nullptr;
  std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (bytes.size() > size_t(INT_MAX)) return nullptr;
  Format format = FormatOfContents(bytes);
  gdImagePtr image = Decode(format, bytes);
  if (!image) return nullptr;
  bool hasAlpha =
      format == Format::PNG ? PngHasAlpha(bytes) : format == Format::GIF && gdImageGetTransparent(image) >= 0;
  Picture* picture = PictureFromImage(image, hasAlpha);
  gdImageDestroy(image);
  return HandleOf<REALpictureStruct>(picture);
}

bool WritePictureFile(REALpictureStruct* handle, const std::string& path) {
  Picture* picture = Live<Picture>(handle, "WritePictureFile");
  Format format = FormatOfName(path);
  if (!picture || !picture->HasPixels() || format == Format::Unknown) return false;
  if (picture->width > INT_MAX || picture->height > INT_MAX) return false;
  gdImagePtr image = ImageFromPicture(picture);
  if (!image) return false;
  int size = 0;
  void* bytes = Encode(format, image, picture->hasAlpha, &size);
  gdImageDestroy(image);
  if (!bytes) return false;
  bool written = WriteBytes(path, bytes, size);
  gdFree(bytes);
  return written;
}

}  // namespace qvlhost
