// Row-by-row access to a locked host picture, whatever way the host stores
// it. A PictureReader is acquired for reading; a PictureWriter is bound to a
// new picture that becomes an operation's result.
#pragma once

#include <cstdint>

#include "qvl/handles.h"
#include "qvl/picture_description.h"

// Pixel layouts of the editor's pictureType: 1, 3, 5 RGBA; 2, 4, 6 ARGB;
// 8 gd true colour; anything else unknown.
enum class PixelLayout { Unknown, RGBA, ARGB, GD };

inline PixelLayout LayoutOf(uint32_t pictureType) {
  if (pictureType > 8) return PixelLayout::Unknown;
  if ((42u >> pictureType) & 1u) return PixelLayout::RGBA;
  if ((84u >> pictureType) & 1u) return PixelLayout::ARGB;
  if (pictureType == 8) return PixelLayout::GD;
  return PixelLayout::Unknown;
}

class PictureEditor {
 public:
  PictureEditor();
  virtual ~PictureEditor();
  PictureEditor(const PictureEditor&) = delete;
  PictureEditor& operator=(const PictureEditor&) = delete;

  bool GetPictureReader(REALpictureStruct* pic);
  bool GetPictureEditor(REALpictureStruct* pic, bool reading, bool writing);
  bool GetPictureEditorInternal(REALpictureStruct* pic, bool reading, bool writing, int attempt);
  bool GetPictureEditorCGBitmapContext(REALpictureStruct* pic, bool hasAlpha);
  bool GetPictureEditorGDImagePtr(REALpictureStruct* pic);
  uint32_t* GetRow(int64_t row);
  void clear();
  REALpictureStruct* RenderPictureWriter();

  int64_t BytesPerRow;
  int64_t Width;
  int64_t Height;
  int64_t BytesPerPixel;
  int64_t warningCount;
  int64_t VerticalResolution;
  int64_t HorizontalResolution;
  int64_t lMacAlphaInfo;
  uint32_t pictureType;
  uint32_t* base;
  REALpictureDescription description;
  void* buffer;
  uint32_t* Pixelbase;
  int64_t x;
  int64_t y;
  REALpictureStruct* picture;
  uint32_t** tpixels;
  bool HasAlphaChannel;
  bool contextHasAlpha;
  bool reading;
  bool writing;
  bool NeedPictureUnlock;

 private:
  void setPicture(REALpictureStruct* pic);
  void CountRowWarning();
};

class PictureReader : public PictureEditor {
 public:
  explicit PictureReader(REALpictureStruct* pic);
  ~PictureReader() override;
};

class PictureWriter : public PictureEditor {
 public:
  PictureWriter();
  ~PictureWriter() override;

  bool NewPictureWriter(int64_t width, int64_t height);
  bool NewPictureWriter(PictureReader& reader);
};

// A new picture with an alpha channel, made through the host's Picture
// constructor; one counted reference for the caller, or nil.
REALpictureStruct* NewPictureWithAlphaChannel(int64_t width, int64_t height);

// Process-wide facts learnt while acquiring pictures; only ever set.
extern bool IsConsole;
extern bool IsDesktop;
extern bool CheckedApplication;
