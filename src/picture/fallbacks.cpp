// Reading pictures that the storage forms refuse: through the picture's best
// bitmap representation, or through a duplicate drawn into a new bitmap.
// Both routes are open for reading only, since the pixels they give are not
// the given picture's own.
#include "picture/fallbacks.h"

#include <gd.h>

#include <cstring>

#include "binding/diagnostics.h"
#include "binding/scope_guards.h"
#include "binding/wrappers.h"
#include "picture/masks.h"
#include "picture/picture_editor.h"
#include "qvl/host_methods.h"

namespace {

constexpr double kBestRepresentationSince = 2016.0;
constexpr double kDoubleDrawPictureSince = 2018.02;
// The size of the best representation asked for is the picture's times this.
constexpr double kRepresentationScale = 4.0;
constexpr int64_t kDuplicateDepth = 32;

// The host's methods as REALLoadObjectMethod hands them out.
using BestRepresentationMethod = REALpictureStruct* (*)(REALobjectStruct* self, int64_t width, int64_t height,
                                                        double scale);
using MaskSetterMethod = void (*)(REALobjectStruct* self, REALpictureStruct* newMask);
using DrawPictureDoubleMethod = void (*)(REALobjectStruct* self, REALpictureStruct* image, double x, double y, double w,
                                         double h, double sx, double sy, double sw, double sh);
using DrawPictureIntegerMethod = void (*)(REALobjectStruct* self, REALpictureStruct* image, int64_t x, int64_t y,
                                          int64_t w, int64_t h, int64_t sx, int64_t sy, int64_t sw, int64_t sh);

REALpictureStruct* AsPicture(REALobjectStruct* object) { return static_cast<REALpictureStruct*>(object); }

// Hands over what a guarded variable holds, so that its guard gives nothing back.
REALpictureStruct* HandOver(REALobjectStruct** held) {
  REALpictureStruct* picture = AsPicture(*held);
  *held = nullptr;
  return picture;
}

void TraceDrawing(REALobjectStruct* graphics, REALpictureStruct* dest, REALpictureStruct* source, int64_t destWidth,
                  int64_t destHeight, int64_t sourceWidth, int64_t sourceHeight) {
  TraceWord("GraphicsDrawPicture");
  TraceInt64("dest rectangle", 0, 0, destWidth, destHeight);
  TraceInt64("source rectangle", 0, 0, sourceWidth, sourceHeight);
  TracePointer("dest", graphics);
  TracePointer("destpic", dest);
  TracePointer("pic", source);
  TraceDouble("RealbasicVersion", rbversion_rbversion);
}

// Draws through the DrawPicture method of the host's version; false when the
// host has none.
bool DrawThroughHost(REALobjectStruct* graphics, REALpictureStruct* source, int64_t destWidth, int64_t destHeight,
                     int64_t sourceWidth, int64_t sourceHeight) {
  if (rbversion_rbversion >= kDoubleDrawPictureSince) {
    auto draw =
        reinterpret_cast<DrawPictureDoubleMethod>(REALLoadObjectMethod(graphics, QVL_GRAPHICS_DRAW_PICTURE_DOUBLE));
    if (draw) {
      draw(graphics, source, 0.0, 0.0, double(destWidth), double(destHeight), 0.0, 0.0, double(sourceWidth),
           double(sourceHeight));
      return true;
    }
  } else {
    auto draw =
        reinterpret_cast<DrawPictureIntegerMethod>(REALLoadObjectMethod(graphics, QVL_GRAPHICS_DRAW_PICTURE_INTEGER));
    if (draw) {
      draw(graphics, source, 0, 0, destWidth, destHeight, 0, 0, sourceWidth, sourceHeight);
      return true;
    }
  }
  TraceWord("Failed to get DrawPicture function.");
  return false;
}

void TraceOwnCopy(REALpictureStruct* dest, REALpictureStruct* source, int64_t destWidth, int64_t destHeight,
                  int64_t sourceWidth, int64_t sourceHeight) {
  TraceWord("drawpicture failes?");
  TraceWord("OwnCopy");
  TracePointer("destpic", dest);
  TracePointer("sourcepic", source);
  TraceInt64("x", 0);
  TraceInt64("y", 0);
  TraceInt64("dw", destWidth);
  TraceInt64("dh", destHeight);
  TraceInt64("sx", 0);
  TraceInt64("sy", 0);
  TraceInt64("sw", sourceWidth);
  TraceInt64("sh", sourceHeight);
}

void TraceDescription(const char* pictureType, const char* width, const char* height, const char* depth,
                      const REALpictureDescription& description) {
  TraceUInt32(pictureType, description.pictureType);
  TraceInt32(width, description.width);
  TraceInt32(height, description.height);
  TraceInt32(depth, description.depth);
}

// Copies a true-colour gd image row by row into one of the same size; gd rows
// are separate blocks.
void CopyGDRows(const REALpictureDescription& sourcep, const REALpictureDescription& destp) {
  const auto* from = static_cast<const gdImage*>(sourcep.pictureData);
  const auto* to = static_cast<const gdImage*>(destp.pictureData);
  if (!from || !to || from->sx != to->sx || from->sy != to->sy) return;
  if (from->pixels || to->pixels || !from->tpixels || !to->tpixels) return;
  for (int row = 0; row < from->sy; ++row) {
    std::memcpy(to->tpixels[row], from->tpixels[row], size_t(from->sx) * 4);
  }
  TraceWord("copied");
}

// The copy without the host's drawing: gd images of the same size only.
void OwnCopy(REALpictureStruct* dest, REALpictureStruct* source) {
  REALpictureDescription sourcep = {}, destp = {};
  if (!REALLockPictureDescription(source, &sourcep, pictureGDImagePtr)) {
    TraceWord("REALLockPictureDescription failed for source picture.");
    return;
  }
  rbUnlockPictureDescriptionLater unlockSource(source);
  if (REALLockPictureDescription(dest, &destp, pictureGDImagePtr)) {
    rbUnlockPictureDescriptionLater unlockDest(dest);
    if (DebuggingEnabled) {
      TraceDescription("sourcep.pictureType", "sourcep.width", "sourcep.height", "sourcep.depth", sourcep);
      TraceDescription("destp.pictureType", "destp.width", "destp.height", "destp.depth", destp);
    }
    CopyGDRows(sourcep, destp);
  } else {
    TraceWord("REALLockPictureDescription failed for destinatiom picture.");
  }
  REALPictureClearCache(dest);
}

// "HasAlphaChannel" of the picture; false when it can't be read.
bool ReadHasAlphaChannel(REALpictureStruct* pic) {
  bool hasAlpha = false;
  if (REALGetPropValueBoolean(pic, "HasAlphaChannel", &hasAlpha)) return hasAlpha;
  TraceWord("HasAlphaChannel property not found.");
  return false;
}

void DrawWhole(REALpictureStruct* dest, REALpictureStruct* source, int64_t width, int64_t height) {
  GraphicsDrawPicture(dest, source, 0, 0, width, height, 0, 0, width, height);
}

// A duplicate with an alpha channel; the source's mask is left alone.
REALpictureStruct* DuplicateWithAlpha(REALpictureStruct* pic, int64_t width, int64_t height) {
  REALobjectStruct* cp = NewPictureWithAlphaChannel(width, height);
  rbFreeLater giveBackCopy(&cp, nullptr);
  if (cp) DrawWhole(AsPicture(cp), pic, width, height);
  return HandOver(&cp);
}

// A plain 32-bit duplicate, drawn while the source's mask is off so that the
// duplicate comes out without it. The mask is put back afterwards.
REALpictureStruct* DuplicateWithoutMask(REALpictureStruct* pic, int64_t width, int64_t height) {
  REALobjectStruct* mask = MyREALGetPictureMask(pic, false);
  rbFreeLater giveBackMask(&mask, nullptr);
  MaskSetterMethod setMask = nullptr;
  if (mask) {
    setMask = reinterpret_cast<MaskSetterMethod>(REALLoadObjectMethod(pic, QVL_PICTURE_MASK_SETTER));
    // A host without the setter would be called through nil; it keeps its mask instead.
    if (setMask) setMask(pic, nullptr);
  }
  TraceInt64("MyREALNewPicture", width, height, kDuplicateDepth);
  REALobjectStruct* cp = REALNewPicture(width, height, kDuplicateDepth);
  rbFreeLater giveBackCopy(&cp, nullptr);
  if (cp) DrawWhole(AsPicture(cp), pic, width, height);
  if (setMask) setMask(pic, AsPicture(mask));
  if (mask) REALUnlockObject(HandOver(&mask));
  return HandOver(&cp);
}

// Gives the duplicate the source's resolutions when both can be read and are
// at least 1; otherwise it keeps the host's default.
void CarryResolutions(REALpictureStruct* pic, REALpictureStruct* cp) {
  int64_t vertical = 0, horizontal = 0;
  if (!REALGetPropValueInteger(pic, "VerticalResolution", &vertical)) vertical = 0;
  const bool horizontalRead = REALGetPropValueInteger(pic, "HorizontalResolution", &horizontal);
  if (!horizontalRead || vertical < 1 || horizontal < 1) return;
  REALSetPropValueInteger(cp, "VerticalResolution", vertical);
  REALSetPropValueInteger(cp, "HorizontalResolution", horizontal);
  TraceInt64("set resoluton to", horizontal, vertical);
}

// A bitmap copy of the picture with one counted reference, or nil.
REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* pic) {
  TracePointer("DuplicatePictureWithoutMaskOrAlpha", pic);
  const int64_t width = GetPictureWidth(pic);
  const int64_t height = GetPictureHeight(pic);
  TracePointer("DuplicatePictureWithoutMaskOrAlpha", pic);
  if (width < 1 || height < 1) return nullptr;
  REALobjectStruct* cp =
      ReadHasAlphaChannel(pic) ? DuplicateWithAlpha(pic, width, height) : DuplicateWithoutMask(pic, width, height);
  rbFreeLater giveBackCopy(&cp, nullptr);
  if (cp) CarryResolutions(pic, AsPicture(cp));
  return HandOver(&cp);
}

}  // namespace

