// The host reads registered declarations and calls the functions behind them
// through libffi with Xojo's types.
#include "declaration.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "call.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"
#include "surface.h"

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

struct ShapeCase {
  const char* text;
  const char* name;
  std::vector<TypeKind> parameters;
  TypeKind result;
};

class DeclarationShape : public testing::TestWithParam<ShapeCase> {};

TEST_P(DeclarationShape, NameParameterTypesAndResult) {
  const ShapeCase& c = GetParam();
  Declaration declaration = Parsed(c.text);
  EXPECT_EQ(declaration.name, c.name);
  std::vector<TypeKind> kinds;
  for (const auto& parameter : declaration.parameters) kinds.push_back(parameter.type.kind);
  EXPECT_EQ(kinds, c.parameters);
  EXPECT_EQ(declaration.result.kind, c.result);
}

INSTANTIATE_TEST_SUITE_P(
    RegisteredForms, DeclarationShape,
    testing::Values(ShapeCase{"ThresholdQVL(Threshold as integer) as picture",
                              "ThresholdQVL",
                              {TypeKind::Integer},
                              TypeKind::Picture},
                    ShapeCase{"HasMaskQVL as boolean", "HasMaskQVL", {}, TypeKind::Boolean},
                    ShapeCase{"Close", "Close", {}, TypeKind::Nothing},
                    ShapeCase{"InvertQVL(left as integer,top as integer,width as integer,height as integer) as picture",
                              "InvertQVL",
                              {TypeKind::Integer, TypeKind::Integer, TypeKind::Integer, TypeKind::Integer},
                              TypeKind::Picture},
                    ShapeCase{"Table(r as UInt32, g as UInt32, b as UInt32, x as UInt32) as double",
                              "Table",
                              {TypeKind::UInt32, TypeKind::UInt32, TypeKind::UInt32, TypeKind::UInt32},
                              TypeKind::Double},
                    ShapeCase{"ImageSaveCompletedQVL(error as NSErrorQVL)",
                              "ImageSaveCompletedQVL",
                              {TypeKind::Object},
                              TypeKind::Nothing},
                    ShapeCase{"VideoAtPathIsCompatibleWithSavedPhotosAlbum(VideoFile as FolderItem) as Boolean",
                              "VideoAtPathIsCompatibleWithSavedPhotosAlbum",
                              {TypeKind::FolderItem},
                              TypeKind::Boolean},
                    ShapeCase{"PicturetoBinaryStringQVL(p as picture) as string",
                              "PicturetoBinaryStringQVL",
                              {TypeKind::Picture},
                              TypeKind::String},
                    ShapeCase{"  SHOUT ( X AS INTEGER , Y AS COLOR )  AS MEMORYBLOCK ",
                              "SHOUT",
                              {TypeKind::Integer, TypeKind::Color},
                              TypeKind::MemoryBlock},
                    ShapeCase{"Empty() as Double", "Empty", {}, TypeKind::Double}));

TEST(Declaration, ExtendsAssignsAndByRefAreMarkedOnTheirParameters) {
  Declaration assigning = Parsed("EmbeddedMaskQVL(extends ref as Picture, swap as boolean, assigns value as picture)");
  ASSERT_EQ(assigning.parameters.size(), 3u);
  EXPECT_TRUE(assigning.parameters[0].extends);
  EXPECT_EQ(assigning.parameters[0].name, "ref");
  EXPECT_FALSE(assigning.parameters[1].extends || assigning.parameters[1].assigns);
  EXPECT_TRUE(assigning.parameters[2].assigns);
  EXPECT_EQ(assigning.result.kind, TypeKind::Nothing);

  Declaration counting = Parsed(
      "CountColorsQVL(BYREF red as memoryblock, byref blue as memoryblock, ByVal green as memoryblock, "
      "ByRef count as integer)");
  std::vector<bool> byRef;
  for (const auto& parameter : counting.parameters) byRef.push_back(parameter.byRef);
  EXPECT_EQ(byRef, (std::vector<bool>{true, true, false, true}));
}

