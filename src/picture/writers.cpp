// Result pictures: making a new host picture, binding a writer to it and
// handing it to the caller.
#include "binding/diagnostics.h"
#include "binding/references.h"
#include "binding/scope_guards.h"
#include "binding/wrappers.h"
#include "picture/picture_editor.h"
#include "qvl/host_methods.h"

namespace {

constexpr int64_t kLargestSide = 32767;
constexpr double kFirstVersionWithPictureConstructor = 2011.04;

typedef void (*PictureConstructorFn)(REALobjectStruct* instance, int64_t width, int64_t height);

// The word naming the first side that fails the writer's size limits, or nil.
const char* SizeRefusal(int64_t width, int64_t height) {
  if (width < 1) return "width < 1";
  if (height < 1) return "height < 1";
  if (width > kLargestSide) return "width > 32767";
  if (height > kLargestSide) return "height > 32767";
  return nullptr;
}

// Binds a writer to a picture that has only its creator's reference. That
// reference is given back once the writer holds one of its own; where the
// host could not lock the picture, the writer keeps the creator's instead.
// After a failed acquisition it is given back and the picture goes.
bool AcquireForWriting(PictureWriter& writer, REALpictureStruct* pic) {
  REALobjectStruct* creatorReference = pic;
  rbFreeLater release(&creatorReference, nullptr);
  const bool acquired = writer.GetPictureEditor(pic, false, true);
  if (acquired && !writer.holdsReference) {
    writer.holdsReference = true;
    creatorReference = nullptr;
  }
  return acquired;
}

}  // namespace

bool PictureWriter::NewPictureWriter(int64_t width, int64_t height) {
  TraceInt64("NewPictureWriter with size", width, height);
  if (const char* refusal = SizeRefusal(width, height)) {
    TraceWord(refusal);
    return false;
  }
  TraceInt64("MyREALNewPicture", width, height, 32);
  REALpictureStruct* pic = REALNewPicture(width, height, 32);
  TracePointer("pic", pic);
  const bool result = pic && AcquireForWriting(*this, pic);
  TraceInt32("result", result);
  return result;
}

bool PictureWriter::NewPictureWriter(PictureReader& reader) {
  TraceWord("NewPictureWriter clone from reader");
  const int64_t width = reader.Width;
  const int64_t height = reader.Height;
  bool result = false;
  if (!reader.HasAlphaChannel) {
    result = NewPictureWriter(width, height);
  } else {
    TraceWord("NewPictureWriterWithAlphaChannel");
    REALpictureStruct* pic = NewPictureWithAlphaChannel(width, height);
    result = pic && AcquireForWriting(*this, pic);
  }
  VerticalResolution = reader.VerticalResolution;
  HorizontalResolution = reader.HorizontalResolution;
  return result;
}

REALpictureStruct* NewPictureWithAlphaChannel(int64_t width, int64_t height) {
  TraceInt64("NewPictureWithAlphaChannel", width, height);
  TraceWord("TARGET_COCOA true");
  TraceWord("SupportsAlphaChannel true");
  if (width < 1 || height < 1 || rbversion_rbversion < kFirstVersionWithPictureConstructor) return nullptr;
  REALobjectStruct* instance = REALnewInstance("Picture");
  if (!instance) {
    TraceWord("Failed to allocate picture.");
    return nullptr;
  }
  auto constructor = reinterpret_cast<PictureConstructorFn>(REALLoadObjectMethod(instance, QVL_PICTURE_CONSTRUCTOR));
  if (!constructor) {
    // The new instance is left as it is: it is not given back here.
    TraceWord("Failed to get picture constructor.");
    return nullptr;
  }
  constructor(instance, width, height);
  return static_cast<REALpictureStruct*>(instance);
}

REALpictureStruct* PictureEditor::RenderPictureWriter() {
  TraceWord("RenderPictureWriter");
  REALpictureStruct* result = nullptr;
  if (picture) {
    result = picture;
    // The caller's reference is a new one or, where the host cannot lock,
    // the editor's own, which clear then keeps.
    if (!MyREALLockObject(result)) holdsReference = false;
    REALPictureClearCache(result);
  }
  TracePointer("RenderPictureWriter done", result);
  if (HorizontalResolution > 0 && VerticalResolution > 0 && result) {
    REALSetPropValueInteger(result, "VerticalResolution", VerticalResolution);
    REALSetPropValueInteger(result, "HorizontalResolution", HorizontalResolution);
  }
  clear();
  return result;
}
