// Declarations: the host reads them and calls the functions behind them
// through libffi with Xojo's types; each table row's declaration, read so,
// takes and gives what the row's C++ function does and reaches the host in
// its place with its function.
#include "declaration.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "call.h"
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
#include "support/plugin_test.h"
#include "surface.h"
#include "waveform/render_samples.h"

namespace {

using qvlhost::Declaration;
using qvlhost::Literal;
using qvlhost::TypeKind;
using qvlhost::Value;

Declaration Parsed(const std::string& text) {
  Declaration declaration;
  std::string error;
  EXPECT_TRUE(qvlhost::ParseDeclaration(text, &declaration, &error)) << text << ": " << error;
  return declaration;
}

TEST(Declaration, ModifiersAndDefaults) {
  Declaration d = Parsed(
      "E(extends ref as Picture, BYREF n as integer, ByVal b as memoryblock, c as color=&c88B5C4, i as integer = -5, "
      "r as double = -0.25, s as string = \"x, \"\"y\"\")\", p as picture = NIL, assigns value as boolean)");
  ASSERT_EQ(d.parameters.size(), 9u);
  EXPECT_TRUE(d.parameters[0].extends && d.parameters[1].byRef && d.parameters[8].assigns);
  EXPECT_FALSE(d.parameters[1].extends || d.parameters[2].byRef || d.parameters[7].assigns);
  EXPECT_EQ(qvlhost::RequiredArgumentCount(d), 4u);  // the three before the defaults and the assigned value
  EXPECT_EQ(d.parameters[3].defaultValue.kind, Literal::Colour);
  EXPECT_EQ(d.parameters[3].defaultValue.integer, 0x88B5C4);
  EXPECT_EQ(d.parameters[4].defaultValue.integer, -5);
  EXPECT_EQ(d.parameters[5].defaultValue.real, -0.25);
  EXPECT_EQ(d.parameters[6].defaultValue.text, "x, \"y\")");
  EXPECT_EQ(d.parameters[7].defaultValue.kind, Literal::Nil);
}

TEST(Declaration, MalformedDeclarationsAreRefusedWithAReason) {
  for (const char* text :
       {"", "(x as integer)", "Foo(x integer)", "Foo(x as integer", "Foo(x as integer,)", "Foo(x as)", "Foo as",
        "Foo(x as integer) as picture extra", "Foo(x as integer = abc)", "Foo(x as color = 5)",
        "Foo(x as integer = 1.5)", "Foo(x as UInt32 = -1)", "Foo(x as picture = 0)",
        "Foo(a as integer, extends b as picture)", "Foo(assigns v as integer, b as integer)"}) {
    Declaration declaration;
    std::string error;
    EXPECT_FALSE(qvlhost::ParseDeclaration(text, &declaration, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

TEST(Literal, NumbersColoursAndKeywords) {
  const std::tuple<const char*, Literal::Kind, int64_t, double> cases[] = {
      // the integer where integral
      {"1.5e2", Literal::Number, 0, 150.0},
      {"-.5", Literal::Number, 0, -0.5},
      {"-&h10", Literal::Number, -16, -16.0},
      {"&c11223344", Literal::Colour, 0x44112233, 0},
      {"True", Literal::Boolean, 1, 0}};
  for (auto [text, kind, integer, real] : cases) {
    Literal literal;
    ASSERT_TRUE(qvlhost::ParseLiteral(text, &literal)) << text;
    EXPECT_EQ(literal.kind, kind) << text;
    EXPECT_EQ(literal.integral || kind != Literal::Number ? integer : 0, literal.integer) << text;
    EXPECT_DOUBLE_EQ(real, literal.real) << text;
  }
  for (const char* text : {"", "-", "abc", "&cFFF", "&cGG0000", "1.2.3", "--5", "5e", "&h", "99999999999999999999"}) {
    Literal literal;
    EXPECT_FALSE(qvlhost::ParseLiteral(text, &literal)) << text;
  }
}

// Hand-made functions in the shapes that registered functions have.
double Subtract(int64_t a, double b) { return double(a) - b; }
uint32_t SwapRedAndBlue(uint32_t colour) {
  return (colour & 0xFF00FF00u) | ((colour >> 16) & 0xFF) | ((colour & 0xFF) << 16);
}
Value Call(void* function, const std::string& text, std::vector<Value>& arguments) {
  Value result;
  std::string error;
  EXPECT_TRUE(qvlhost::CallDeclared(function, Parsed(text), arguments, &result, &error)) << error;
  return result;
}

TEST(CallDeclared, PassesXojoTypes) {
  std::vector<Value> numbers = {Value::Integer(int64_t(1) << 40), Value::Double(0.25)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&Subtract), "Sub(a as integer, b as double) as double", numbers).real,
            double(int64_t(1) << 40) - 0.25);
  std::vector<Value> colour = {Value::Color(0x80123456)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&SwapRedAndBlue), "Swap(c as color) as color", colour).integer, 0x80563412);
}

TEST(CallDeclared, RefusesArgumentsThatDoNotFitWithoutCalling) {
  Declaration declaration = Parsed("Sub(a as integer, b as double) as double");
  std::vector<std::vector<Value>> wrong = {
      {Value::Integer(1)}, {Value::Integer(1), Value::Integer(2)}, {Value::Integer(1), Value::Nil(TypeKind::Picture)}};
  for (auto& arguments : wrong) {
    std::string error;
    EXPECT_FALSE(qvlhost::CallDeclared(reinterpret_cast<void*>(&Subtract), declaration, arguments, nullptr, &error));
    EXPECT_FALSE(error.empty());
  }
  std::vector<Value> fitting = {Value::Integer(1), Value::Double(2)};
  EXPECT_FALSE(qvlhost::CallDeclared(nullptr, declaration, fitting, nullptr, nullptr));
  EXPECT_TRUE(qvlhost::ValueFits(Value::Nil(TypeKind::Picture), qvlhost::TypeNamed("MemoryBlock")));
  int dummy = 0;
  EXPECT_FALSE(qvlhost::ValueFits(Value::Handle(TypeKind::Picture, &dummy), qvlhost::TypeNamed("MemoryBlock")));
}

// A kind as a declaration spells it: the type's Xojo name, then ByRef.
std::string Spelled(const std::string& type, bool byRef) { return type + (byRef ? " ByRef" : ""); }

// What a row's function takes or gives, spelled so; a colour is passed as a UInt32.
std::string Spelled(ValueKind kind) {
  static const char* const kTypeNames[] = {"",       "Integer", "Int32",   "UInt32",      "Boolean",    "Double",
                                           "Single", "String",  "Picture", "MemoryBlock", "FolderItem", "Object"};
  static_assert(std::size(kTypeNames) == size_t(ValueType::Object) + 1, "a name for every value type");
  return Spelled(kTypeNames[size_t(kind.type)], kind.byRef);
}

std::string Spelled(const qvlhost::Type& type, bool byRef) {
  return Spelled(type.kind == TypeKind::Color ? "UInt32" : qvlhost::KindName(type.kind), byRef);
}

TEST(TableRows, EveryDeclarationTakesAndGivesWhatItsFunctionDoes) {
  size_t rows = 0;
  for (const MethodTable& table : MethodTables()) {
    for (const MethodRow& row : table.rows) {
      ++rows;
      const std::string text = row.definition.declaration;
      const Declaration declaration = Parsed(text);
      std::vector<std::string> declared, taken;
      if (table.receiver != ValueType::Nothing) declared.push_back(Spelled({table.receiver, false}));
      for (const qvlhost::Parameter& parameter : declaration.parameters)
        declared.push_back(Spelled(parameter.type, parameter.byRef));
      for (size_t i = 0; i < row.kinds.parameterCount; ++i) taken.push_back(Spelled(row.kinds.parameters[i]));
      EXPECT_EQ(declared, taken) << table.owner << ": " << text;
      EXPECT_EQ(Spelled(declaration.result, false), Spelled(row.kinds.result)) << text;
    }
  }
  EXPECT_EQ(IOSPictureModule.methodCount + PictureSepiaClass.methodCount + Lut3DClass.methodCount +
                pictureMethods.size() + globalMethods.size(),
            rows);
}

// Rows named by the words of `names` in turn, one function each.
using Row = std::pair<std::string, void*>;

template <class... F>
std::vector<Row> Rows(const std::string& names, F... functions) {
  std::istringstream words(names);
  std::string name;
  return {Row((words >> name, name), reinterpret_cast<void*>(functions))...};
}

// The rows an owner of the registered surface stands for, in registration order.
const std::vector<Row>& ExpectedRowsOf(const std::string& owner) {
  static const std::map<std::string, std::vector<Row>> rows = {
      {"iOSPictureQVL",
       Rows("VideoAtPathIsCompatibleWithSavedPhotosAlbum VideoAtPathIsCompatibleWithSavedPhotosAlbum "
            "WriteImageToSavedPhotosAlbum SaveVideoAtPathToSavedPhotosAlbum SaveVideoAtPathToSavedPhotosAlbum "
            "SaveImageAtPathToSavedPhotosAlbum SaveImageAtPathToSavedPhotosAlbum",
            rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumS, rbUIVideoAtPathIsCompatibleWithSavedPhotosAlbumF,
            rbUIImageWriteToSavedPhotosAlbum, rbUISaveVideoAtPathToSavedPhotosAlbumS,
            rbUISaveVideoAtPathToSavedPhotosAlbumF, rbUISaveImageAtPathToSavedPhotosAlbumS,
            rbUISaveImageAtPathToSavedPhotosAlbumF)},
      {"PictureSepiaQVL", Rows("Close Run", PictureSepiaClassDestructor, sepia::Run)},
      {"PictureLut3DQVL", Rows("Close Run Table Table", Lut3DClassDestructor, lut3d::Run, SetPMX, GetPMX)},
      {"globals", Rows("BinaryStringtoPictureQVL PicturetoBinaryStringQVL CombinePicturesQVL MergePictureQVL "
                       "TintPictureQVL RenderSamplesQVL",
                       BinaryStringtoPicture, PicturetoBinaryString, CombinePicturesQVL, MergePicture, TintPicture,
                       RenderSamples)},
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
            ExtractColorRectangleMaskQVL2, SetEmbededMask, GetEmbededMask, CountColorQVL, CountColorsQVL,
            TransformColorsQVL, ReplaceColorQVL, ExtractColorQVL, SaturationPicture, ReplaceRedChannel,
            ReplaceGreenChannel, ReplaceBlueChannel, FindPicture, isWhite2, isWhite, isBlack2, isBlack, isGray2,
            isGray)}};
  if (owner == "PictureGlobalsQVL" || owner == "(global)") return rows.at("globals");
  return rows.count(owner) ? rows.at(owner) : rows.at("extension");
}

