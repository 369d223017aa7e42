// Declarations tied to functions: each row's declaration, read as the host
// reads it, takes and gives what the row's C++ function does, and a call by
// it gives what the function gives called directly.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "filters/channels.h"
#include "filters/colour_replacement.h"
#include "filters/invert.h"
#include "filters/mask_extraction.h"
#include "filters/threshold.h"
#include "filters/tint.h"
#include "filters/tone.h"
#include "frame/tables.h"
#include "jobs/lut3d.h"
#include "jobs/sepia.h"
#include "mobile/album.h"
#include "picture/masks.h"
#include "scroll/scroll.h"
#include "strings/picture_string.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"
#include "waveform/render_samples.h"

extern "C" void REALPluginMain(QVLResolver resolver);

bool operator==(const ValueKind& a, const ValueKind& b) { return a.type == b.type && a.byRef == b.byRef; }
void PrintTo(const ValueKind& kind, std::ostream* out) { *out << int(kind.type) << (kind.byRef ? " byref" : ""); }

namespace {

using qvlhost::TypeKind;
using qvlhost::Value;
using Values = std::vector<Value>;

ValueType DeclaredType(TypeKind kind) {
  static const std::map<TypeKind, ValueType> types = {{TypeKind::Nothing, ValueType::Nothing},
                                                      {TypeKind::Integer, ValueType::Integer},
                                                      {TypeKind::Int32, ValueType::Int32},
                                                      {TypeKind::UInt32, ValueType::UInt32},
                                                      {TypeKind::Color, ValueType::UInt32},
                                                      {TypeKind::Boolean, ValueType::Boolean},
                                                      {TypeKind::Double, ValueType::Double},
                                                      {TypeKind::Single, ValueType::Single},
                                                      {TypeKind::String, ValueType::String},
                                                      {TypeKind::Picture, ValueType::Picture},
                                                      {TypeKind::MemoryBlock, ValueType::MemoryBlock},
                                                      {TypeKind::FolderItem, ValueType::FolderItem},
                                                      {TypeKind::Object, ValueType::Object}};
  return types.at(kind);
}

TEST(TableRows, EveryDeclarationTakesAndGivesWhatItsFunctionDoes) {
  size_t rows = 0;
  for (const MethodTable& table : MethodTables()) {
    for (const MethodRow& row : table.rows) {
      ++rows;
      const std::string text = row.definition.declaration;
      qvlhost::Declaration declaration;
      std::string error;
      ASSERT_TRUE(qvlhost::ParseDeclaration(text, &declaration, &error)) << text << ": " << error;
      std::vector<ValueKind> declared;
      if (table.receiver != ValueType::Nothing) declared.push_back({table.receiver, false});
      for (const qvlhost::Parameter& parameter : declaration.parameters)
        declared.push_back({DeclaredType(parameter.type.kind), parameter.byRef});
      const std::vector<ValueKind> taken(row.kinds.parameters, row.kinds.parameters + row.kinds.parameterCount);
      EXPECT_EQ(declared, taken) << table.owner << ": " << text;
      EXPECT_EQ((ValueKind{DeclaredType(declaration.result.kind), false}), row.kinds.result) << text;
    }
  }
  EXPECT_EQ(IOSPictureModule.methodCount + PictureSepiaClass.methodCount + Lut3DClass.methodCount +
                pictureMethods.size() + globalMethods.size(),
            rows);
}

// A registered function called directly with host values.
template <class T>
T Argument(const Value& value) {
  if constexpr (std::is_same_v<T, double>) {
    return value.real;
  } else if constexpr (std::is_pointer_v<T>) {
    return static_cast<T>(value.handle);
  } else {
    static_assert(std::is_integral_v<T>, "no test argument of this type");
    return static_cast<T>(value.integer);
  }
}

template <class R>
Value Result(R result) {
  if constexpr (std::is_same_v<R, REALpictureStruct*>) {
    return Value::Handle(TypeKind::Picture, result);
  } else if constexpr (std::is_same_v<R, REALstringStruct*>) {
    return Value::Handle(TypeKind::String, result);
  } else if constexpr (std::is_same_v<R, bool>) {
    return Value::Boolean(result);
  } else if constexpr (std::is_same_v<R, double>) {
    return Value::Double(result);
  } else {
    return Value::Integer(result);
  }
}

struct Expected {
  std::string name;
  void* function;
  std::function<Value(const Values&)> direct;
};

template <class R, class... A, size_t... I>
Value CallDirectly(R (*function)(A...), const Values& values, std::index_sequence<I...>) {
  if constexpr (std::is_void_v<R>) {
    function(Argument<A>(values[I])...);
    return Value();
  } else {
    return Result(function(Argument<A>(values[I])...));
  }
}

// A row whose call by declaration its family's own tests check: its ByRef
// and memory block arguments, or its instance, need values made for it.
struct Unlisted {
  void* function;
};

template <class R, class... A>
Unlisted NotCalled(R (*function)(A...)) {
  return {reinterpret_cast<void*>(function)};
}

Expected Make(const std::string& name, Unlisted row) { return Expected{name, row.function, nullptr}; }

template <class R, class... A>
Expected Make(const std::string& name, R (*function)(A...)) {
  auto direct = [function](const Values& values) {
    return CallDirectly(function, values, std::index_sequence_for<A...>{});
  };
  return Expected{name, reinterpret_cast<void*>(function), direct};
}

// Rows named by the words of `names` in turn, one function each.
template <class... F>
std::vector<Expected> Rows(const std::string& names, F... functions) {
  std::istringstream words(names);
  std::string name;
  return {Make((words >> name, name), functions)...};
}

// The rows an owner of the registered surface stands for, in registration order.
const std::vector<Expected>& ExpectedRowsOf(const std::string& owner) {
  static const std::map<std::string, std::vector<Expected>> rows = {
      {"iOSPictureQVL",
       Rows("VideoAtPathIsCompatibleWithSavedPhotosAlbum VideoAtPathIsCompatibleWithSavedPhotosAlbum "
            "WriteImageToSavedPhotosAlbum SaveVideoAtPathToSavedPhotosAlbum SaveVideoAtPathToSavedPhotosAlbum "
            "SaveImageAtPathToSavedPhotosAlbum SaveImageAtPathToSavedPhotosAlbum",
            rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS, rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF,
            rbUIImageWriteToSavedPhotosAlbum, rbUISaveVideoAtPathToSavedPhotosAlbumS,
            rbUISaveVideoAtPathToSavedPhotosAlbumF, rbUISaveImageAtPathToSavedPhotosAlbumS,
            rbUISaveImageAtPathToSavedPhotosAlbumF)},
      {"PictureSepiaQVL", Rows("Close Run", NotCalled(PictureSepiaClassDestructor), NotCalled(sepia::Run))},
      {"PictureLut3DQVL", Rows("Close Run Table Table", NotCalled(Lut3DClassDestructor), NotCalled(lut3d::Run),
                               NotCalled(SetPMX), NotCalled(GetPMX))},
      {"globals", Rows("BinaryStringtoPictureQVL PicturetoBinaryStringQVL CombinePicturesQVL MergePictureQVL "
                       "TintPictureQVL RenderSamplesQVL",
                       BinaryStringtoPicture, PicturetoBinaryString, CombinePicturesQVL, MergePicture, TintPicture,
                       NotCalled(RenderSamples))},
      {"extension",
       Rows("ThresholdQVL ColornessQVL ScrollVerticalQVL ScrollHorizontalQVL ScrollQVL HasMaskQVL "
            "ChangeContrastBrightnessAbsoluteQVL ChangeContrastBrightnessLinearQVL "
            "ChangeContrastBrightnessAbsoluteQVL ChangeContrastBrightnessLinearQVL ChangeBrightnessAbsoluteQVL "
            "ChangeBrightnessLinearQVL ChangeBrightnessAbsoluteQVL ChangeBrightnessLinearQVL ChangeContrastQVL "
            "ChangeContrastQVL ChangeCustomQVL ChangeCustomQVL InvertQVL InvertQVL InvertGrayQVL InvertGrayQVL "
            "ExtractColorRectangleMaskQVL ExtractColorRectangleMaskQVL EmbeddedMaskQVL EmbeddedMaskQVL "
            "CountColorQVL CountColorsQVL TransformColorsQVL ReplaceColorQVL ExtractColorQVL ChangeSaturationQVL "
            "ReplaceRedChannelQVL ReplaceGreenChannelQVL ReplaceBlueChannelQVL FindPictureQVL isWhiteQVL "
            "isWhiteQVL isBlackQVL isBlackQVL isGrayQVL isGrayQVL",
            ThresholdQVL, ColornessQVL, ScrollVerticalQVL, ScrollHorizontalQVL, ScrollQVL, PictureHasMask,
            ContrastAbsBrightnessPicture3, ContrastLinBrightnessPicture3, ContrastAbsBrightnessPicture1,
            ContrastLinBrightnessPicture1, AbsBrightnessPicture3, LinBrightnessPicture3, AbsBrightnessPicture1,
            LinBrightnessPicture1, ContrastPicture1, ContrastPicture3, TransformPicture1, TransformPicture3,
            InvertPicture, InvertPicture2, InvertGrayPicture, InvertGrayPicture2, ExtractColorRectangleMaskQVL,
            ExtractColorRectangleMaskQVL2, NotCalled(SetEmbededMask), GetEmbededMask, CountColorQVL,
            NotCalled(CountColorsQVL), NotCalled(TransformColorsQVL), ReplaceColorQVL, ExtractColorQVL,
            SaturationPicture, ReplaceRedChannel, ReplaceGreenChannel, ReplaceBlueChannel, NotCalled(FindPicture),
            isWhite2, isWhite, isBlack2, isBlack, isGray2, isGray)}};
  if (owner == "PictureGlobalsQVL" || owner == "(global)") return rows.at("globals");
  return rows.count(owner) ? rows.at(owner) : rows.at("extension");
}

struct Route {
  const char* name;
  double version;
  qvlhost::Storage storage;
  // Modules (the mobile one, then the generated ones), the job classes, the
  // extension and the global methods, as the host lists them.
  std::vector<std::string> owners;
};

void PrintTo(const Route& route, std::ostream* out) { *out << route.name; }

class RegisteredSurface : public PluginTest, public ::testing::WithParamInterface<Route> {
 protected:
  qvlhost::Config HostConfig() override { return HostWith(GetParam().version, GetParam().storage); }

