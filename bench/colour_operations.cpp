// Colour replacement, channel composition and mask extraction, called as the
// host calls them. The extraction of coloured rectangles is also measured on
// a grey picture with one coloured speck and with 100,000: the second is held
// to the first, as the grouping must take time linear in the pixels.
#include <cstring>
#include <string>

#include "colour_measures.h"
#include "filters/channels.h"
#include "filters/colour_replacement.h"
#include "filters/mask_extraction.h"

namespace {

// A picture made by mirroring the source: each pixel of row y, column x
// comes from row `flipRows ? last - y : y`, column `flipColumns ? last - x : x`.
REALpictureStruct* MirroredSource(bool flipColumns, bool flipRows) {
  REALpictureStruct* picture = qvlhost::NewPicture(kBenchSize, kBenchSize);
  if (!picture) return nullptr;
  LockedRows from(SourcePicture(SourceKind::Opaque));
  LockedRows to(picture);
  if (!from.ok() || !to.ok()) return picture;
  const int64_t last = kBenchSize - 1;
  for (int64_t y = 0; y < kBenchSize; ++y) {
    const auto* in = reinterpret_cast<const uint32_t*>(from.Row(flipRows ? last - y : y));
    auto* out = reinterpret_cast<uint32_t*>(to.Row(y));
    for (int64_t x = 0; x < kBenchSize; ++x) out[x] = in[flipColumns ? last - x : x];
  }
  return picture;
}

// A cheap deterministic hash, for the places of the specks.
uint32_t Hash(uint32_t n) {
  n ^= n >> 16;
  n *= 0x7FEB352Du;
  n ^= n >> 15;
  n *= 0x846CA68Bu;
  return n ^ (n >> 16);
}

// Grey columns running through every grey, with `specks` pixels at hashed
// places coloured.
REALpictureStruct* GreyWithSpecks(int64_t specks) {
  REALpictureStruct* picture = qvlhost::NewPicture(kBenchSize, kBenchSize);
  if (!picture) return nullptr;
  for (int64_t x = 0; x < kBenchSize; ++x) {
    const auto v = static_cast<uint8_t>(x);
    qvlhost::SetPixelRgba(picture, x, 0, {v, v, v, 255});
  }
  {
    LockedRows rows(picture);
    if (!rows.ok()) return picture;
    for (int64_t y = 1; y < kBenchSize; ++y) std::memcpy(rows.Row(y), rows.Row(0), size_t(kBenchSize) * 4);
  }
  for (int64_t i = 0; i < specks; ++i) {
    const uint32_t place = Hash(static_cast<uint32_t>(i) + 1);
    qvlhost::SetPixelRgba(picture, place % kBenchSize, (place / kBenchSize) % kBenchSize, {200, 40, 40, 255});
  }
  return picture;
}

REALpictureStruct* Specks(int64_t specks) {
  return LayoutPicture("specks " + std::to_string(specks), [specks] { return GreyWithSpecks(specks); });
}

// The picture SetEmbededMask writes into: a copy of the source, so that the
// source stays as the other measures need it.
REALpictureStruct* MaskTarget() {
  return LayoutPicture("mask target", [] { return MirroredSource(false, false); });
}

template <class Call>
void AddOperation(const std::string& name, const char* reference, Call call, const std::string& floor = "") {
  AddMeasure({name, MeasureKind::Operation, SourceKind::Opaque, reference ? reference : "",
              [call](REALpictureStruct* picture) {
                REALpictureStruct* result = call(picture);
                if (!result) return false;
                qvlhost::Release(result);
                return true;
              },
              floor});
}

REALmemoryBlockStruct* TableBlock(uint8_t (*entry)(int)) {
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(256);
  if (block) {
    for (int i = 0; i < 256; ++i) qvlhost::MemoryBlockData(block)[i] = entry(i);
  }
  return block;
}

// The host is made anew for every layout, so the tables are made for each
// call; three blocks of 256 bytes cost nothing next to the pixels.
REALpictureStruct* TransformWithTables(REALpictureStruct* pic) {
  qvlhost::OwnedMemoryBlock red(TableBlock(RedTableEntry)), green(TableBlock(GreenTableEntry)),
      blue(TableBlock(BlueTableEntry));
  return TransformColorsQVL(pic, red, blue, green, nullptr);
}

void AddColourReplacement() {
  AddOperation("TransformColorsQVL", kReferenceLut, TransformWithTables);
  AddOperation("ReplaceColorQVL", nullptr,
               [](REALpictureStruct* pic) { return ReplaceColorQVL(pic, SearchedColour(), kReplacementColour); });
  AddOperation("ExtractColorQVL", kReferenceTwoColours, [](REALpictureStruct* pic) {
    return ExtractColorQVL(pic, SearchedColour(), kReplacementColour, kBackgroundColour);
  });
}

void AddChannelComposition() {
  AddOperation("MergePicture", kReferenceMax,
               [](REALpictureStruct* pic) { return MergePicture(pic, SecondOperand()); });
  AddOperation("CombinePicturesQVL", kReferenceThreeChannels,
               [](REALpictureStruct* pic) { return CombinePicturesQVL(pic, SecondOperand(), ThirdOperand()); });
  AddOperation("ReplaceRedChannel", kReferenceOneChannel,
               [](REALpictureStruct* pic) { return ReplaceRedChannel(pic, SecondOperand()); });
  AddOperation("ReplaceGreenChannel", kReferenceOneChannel,
               [](REALpictureStruct* pic) { return ReplaceGreenChannel(pic, SecondOperand()); });
  AddOperation("ReplaceBlueChannel", kReferenceOneChannel,
               [](REALpictureStruct* pic) { return ReplaceBlueChannel(pic, SecondOperand()); });
}

// The floor of an operation that writes into a picture it was given: the
// source's pixels copied into that picture, which is not made anew.
constexpr const char* kInPlaceFloor = "floor (in place)";

bool CopyIntoMaskTarget(REALpictureStruct* source) {
  LockedRows from(source);
  LockedRows to(MaskTarget());
  if (!from.ok() || !to.ok()) return false;
  for (int64_t y = 0; y < kBenchSize; ++y) std::memcpy(to.Row(y), from.Row(y), size_t(kBenchSize) * 4);
  return true;
}

void AddMaskExtraction() {
  AddOperation("GetEmbededMask", nullptr, [](REALpictureStruct* pic) { return GetEmbededMask(pic, false); });
  AddMeasure({kInPlaceFloor, MeasureKind::Floor, SourceKind::Opaque, "", CopyIntoMaskTarget});
  AddMeasure({"SetEmbededMask", MeasureKind::Operation, SourceKind::Opaque, "",
              [](REALpictureStruct* pic) {
                REALpictureStruct* target = MaskTarget();
                SetEmbededMask(target, false, pic);
                return target != nullptr;
              },
              kInPlaceFloor});
  AddOperation("ExtractColorRectangleMaskQVL", nullptr, ExtractColorRectangleMaskQVL2);
  const std::string oneSpeck = "ExtractColorRectangleMaskQVL (one speck)";
  AddOperation(oneSpeck, nullptr, [](REALpictureStruct*) { return ExtractColorRectangleMaskQVL2(Specks(1)); });
  AddOperation(
      "ExtractColorRectangleMaskQVL (100,000 specks; floor: one speck)", nullptr,
      [](REALpictureStruct*) { return ExtractColorRectangleMaskQVL2(Specks(100000)); }, oneSpeck);
}

}  // namespace

uint8_t RedTableEntry(int i) { return static_cast<uint8_t>(255 - i); }
uint8_t GreenTableEntry(int i) { return static_cast<uint8_t>(i / 2); }
uint8_t BlueTableEntry(int i) { return static_cast<uint8_t>(i * i / 255); }

uint32_t SearchedColour() {
  const qvlhost::Rgba c = qvlhost::PixelRgba(SourcePicture(SourceKind::Opaque), 100, 100);
  return uint32_t(c.r) << 16 | uint32_t(c.g) << 8 | c.b;
}

REALpictureStruct* SecondOperand() {
  return LayoutPicture("mirrored", [] { return MirroredSource(true, false); });
}

REALpictureStruct* ThirdOperand() {
  return LayoutPicture("upside down", [] { return MirroredSource(false, true); });
}

void AddColourOperations() {
  AddColourReplacement();
  AddChannelComposition();
  AddMaskExtraction();
}