TEST(Declaration, DefaultsOfEveryKindAndTheRequiredCount) {
  Declaration render = Parsed(
      "RenderSamplesQVL(Samples as memoryblock, SampleCount as integer, Smooth as integer, Width as integer, "
      "Height as integer, outlinewidth as integer, BackColor as color=&c88B5C4, ForeColor as color=&c274C5A, "
      "OutLineColor as color=&c203F4E, Bits as Integer = 8, AutoScale as boolean = false) as Picture");
  ASSERT_EQ(render.parameters.size(), 11u);
  EXPECT_EQ(qvlhost::RequiredArgumentCount(render), 6u);
  EXPECT_EQ(render.parameters[6].defaultValue.kind, Literal::Colour);
  EXPECT_EQ(render.parameters[6].defaultValue.integer, 0x88B5C4);
  EXPECT_EQ(render.parameters[9].defaultValue.integer, 8);
  EXPECT_EQ(render.parameters[10].defaultValue.kind, Literal::Boolean);
  EXPECT_EQ(render.parameters[10].defaultValue.integer, 0);

  Declaration odd =
      Parsed("Odd(a as integer = -5, b as double = -0.25, s as string = \"x, \"\"y\"\")\", p as picture = NIL)");
  EXPECT_EQ(odd.parameters[0].defaultValue.integer, -5);
  EXPECT_EQ(odd.parameters[1].defaultValue.real, -0.25);
  EXPECT_EQ(odd.parameters[2].defaultValue.text, "x, \"y\")");
  EXPECT_EQ(odd.parameters[3].defaultValue.kind, Literal::Nil);
  EXPECT_EQ(qvlhost::RequiredArgumentCount(odd), 0u);
}

TEST(Declaration, MalformedDeclarationsAreRefusedWithAReason) {
  const char* bad[] = {
      "",
      "(x as integer)",
      "Foo(x integer)",
      "Foo(x as integer",
      "Foo(x as integer,)",
      "Foo(x as)",
      "Foo as",
      "Foo bar",
      "Foo(x as integer) as picture extra",
      "Foo(x as integer = abc)",
      "Foo(x as color = 5)",
      "Foo(x as integer = 1.5)",
      "Foo(x as UInt32 = -1)",
      "Foo(x as picture = 0)",
      "Foo(a as integer, extends b as picture)",
      "Foo(assigns v as integer, b as integer)",
  };
  for (const char* text : bad) {
    Declaration declaration;
    std::string error;
    EXPECT_FALSE(qvlhost::ParseDeclaration(text, &declaration, &error)) << text;
    EXPECT_FALSE(error.empty()) << text;
  }
}

struct LiteralCase {
  const char* text;
  Literal::Kind kind;
  int64_t integer;
  double real;
};

TEST(Literal, NumbersColoursAndKeywords) {
  const LiteralCase cases[] = {
      {"-5", Literal::Number, -5, -5.0},
      {"128", Literal::Number, 128, 128.0},
      {"1.5e2", Literal::Number, 0, 150.0},
      {"-.5", Literal::Number, 0, -0.5},
      {"&hFF", Literal::Number, 255, 255.0},
      {"-&h10", Literal::Number, -16, -16.0},
      {"&cFF8000", Literal::Colour, 0xFF8000, 0},
      {"&c11223344", Literal::Colour, 0x44112233, 0},
      {"True", Literal::Boolean, 1, 0},
      {"FALSE", Literal::Boolean, 0, 0},
      {"nil", Literal::Nil, 0, 0},
  };
  for (const auto& c : cases) {
    Literal literal;
    ASSERT_TRUE(qvlhost::ParseLiteral(c.text, &literal)) << c.text;
    EXPECT_EQ(literal.kind, c.kind) << c.text;
    if (c.kind != Literal::Number || literal.integral) {
      EXPECT_EQ(literal.integer, c.integer) << c.text;
    }
    if (c.kind == Literal::Number) {
      EXPECT_DOUBLE_EQ(literal.real, c.real) << c.text;
    }
  }
  for (const char* text :
       {"", "-", "abc", "&cFFF", "&cGG0000", "1.2.3", "--5", "5e", "&h", "\"open", "99999999999999999999"}) {
    Literal literal;
    EXPECT_FALSE(qvlhost::ParseLiteral(text, &literal)) << text;
  }
}

