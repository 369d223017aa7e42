#include "frame/tables.h"

#include <algorithm>

#include "binding/diagnostics.h"
#include "filters/invert.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "mobile/album.h"
#include "picture/masks.h"
#include "strings/picture_string.h"

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

// A row of a method table: its record and the kinds its function takes and gives.
template <class Function>
MethodRow ConsoleSafe(Function function, const char* declaration) {
  return MethodRow{Method(Fn(function), declaration, consoleSafeMark), KindsOf(function)};
}

// Rows 0 and 1 of the global methods, the picture-string pair.
template <class Function>
MethodRow DeprecatedConsoleSafe(Function function, const char* declaration) {
  MethodRow row = ConsoleSafe(function, declaration);
  row.definition.attributeCount = 1;
  row.definition.attributes = DeprecatedAttributes;
  return row;
}

// A row of the mobile module, for the mobile target only.
template <class Function>
MethodRow MobileOnly(Function function, const char* declaration) {
  return MethodRow{Method(Fn(function), declaration, iosTarget), KindsOf(function)};
}

std::vector<REALmethodDefinition> DefinitionsOf(const std::vector<MethodRow>& rows) {
  std::vector<REALmethodDefinition> definitions;
  for (const MethodRow& row : rows) definitions.push_back(row.definition);
  return definitions;
}

// Copies the rows as written over a writable table made from them, keeping
// its storage: the host holds pointers into it.
void RestoreRows(const std::vector<MethodRow>& rows, std::vector<REALmethodDefinition>& table) {
  for (size_t i = 0; i < rows.size(); ++i) table[i] = rows[i].definition;
}

