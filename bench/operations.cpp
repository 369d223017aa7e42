// The plug-in's picture operations, called directly as the host would call
// them, with arguments that make every step of their arithmetic work. Each
// result is released at once.
#include <utility>

#include "filters/invert.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "harness.h"

namespace {

// A measure of one operation: call, check for a result, release it.
template <class Call>
void AddOperation(const char* name, SourceKind source, const char* reference, Call call) {
  AddMeasure({name, MeasureKind::Operation, source, reference ? reference : "", [call](REALpictureStruct* picture) {
                REALpictureStruct* result = call(picture);
                if (!result) return false;
                qvlhost::Release(result);
                return true;
              }});
}

void AddThreshold() {
  AddOperation("ThresholdQVL", SourceKind::Opaque, kReferenceThreshold,
               [](REALpictureStruct* pic) { return ThresholdQVL(pic, 128); });
}

void AddInvert() {
  AddOperation("InvertPicture2", SourceKind::Opaque, kReferenceInvert, InvertPicture2);
  AddOperation("InvertPicture2 (alpha)", SourceKind::Alpha, nullptr, InvertPicture2);
  AddOperation("InvertGrayPicture2", SourceKind::Opaque, nullptr, InvertGrayPicture2);
  AddOperation("InvertGrayPicture2 (alpha)", SourceKind::Alpha, nullptr, InvertGrayPicture2);
}

void AddTone() {
  const char* one = kReferenceScaleAbs;
  const char* three = kReferencePerChannel;
  const auto opaque = SourceKind::Opaque;
  AddOperation("ContrastPicture1", opaque, one, [](REALpictureStruct* pic) { return ContrastPicture1(pic, 0.5); });
  AddOperation("ContrastPicture3", opaque, three,
               [](REALpictureStruct* pic) { return ContrastPicture3(pic, 0.5, 0.2, -0.2); });
  AddOperation("AbsBrightnessPicture1", opaque, one,
               [](REALpictureStruct* pic) { return AbsBrightnessPicture1(pic, 40); });
  AddOperation("AbsBrightnessPicture3", opaque, three,
               [](REALpictureStruct* pic) { return AbsBrightnessPicture3(pic, 40, -20, 10); });
  AddOperation("LinBrightnessPicture1", opaque, one,
               [](REALpictureStruct* pic) { return LinBrightnessPicture1(pic, 40); });
  AddOperation("LinBrightnessPicture3", opaque, three,
               [](REALpictureStruct* pic) { return LinBrightnessPicture3(pic, 40, -20, 10); });
  AddOperation("ContrastAbsBrightnessPicture1", opaque, one,
               [](REALpictureStruct* pic) { return ContrastAbsBrightnessPicture1(pic, 0.5, 40); });
  AddOperation("ContrastAbsBrightnessPicture3", opaque, three,
               [](REALpictureStruct* pic) { return ContrastAbsBrightnessPicture3(pic, 0.5, 0.2, -0.2, 40, -20, 10); });
  AddOperation("ContrastLinBrightnessPicture1", opaque, one,
               [](REALpictureStruct* pic) { return ContrastLinBrightnessPicture1(pic, 0.5, 40); });
  AddOperation("ContrastLinBrightnessPicture3", opaque, three,
               [](REALpictureStruct* pic) { return ContrastLinBrightnessPicture3(pic, 0.5, 0.2, -0.2, 40, -20, 10); });
  AddOperation("TransformPicture1", opaque, one,
               [](REALpictureStruct* pic) { return TransformPicture1(pic, 1.5, -63.5); });
  AddOperation("TransformPicture3", opaque, three,
               [](REALpictureStruct* pic) { return TransformPicture3(pic, 1.5, -63.5, 1.2, 10, 0.8, 25); });
}

// Tint with luminance-like weights that add up to 1 and a warm colour;
// saturation raised, so channels move away from the grey and clamp.
void AddTintAndSaturation() {
  AddOperation("TintPicture", SourceKind::Opaque, kReferenceMixing,
               [](REALpictureStruct* pic) { return TintPicture(pic, 0x4C961D, 0xFFE0B0); });
  AddOperation("SaturationPicture", SourceKind::Opaque, kReferenceMixing,
               [](REALpictureStruct* pic) { return SaturationPicture(pic, 100); });
}

}  // namespace

void AddPluginOperations() {
  AddThreshold();
  AddInvert();
  AddTone();
  AddTintAndSaturation();
}