// Hand-made functions in the shapes that registered functions have.
int64_t Subtract(int64_t a, int64_t b) { return a - b; }
bool IsAbove(int64_t value, double limit) { return static_cast<double>(value) > limit; }
uint32_t SwapRedAndBlue(uint32_t colour) {
  return (colour & 0xFF00FF00u) | ((colour >> 16) & 0xFF) | ((colour & 0xFF) << 16);
}
void Bump(int64_t* count, bool* flag, void** handle, uint32_t step) {
  *count += step;
  *flag = !*flag;
  *handle = count;
}
// More arguments than registers, so some travel on the stack.
double Spread(int64_t a, int64_t b, int64_t c, int64_t d, int64_t e, int64_t f, int64_t g, double h, double i, double j,
              double k, double l, double m, double n, double o, double p, bool q, uint32_t r) {
  return double(a + 2 * b + 3 * c + 4 * d + 5 * e + 6 * f + 7 * g) + h + 2 * i + 3 * j + 4 * k + 5 * l + 6 * m + 7 * n +
         8 * o + 9 * p + (q ? 1000 : 0) + r * 10000.0;
}

Value Call(void* function, const std::string& text, std::vector<Value>& arguments) {
  Value result;
  std::string error;
  EXPECT_TRUE(qvlhost::CallDeclared(function, Parsed(text), arguments, &result, &error)) << error;
  return result;
}

TEST(CallDeclared, PassesAndReturnsXojoTypes) {
  std::vector<Value> numbers = {Value::Integer(-5), Value::Integer(int64_t(1) << 40)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&Subtract), "Sub(a as integer, b as integer) as integer", numbers).integer,
            -5 - (int64_t(1) << 40));

  std::vector<Value> above = {Value::Integer(3), Value::Double(2.5)};
  Value answer = Call(reinterpret_cast<void*>(&IsAbove), "IsAbove(v as integer, limit as double) as boolean", above);
  EXPECT_EQ(answer.kind, TypeKind::Boolean);
  EXPECT_EQ(answer.integer, 1);

  std::vector<Value> colour = {Value::Color(0x80123456)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&SwapRedAndBlue), "Swap(c as color) as color", colour).integer, 0x80563412);

  std::vector<Value> many = {Value::Integer(1),    Value::Integer(1), Value::Integer(1), Value::Integer(1),
                             Value::Integer(1),    Value::Integer(1), Value::Integer(1), Value::Double(1),
                             Value::Double(1),     Value::Double(1),  Value::Double(1),  Value::Double(1),
                             Value::Double(1),     Value::Double(1),  Value::Double(1),  Value::Double(0.5),
                             Value::Boolean(true), Value::UInt32(2)};
  EXPECT_DOUBLE_EQ(Call(reinterpret_cast<void*>(&Spread),
                        "Spread(a as integer, b as integer, c as integer, d as integer, e as integer, f as integer, "
                        "g as integer, h as double, i as double, j as double, k as double, l as double, m as double, "
                        "n as double, o as double, p as double, q as boolean, r as UInt32) as double",
                        many)
                       .real,
                   28 + 36 + 4.5 + 1000 + 20000);
}

TEST(CallDeclared, ByRefArgumentsComeBackChanged) {
  std::vector<Value> arguments = {Value::Integer(40), Value::Boolean(false), Value::Nil(TypeKind::MemoryBlock),
                                  Value::UInt32(2)};
  Value result = Call(reinterpret_cast<void*>(&Bump),
                      "Bump(byref count as integer, byref flag as boolean, byref block as memoryblock, step as UInt32)",
                      arguments);
  EXPECT_EQ(result.kind, TypeKind::Nothing);
  EXPECT_EQ(arguments[0].integer, 42);
  EXPECT_EQ(arguments[1].integer, 1);
  EXPECT_EQ(arguments[2].kind, TypeKind::MemoryBlock);
  EXPECT_NE(arguments[2].handle, nullptr);  // the address of the count's own slot
  EXPECT_EQ(arguments[3].integer, 2);       // a value argument stays as it was
}

