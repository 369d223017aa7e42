// The host reads registered declarations and calls the functions behind them
// through libffi with Xojo's types.
#include "declaration.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "call.h"

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

TEST(Declaration, NameParameterTypesAndResult) {
  const std::tuple<const char*, const char*, std::vector<TypeKind>, TypeKind> cases[] = {
      {"ThresholdQVL(Threshold as integer) as picture", "ThresholdQVL", {TypeKind::Integer}, TypeKind::Picture},
      {"HasMaskQVL as boolean", "HasMaskQVL", {}, TypeKind::Boolean},
      {"Saved(error as NSErrorQVL, f as FolderItem, c as UInt32)",
       "Saved",
       {TypeKind::Object, TypeKind::FolderItem, TypeKind::UInt32},
       TypeKind::Nothing},
      {"  SHOUT ( X AS STRING , Y AS COLOR )  AS MEMORYBLOCK ",
       "SHOUT",
       {TypeKind::String, TypeKind::Color},
       TypeKind::MemoryBlock},
  };
  for (const auto& [text, name, parameters, result] : cases) {
    Declaration declaration = Parsed(text);
    std::vector<TypeKind> kinds;
    for (const auto& parameter : declaration.parameters) kinds.push_back(parameter.type.kind);
    EXPECT_EQ(declaration.name, name);
    EXPECT_EQ(kinds, parameters) << text;
    EXPECT_EQ(declaration.result.kind, result) << text;
  }
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
void Bump(int64_t* count, bool* flag, void** handle, uint32_t step) {
  *count += step;
  *flag = !*flag;
  *handle = count;
}
Value Call(void* function, const std::string& text, std::vector<Value>& arguments) {
  Value result;
  std::string error;
  EXPECT_TRUE(qvlhost::CallDeclared(function, Parsed(text), arguments, &result, &error)) << error;
  return result;
}

TEST(CallDeclared, PassesXojoTypesAndGivesBackByRefArguments) {
  std::vector<Value> numbers = {Value::Integer(int64_t(1) << 40), Value::Double(0.25)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&Subtract), "Sub(a as integer, b as double) as double", numbers).real,
            double(int64_t(1) << 40) - 0.25);
  std::vector<Value> colour = {Value::Color(0x80123456)};
  EXPECT_EQ(Call(reinterpret_cast<void*>(&SwapRedAndBlue), "Swap(c as color) as color", colour).integer, 0x80563412);

  std::vector<Value> arguments = {Value::Integer(40), Value::Boolean(false), Value::Nil(TypeKind::MemoryBlock),
                                  Value::UInt32(2)};
  Value result = Call(reinterpret_cast<void*>(&Bump),
                      "Bump(byref count as integer, byref flag as boolean, byref block as memoryblock, step as UInt32)",
                      arguments);
  EXPECT_EQ(result.kind, TypeKind::Nothing);
  EXPECT_EQ(arguments[0].integer, 42);
  EXPECT_EQ(arguments[1].integer, 1);
  EXPECT_EQ(arguments[2].kind, TypeKind::MemoryBlock);
  EXPECT_NE(arguments[2].handle, nullptr);
  EXPECT_EQ(arguments[3].integer, 2);  // a value argument stays as it was
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

}  // namespace