template <class Record>
void RestoreRows(const std::vector<Record>& rows, std::vector<Record>& table) {
  std::copy(rows.begin(), rows.end(), table.begin());
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

// Rows as written, in registration order. The class records below count them.

const std::vector<MethodRow> kPictureMethodRows = {
    ConsoleSafe(ThresholdQVL, "ThresholdQVL(Threshold as integer) as picture"),
    ConsoleSafe(PictureHasMask, "HasMaskQVL as boolean"),
    ConsoleSafe(ContrastAbsBrightnessPicture3,
                "ChangeContrastBrightnessAbsoluteQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
                "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    ConsoleSafe(ContrastLinBrightnessPicture3,
                "ChangeContrastBrightnessLinearQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as "
                "double, BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as double) as picture"),
    ConsoleSafe(ContrastAbsBrightnessPicture1,
                "ChangeContrastBrightnessAbsoluteQVL(Contrast as double, Brightness as double) as picture"),
    ConsoleSafe(ContrastLinBrightnessPicture1,
                "ChangeContrastBrightnessLinearQVL(Contrast as double, Brightness as double) as picture"),
    ConsoleSafe(AbsBrightnessPicture3,
                "ChangeBrightnessAbsoluteQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
                "double) as picture"),
    ConsoleSafe(LinBrightnessPicture3,
                "ChangeBrightnessLinearQVL(BrightnessRed as double, BrightnessGreen as double, BrightnessBlue as "
                "double) as picture"),
    ConsoleSafe(AbsBrightnessPicture1, "ChangeBrightnessAbsoluteQVL(Brightness as double) as picture"),
    ConsoleSafe(LinBrightnessPicture1, "ChangeBrightnessLinearQVL(Brightness as double) as picture"),
    ConsoleSafe(ContrastPicture1, "ChangeContrastQVL(Contrast as double) as picture"),
    ConsoleSafe(ContrastPicture3,
                "ChangeContrastQVL(ContrastRed as double, ContrastGreen as double, ContrastBlue as double) as picture"),
    ConsoleSafe(TransformPicture1, "ChangeCustomQVL(a as double, b as double) as picture"),
    ConsoleSafe(TransformPicture3,
                "ChangeCustomQVL(Ra as double, Rb as double, Ga as double, Gb as double, Ba as double, Bb as double) "
                "as picture"),
    ConsoleSafe(InvertPicture,
                "InvertQVL(left as integer,top as integer,width as integer,height as integer) as picture"),
    ConsoleSafe(InvertPicture2, "InvertQVL as picture"),
    ConsoleSafe(InvertGrayPicture,
                "InvertGrayQVL(left as integer,top as integer,width as integer,height as integer) as picture"),
    ConsoleSafe(InvertGrayPicture2, "InvertGrayQVL as picture"),
    ConsoleSafe(SaturationPicture, "ChangeSaturationQVL(Amount as integer) as picture"),
};

const std::vector<MethodRow> kGlobalMethodRows = {
    DeprecatedConsoleSafe(BinaryStringtoPicture, "BinaryStringtoPictureQVL(data as String) as Picture"),
    DeprecatedConsoleSafe(PicturetoBinaryString, "PicturetoBinaryStringQVL(p as picture) as string"),
    ConsoleSafe(TintPicture, "TintPictureQVL(source as picture, GreyBase as color, SepiaBase as color) as picture"),
};

const std::vector<REALproperty> kLut3DProperties = {
    Field("SourcePicture", "Picture", consoleSafeMark, 0), Field("DestinationPicture", "Picture", consoleSafeMark, 8),
    Field("MaxX", "Integer", consoleSafeMark, 32),         Field("MinX", "Integer", consoleSafeMark, 16),
    Field("MaxY", "Integer", consoleSafeMark, 40),         Field("MinY", "Integer", consoleSafeMark, 24),
};

const std::vector<MethodRow> kLut3DMethodRows = {};

constexpr uint32_t kSepiaPicture = consoleSafeMark | kQVLPropertyMarker;
constexpr uint32_t kSepiaValue = consoleTarget | kQVLPropertyMarker;

const std::vector<REALproperty> kPictureSepiaProperties = {
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

const std::vector<MethodRow> kPictureSepiaMethodRows = {};

const std::vector<MethodRow> kIOSSharedMethodRows = {
    MobileOnly(rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS,
               "VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoPath as String) as Boolean"),
    MobileOnly(rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF,
               "VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoFile as FolderItem) as Boolean"),
    MobileOnly(rbUIImageWriteToSavedPhotosAlbum,
               "WriteImageToSavedPhotosAlbum(Pic as Picture, CompletionDelegate as ImageSaveCompletedQVL)"),
    MobileOnly(rbUISaveVideoAtPathToSavedPhotosAlbumS,
               "SaveVideoAtPathToSavedPhotosAlbum(VideoPath as String, CompletionDelegate as VideoSaveCompletedQVL)"),
    MobileOnly(rbUISaveVideoAtPathToSavedPhotosAlbumF,
               "SaveVideoAtPathToSavedPhotosAlbum(VideoFile as FolderItem, CompletionDelegate as "
               "VideoSaveCompletedQVL)"),
    MobileOnly(rbUISaveImageAtPathToSavedPhotosAlbumS,
               "SaveImageAtPathToSavedPhotosAlbum(ImagePath as String, CompletionDelegate as ImageSaveCompletedQVL)"),
    MobileOnly(rbUISaveImageAtPathToSavedPhotosAlbumF,
               "SaveImageAtPathToSavedPhotosAlbum(ImageFile as FolderItem, CompletionDelegate as "
               "ImageSaveCompletedQVL)"),
};

REALproperty DebuggingRecord() { return DebuggingProperty(kQVLPropertyMarker | scopePublic | consoleTarget); }
REALproperty IOSDebuggingRecord() { return DebuggingProperty(kQVLPropertyMarker | scopePublic | iosTarget); }

// The writable copies that the registrar fits to the host.

std::vector<REALproperty> noProperties;
std::vector<REALproperty> Lut3DProperties = kLut3DProperties;
std::vector<REALproperty> PictureSepiaProperties = kPictureSepiaProperties;
std::vector<REALmethodDefinition> Lut3DMethods = DefinitionsOf(kLut3DMethodRows);
std::vector<REALmethodDefinition> PictureSepiaMethods = DefinitionsOf(kPictureSepiaMethodRows);
std::vector<REALmethodDefinition> IOSSharedMethods = DefinitionsOf(kIOSSharedMethodRows);

REALdelegate IOSDelegates[] = {
    MobileDelegate("ImageSaveCompletedQVL(error as NSErrorQVL)"),
    MobileDelegate("VideoSaveCompletedQVL(videoPath as String, error as NSErrorQVL)"),
};

}  // namespace

REALattribute DebuggingHiddenAttributes[1] = {{"Hidden", ""}};
REALattribute DeprecatedAttributes[1] = {{"Deprecated", "\"PNG format\""}};

REALproperty DebuggingSharedProperties[1] = {DebuggingRecord()};
REALproperty IOSPictureSharedProperties[1] = {IOSDebuggingRecord()};

std::vector<REALmethodDefinition> pictureMethods = DefinitionsOf(kPictureMethodRows);
std::vector<REALmethodDefinition> globalMethods = DefinitionsOf(kGlobalMethodRows);

namespace {

REALclassDefinition PictureClassRecord() {
  return ClassRecord("Picture", 0, nullptr, nullptr, noProperties, pictureMethods, consoleTarget);
}

REALclassDefinition Lut3DClassRecord() {
  return ClassRecord("PictureLut3DQVL", 140016, nullptr, nullptr, Lut3DProperties, Lut3DMethods, consoleTarget);
}

REALclassDefinition PictureSepiaClassRecord() {
  return ClassRecord("PictureSepiaQVL", 104, nullptr, nullptr, PictureSepiaProperties, PictureSepiaMethods,
                     consoleTarget);
}

REALmoduleDefinition IOSPictureModuleRecord() {
  return ModuleRecord("iOSPictureQVL", IOSSharedMethods, IOSPictureSharedProperties, 1, IOSDelegates, 2, iosTarget);
}

}  // namespace

REALclassDefinition pictureClass = PictureClassRecord();
REALclassDefinition Lut3DClass = Lut3DClassRecord();
REALclassDefinition PictureSepiaClass = PictureSepiaClassRecord();
REALmoduleDefinition IOSPictureModule = IOSPictureModuleRecord();

const std::vector<MethodTable>& MethodTables() {
  static const std::vector<MethodTable> tables = {
      {"iOSPictureQVL", ValueType::Nothing, &kIOSSharedMethodRows},
      {"PictureSepiaQVL", ValueType::Object, &kPictureSepiaMethodRows},
      {"PictureLut3DQVL", ValueType::Object, &kLut3DMethodRows},
      {"Picture", ValueType::Picture, &kPictureMethodRows},
      {"(global)", ValueType::Nothing, &kGlobalMethodRows},
  };
  return tables;
}

void RestoreTables() {
  RestoreRows(kPictureMethodRows, pictureMethods);
  RestoreRows(kGlobalMethodRows, globalMethods);
  RestoreRows(kLut3DMethodRows, Lut3DMethods);
  RestoreRows(kPictureSepiaMethodRows, PictureSepiaMethods);
  RestoreRows(kIOSSharedMethodRows, IOSSharedMethods);
  RestoreRows(kLut3DProperties, Lut3DProperties);
  RestoreRows(kPictureSepiaProperties, PictureSepiaProperties);
  DebuggingSharedProperties[0] = DebuggingRecord();
  IOSPictureSharedProperties[0] = IOSDebuggingRecord();
  pictureClass = PictureClassRecord();
  Lut3DClass = Lut3DClassRecord();
  PictureSepiaClass = PictureSepiaClassRecord();
  IOSPictureModule = IOSPictureModuleRecord();
}
