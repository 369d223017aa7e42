// Overload choice and argument values of the qvl tool.
#include "overloads.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>

#include "qvl/encodings.h"
#include "qvlhost.h"
#include "wav_files.h"

namespace qvltool {

namespace {

using qvlhost::Literal;
using qvlhost::Parameter;
using qvlhost::SurfaceMethod;
using qvlhost::TypeKind;
using qvlhost::Value;

const int kNoFit = -1;

bool IntegralBetween(const Literal& literal, int64_t low, int64_t high) {
  return literal.kind == Literal::Number && literal.integral && literal.integer >= low && literal.integer <= high;
}

bool PathExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0;
}

// How well a text stands for a parameter: kNoFit, or higher for a closer kind.
int FitScore(const std::string& text, const Parameter& parameter) {
  Literal literal;
  bool isLiteral = qvlhost::ParseLiteral(text, &literal);
  switch (parameter.type.kind) {
    case TypeKind::Integer:
      return IntegralBetween(literal, INT64_MIN, INT64_MAX) ? 3 : kNoFit;
    case TypeKind::Int32:
      return IntegralBetween(literal, INT32_MIN, INT32_MAX) ? 3 : kNoFit;
    case TypeKind::UInt32:
      return IntegralBetween(literal, 0, UINT32_MAX) ? 3 : kNoFit;
    case TypeKind::Double:
    case TypeKind::Single:
      return literal.kind == Literal::Number ? 2 : kNoFit;
    case TypeKind::Boolean:
      return literal.kind == Literal::Boolean ? 3 : kNoFit;
    case TypeKind::Color:
      return literal.kind == Literal::Colour ? 3 : kNoFit;
    case TypeKind::String:
      return 1;
    case TypeKind::Picture:
    case TypeKind::MemoryBlock:
      if (literal.kind == Literal::Nil) return 2;
      return isLiteral ? kNoFit : 1;
    case TypeKind::FolderItem:  // a path; one that names something prefers this overload to a String
      if (literal.kind == Literal::Nil) return 2;
      return PathExists(text) ? 2 : 1;
    default:
      return literal.kind == Literal::Nil ? 2 : kNoFit;
  }
}

// The rank of a method for these arguments, or kNoFit.
int Rank(const SurfaceMethod& method, const std::vector<std::string>& arguments, bool* countFits) {
  std::vector<Parameter> parameters = UserParameters(method);
  size_t required = 0;
  for (const Parameter& parameter : parameters) required += parameter.defaultValue.kind == Literal::None ? 1 : 0;
  *countFits = arguments.size() >= required && arguments.size() <= parameters.size();
  if (!*countFits) return kNoFit;
  int score = arguments.size() == parameters.size() ? 1000 : 0;
  for (size_t i = 0; i < arguments.size(); ++i) {
    int fit = FitScore(arguments[i], parameters[i]);
    if (fit == kNoFit) return kNoFit;
    score += fit;
  }
  return score;
}

bool FileExists(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

bool ReadBytes(const std::string& path, std::string* bytes) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return false;
  bytes->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return !file.bad();
}

// Reads the file in the storage given for pictures read from files.
REALpictureStruct* ReadInStorage(const std::string& path, const CommandLine& line) {
  qvlhost::Config& config = qvlhost::CurrentConfig();
  const qvlhost::Storage made = config.storage;
  if (line.storageGiven) config.storage = line.storage;
  REALpictureStruct* picture = qvlhost::ReadPictureFile(path);
  config.storage = made;
  return picture;
}

// The picture as a HiDPI picture of its size, holding itself and a bitmap
// of twice its size as representations; nil when the host can't make them.
REALpictureStruct* AsHiDPI(REALpictureStruct* picture) {
  const int64_t width = qvlhost::PictureWidth(picture), height = qvlhost::PictureHeight(picture);
  qvlhost::OwnedPicture bitmap(picture), twice(qvlhost::ScaledPicture(picture, 2 * width, 2 * height));
  if (!twice) return nullptr;
  return qvlhost::NewHiDPIPicture(width, height, {bitmap, twice});
}

REALpictureStruct* OfKind(REALpictureStruct* picture, PictureKind kind) {
  if (kind == PictureKind::HiDPI) return AsHiDPI(picture);
  if (kind == PictureKind::Vector) qvlhost::SetPictureKind(picture, 1);
  return picture;
}

bool PictureArgument(const std::string& path, const CommandLine& line, Value* value, std::string* error) {
  if (!FileExists(path)) {
    *error = "missing file " + path;
    return false;
  }
  REALpictureStruct* picture = ReadInStorage(path, line);
  if (!picture) {
    *error = "cannot read image " + path;
    return false;
  }
  picture = OfKind(picture, line.pictureKind);
  if (!picture) {
    *error = "cannot make a HiDPI picture of " + path;
    return false;
  }
  *value = Value::Handle(TypeKind::Picture, picture);
  return true;
}

// "@PATH" is the file's bytes, of unknown encoding; any other text is UTF-8.
bool StringArgument(const std::string& text, Value* value, std::string* error) {
  if (text.empty() || text[0] != '@') {
    *value = Value::Handle(TypeKind::String, qvlhost::NewString(text, kREALTextEncodingUTF8));
    return true;
  }
  const std::string path = text.substr(1);
  std::string bytes;
  if (!FileExists(path) || !ReadBytes(path, &bytes)) {
    *error = "missing file " + path;
    return false;
  }
  *value = Value::Handle(TypeKind::String, qvlhost::NewString(bytes, kREALTextEncodingUnknown));
  return true;
}

bool MemoryBlockArgument(const std::string& path, Value* value, std::string* error) {
  std::string bytes;
  if (!FileExists(path) || !ReadBytes(path, &bytes)) {
    *error = "missing file " + path;
    return false;
  }
  const WavSamples wav = ReadWavSamples(bytes);
  if (wav.content == WavSamples::BadHeader) {
    *error = path + ": " + wav.problem;
    return false;
  }
  if (wav.content == WavSamples::Samples) bytes = bytes.substr(wav.offset, wav.size);
  REALmemoryBlockStruct* block = qvlhost::NewMemoryBlock(static_cast<int64_t>(bytes.size()));
  if (!block) {
    *error = "no memory block of " + std::to_string(bytes.size()) + " bytes for " + path;
    return false;
  }
  std::memcpy(qvlhost::MemoryBlockData(block), bytes.data(), bytes.size());
  *value = Value::Handle(TypeKind::MemoryBlock, block);
  return true;
}

bool ArgumentValue(const std::string& text, const Parameter& parameter, const CommandLine& line, Value* value,
                   std::string* error) {
  Literal literal;
  qvlhost::ParseLiteral(text, &literal);
  TypeKind kind = parameter.type.kind;
  if (qvlhost::IsHandleKind(kind) && kind != TypeKind::String && literal.kind == Literal::Nil) {
    *value = Value::Nil(kind);
    return true;
  }
  switch (kind) {
    case TypeKind::Integer:
      *value = Value::Integer(literal.integer);
      return true;
    case TypeKind::Int32:
      *value = Value::Int32(static_cast<int32_t>(literal.integer));
      return true;
    case TypeKind::UInt32:
      *value = Value::UInt32(static_cast<uint32_t>(literal.integer));
      return true;
    case TypeKind::Double:
      *value = Value::Double(literal.real);
      return true;
    case TypeKind::Single:
      *value = Value::Single(static_cast<float>(literal.real));
      return true;
    case TypeKind::Boolean:
      *value = Value::Boolean(literal.integer != 0);
      return true;
    case TypeKind::Color:
      *value = Value::Color(static_cast<uint32_t>(literal.integer));
      return true;
    case TypeKind::String:
      return StringArgument(text, value, error);
    case TypeKind::Picture:
      return PictureArgument(text, line, value, error);
    case TypeKind::MemoryBlock:
      return MemoryBlockArgument(text, value, error);
    case TypeKind::FolderItem:
      *value = Value::Handle(TypeKind::FolderItem, qvlhost::NewFolderItem(text));
      return true;
    default:
      *error = "no value for " + parameter.name;
      return false;
  }
}

}  // namespace