bool PictureEditor::ReadBestRepresentation(REALpictureStruct* pic, bool* acquired) {
  if (rbversion_rbversion < kBestRepresentationSince) return false;
  auto best = reinterpret_cast<BestRepresentationMethod>(REALLoadObjectMethod(pic, QVL_PICTURE_BEST_REPRESENTATION));
  if (!best) {
    TraceWord("BestRepresentation missing");
    return false;
  }
  const int64_t width = GetPictureWidth(pic);
  const int64_t height = GetPictureHeight(pic);
  REALobjectStruct* representation = best(pic, width, height, kRepresentationScale);
  TracePointer("best representation", representation);
  if (!representation) return false;
  // The editor takes a reference of its own; this one goes back on every path.
  rbFreeLater giveBack(&representation, nullptr);
  *acquired = GetPictureEditorInternal(AsPicture(representation), reading, false, 1);
  return true;
}

bool PictureEditor::ReadDuplicate(REALpictureStruct* pic, bool* acquired) {
  TraceWord("Trying clone....");
  REALobjectStruct* cp = DuplicatePictureWithoutMaskOrAlpha(pic);
  TracePointer("cp", cp);
  if (!cp) return false;
  rbFreeLater giveBack(&cp, nullptr);
  *acquired = GetPictureEditorInternal(AsPicture(cp), true, false, 2);
  return true;
}

void GraphicsDrawPicture(REALpictureStruct* dest, REALpictureStruct* source, int64_t /*destX*/, int64_t /*destY*/,
                         int64_t destWidth, int64_t destHeight, int64_t /*sourceX*/, int64_t /*sourceY*/,
                         int64_t sourceWidth, int64_t sourceHeight) {
  TracePointers("GraphicsDrawPicture", dest, source);
  REALobjectStruct* graphics = REALGetPictureGraphics(dest);
  if (!graphics) {
    TraceWord("Failed to get graphics.");
    return;
  }
  rbFreeLater giveBack(&graphics, nullptr);
  if (DebuggingEnabled) TraceDrawing(graphics, dest, source, destWidth, destHeight, sourceWidth, sourceHeight);
  if (DrawThroughHost(graphics, source, destWidth, destHeight, sourceWidth, sourceHeight)) return;
  TraceOwnCopy(dest, source, destWidth, destHeight, sourceWidth, sourceHeight);
  if (destWidth == sourceWidth && destHeight == sourceHeight) OwnCopy(dest, source);
}
