// Every registered method through the embedded host, called by its
// declaration as the qvl tool calls it: the input picks the layout, the row
// padding, the method and each argument (pictures of any size up to a few
// hundred pixels, with or without alpha and mask, extreme integers, NaN and
// infinities, short and nil memory blocks, nil pictures, any colour). What
// comes back is released; an exception the plug-in raises is taken out of
// the host, and the host must then be balanced.
#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "fuzz_host.h"

namespace {

using qvlhost::Parameter;
using qvlhost::SurfaceMethod;
using qvlhost::TypeKind;
using qvlhost::Value;

// Pictures stay within the host's byte cap of the fuzz host (4096 pixels), a
// side at most a few hundred pixels.
constexpr int64_t kMaxSide = 320;
constexpr int64_t kMaxPixels = 4096;
constexpr int64_t kMaxPaddingBytes = 24;
constexpr size_t kMaxBlockBytes = 96;
constexpr size_t kMaxStringBytes = 64;
// RenderSamplesQVL walks and allocates per column and per sample, and has
// the host draw lines with a pen of the outline width: its sizes stay below
// this, so that one input never takes long. Bits and the colours stay free.
constexpr int64_t kMaxRenderSize = 1024;
// The host composes a translucent pen at every point of a line, so the pen's
// area multiplies a line's time: a wide outline would take minutes an input.
constexpr int64_t kMaxOutlineWidth = 8;

// The exceptions the plug-in documents; any other class is a finding.
const std::set<std::string>& DocumentedExceptions() {
  static const std::set<std::string> names = {"NilObjectException",
                                              "OutOfBoundsException",
                                              "OutOfMemoryException",
                                              "PlatformNotSupportedException",
                                              "UnsupportedOperationException",
                                              "RuntimeException"};
  return names;
}

const std::vector<SurfaceMethod>& Methods() {
  static const std::vector<SurfaceMethod> methods = [] {
    std::vector<SurfaceMethod> found;
    for (const qvlhost::SurfaceOwner& owner : qvlhost::Surface())
      for (const SurfaceMethod& method : owner.methods)
        if (method.parseError.empty() && method.function) found.push_back(method);
    return found;
  }();
  return methods;
}

int64_t ExtremeInteger(FuzzedDataProvider& input) {
  static const int64_t kExtremes[] = {0,
                                      1,
                                      -1,
                                      2,
                                      3,
                                      255,
                                      256,
                                      -256,
                                      65535,
                                      INT32_MAX,
                                      INT32_MIN,
                                      INT64_MAX,
                                      INT64_MIN,
                                      INT64_MAX / 8,
                                      INT64_MIN / 8 + 1};
  switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return input.PickValueInArray(kExtremes);
    case 1:
      return input.ConsumeIntegralInRange<int64_t>(-kMaxSide - 8, kMaxSide + 8);
    default:
      return input.ConsumeIntegral<int64_t>();
  }
}

double ExtremeDouble(FuzzedDataProvider& input) {
  static const double kExtremes[] = {std::numeric_limits<double>::quiet_NaN(),
                                     std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(),
                                     std::numeric_limits<double>::max(),
                                     -std::numeric_limits<double>::max(),
                                     std::numeric_limits<double>::denorm_min(),
                                     -0.0,
                                     0.0,
                                     1.0,
                                     -1.0,
                                     255.0,
                                     1e300,
                                     9.3e18,
                                     -9.3e18};
  switch (input.ConsumeIntegralInRange(0, 2)) {
    case 0:
      return input.PickValueInArray(kExtremes);
    case 1:
      return input.ConsumeFloatingPointInRange(-300.0, 300.0);
    default:
      return input.ConsumeFloatingPoint<double>();
  }
}

// Pixels from a short pattern of the input, varied by position; colours are
// set un-premultiplied, so that premultiplied layouts hold valid words.
void FillPicture(FuzzedDataProvider& input, REALpictureStruct* picture, int64_t width, int64_t height) {
  const std::vector<uint8_t> pattern = input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange(1, 16));
  if (pattern.empty()) return;
  const size_t n = pattern.size();
  for (int64_t y = 0; y < height; ++y)
    for (int64_t x = 0; x < width; ++x) {
      const size_t at = size_t(x + y * 7);
      qvlhost::SetPixelColour(picture, x, y,
                              qvlhost::Rgba{pattern[at % n], pattern[(at + 1) % n], uint8_t(pattern[(at + 2) % n] ^ x),
                                            pattern[(at * 3) % n]});
    }
}

