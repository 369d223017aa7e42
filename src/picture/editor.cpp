// The editors' life cycle and row cursor: construction, GetRow, clear.
#include "binding/diagnostics.h"
#include "binding/wrappers.h"
#include "picture/picture_editor.h"

namespace {
// Row warnings written between two resets; later ones are only counted.
constexpr int64_t kLastWrittenRowWarning = 8;
}  // namespace

PictureEditor::PictureEditor() { TraceWord("PictureEditor"); }

PictureEditor::~PictureEditor() { clear(); }

PictureReader::PictureReader(REALpictureStruct* pic) {
  TraceWord("neu");
  GetPictureReader(pic);
}

// The base destructor runs clear once the object is a plain editor again.
PictureReader::~PictureReader() = default;

PictureWriter::PictureWriter() = default;

PictureWriter::~PictureWriter() = default;

bool PictureEditor::GetPictureReader(REALpictureStruct* pic) {
  TracePointer("GetPictureReader", pic);
  return GetPictureEditor(pic, true, false);
}

bool PictureEditor::CountRowWarning() { return warningCount++ <= kLastWrittenRowWarning && DebuggingEnabled; }

uint32_t* PictureEditor::GetRow(int64_t row) {
  y = row;
  if (row < 0 && CountRowWarning()) TraceInt64("y is too small", row);
  if (!Pixelbase) TraceWord("Warning: Pixelbase is nil!");
  if (row >= Height) {
    if (CountRowWarning()) LogMessageX("y too big: %d of %d in %s", int32_t(row), int32_t(Height), "GetRow");
    return Pixelbase;
  }
  if (pictureType == 8) {
    // gd rows are separate blocks; a row above the table has no entry.
    uint32_t* entry = row < 0 ? nullptr : tpixels[row];
    if (!entry && CountRowWarning()) TracePointer("r is nil!", nullptr);
    return entry;
  }
  // Unsigned arithmetic: a row above the picture gives its address without
  // overflow, as Pixelbase less whole rows.
  return reinterpret_cast<uint32_t*>(reinterpret_cast<uintptr_t>(Pixelbase) + uintptr_t(row) * uintptr_t(BytesPerRow));
}

void PictureEditor::clear() {
  TraceWord("clear");
  warningCount = 0;
  TraceInt32("NeedPictureUnlock", NeedPictureUnlock);
  if (NeedPictureUnlock) {
    if (picture) REALUnlockPictureDescription(picture);
    NeedPictureUnlock = false;
  }
  TraceInt32("reading", reading);
  TraceInt32("writing", writing);
  if (writing && picture) {
    TracePointer("REALPictureClearCache", picture);
    REALPictureClearCache(picture);
  }
  if (picture) {
    if (holdsReference) REALUnlockObject(picture);
    holdsReference = false;
    picture = nullptr;
  }
  TraceWord("ClosePictureReader done");
}