std::vector<Parameter> UserParameters(const SurfaceMethod& method) {
  std::vector<Parameter> parameters = method.callForm.parameters;
  if (method.IsInstanceMethod() && !parameters.empty()) parameters.erase(parameters.begin());
  return parameters;
}

std::string DisplayDeclaration(const SurfaceMethod& method) {
  return method.assigning ? method.text + " [setter]" : method.text;
}

OverloadChoice ChooseOverload(const std::string& name, const std::vector<std::string>& arguments) {
  OverloadChoice choice;
  choice.candidates = qvlhost::FindMethods(name);
  if (choice.candidates.empty()) return choice;
  choice.outcome = OverloadChoice::WrongCount;
  int best = kNoFit;
  for (const SurfaceMethod& method : choice.candidates) {
    bool countFits = false;
    int rank = Rank(method, arguments, &countFits);
    if (countFits && choice.outcome == OverloadChoice::WrongCount) choice.outcome = OverloadChoice::NoFit;
    if (rank <= best) continue;
    best = rank;
    choice.method = method;
    choice.outcome = OverloadChoice::Chosen;
  }
  return choice;
}

bool ValueFor(const std::string& text, const Parameter& parameter, const CommandLine& line, Value* value,
              std::string* error) {
  if (FitScore(text, parameter) == kNoFit) {
    *error = "\"" + text + "\" is no " + parameter.type.name + " for " + parameter.name;
    return false;
  }
  return ArgumentValue(text, parameter, line, value, error);
}

bool MakeArguments(const SurfaceMethod& method, const CommandLine& line, std::vector<Value>* values,
                   std::vector<Value>* owned, std::string* error) {
  const std::vector<std::string>& texts = line.arguments;
  std::vector<Parameter> parameters = UserParameters(method);
  for (size_t i = 0; i < texts.size(); ++i) {
    Value value;
    if (!ArgumentValue(texts[i], parameters[i], line, &value, error)) return false;
    values->push_back(value);
    if (value.handle) owned->push_back(value);
  }
  return true;
}

}  // namespace qvltool