TEST(CallDeclared, RefusesArgumentsThatDoNotFitWithoutCalling) {
  Declaration declaration = Parsed("Sub(a as integer, b as integer) as integer");
  std::vector<std::vector<Value>> wrong = {
      {Value::Integer(1)},
      {Value::Integer(1), Value::Double(2)},
      {Value::Integer(1), Value::Nil(TypeKind::Picture)},
  };
  for (auto& arguments : wrong) {
    std::string error;
    EXPECT_FALSE(qvlhost::CallDeclared(reinterpret_cast<void*>(&Subtract), declaration, arguments, nullptr, &error));
    EXPECT_FALSE(error.empty());
  }
  std::vector<Value> fine = {Value::Integer(1), Value::Integer(2)};
  EXPECT_FALSE(qvlhost::CallDeclared(nullptr, declaration, fine, nullptr, nullptr));
  // nil fits every handle type, a picture does not fit a memory block.
  EXPECT_TRUE(qvlhost::ValueFits(Value::Nil(TypeKind::Picture), qvlhost::TypeNamed("MemoryBlock")));
  int dummy = 0;
  EXPECT_FALSE(qvlhost::ValueFits(Value::Handle(TypeKind::Picture, &dummy), qvlhost::TypeNamed("MemoryBlock")));
}

TEST(PropertyAccess, StandardAccessorTouchesOnlyItsFieldWidth) {
  unsigned char data[32];
  std::memset(data, 0xEE, sizeof data);
  qvlhost::WriteField(data, 4, Value::Boolean(true));
  qvlhost::WriteField(data, 8, Value::Integer(-2));
  qvlhost::WriteField(data, 16, Value::Color(0x00ABCDEF));
  EXPECT_EQ(data[5], 0xEE);   // one byte for a boolean
  EXPECT_EQ(data[20], 0xEE);  // four bytes for a colour
  EXPECT_EQ(qvlhost::ReadField(data, 4, qvlhost::TypeNamed("boolean")).integer, 1);
  EXPECT_EQ(qvlhost::ReadField(data, 8, qvlhost::TypeNamed("Integer")).integer, -2);
  EXPECT_EQ(qvlhost::ReadField(data, 16, qvlhost::TypeNamed("Color")).integer, 0x00ABCDEF);
}

// A hand-made class and Picture extension, registered as the plug-in would
// register them, reached through the host's surface.
namespace handmade {

int64_t Scaled(REALobjectStruct* self, int64_t by) {
  int64_t field;
  std::memcpy(&field, static_cast<uint8_t*>(qvlhost::InstanceData(self)) + 8, sizeof field);
  return field * by;
}
double Twice(double x) { return 2 * x; }
double GetRatio(REALobjectStruct* self, int64_t param) {
  double value;
  std::memcpy(&value, static_cast<uint8_t*>(qvlhost::InstanceData(self)) + param, sizeof value);
  return value;
}
void SetRatio(REALobjectStruct* self, int64_t param, double value) {
  std::memcpy(static_cast<uint8_t*>(qvlhost::InstanceData(self)) + param, &value, sizeof value);
}
int64_t WidthPlus(REALpictureStruct* picture, int64_t extra) { return qvlhost::PictureWidth(picture) + extra; }
int64_t marks[4];
int64_t GetMark(REALpictureStruct*, int64_t index) { return marks[index]; }
void SetMark(REALpictureStruct*, int64_t index, int64_t value) { marks[index] = value; }

template <class Function>
void* Fn(Function* function) {
  return reinterpret_cast<void*>(function);
}

REALproperty Field(const char* name, const char* type, int32_t offset) {
  REALproperty property{};
  property.name = name;
  property.type = type;
  property.getter = REALstandardGetter;
  property.setter = REALstandardSetter;
  property.param = offset;
  return property;
}

REALproperty properties[] = {
    Field("Source", "Picture", 0), Field("Count", "Integer", 8), Field("Outside", "Integer", 28),
    REALproperty{nullptr, "Ratio", "Double", 0, Fn(GetRatio), Fn(SetRatio), 16, nullptr, 0, nullptr, 0, nullptr}};
REALmethodDefinition methods[] = {{Fn(Scaled), nullptr, "Scaled(by as integer) as integer", consoleTarget, 0, nullptr}};
REALmethodDefinition sharedMethods[] = {
    {Fn(Twice), nullptr, "Twice(x as double) as double", consoleTarget, 0, nullptr}};
REALmethodDefinition extensionMethods[] = {
    {Fn(WidthPlus), nullptr, "WidthPlusQVL(extra as integer = 1) as integer", consoleTarget, 0, nullptr},
    {Fn(GetMark), Fn(SetMark), "MarkQVL(index as integer) as integer", consoleTarget, 0, nullptr},
    {nullptr, Fn(SetMark), "OnlySetQVL(index as integer) as integer", consoleTarget, 0, nullptr},
};
REALdelegate delegates[] = {{"DoneQVL(ok as boolean)", consoleTarget, 0, nullptr}};

REALclassDefinition HandClass() {
  REALclassDefinition definition{};
  definition.version = kCurrentREALControlVersion;
  definition.name = "HandQVL";
  definition.dataSize = 32;
  definition.properties = properties;
  definition.propertyCount = 4;
  definition.methods = methods;
  definition.methodCount = 1;
  definition.sharedMethods = sharedMethods;
  definition.sharedMethodCount = 1;
  definition.delegates = delegates;
  definition.delegateCount = 1;
  return definition;
}

REALclassDefinition PictureExtension() {
  REALclassDefinition definition{};
  definition.name = "Picture";
  definition.methods = extensionMethods;
  definition.methodCount = 3;
  return definition;
}

}  // namespace handmade

