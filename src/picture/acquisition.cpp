// Acquiring a host picture: which storage form the host uses, locking it and
// recording pixels, rows and layout in the editor.
#include <gd.h>

#include "binding/diagnostics.h"
#include "binding/references.h"
#include "binding/scope_guards.h"
#include "binding/wrappers.h"
#include "picture/picture_editor.h"
#include "platform/platform.h"

namespace {

// Host picture kinds as PluginPictureGetType reports them.
enum : int64_t { kHiDPIImage = 0, kVectorImage = 1, kMutableImage = 2, kVectorRepresentation = 3 };

// Learns once per process which application class the host runs.
void ProbeApplication() {
  const bool desktop = REALGetClassRef("Application") != nullptr;
  const bool web = REALGetClassRef("WebApplication") != nullptr;
  const bool console = REALGetClassRef("ConsoleApplication") != nullptr;
  CheckedApplication = true;
  if (desktop) {
    IsDesktop = true;
  } else if (web || console) {
    IsConsole = true;
  }
}

// The trace word of a kind that can't be written, or nil if it can be.
const char* RefusedForWriting(int64_t kind) {
  switch (kind) {
    case kHiDPIImage:
      return "HiDPI Image, return false";
    case kVectorImage:
    case kVectorRepresentation:
      return "Vector image, return false";
    default:
      return nullptr;
  }
}

const char* AlphaInfoName(uint32_t alphaInfo) {
  switch (alphaInfo) {
    case 1:
      return "kCGImageAlphaPremultipliedLast";
    case 2:
      return "kCGImageAlphaPremultipliedFirst";
    case 3:
      return "kCGImageAlphaLast";
    case 4:
      return "kCGImageAlphaFirst";
    case 5:
      return "kCGImageAlphaNoneSkipLast";
    default:
      return "kCGImageAlphaNoneSkipFirst";
  }
}

void TraceBitmapContext(const platform::BitmapContextInfo& context, uint32_t alphaInfo) {
  TraceUInt64("Width", context.width);
  TraceUInt64("Height", context.height);
  TraceUInt64("BitsPerComponent", context.bitsPerComponent);
  TraceUInt64("BitsPerPixel", context.bitsPerPixel);
  TraceUInt64("BytesPerRow", context.bytesPerRow);
  TraceInt64("lMacAlphaInfo", alphaInfo);
  TraceUInt32("BitmapInfo", context.bitmapInfo);
}

void TraceGDImage(const gdImage& image) {
  TracePointer("pixels", image.pixels);
  TraceInt32("sx", image.sx);
  TraceInt32("sy", image.sy);
  TraceInt32("colorsTotal", image.colorsTotal);
  TraceInt32("trueColor", image.trueColor);
  TracePointer("tpixels", image.tpixels);
  TraceInt32("alphaBlendingFlag", image.alphaBlendingFlag);
}

}  // namespace

bool PictureEditor::GetPictureEditor(REALpictureStruct* pic, bool isReading, bool isWriting) {
  TraceWord("GetPictureEditor");
  TracePointer("pic", pic);
  clear();
  if (!pic) return false;
  reading = isReading;
  writing = isWriting;
  warningCount = 0;
  TraceInt32("IsConsole", IsConsole);
  TraceInt32("IsDesktop", IsDesktop);
  if (!CheckedApplication) ProbeApplication();
  const int64_t kind = REALGetPictureType(pic);
  TraceInt64("type", kind);
  if (writing) {
    if (const char* refusal = RefusedForWriting(kind)) {
      TraceWord(refusal);
      return false;
    }
  }
  if (kind == kMutableImage) TraceWord("Mutable Image, ok");
  bool acquired = false;
  if (!writing && (kind == kHiDPIImage || kind == kVectorRepresentation) && ReadBestRepresentation(pic, &acquired)) {
    return acquired;
  }
  return GetPictureEditorInternal(pic, reading, writing, 1);
}

