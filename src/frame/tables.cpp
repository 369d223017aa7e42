#include "frame/tables.h"

#include "binding/diagnostics.h"
#include "filters/invert.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "picture/masks.h"
#include "waveform/render_samples.h"

namespace {

template <class Function>
void* Fn(Function* function) {
  return reinterpret_cast<void*>(function);
}

template <class Record>
Record* RowsOf(std::vector<Record>& rows) {
  return rows.empty() ? nullptr : rows.data();
}

REALmethodDefinition Method(void* function, const char* declaration, uint32_t flags, void* setter = nullptr) {
  REALmethodDefinition method{};
  method.function = function;
  method.setter = setter;
  method.declaration = declaration;
  method.flags = flags;
  return method;
}

REALmethodDefinition ConsoleSafe(void* function, const char* declaration, void* setter = nullptr) {
  return Method(function, declaration, consoleSafeMark, setter);
}

// Rows 0 and 1 of the global methods, the picture-string pair.
[[maybe_unused]] REALmethodDefinition DeprecatedConsoleSafe(void* function, const char* declaration) {
  REALmethodDefinition method = ConsoleSafe(function, declaration);
  method.attributeCount = 1;
  method.attributes = DeprecatedAttributes;
  return method;
}

REALproperty Property(const char* name, const char* type, uint32_t flags, void* getter, void* setter, int32_t param) {
  REALproperty property{};
  property.name = name;
  property.type = type;
  property.flags = flags;
  property.getter = getter;
  property.setter = setter;
  property.param = param;
  return property;
}

// A field of the instance data, read and written by the host itself.
REALproperty Field(const char* name, const char* type, uint32_t flags, int32_t offset) {
  return Property(name, type, flags, REALstandardGetter, REALstandardSetter, offset);
}

REALproperty DebuggingProperty(uint32_t flags) {
  REALproperty property = Property("Debugging", "Boolean", flags, Fn(getDebugging), Fn(setDebugging), 0);
  property.attributeCount = 1;
  property.attributes = DebuggingHiddenAttributes;
  return property;
}

REALdelegate MobileDelegate(const char* declaration) { return REALdelegate{declaration, iosTarget, 0, nullptr}; }

REALclassDefinition ClassRecord(const char* name, uint64_t dataSize, void* constructor, void* destructor,
                                std::vector<REALproperty>& properties, std::vector<REALmethodDefinition>& methods,
                                uint32_t flags) {
  REALclassDefinition record{};
  record.version = kCurrentREALControlVersion;
  record.name = name;
  record.dataSize = dataSize;
  record.constructor = constructor;
  record.destructor = destructor;
  record.properties = RowsOf(properties);
  record.propertyCount = properties.size();
  record.methods = RowsOf(methods);
  record.methodCount = methods.size();
  record.flags = flags;
  return record;
}

REALmoduleDefinition ModuleRecord(const char* name, std::vector<REALmethodDefinition>& methods,
                                  REALproperty* properties, uint64_t propertyCount, REALdelegate* delegates,
                                  uint64_t delegateCount, uint32_t flags) {
  REALmoduleDefinition record{};
  record.version = kCurrentREALControlVersion;
  record.name = name;
  record.methods = RowsOf(methods);
  record.methodCount = methods.size();
  record.properties = properties;
  record.propertyCount = propertyCount;
  record.delegates = delegates;
  record.delegateCount = delegateCount;
  record.flags = flags;
  return record;
}

std::vector<REALproperty> noProperties;

// Rows come in registration order. The class records below count them.

std::vector<REALproperty> Lut3DProperties = {
    Field("SourcePicture", "Picture", consoleSafeMark, 0), Field("DestinationPicture", "Picture", consoleSafeMark, 8),
    Field("MaxX", "Integer", consoleSafeMark, 32),         Field("MinX", "Integer", consoleSafeMark, 16),
    Field("MaxY", "Integer", consoleSafeMark, 40),         Field("MinY", "Integer", consoleSafeMark, 24),
};

std::vector<REALmethodDefinition> Lut3DMethods = {};

constexpr uint32_t kSepiaPicture = consoleSafeMark | kQVLPropertyMarker;
constexpr uint32_t kSepiaValue = consoleTarget | kQVLPropertyMarker;

std::vector<REALproperty> PictureSepiaProperties = {
    Field("SourcePicture", "Picture", kSepiaPicture, 24),
    Field("DestinationPicture", "Picture", kSepiaPicture, 32),
    Field("MaxX", "Integer", kSepiaValue, 56),
    Field("MinX", "Integer", kSepiaValue, 40),
    Field("MaxY", "Integer", kSepiaValue, 64),
    Field("MinY", "Integer", kSepiaValue, 48),
    Field("SepiaRed", "Integer", kSepiaValue, 72),
    Field("SepiaGreen", "Integer", kSepiaValue, 80),
    Field("SepiaBlue", "Integer", kSepiaValue, 88),
};

std::vector<REALmethodDefinition> PictureSepiaMethods = {};

std::vector<REALmethodDefinition> IOSSharedMethods = {};

REALdelegate IOSDelegates[] = {
    MobileDelegate("ImageSaveCompletedQVL(error as NSErrorQVL)"),
    MobileDelegate("VideoSaveCompletedQVL(videoPath as String, error as NSErrorQVL)"),
};

}  // namespace