class HandMadeSurface : public PluginTest {
 protected:
  void SetUp() override {
    PluginTest::SetUp();
    classDefinition_ = handmade::HandClass();
    extension_ = handmade::PictureExtension();
    reinterpret_cast<REALRegisterClassFn>(gResolver("PluginRegisterClass"))(&classDefinition_);
    reinterpret_cast<REALRegisterClassExtensionFn>(gResolver("PluginRegisterClassExtension"))(&extension_);
  }

  qvlhost::SurfaceProperty Property(const char* name) {
    qvlhost::SurfaceProperty property;
    EXPECT_TRUE(qvlhost::FindProperty("handqvl", name, &property)) << name;
    return property;
  }

  REALclassDefinition classDefinition_;
  REALclassDefinition extension_;
};

TEST_F(HandMadeSurface, InstanceSharedAndExtensionMethodsHaveTheirCallForms) {
  std::vector<qvlhost::SurfaceOwner> owners = qvlhost::Surface();
  ASSERT_EQ(owners.size(), 2u);
  EXPECT_EQ(owners[0].kind, qvlhost::OwnerKind::Class);
  EXPECT_EQ(owners[1].kind, qvlhost::OwnerKind::ClassExtension);
  ASSERT_EQ(owners[0].delegates.size(), 1u);
  EXPECT_EQ(owners[0].delegates[0].text, "DoneQVL(ok as boolean)");

  std::vector<qvlhost::SurfaceMethod> scaled = qvlhost::FindMethods("SCALED");
  ASSERT_EQ(scaled.size(), 1u);
  EXPECT_TRUE(scaled[0].IsInstanceMethod());
  EXPECT_EQ(scaled[0].callForm.parameters.size(), 2u);  // the instance, then "by"
  qvlhost::OwnedObject instance(qvlhost::NewObject("HandQVL"));
  ASSERT_TRUE(qvlhost::SetProperty(Property("Count"), instance.get(), Value::Integer(-7), nullptr));
  std::vector<Value> arguments = {Value::Handle(TypeKind::Object, instance.get()), Value::Integer(3)};
  Value result;
  ASSERT_TRUE(qvlhost::CallMethod(scaled[0], arguments, &result, nullptr));
  EXPECT_EQ(result.integer, -21);

  std::vector<qvlhost::SurfaceMethod> twice = qvlhost::FindMethods("HandQVL.Twice");
  ASSERT_EQ(twice.size(), 1u);
  EXPECT_TRUE(twice[0].shared);
  std::vector<Value> half = {Value::Double(0.25)};
  ASSERT_TRUE(qvlhost::CallMethod(twice[0], half, &result, nullptr));
  EXPECT_EQ(result.real, 0.5);
  EXPECT_TRUE(qvlhost::FindMethods("Picture.Twice").empty());
}