bool PictureEditor::GetPictureEditorInternal(REALpictureStruct* pic, bool isReading, bool isWriting, int attempt) {
  bool hasAlpha = false;
  if (!REALGetPropValueBoolean(pic, "HasAlphaChannel", &hasAlpha)) {
    TraceWord("HasAlphaChannel property not found.");
    hasAlpha = false;
  }
  TraceInt32("HasAlphaChannel", hasAlpha);
  HasAlphaChannel = hasAlpha;
  if (!IsConsole && GetPictureEditorCGBitmapContext(pic, hasAlpha)) return true;
  if (!IsDesktop && GetPictureEditorGDImagePtr(pic)) return true;
  // Only a first attempt on a reader may be cloned; the duplicate's own
  // attempt is the second.
  bool acquired = false;
  if (attempt == 1 && !IsConsole && isReading && !isWriting && ReadDuplicate(pic, &acquired)) return acquired;
  TraceWord("GetPictureEditor failed");
  return false;
}

bool PictureEditor::GetPictureEditorCGBitmapContext(REALpictureStruct* pic, bool hasAlpha) {
  TraceWord("GetPictureEditorCGBitmapContext");
  if (!REALLockPictureDescription(pic, &description, pictureCGBitmapContext)) {
    TraceWord("REALLockPictureDescription with pictureCGBitmapContext failed.");
    return false;
  }
  rbUnlockPictureDescriptionLater unlock(pic);
  TraceWord("REALLockPictureDescription with pictureCGBitmapContext ok.");
  IsDesktop = true;
  TracePointer("b", description.pictureData);
  if (description.pictureType != pictureCGBitmapContext) {
    TraceWord("picture type is not pictureCGBitmapContext.");
    return false;
  }
  if (!description.pictureData) {
    TraceWord("context ref is nil");
    return false;
  }
  const platform::BitmapContextInfo context = platform::ReadBitmapContext(description.pictureData);
  const uint32_t alphaInfo = context.alphaInfo & 7;
  TraceBitmapContext(context, alphaInfo);
  if (alphaInfo == 0 || alphaInfo == 7) return false;
  TraceWord(AlphaInfoName(alphaInfo));
  pictureType = alphaInfo;
  if (context.bitsPerPixel != 32) {
    TraceWord("BitsPerPixel is not 32.");
    return false;
  }
  TracePointer("setPicture", pic);
  setPicture(pic);
  BytesPerRow = int64_t(context.bytesPerRow);
  Width = int64_t(context.width);
  Height = int64_t(context.height);
  NeedPictureUnlock = true;
  unlock.picture = nullptr;  // the editor owns the lock from here on
  contextHasAlpha = hasAlpha;
  Pixelbase = base = static_cast<uint32_t*>(context.data);
  y = 0;
  lMacAlphaInfo = alphaInfo;
  ReadResolutions(pic);
  return true;
}

bool PictureEditor::GetPictureEditorGDImagePtr(REALpictureStruct* pic) {
  TraceWord("GetPictureEditorGDImagePtr");
  if (!REALLockPictureDescription(pic, &description, pictureGDImagePtr)) {
    TraceWord("REALLockPictureDescription with pictureGDImagePtr failed.");
    return false;
  }
  rbUnlockPictureDescriptionLater unlock(pic);
  TraceWord("REALLockPictureDescription with pictureGDImagePtr ok.");
  IsConsole = true;
  TracePointer("gdImagePtr handle", description.pictureData);
  if (description.pictureType != pictureGDImagePtr || !description.pictureData) return false;
  const gdImage& image = *static_cast<const gdImage*>(description.pictureData);
  TraceGDImage(image);
  if (image.pixels || !image.tpixels || !image.trueColor) return false;
  TracePointer("setPicture", pic);
  setPicture(pic);
  NeedPictureUnlock = true;
  unlock.picture = nullptr;  // the editor owns the lock from here on
  pictureType = 8;
  y = 0;
  Width = description.width;
  Height = description.height;
  BytesPerRow = Width * 4;
  tpixels = reinterpret_cast<uint32_t**>(image.tpixels);
  Pixelbase = base = tpixels[0];
  lMacAlphaInfo = 6;
  ReadResolutions(pic);
  TracePointer("tpixels", tpixels);
  TracePointer("base", base);
  return true;
}

void PictureEditor::setPicture(REALpictureStruct* pic) {
  const bool taken = MyREALLockObject(pic);
  if (picture && holdsReference) REALUnlockObject(picture);
  picture = pic;
  holdsReference = taken;
}

void PictureEditor::ReadResolutions(REALpictureStruct* pic) {
  if (!REALGetPropValueInteger(pic, "VerticalResolution", &VerticalResolution)) VerticalResolution = 0;
  if (!REALGetPropValueInteger(pic, "HorizontalResolution", &HorizontalResolution)) HorizontalResolution = 0;
}
