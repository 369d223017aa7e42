// Parser for the Xojo declarations that come with registered methods.
#include "declaration.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>

namespace qvlhost {

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
bool IsSpace(char c) { return c == ' ' || c == '\t'; }
bool IsIdentifierStart(char c) { return std::isalpha(static_cast<unsigned char>(c)) || c == '_'; }
bool IsIdentifierChar(char c) { return std::isalnum(static_cast<unsigned char>(c)) || c == '_'; }
bool IsHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

std::string Trimmed(const std::string& text) {
  size_t first = 0;
  size_t last = text.size();
  while (first < last && IsSpace(text[first])) ++first;
  while (last > first && IsSpace(text[last - 1])) --last;
  return text.substr(first, last - first);
}

bool AllHex(const std::string& digits) {
  if (digits.empty()) return false;
  for (char c : digits) {
    if (!IsHexDigit(c)) return false;
  }
  return true;
}

bool ParseColour(const std::string& digits, Literal* literal) {
  if ((digits.size() != 6 && digits.size() != 8) || !AllHex(digits)) return false;
  uint32_t rgb = static_cast<uint32_t>(std::strtoul(digits.substr(0, 6).c_str(), nullptr, 16));
  uint32_t alpha = digits.size() == 8 ? static_cast<uint32_t>(std::strtoul(digits.substr(6).c_str(), nullptr, 16)) : 0;
  literal->kind = Literal::Colour;
  literal->integer = static_cast<int64_t>((alpha << 24) | rgb);
  return true;
}

bool ParseHexNumber(bool negative, const std::string& digits, Literal* literal) {
  if (digits.size() > 16 || !AllHex(digits)) return false;
  uint64_t value = std::strtoull(digits.c_str(), nullptr, 16);
  literal->kind = Literal::Number;
  literal->integral = true;
  literal->integer = static_cast<int64_t>(negative ? 0 - value : value);
  literal->real = static_cast<double>(literal->integer);
  return true;
}

// Decimal numbers: [+-]digits[.digits][e[+-]digits]; at least one digit.
bool ParseDecimalNumber(const std::string& text, Literal* literal) {
  size_t i = (text[0] == '-' || text[0] == '+') ? 1 : 0;
  size_t digits = 0;
  bool integral = true;
  while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i, ++digits;
  if (i < text.size() && text[i] == '.') {
    integral = false;
    for (++i; i < text.size() && std::isdigit(static_cast<unsigned char>(text[i])); ++i) ++digits;
  }
  if (digits == 0) return false;
  if (i < text.size() && Lower(text[i]) == 'e') {
    integral = false;
    ++i;
    if (i < text.size() && (text[i] == '-' || text[i] == '+')) ++i;
    size_t exponentStart = i;
    while (i < text.size() && std::isdigit(static_cast<unsigned char>(text[i]))) ++i;
    if (i == exponentStart) return false;
  }
  if (i != text.size()) return false;
  errno = 0;
  literal->kind = Literal::Number;
  literal->integral = integral;
  literal->real = std::strtod(text.c_str(), nullptr);
  if (integral) literal->integer = std::strtoll(text.c_str(), nullptr, 10);
  return errno == 0;
}

bool ParseQuotedText(const std::string& text, Literal* literal) {
  if (text.size() < 2 || text.back() != '"') return false;
  std::string value;
  for (size_t i = 1; i + 1 < text.size(); ++i) {
    if (text[i] == '"') {
      if (i + 2 >= text.size() || text[i + 1] != '"') return false;
      ++i;
    }
    value += text[i];
  }
  literal->kind = Literal::Text;
  literal->text = value;
  return true;
}

bool ParseLiteralBody(const std::string& text, Literal* literal) {
  if (text.empty()) return false;
  if (text[0] == '"') return ParseQuotedText(text, literal);
  if (EqualsIgnoringCase(text, "true") || EqualsIgnoringCase(text, "false")) {
    literal->kind = Literal::Boolean;
    literal->integer = EqualsIgnoringCase(text, "true") ? 1 : 0;
    return true;
  }
  if (EqualsIgnoringCase(text, "nil")) {
    literal->kind = Literal::Nil;
    return true;
  }
  if (text.size() > 2 && text[0] == '&' && Lower(text[1]) == 'c') return ParseColour(text.substr(2), literal);
  bool negative = text[0] == '-';
  size_t start = negative ? 1 : 0;
  if (text.size() > start + 2 && text[start] == '&' && Lower(text[start + 1]) == 'h') {
    return ParseHexNumber(negative, text.substr(start + 2), literal);
  }
  return ParseDecimalNumber(text, literal);
}

// Reads a declaration from left to right; each step skips the blanks before it.
class DeclarationReader {
 public:
  explicit DeclarationReader(const std::string& text) : text_(text) {}