// A picture of any size within the caps, nil when the host can't make it.
REALpictureStruct* MakePicture(FuzzedDataProvider& input) {
  const int64_t width = input.ConsumeIntegralInRange<int64_t>(0, kMaxSide);
  const int64_t height =
      input.ConsumeIntegralInRange<int64_t>(0, std::min(kMaxSide, kMaxPixels / std::max<int64_t>(width, 1)));
  const bool alpha = input.ConsumeBool();
  REALpictureStruct* picture = alpha ? qvlhost::NewAlphaPicture(width, height) : qvlhost::NewPicture(width, height);
  if (!picture) return nullptr;
  FillPicture(input, picture, width, height);
  if (input.ConsumeBool()) {
    // A mask of the picture's size, or now and then of another.
    const bool sameSize = input.ConsumeBool();
    const int64_t maskWidth = sameSize ? width : input.ConsumeIntegralInRange<int64_t>(0, 64);
    const int64_t maskHeight = sameSize ? height : input.ConsumeIntegralInRange<int64_t>(0, 64);
    if (REALpictureStruct* mask = qvlhost::NewPicture(maskWidth, maskHeight)) {
      FillPicture(input, mask, maskWidth, maskHeight);
      qvlhost::SetPictureMask(picture, mask);
      qvlhost::Release(mask);
    }
  }
  return picture;
}

// Every handle the input made, given back at the end.
struct Handles {
  std::vector<Value> owned;
  ~Handles() {
    for (const Value& value : owned) qvlhost::ReleaseValue(value);
  }
  Value Keep(TypeKind kind, void* handle) {
    Value value = Value::Handle(kind, handle);
    if (handle) owned.push_back(value);
    return value;
  }
};

Value PictureArgument(FuzzedDataProvider& input, Handles& handles, bool mayBeNil, const Value& self) {
  const int choice = input.ConsumeIntegralInRange(0, 5);
  if (choice == 0 && mayBeNil) return Value::Nil(TypeKind::Picture);
  if (choice == 1 && self.handle) return self;  // the picture the method is called on, a second time
  return handles.Keep(TypeKind::Picture, MakePicture(input));
}

Value MemoryBlockArgument(FuzzedDataProvider& input, Handles& handles) {
  if (input.ConsumeIntegralInRange(0, 4) == 0) return Value::Nil(TypeKind::MemoryBlock);
  const std::vector<uint8_t> bytes =
      input.ConsumeBytes<uint8_t>(input.ConsumeIntegralInRange<size_t>(0, kMaxBlockBytes));
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(int64_t(bytes.size()));
  std::copy(bytes.begin(), bytes.end(), qvlhost::MemoryBlockData(block));
  return handles.Keep(TypeKind::MemoryBlock, block);
}

Value StringArgument(FuzzedDataProvider& input, Handles& handles) {
  if (input.ConsumeIntegralInRange(0, 4) == 0) return Value::Nil(TypeKind::String);
  static const uint32_t kEncodings[] = {0x08000100, 0x0600, 0, 0xFFFF, 0x0500};
  const uint32_t encoding = input.PickValueInArray(kEncodings);
  return handles.Keep(TypeKind::String, qvlhost::NewString(input.ConsumeRandomLengthString(kMaxStringBytes), encoding));
}

Value ObjectArgument(FuzzedDataProvider& input, Handles& handles, const Parameter& parameter) {
  if (parameter.type.kind == TypeKind::FolderItem) {
    if (input.ConsumeBool()) return Value::Nil(TypeKind::FolderItem);
    return handles.Keep(TypeKind::FolderItem, qvlhost::NewFolderItem(input.ConsumeRandomLengthString(32)));
  }
  if (input.ConsumeBool()) return Value::Nil(TypeKind::Object);
  return handles.Keep(TypeKind::Object, qvlhost::NewObject(parameter.type.name));
}

