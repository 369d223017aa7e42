#include "frame/tables.h"

#include <algorithm>
#include <array>
#include <utility>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "binding/diagnostics.h"
#include "filters/channels.h"
#include "filters/colour_replacement.h"
#include "filters/invert.h"
#include "filters/mask_extraction.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "jobs/lut3d.h"
#include "jobs/sepia.h"
#include "mobile/album.h"
#include "picture/masks.h"
#include "scroll/scroll.h"
#include "strings/picture_string.h"
#include "waveform/render_samples.h"

namespace {

template <class Function>
void* Fn(Function* function) {
  return reinterpret_cast<void*>(function);
}

template <class Record, size_t N>
constexpr TableView<Record> ViewOf(std::array<Record, N>& records) {
  return {records.data(), N};
}

template <class Record, size_t N>
constexpr TableView<const Record> ViewOf(const std::array<Record, N>& records) {
  return {records.data(), N};
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

// A row whose method is also assignable: the host calls the setter for an
// assignment, with the same arguments and the assigned value last.
template <class Function, class Setter>
MethodRow ConsoleSafeAssignable(Function function, Setter setter, const char* declaration) {
  MethodRow row = ConsoleSafe(function, declaration);
  row.definition.setter = Fn(setter);
  return row;
}

// Rows 0 and 1 of the global methods, the picture-string pair.
template <class Function>
MethodRow DeprecatedConsoleSafe(Function function, const char* declaration) {
  MethodRow row = ConsoleSafe(function, declaration);
  row.definition.attributeCount = 1;
  row.definition.attributes = DeprecatedAttributes;
  return row;
}

// A row for the console target itself, as the sepia class's methods are.
template <class Function>
MethodRow ConsoleOnly(Function function, const char* declaration) {
  return MethodRow{Method(Fn(function), declaration, consoleTarget), KindsOf(function)};
}

// A row of the mobile module, for the mobile target only.
template <class Function>
MethodRow MobileOnly(Function function, const char* declaration) {
  return MethodRow{Method(Fn(function), declaration, iosTarget), KindsOf(function)};
}

template <size_t N>
using Definitions = std::array<REALmethodDefinition, N>;

template <size_t N, size_t... I>
Definitions<N> DefinitionsOf(const std::array<MethodRow, N>& rows, std::index_sequence<I...>) {
  return {rows[I].definition...};
}

// The records of the rows as written.
template <size_t N>
Definitions<N> DefinitionsOf(const std::array<MethodRow, N>& rows) {
  return DefinitionsOf(rows, std::make_index_sequence<N>());
}

// Copies the rows as written over a writable table made from them, keeping
// its storage: the host holds pointers into it.
template <size_t N>
void RestoreRows(const std::array<MethodRow, N>& rows, Definitions<N>& table) {
  table = DefinitionsOf(rows);
}

template <class Record, size_t N>
void RestoreRows(const std::array<Record, N>& rows, std::array<Record, N>& table) {
  table = rows;
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
                                TableView<REALproperty> properties, TableView<REALmethodDefinition> methods,
                                uint32_t flags) {
  REALclassDefinition record{};
  record.version = kCurrentREALControlVersion;
  record.name = name;
  record.dataSize = dataSize;
  record.constructor = constructor;
  record.destructor = destructor;
  record.properties = properties.data();
  record.propertyCount = properties.size();
  record.methods = methods.data();
  record.methodCount = methods.size();
  record.flags = flags;
  return record;
}

REALmoduleDefinition ModuleRecord(const char* name, TableView<REALmethodDefinition> methods, REALproperty* properties,
                                  uint64_t propertyCount, REALdelegate* delegates, uint64_t delegateCount,
                                  uint32_t flags) {
  REALmoduleDefinition record{};
  record.version = kCurrentREALControlVersion;
  record.name = name;
  record.methods = methods.data();
  record.methodCount = methods.size();
  record.properties = properties;
  record.propertyCount = propertyCount;
  record.delegates = delegates;
  record.delegateCount = delegateCount;
  record.flags = flags;
  return record;
}

// Rows as written, in registration order. The class records below count them.

const std::array kPictureMethodRows = {
    ConsoleSafe(ThresholdQVL, "ThresholdQVL(Threshold as integer) as picture"),
    ConsoleSafe(ColornessQVL, "ColornessQVL(threshold as integer = 10) as double"),
    ConsoleSafe(ScrollVerticalQVL,
                "ScrollVerticalQVL(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"),
    ConsoleSafe(ScrollHorizontalQVL,
                "ScrollHorizontalQVL(delta as integer, wrap as boolean, scrollmask as boolean) as boolean"),
    ConsoleSafe(ScrollQVL,
                "ScrollQVL(deltaX as integer, deltaY as integer, wrap as boolean, scrollmask as boolean) as boolean"),
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
    ConsoleSafe(ExtractColorRectangleMaskQVL,
                "ExtractColorRectangleMaskQVL(left as integer,top as integer,width as integer,height as integer) as "
                "picture"),
    ConsoleSafe(ExtractColorRectangleMaskQVL2, "ExtractColorRectangleMaskQVL as picture"),
    ConsoleSafeAssignable(GetEmbededMask, SetEmbededMask, "EmbeddedMaskQVL(swap as boolean) as picture"),
    ConsoleSafe(CountColorQVL, "CountColorQVL(col as color) as integer"),
    ConsoleSafe(CountColorsQVL,
                "CountColorsQVL(byref red as memoryblock, byref blue as memoryblock, byref green "
                "as memoryblock, byref count as integer)"),
    ConsoleSafe(TransformColorsQVL,
                "TransformColorsQVL(red as memoryblock, blue as memoryblock, green as memoryblock, dest as picture = "
                "nil) as picture"),
    ConsoleSafe(ReplaceColorQVL, "ReplaceColorQVL(SearchColor as color, ReplaceWithColor as color) as picture"),
    ConsoleSafe(ExtractColorQVL,
                "ExtractColorQVL(SearchColor as color, ReplaceWithColor as color, BackGroundColor as color) as "
                "picture"),
    ConsoleSafe(SaturationPicture, "ChangeSaturationQVL(Amount as integer) as picture"),
    ConsoleSafe(ReplaceRedChannel, "ReplaceRedChannelQVL(RedChannel as picture) as picture"),
    ConsoleSafe(ReplaceGreenChannel, "ReplaceGreenChannelQVL(GreenChannel as picture) as picture"),
    ConsoleSafe(ReplaceBlueChannel, "ReplaceBlueChannelQVL(BlueChannel as picture) as picture"),
    ConsoleSafe(FindPicture,
                "FindPictureQVL(pic as picture, byref x as integer, byref y as integer, StartX as "
                "Integer = 0, StartY as Integer = 0, Tolerance as Integer = 3) as boolean"),
    ConsoleSafe(isWhite2, "isWhiteQVL as boolean"),
    ConsoleSafe(isWhite, "isWhiteQVL(left as integer,top as integer,width as integer,height as integer) as boolean"),
    ConsoleSafe(isBlack2, "isBlackQVL as boolean"),
    ConsoleSafe(isBlack, "isBlackQVL(left as integer,top as integer,width as integer,height as integer) as boolean"),
    ConsoleSafe(isGray2, "isGrayQVL(tolerance as integer = 0) as boolean"),
    ConsoleSafe(isGray,
                "isGrayQVL(tolerance as integer, left as integer,top as integer,width as integer,height as integer) as "
                "boolean"),
};

const std::array kGlobalMethodRows = {
    DeprecatedConsoleSafe(BinaryStringtoPicture, "BinaryStringtoPictureQVL(data as String) as Picture"),
    DeprecatedConsoleSafe(PicturetoBinaryString, "PicturetoBinaryStringQVL(p as picture) as string"),
    ConsoleSafe(CombinePicturesQVL, "CombinePicturesQVL(red as picture, blue as picture, green as picture) as picture"),
    ConsoleSafe(MergePicture, "MergePictureQVL(source1 as picture, source2 as picture) as picture"),
    ConsoleSafe(TintPicture, "TintPictureQVL(source as picture, GreyBase as color, SepiaBase as color) as picture"),
    ConsoleSafe(RenderSamples,
                "RenderSamplesQVL(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, "
                "Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as "
                "color=&c274C5A, OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) "
                "as Picture"),
};

const std::array kLut3DProperties = {
    Field("SourcePicture", "Picture", consoleSafeMark, 0), Field("DestinationPicture", "Picture", consoleSafeMark, 8),
    Field("MaxX", "Integer", consoleSafeMark, 32),         Field("MinX", "Integer", consoleSafeMark, 16),
    Field("MaxY", "Integer", consoleSafeMark, 40),         Field("MinY", "Integer", consoleSafeMark, 24),
};

const std::array kLut3DMethodRows = {
    ConsoleSafe(Lut3DClassDestructor, "Close"),
    ConsoleSafe(lut3d::Run, "Run as boolean"),
    ConsoleSafeAssignable(GetPMX, SetPMX, "Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double"),
};

constexpr uint32_t kSepiaPicture = consoleSafeMark | kQVLPropertyMarker;
constexpr uint32_t kSepiaValue = consoleTarget | kQVLPropertyMarker;

const std::array kPictureSepiaProperties = {
    Field("SourcePicture", "Picture", kSepiaPicture, 24),
    Field("DestinationPicture", "Picture", kSepiaPicture, 32),
    Field("MaxX", "Integer", kSepiaValue, 56),
    Field("MinX", "Integer", kSepiaValue, 40),
    Field("MaxY", "Integer", kSepiaValue, 64),
    Field("MinY", "Integer", kSepiaValue, 48),
    Field("SepiaRed", "Integer", kSepiaValue, 72),
    Field("SepiaGreen", "Integer", kSepiaValue, 80),
    Field("SepiaBlue", "Integer", kSepiaValue, 88),
    // FactorBlue reaches the green weight and FactorGreen the blue one: the
    // rows cross them, the accessors do not.
    Property("FactorRed", "Double", kSepiaValue, Fn(GetFactorR), Fn(SetFactorR), 0),
    Property("FactorBlue", "Double", kSepiaValue, Fn(GetFactorG), Fn(SetFactorG), 0),
    Property("FactorGreen", "Double", kSepiaValue, Fn(GetFactorB), Fn(SetFactorB), 0),
};

const std::array kPictureSepiaMethodRows = {
    ConsoleOnly(PictureSepiaClassDestructor, "Close"),
    ConsoleOnly(sepia::Run, "Run as boolean"),
};

const std::array kIOSSharedMethodRows = {
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

auto Lut3DProperties = kLut3DProperties;
auto PictureSepiaProperties = kPictureSepiaProperties;
auto Lut3DMethods = DefinitionsOf(kLut3DMethodRows);
auto PictureSepiaMethods = DefinitionsOf(kPictureSepiaMethodRows);
auto IOSSharedMethods = DefinitionsOf(kIOSSharedMethodRows);
auto pictureMethodRecords = DefinitionsOf(kPictureMethodRows);
auto globalMethodRecords = DefinitionsOf(kGlobalMethodRows);

REALdelegate IOSDelegates[] = {
    MobileDelegate("ImageSaveCompletedQVL(error as NSErrorQVL)"),
    MobileDelegate("VideoSaveCompletedQVL(videoPath as String, error as NSErrorQVL)"),
};

}  // namespace

REALattribute DebuggingHiddenAttributes[1] = {{"Hidden", ""}};
REALattribute DeprecatedAttributes[1] = {{"Deprecated", "\"PNG format\""}};

REALproperty DebuggingSharedProperties[1] = {DebuggingRecord()};
REALproperty IOSPictureSharedProperties[1] = {IOSDebuggingRecord()};

const TableView<REALmethodDefinition> pictureMethods = ViewOf(pictureMethodRecords);
const TableView<REALmethodDefinition> globalMethods = ViewOf(globalMethodRecords);

namespace {

REALclassDefinition PictureClassRecord() {
  return ClassRecord("Picture", 0, nullptr, nullptr, {}, ViewOf(pictureMethodRecords), consoleTarget);
}

REALclassDefinition Lut3DClassRecord() {
  return ClassRecord("PictureLut3DQVL", 140016, Fn(Lut3DClassConstructor), Fn(Lut3DClassDestructor),
                     ViewOf(Lut3DProperties), ViewOf(Lut3DMethods), consoleTarget);
}

REALclassDefinition PictureSepiaClassRecord() {
  return ClassRecord("PictureSepiaQVL", 104, Fn(PictureSepiaClassConstructor), Fn(PictureSepiaClassDestructor),
                     ViewOf(PictureSepiaProperties), ViewOf(PictureSepiaMethods), consoleTarget);
}

REALmoduleDefinition IOSPictureModuleRecord() {
  return ModuleRecord("iOSPictureQVL", ViewOf(IOSSharedMethods), IOSPictureSharedProperties, 1, IOSDelegates, 2,
                      iosTarget);
}

}  // namespace

REALclassDefinition pictureClass = PictureClassRecord();
REALclassDefinition Lut3DClass = Lut3DClassRecord();
REALclassDefinition PictureSepiaClass = PictureSepiaClassRecord();
REALmoduleDefinition IOSPictureModule = IOSPictureModuleRecord();

TableView<const MethodTable> MethodTables() {
  static const std::array tables = {
      MethodTable{"iOSPictureQVL", ValueType::Nothing, ViewOf(kIOSSharedMethodRows)},
      MethodTable{"PictureSepiaQVL", ValueType::Object, ViewOf(kPictureSepiaMethodRows)},
      MethodTable{"PictureLut3DQVL", ValueType::Object, ViewOf(kLut3DMethodRows)},
      MethodTable{"Picture", ValueType::Picture, ViewOf(kPictureMethodRows)},
      MethodTable{"(global)", ValueType::Nothing, ViewOf(kGlobalMethodRows)},
  };
  return ViewOf(tables);
}

void RestoreTables() {
  RestoreRows(kPictureMethodRows, pictureMethodRecords);
  RestoreRows(kGlobalMethodRows, globalMethodRecords);
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
  gLut3DClassDefinition = &Lut3DClass;
  gPictureSepiaClassDefinition = &PictureSepiaClass;
}