  bool AtEnd() {
    SkipSpaces();
    return position_ >= text_.size();
  }
  bool Take(char c) {
    SkipSpaces();
    if (position_ >= text_.size() || text_[position_] != c) return false;
    ++position_;
    return true;
  }
  // A word of letters, digits and underscores; dots join words when allowed.
  std::string Word(bool dotted = false) {
    SkipSpaces();
    size_t start = position_;
    if (position_ >= text_.size() || !IsIdentifierStart(text_[position_])) return "";
    while (position_ < text_.size() &&
           (IsIdentifierChar(text_[position_]) || (dotted && text_[position_] == '.' && position_ + 1 < text_.size() &&
                                                   IsIdentifierStart(text_[position_ + 1])))) {
      ++position_;
    }
    return text_.substr(start, position_ - start);
  }
  // Takes the word if it is `keyword`, ignoring case, and leaves it otherwise.
  bool TakeKeyword(const char* keyword) {
    size_t saved = position_;
    if (EqualsIgnoringCase(Word(), keyword)) return true;
    position_ = saved;
    return false;
  }
  // The raw text of a default value: up to the next comma or closing
  // parenthesis outside quotation marks.
  std::string DefaultText() {
    size_t start = position_;
    bool quoted = false;
    while (position_ < text_.size() && (quoted || (text_[position_] != ',' && text_[position_] != ')'))) {
      if (text_[position_] == '"') quoted = !quoted;
      ++position_;
    }
    return Trimmed(text_.substr(start, position_ - start));
  }
  size_t Position() const { return position_; }

 private:
  void SkipSpaces() {
    while (position_ < text_.size() && IsSpace(text_[position_])) ++position_;
  }

  const std::string& text_;
  size_t position_ = 0;
};

bool Fail(std::string* error, const std::string& message) {
  if (error) *error = message;
  return false;
}

bool IsIntegerKind(TypeKind kind) {
  return kind == TypeKind::Integer || kind == TypeKind::Int32 || kind == TypeKind::UInt32;
}

bool DefaultFitsType(const Literal& value, TypeKind kind) {
  switch (value.kind) {
    case Literal::Number:
      if (kind == TypeKind::Double || kind == TypeKind::Single) return true;
      if (kind == TypeKind::UInt32 && value.integer < 0) return false;
      return IsIntegerKind(kind) && value.integral;
    case Literal::Colour:
      return kind == TypeKind::Color;
    case Literal::Boolean:
      return kind == TypeKind::Boolean;
    case Literal::Nil:
      return IsHandleKind(kind);
    case Literal::Text:
      return kind == TypeKind::String;
    case Literal::None:
      break;
  }
  return false;
}

void ReadModifiers(DeclarationReader& reader, Parameter* parameter) {
  for (bool any = true; any;) {
    if (reader.TakeKeyword("byref")) {
      parameter->byRef = true;
    } else if (reader.TakeKeyword("byval")) {
      parameter->byRef = false;
    } else if (reader.TakeKeyword("extends")) {
      parameter->extends = true;
    } else if (reader.TakeKeyword("assigns")) {
      parameter->assigns = true;
    } else {
      any = false;
    }
  }
}

bool ReadParameter(DeclarationReader& reader, Parameter* parameter, std::string* error) {
  ReadModifiers(reader, parameter);
  parameter->name = reader.Word();
  if (parameter->name.empty()) return Fail(error, "parameter name expected at " + std::to_string(reader.Position()));
  if (!reader.TakeKeyword("as")) return Fail(error, "\"as\" expected after parameter " + parameter->name);
  std::string typeName = reader.Word(true);
  if (typeName.empty()) return Fail(error, "type expected for parameter " + parameter->name);
  parameter->type = TypeNamed(typeName);
  if (!reader.Take('=')) return true;
  std::string written = reader.DefaultText();
  if (!ParseLiteral(written, &parameter->defaultValue)) {
    return Fail(error, "bad default value \"" + written + "\" for parameter " + parameter->name);
  }
  if (!DefaultFitsType(parameter->defaultValue, parameter->type.kind)) {
    return Fail(error, "default value " + written + " does not fit " + typeName + " of parameter " + parameter->name);
  }
  return true;
}

bool ReadParameterList(DeclarationReader& reader, std::vector<Parameter>* parameters, std::string* error) {
  if (reader.Take(')')) return true;
  do {
    Parameter parameter;
    if (!ReadParameter(reader, &parameter, error)) return false;
    parameters->push_back(parameter);
  } while (reader.Take(','));
  if (!reader.Take(')')) return Fail(error, "\",\" or \")\" expected at " + std::to_string(reader.Position()));
  return true;
}

bool CheckPlacement(const std::vector<Parameter>& parameters, std::string* error) {
  for (size_t i = 0; i < parameters.size(); ++i) {
    if (parameters[i].extends && i != 0)
      return Fail(error, "extends parameter " + parameters[i].name + " is not first");
    if (parameters[i].assigns && i + 1 != parameters.size()) {
      return Fail(error, "assigns parameter " + parameters[i].name + " is not last");
    }
  }
  return true;
}

}  // namespace