// The rows reach the host in order, each declaration with its function, so
// that two rows swapped in a table or a function in the wrong row show. The
// owners are the modules (the mobile one, then the generated ones), the job
// classes, the extension and the global methods, as the host lists them.
TEST_F(PluginTest, RegisteredRowsReachTheHostInOrderWithTheirFunctions) {
  const std::pair<double, std::vector<std::string>> routes[] = {
      {2024.03,
       {"iOSPictureQVL", "PicturePictureExtensionQVL", "PictureGlobalsQVL", "PictureSepiaQVL", "PictureLut3DQVL"}},
      {2012.0, {"PictureSepiaQVL", "PictureLut3DQVL", "Picture", "(global)"}}};
  for (const auto& [version, expectedOwners] : routes) {
    config_.version = version;
    qvlhost::Reset(config_);
    REALPluginMain(qvlhost::Resolver());
    std::vector<std::string> owners;
    for (const qvlhost::SurfaceOwner& owner : qvlhost::Surface()) {
      owners.push_back(owner.name);
      std::vector<Row> received;
      for (const qvlhost::SurfaceMethod& method : owner.methods) received.emplace_back(method.Name(), method.function);
      EXPECT_EQ(ExpectedRowsOf(owner.name), received) << owner.name;
    }
    EXPECT_EQ(expectedOwners, owners) << version;
  }
}

}  // namespace