REALattribute DebuggingHiddenAttributes[1] = {{"Hidden", ""}};
REALattribute DeprecatedAttributes[1] = {{"Deprecated", "\"PNG format\""}};

REALproperty DebuggingSharedProperties[1] = {DebuggingProperty(kQVLPropertyMarker | scopePublic | consoleTarget)};
REALproperty IOSPictureSharedProperties[1] = {DebuggingProperty(kQVLPropertyMarker | scopePublic | iosTarget)};

std::vector<REALmethodDefinition> pictureMethods = {
    ConsoleSafe(Fn(ThresholdQVL), "ThresholdQVL(Threshold as integer) as picture"),
    ConsoleSafe(Fn(PictureHasMask), "HasMaskQVL as boolean"),
    ConsoleSafe(Fn(ContrastAbsBrightnessPicture3),
                "ChangeContrastBrightnessAbsoluteQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
                "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    ConsoleSafe(Fn(ContrastLinBrightnessPicture3),
                "ChangeContrastBrightnessLinearQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
                "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    ConsoleSafe(Fn(ContrastAbsBrightnessPicture1),
                "ChangeContrastBrightnessAbsoluteQVL(Contrast as double, Brightness as double) as picture"),
    ConsoleSafe(Fn(ContrastLinBrightnessPicture1),
                "ChangeContrastBrightnessLinearQVL(Contrast as double, Brightness as double) as picture"),
    ConsoleSafe(Fn(AbsBrightnessPicture3),
                "ChangeBrightnessAbsoluteQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
                "double) as picture"),
    ConsoleSafe(Fn(LinBrightnessPicture3),
                "ChangeBrightnessLinearQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
                "double) as picture"),
    ConsoleSafe(Fn(AbsBrightnessPicture1), "ChangeBrightnessAbsoluteQVL(Brightness as double) as picture"),
    ConsoleSafe(Fn(LinBrightnessPicture1), "ChangeBrightnessLinearQVL(Brightness as double) as picture"),
    ConsoleSafe(Fn(ContrastPicture1), "ChangeContrastQVL(Contrast as double) as picture"),
    ConsoleSafe(Fn(ContrastPicture3),
                "ChangeContrastQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture"),
    ConsoleSafe(Fn(TransformPicture1), "ChangeCustomQVL(a as double, b as double) as picture"),
    ConsoleSafe(Fn(TransformPicture3),
                "ChangeCustomQVL(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) "
                "as picture"),
    ConsoleSafe(Fn(InvertPicture),
                "InvertQVL(left as integer,top as integer,width as integer,height as integer) as picture"),
    ConsoleSafe(Fn(InvertPicture2), "InvertQVL as picture"),
    ConsoleSafe(Fn(InvertGrayPicture),
                "InvertGrayQVL(left as integer,top as integer,width as integer,height as integer) as picture"),
    ConsoleSafe(Fn(InvertGrayPicture2), "InvertGrayQVL as picture"),
    ConsoleSafe(Fn(SaturationPicture), "ChangeSaturationQVL(Amount as integer) as picture"),
};

REALclassDefinition pictureClass =
    ClassRecord("Picture", 0, nullptr, nullptr, noProperties, pictureMethods, consoleTarget);

std::vector<REALmethodDefinition> globalMethods = {
    ConsoleSafe(Fn(TintPicture), "TintPictureQVL(source as picture, GreyBase as color, SepiaBase as color) as picture"),
    ConsoleSafe(Fn(RenderSamples),
                "RenderSamplesQVL(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, "
                "Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as "
                "color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) "
                "as Picture"),
};

REALclassDefinition Lut3DClass =
    ClassRecord("PictureLut3DQVL", 140016, nullptr, nullptr, Lut3DProperties, Lut3DMethods, consoleTarget);

REALclassDefinition PictureSepiaClass =
    ClassRecord("PictureSepiaQVL", 104, nullptr, nullptr, PictureSepiaProperties, PictureSepiaMethods, consoleTarget);

REALmoduleDefinition IOSPictureModule =
    ModuleRecord("iOSPictureQVL", IOSSharedMethods, IOSPictureSharedProperties, 1, IOSDelegates, 2, iosTarget);
