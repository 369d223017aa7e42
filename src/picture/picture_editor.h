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

  // Acquisition: true when the picture is locked and its rows are reachable.
  bool GetPictureReader(REALpictureStruct* pic);
  bool GetPictureEditor(REALpictureStruct* pic, bool reading, bool writing);
  bool GetPictureEditorInternal(REALpictureStruct* pic, bool reading, bool writing, int attempt);
  bool GetPictureEditorCGBitmapContext(REALpictureStruct* pic, bool hasAlpha);
  bool GetPictureEditorGDImagePtr(REALpictureStruct* pic);

  // The address of a row. Rows outside the picture are reported, not
  // refused; Height and beyond give row 0.
  uint32_t* GetRow(int64_t row);
  // Gives back the description lock and the reference; repeatable.
  void clear();
  // The held picture with one counted reference for the caller, or nil;
  // clears the editor.
  REALpictureStruct* RenderPictureWriter();

  int64_t BytesPerRow = 0;
  int64_t Width = 0;
  int64_t Height = 0;
  int64_t warningCount = 0;
  int64_t VerticalResolution = 0;
  int64_t HorizontalResolution = 0;
  int64_t lMacAlphaInfo = 0;
  uint32_t pictureType = 0;
  uint32_t* base = nullptr;
  REALpictureDescription description = {};
  uint32_t* Pixelbase = nullptr;
  int64_t y = 0;
  REALpictureStruct* picture = nullptr;
  uint32_t** tpixels = nullptr;
  bool HasAlphaChannel = false;
  bool contextHasAlpha = false;
  bool reading = false;
  bool writing = false;
  bool NeedPictureUnlock = false;
  // Whether the editor holds a counted reference to `picture` that clear
  // gives back: false where the host could not lock it.
  bool holdsReference = false;

 private:
  void setPicture(REALpictureStruct* pic);
  // The read fallbacks for pictures the storage forms refuse. Each gives true
  // when it answered, with the answer in *acquired, and false when it gave up.
  bool ReadBestRepresentation(REALpictureStruct* pic, bool* acquired);
  bool ReadDuplicate(REALpictureStruct* pic, bool* acquired);
  void ReadResolutions(REALpictureStruct* pic);
  // Counts one row warning; true when its line may still be written.
  bool CountRowWarning();
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