// The bound of a RenderSamplesQVL size argument, or 0 for any other.
int64_t RenderSizeBound(const SurfaceMethod& method, const Parameter& parameter) {
  static const std::set<std::string> sizes = {"samplecount", "smooth", "width", "height"};
  if (!qvlhost::EqualsIgnoringCase(method.Name(), "RenderSamplesQVL")) return 0;
  std::string name = parameter.name;
  for (char& c : name) c = char(std::tolower(static_cast<unsigned char>(c)));
  if (name == "outlinewidth") return kMaxOutlineWidth;
  return sizes.count(name) != 0 ? kMaxRenderSize : 0;
}

Value ArgumentFor(FuzzedDataProvider& input, Handles& handles, const SurfaceMethod& method, const Parameter& parameter,
                  const Value& self) {
  switch (parameter.type.kind) {
    case TypeKind::Integer:
      if (const int64_t bound = RenderSizeBound(method, parameter))
        return Value::Integer(input.ConsumeIntegralInRange(-bound, bound));
      return Value::Integer(ExtremeInteger(input));
    case TypeKind::Int32:
      return Value::Int32(int32_t(ExtremeInteger(input)));
    case TypeKind::UInt32:
      return Value::UInt32(input.ConsumeIntegral<uint32_t>());
    case TypeKind::Boolean:
      return Value::Boolean(input.ConsumeBool());
    case TypeKind::Color:
      return Value::Color(input.ConsumeIntegral<uint32_t>());
    case TypeKind::Double:
      return Value::Double(ExtremeDouble(input));
    case TypeKind::Single:
      return Value::Single(float(ExtremeDouble(input)));
    case TypeKind::String:
      return StringArgument(input, handles);
    case TypeKind::Picture:
      // Xojo raises before the call when the picture a method extends is nil.
      return PictureArgument(input, handles, !parameter.extends, self);
    case TypeKind::MemoryBlock:
      return MemoryBlockArgument(input, handles);
    default:
      return ObjectArgument(input, handles, parameter);
  }
}

// A ByRef handle the call replaced comes back with a reference of its own.
void KeepReplaced(const SurfaceMethod& method, const std::vector<Value>& before, const std::vector<Value>& after,
                  Handles& handles) {
  for (size_t i = 0; i < after.size(); ++i)
    if (method.callForm.parameters[i].byRef && after[i].handle != before[i].handle)
      handles.Keep(after[i].kind, after[i].handle);
}

void TakeDocumentedException(const SurfaceMethod& method) {
  REALobjectStruct* exception = qvlhost::PendingException();
  if (!exception) return;
  const std::string name = qvlhost::ClassName(exception);
  if (!DocumentedExceptions().count(name)) fuzzhost::Fail(method.text + " raised " + name);
  qvlhost::ClearPendingException();
}

void CallOnce(FuzzedDataProvider& input, const SurfaceMethod& method) {
  Handles handles;
  std::vector<Value> arguments;
  if (method.IsInstanceMethod()) arguments.push_back(handles.Keep(TypeKind::Object, qvlhost::NewObject(method.owner)));
  Value self;
  for (size_t i = arguments.size(); i < method.callForm.parameters.size(); ++i) {
    arguments.push_back(ArgumentFor(input, handles, method, method.callForm.parameters[i], self));
    if (i == 0 && method.callForm.parameters[0].extends) {
      if (!arguments[0].handle) return;  // the host could not make the picture
      self = arguments[0];
    }
  }
  const std::vector<Value> given = arguments;
  Value result;
  std::string error;
  if (!qvlhost::CallMethod(method, arguments, &result, &error)) fuzzhost::Fail(method.text + ": " + error);
  handles.Keep(result.kind, IsHandleKind(result.kind) ? result.handle : nullptr);
  KeepReplaced(method, given, arguments, handles);
  TakeDocumentedException(method);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::vector<qvlhost::Storage> layouts = qvlhost::Storage::SevenLayouts();
  FuzzedDataProvider input(data, size);
  fuzzhost::FreshHost(layouts[input.ConsumeIntegralInRange<size_t>(0, layouts.size() - 1)]);
  // Core Graphics rows padded beyond their pixels (the host keeps rows of
  // 32-bit pixels on whole words); gd rows have none.
  qvlhost::CurrentConfig().extraBytesPerRow = input.ConsumeIntegralInRange<int64_t>(0, kMaxPaddingBytes);
  const std::vector<SurfaceMethod>& methods = Methods();
  CallOnce(input, methods[input.ConsumeIntegralInRange<size_t>(0, methods.size() - 1)]);
  fuzzhost::RequireBalance();
  return 0;
}
