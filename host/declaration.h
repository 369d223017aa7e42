// Xojo declarations as the plug-in registers them: "Name(params) as Type".
// The host parses each one to know how to call the registered function.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qvlhost {

// The Xojo types a registered function can take or return. Everything from
// String on is passed as a handle.
enum class TypeKind {
  Nothing,  // no result
  Integer,  // Integer and Int64: signed 64 bits
  Int32,
  UInt32,
  Boolean,  // one byte
  Color,    // unsigned 32 bits, &cRRGGBB in bits 0-23
  Double,
  Single,
  String,
  Picture,
  MemoryBlock,
  FolderItem,
  Object,  // any other class, interface or delegate type
};

struct Type {
  TypeKind kind = TypeKind::Nothing;
  std::string name;  // as written in the declaration ("picture", "NSErrorQVL")
};

bool IsHandleKind(TypeKind kind);
// The canonical Xojo spelling of a kind ("Integer", "Picture"); "" for Nothing.
const char* KindName(TypeKind kind);
// Maps a type name to its kind, ignoring case; unknown names are classes.
Type TypeNamed(const std::string& name);

// A default value as written after "=" in a parameter.
struct Literal {
  enum Kind { None, Number, Colour, Boolean, Nil, Text };
  Kind kind = None;
  bool integral = false;  // a Number without fraction or exponent
  int64_t integer = 0;    // Number (when integral), Colour, Boolean
  double real = 0;        // Number
  std::string text;       // Text, and the literal as written
};

// Parses a literal: numbers (also negative and &h hexadecimal), &cRRGGBB and
// &cRRGGBBAA colours, true, false, nil, and "quoted" strings with "" for a
// quotation mark. Keywords ignore case. False for anything else.
bool ParseLiteral(const std::string& text, Literal* literal);

struct Parameter {
  std::string name;
  Type type;
  bool byRef = false;
  bool extends = false;  // the object the method extends; always the first
  bool assigns = false;  // the value of an assigning call; always the last
  Literal defaultValue;  // kind None when the parameter has no default
};

struct Declaration {
  std::string text;  // the declaration as registered
  std::string name;
  std::vector<Parameter> parameters;
  Type result;  // kind Nothing when the method returns nothing
};

// Parses "Name", "Name as Type" and "Name(params) [as Type]", where each
// parameter is "[ByRef|ByVal] [Extends] [Assigns] name as Type [= default]".
// On failure returns false and describes the fault in *error.
bool ParseDeclaration(const std::string& text, Declaration* declaration, std::string* error);

// How many arguments a call needs at least: parameters without a default.
size_t RequiredArgumentCount(const Declaration& declaration);

bool EqualsIgnoringCase(const std::string& a, const std::string& b);

}  // namespace qvlhost