  void SetUp() override {
    PluginTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
    owners_ = qvlhost::Surface();
  }

  std::vector<qvlhost::SurfaceOwner> owners_;
};

// Distinct values by position, so that crossed arguments show. The integers
// make InvertQVL's rectangle (60, 1, 20, 3) lie inside the picture; each
// double changes pixels both as a contrast and as a brightness.
const int64_t kIntegers[] = {0, 60, 1, 20, 3, 5, 7, 9};
const double kDoubles[] = {0, 1.5, -20.25, 30.75, -8.5, 17.25, -3.5, 9.0};
const uint32_t kColours[] = {0, 0x336699, 0xCC8844, 0x10E0A0};

// Strings are a picture string that decodes; folder items and delegates are nil.
Value ArgumentFor(const qvlhost::Parameter& parameter, size_t position, REALpictureStruct* picture,
                  REALstringStruct* text) {
  const TypeKind kind = parameter.type.kind;
  if (kind == TypeKind::Picture) return Value::Handle(kind, picture);
  if (kind == TypeKind::String) return Value::Handle(kind, text);
  if (kind == TypeKind::FolderItem || kind == TypeKind::Object) return Value::Nil(kind);
  if (kind == TypeKind::Integer) return Value::Integer(kIntegers[position]);
  if (kind == TypeKind::Double) return Value::Double(kDoubles[position]);
  if (kind == TypeKind::Color) return Value::Color(kColours[position]);
  if (kind == TypeKind::Boolean) return Value::Boolean(position % 2 == 1);
  ADD_FAILURE() << "no test value for " << parameter.name;
  return Value();
}

void ExpectSameValue(const Value& byDeclaration, const Value& direct, const std::string& text) {
  ASSERT_EQ(byDeclaration.kind, direct.kind) << text;
  if (direct.kind == TypeKind::String) {
    auto* a = static_cast<REALstringStruct*>(byDeclaration.handle);
    auto* b = static_cast<REALstringStruct*>(direct.handle);
    ASSERT_TRUE(a && b) << text;
    EXPECT_EQ(qvlhost::StringBytes(a), qvlhost::StringBytes(b)) << text;
    return;
  }
  if (direct.kind != TypeKind::Picture) {
    EXPECT_EQ(byDeclaration.integer, direct.integer) << text;
    EXPECT_EQ(byDeclaration.real, direct.real) << text;
    return;
  }
  SCOPED_TRACE(text);
  ExpectSamePicture(static_cast<REALpictureStruct*>(byDeclaration.handle),
                    static_cast<REALpictureStruct*>(direct.handle));
}

// The rows reach the host in order with their functions, and every method
// called by its declaration gives what its function gives called directly.
TEST_P(RegisteredSurface, RowsReachTheHostAndCallTheirFunctions) {
  qvlhost::OwnedPicture picture(VariedAlphaPicture(80, 6));
  qvlhost::OwnedString text(PicturetoBinaryString(picture));
  std::vector<std::string> owners;
  for (const qvlhost::SurfaceOwner& owner : owners_) owners.push_back(owner.name);
  ASSERT_EQ(GetParam().owners, owners);
  for (const qvlhost::SurfaceOwner& owner : owners_) {
    const std::vector<Expected>& expected = ExpectedRowsOf(owner.name);
    std::vector<std::pair<std::string, void*>> received, wanted;
    for (const qvlhost::SurfaceMethod& method : owner.methods) received.emplace_back(method.Name(), method.function);
    for (const Expected& row : expected) wanted.emplace_back(row.name, row.function);
    ASSERT_EQ(wanted, received) << owner.name;
    for (size_t j = 0; j < owner.methods.size(); ++j) {
      const qvlhost::SurfaceMethod& method = owner.methods[j];
      if (!expected[j].direct) continue;
      Values arguments;
      for (const qvlhost::Parameter& parameter : method.callForm.parameters)
        arguments.push_back(ArgumentFor(parameter, arguments.size(), picture, text));
      Values passed = arguments;
      Value byDeclaration;
      std::string error;
      EXPECT_TRUE(qvlhost::CallMethod(method, passed, &byDeclaration, &error)) << error;
      const std::string raisedByDeclaration = TakePendingException();
      const Value direct = expected[j].direct(arguments);
      EXPECT_EQ(TakePendingException(), raisedByDeclaration) << method.text;
      ExpectSameValue(byDeclaration, direct, method.text);
      qvlhost::ReleaseValue(byDeclaration);
      qvlhost::ReleaseValue(direct);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Routes, RegisteredSurface,
                         ::testing::Values(Route{"module2024_cg2",
                                                 2024.03,
                                                 qvlhost::Storage::CG(2),
                                                 {"iOSPictureQVL", "PicturePictureExtensionQVL", "PictureGlobalsQVL",
                                                  "PictureSepiaQVL", "PictureLut3DQVL"}},
                                           Route{"extension2012_gd",
                                                 2012.0,
                                                 qvlhost::Storage::GD(),
                                                 {"PictureSepiaQVL", "PictureLut3DQVL", "Picture", "(global)"}}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