bool EqualsIgnoringCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i) {
    if (Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}

bool IsHandleKind(TypeKind kind) { return kind >= TypeKind::String; }

const char* KindName(TypeKind kind) {
  switch (kind) {
    case TypeKind::Nothing:
      return "";
    case TypeKind::Integer:
      return "Integer";
    case TypeKind::Int32:
      return "Int32";
    case TypeKind::UInt32:
      return "UInt32";
    case TypeKind::Boolean:
      return "Boolean";
    case TypeKind::Color:
      return "Color";
    case TypeKind::Double:
      return "Double";
    case TypeKind::Single:
      return "Single";
    case TypeKind::String:
      return "String";
    case TypeKind::Picture:
      return "Picture";
    case TypeKind::MemoryBlock:
      return "MemoryBlock";
    case TypeKind::FolderItem:
      return "FolderItem";
    case TypeKind::Object:
      return "Object";
  }
  return "";
}

Type TypeNamed(const std::string& name) {
  static const struct {
    const char* name;
    TypeKind kind;
  } kNamedKinds[] = {
      {"Integer", TypeKind::Integer}, {"Int64", TypeKind::Integer},           {"Int32", TypeKind::Int32},
      {"UInt32", TypeKind::UInt32},   {"Boolean", TypeKind::Boolean},         {"Color", TypeKind::Color},
      {"Double", TypeKind::Double},   {"Single", TypeKind::Single},           {"String", TypeKind::String},
      {"Picture", TypeKind::Picture}, {"MemoryBlock", TypeKind::MemoryBlock}, {"FolderItem", TypeKind::FolderItem},
  };
  Type type{TypeKind::Object, name};
  for (const auto& named : kNamedKinds) {
    if (EqualsIgnoringCase(name, named.name)) type.kind = named.kind;
  }
  return type;
}

bool ParseLiteral(const std::string& text, Literal* literal) {
  Literal parsed;
  parsed.text = Trimmed(text);
  if (!ParseLiteralBody(parsed.text, &parsed)) return false;
  *literal = parsed;
  return true;
}

bool ParseDeclaration(const std::string& text, Declaration* declaration, std::string* error) {
  Declaration parsed;
  parsed.text = text;
  DeclarationReader reader(text);
  parsed.name = reader.Word();
  if (parsed.name.empty()) return Fail(error, "method name expected in \"" + text + "\"");
  if (reader.Take('(') && !ReadParameterList(reader, &parsed.parameters, error)) return false;
  if (reader.TakeKeyword("as")) {
    std::string typeName = reader.Word(true);
    if (typeName.empty()) return Fail(error, "result type expected in \"" + text + "\"");
    parsed.result = TypeNamed(typeName);
  }
  if (!reader.AtEnd())
    return Fail(error, "unexpected text at " + std::to_string(reader.Position()) + " in \"" + text + "\"");
  if (!CheckPlacement(parsed.parameters, error)) return false;
  *declaration = parsed;
  return true;
}

size_t RequiredArgumentCount(const Declaration& declaration) {
  size_t count = 0;
  for (const Parameter& parameter : declaration.parameters) {
    if (parameter.defaultValue.kind == Literal::None) ++count;
  }
  return count;
}

}  // namespace qvlhost