TEST_F(HandMadeSurface, ExtensionMethodsTakeThePictureFirstAndDefaultsFillIn) {
  std::vector<qvlhost::SurfaceMethod> widthPlus = qvlhost::FindMethods("WidthPlusQVL");
  ASSERT_EQ(widthPlus.size(), 1u);
  EXPECT_TRUE(widthPlus[0].IsExtension());
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(20, 10));
  std::vector<Value> arguments = {Value::Handle(TypeKind::Picture, picture.get())};
  Value result;
  std::string error;
  ASSERT_TRUE(qvlhost::CallMethod(widthPlus[0], arguments, &result, &error)) << error;
  EXPECT_EQ(result.integer, 21);
  EXPECT_EQ(arguments.size(), 2u);

  // The setter makes an assigning form, registered before the plain one.
  std::vector<qvlhost::SurfaceMethod> mark = qvlhost::FindMethods("MarkQVL");
  ASSERT_EQ(mark.size(), 2u);
  ASSERT_TRUE(mark[0].assigning);
  EXPECT_TRUE(mark[0].callForm.parameters.back().assigns);
  EXPECT_EQ(mark[0].callForm.result.kind, TypeKind::Nothing);
  std::vector<Value> assign = {Value::Handle(TypeKind::Picture, picture.get()), Value::Integer(2), Value::Integer(99)};
  ASSERT_TRUE(qvlhost::CallMethod(mark[0], assign, nullptr, &error)) << error;
  std::vector<Value> read = {Value::Handle(TypeKind::Picture, picture.get()), Value::Integer(2)};
  ASSERT_TRUE(qvlhost::CallMethod(mark[1], read, &result, &error)) << error;
  EXPECT_EQ(result.integer, 99);
  // A row with a setter and no function can only be assigned.
  std::vector<qvlhost::SurfaceMethod> onlySet = qvlhost::FindMethods("OnlySetQVL");
  ASSERT_EQ(onlySet.size(), 1u);
  EXPECT_TRUE(onlySet[0].assigning);

  std::vector<Value> tooMany = {Value::Handle(TypeKind::Picture, picture.get()), Value::Integer(1), Value::Integer(2)};
  EXPECT_FALSE(qvlhost::CallMethod(widthPlus[0], tooMany, &result, &error));
  std::vector<Value> none;
  EXPECT_FALSE(qvlhost::CallMethod(widthPlus[0], none, &result, &error));
}

TEST_F(HandMadeSurface, StandardAccessorFieldsHoldTheirOwnReferences) {
  qvlhost::OwnedObject instance(qvlhost::NewObject("HandQVL"));
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(4, 4));
  qvlhost::SurfaceProperty source = Property("Source");
  ASSERT_TRUE(qvlhost::SetProperty(source, instance.get(), Value::Handle(TypeKind::Picture, picture.get()), nullptr));
  EXPECT_EQ(qvlhost::ReferenceCount(picture.get()), 2);
  Value read;
  ASSERT_TRUE(qvlhost::GetProperty(source, instance.get(), &read, nullptr));
  EXPECT_EQ(read.handle, picture.get());
  EXPECT_EQ(qvlhost::ReferenceCount(picture.get()), 3);  // one more for the reader
  qvlhost::ReleaseValue(read);
  ASSERT_TRUE(qvlhost::SetProperty(source, instance.get(), Value::Nil(TypeKind::Picture), nullptr));
  EXPECT_EQ(qvlhost::ReferenceCount(picture.get()), 1);
  // A field kept by the instance is given back with the instance.
  ASSERT_TRUE(qvlhost::SetProperty(source, instance.get(), Value::Handle(TypeKind::Picture, picture.get()), nullptr));
  instance.reset();
  EXPECT_EQ(qvlhost::ReferenceCount(picture.get()), 1);
}

TEST_F(HandMadeSurface, PropertiesRefuseWhatDoesNotFit) {
  qvlhost::OwnedObject instance(qvlhost::NewObject("HandQVL"));
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(4, 4));
  std::string error;
  Value value;
  EXPECT_FALSE(qvlhost::SetProperty(Property("Count"), instance.get(), Value::Double(1), &error));
  EXPECT_FALSE(qvlhost::GetProperty(Property("Outside"), instance.get(), &value, &error));  // 28 + 8 > 32
  EXPECT_NE(error.find("outside"), std::string::npos);
  EXPECT_FALSE(qvlhost::GetProperty(Property("Count"), picture.get(), &value, &error));  // no HandQVL instance
  qvlhost::SurfaceProperty unknown;
  EXPECT_FALSE(qvlhost::FindProperty("HandQVL", "Nothing", &unknown));

  ASSERT_TRUE(qvlhost::SetProperty(Property("Ratio"), instance.get(), Value::Double(0.75), &error)) << error;
  ASSERT_TRUE(qvlhost::GetProperty(Property("Ratio"), instance.get(), &value, &error)) << error;
  EXPECT_EQ(value.real, 0.75);
}

}  // namespace
