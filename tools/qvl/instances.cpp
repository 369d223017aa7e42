// Instances of the plug-in's classes, made, set up, called and ended as an
// application does it.
#include "instances.h"

#include <cstdint>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "cube_files.h"
#include "output.h"
#include "overloads.h"
#include "qvlhost.h"
#include "surface.h"

namespace qvltool {

namespace {

using qvlhost::SurfaceMethod;
using qvlhost::SurfaceProperty;
using qvlhost::TypeKind;
using qvlhost::Value;

const int kFailed = 1;
const int kBadInput = 2;

int Report(int status, const std::string& message) {
  std::cerr << "qvl: " << message << std::endl;
  return status;
}

std::string OwnerOf(const std::string& name) {
  const size_t dot = name.rfind('.');
  return dot == std::string::npos ? "" : name.substr(0, dot);
}

// A property to set before the call, and its text.
struct Setting {
  SurfaceProperty property;
  std::string text;
};

// The words NAME=VALUE that name a property of the class become settings;
// every other word is an argument of the method.
bool SplitWords(const std::string& owner, const std::vector<std::string>& words, std::vector<Setting>* settings,
                std::vector<std::string>* arguments, std::string* error) {
  for (const std::string& word : words) {
    const size_t equals = word.find('=');
    if (equals == std::string::npos || equals == 0) {
      arguments->push_back(word);
      continue;
    }
    Setting setting{SurfaceProperty(), word.substr(equals + 1)};
    if (!qvlhost::FindProperty(owner, word.substr(0, equals), &setting.property)) {
      *error = "no property " + word.substr(0, equals) + " in " + owner + " (qvl list shows the properties)";
      return false;
    }
    settings->push_back(setting);
  }
  return true;
}

// The handles the run made, given back at its end in reverse order.
class Handles {
 public:
  Handles() = default;
  Handles(const Handles&) = delete;
  Handles& operator=(const Handles&) = delete;
  ~Handles() {
    for (auto value = values.rbegin(); value != values.rend(); ++value) qvlhost::ReleaseValue(*value);
  }
  std::vector<Value> values;
};

// Each property through the host's accessor, in the order given. A picture
// property takes an image file, read as a picture argument is.
bool SetProperties(const CommandLine& line, REALobjectStruct* instance, const std::vector<Setting>& settings,
                   std::string* error) {
  for (const Setting& setting : settings) {
    qvlhost::Parameter parameter;
    parameter.name = setting.property.name;
    parameter.type = setting.property.type;
    Value value;
    if (!ValueFor(setting.text, parameter, line, &value, error)) return false;
    Handles made;
    if (value.handle) made.values.push_back(value);
    if (!qvlhost::SetProperty(setting.property, instance, value, error)) return false;
  }
  return true;
}

// The assigning form of the owner's Table, through which a lattice is set.
bool FindTableSetter(const std::string& owner, SurfaceMethod* setter) {
  for (const SurfaceMethod& method : qvlhost::FindMethods(owner + ".Table")) {
    if (method.assigning) {
      *setter = method;
      return true;
    }
  }
  return false;
}

// The lattice of a .cube file, node by node, through the Table setter as an
// application would assign it; indices 16 and 17 keep the 0.0 of a new job.
bool FillTable(const std::string& path, const std::string& owner, REALobjectStruct* instance, std::string* error) {
  SurfaceMethod setter;
  if (!FindTableSetter(owner, &setter)) {
    *error = "--lut needs a class with an assignable Table, such as PictureLut3DQVL";
    return false;
  }
  const std::optional<CubeLattice> lattice = ReadCubeFile(path, error);
  if (!lattice) return false;
  constexpr uint32_t kNodes = 16;
  for (uint32_t r = 0; r < kNodes; ++r) {
    for (uint32_t g = 0; g < kNodes; ++g) {
      for (uint32_t b = 0; b < kNodes; ++b) {
        for (uint32_t x = 0; x < 3; ++x) {
          std::vector<Value> arguments = {Value::Handle(TypeKind::Object, instance),
                                          Value::UInt32(r),
                                          Value::UInt32(g),
                                          Value::UInt32(b),
                                          Value::UInt32(x),
                                          Value::Double(lattice->values[((r * 16 + g) * 16 + b) * 3 + x])};
          Value nothing;
          if (!qvlhost::CallMethod(setter, arguments, &nothing, error)) return false;
        }
      }
    }
  }
  return true;
}

// The instance as the call finds it: its properties set, in the order the
// command line gives them, and its Table filled from --lut.
bool PrepareInstance(const CommandLine& line, const std::string& owner, REALobjectStruct* instance,
                     const std::vector<Setting>& settings, std::string* error) {
  if (!SetProperties(line, instance, settings, error)) return false;
  return line.lut.empty() || FillTable(line.lut, owner, instance, error);
}

bool HasDestination(const std::string& owner) {
  SurfaceProperty property;
  return qvlhost::FindProperty(owner, "DestinationPicture", &property) && property.type.kind == TypeKind::Picture;
}

std::string OutputProblem(const CommandLine& line, const std::string& owner) {
  if (line.output.empty()) return "";
  if (!HasDestination(owner)) return "-o given, but " + owner + " has no DestinationPicture";
  if (!IsPictureFileName(line.output)) return "the output " + line.output + " is not a .png, .jpg, .jpeg or .gif file";
  return "";
}

int WriteDestination(const CommandLine& line, const SurfaceMethod& method, REALobjectStruct* instance) {
  SurfaceProperty property;
  qvlhost::FindProperty(method.owner, "DestinationPicture", &property);
  Value picture;
  std::string error;
  if (!qvlhost::GetProperty(property, instance, &picture, &error)) return Report(kFailed, error);
  Handles read;
  read.values.push_back(picture);
  if (!picture.handle) return Report(kFailed, method.owner + "." + method.Name() + " left DestinationPicture nil");
  if (!WritePictureAtomically(static_cast<REALpictureStruct*>(picture.handle), line.output, &error)) {
    return Report(kFailed, error);
  }
  return 0;
}

// The call on a prepared instance; what it hands back.
int Call(const CommandLine& line, const SurfaceMethod& method, REALobjectStruct* instance,
         const std::vector<std::string>& texts) {
  CommandLine withArguments = line;
  withArguments.arguments = texts;
  Handles handles;
  std::vector<Value> arguments = {Value::Handle(TypeKind::Object, instance)};
  std::string error;
  if (!MakeArguments(method, withArguments, &arguments, &handles.values, &error)) return Report(kBadInput, error);
  Value result;
  if (!qvlhost::CallMethod(method, arguments, &result, &error)) return Report(kFailed, error);
  handles.values.push_back(result);
  if (qvlhost::PendingException()) return kFailed;
  if (result.kind != TypeKind::Nothing) std::cout << "result = " << FormatValue(result) << "\n";
  return line.output.empty() ? 0 : WriteDestination(line, method, instance);
}

}  // namespace

bool CallsInstanceMethod(const CommandLine& line) {
  const std::vector<SurfaceMethod> methods = qvlhost::FindMethods(line.method);
  return !OwnerOf(line.method).empty() && !methods.empty() && methods.front().IsInstanceMethod();
}

int RunInstanceMethod(const CommandLine& line) {
  const std::string owner = OwnerOf(line.method);
  std::vector<Setting> settings;
  std::vector<std::string> texts;
  std::string error;
  if (!SplitWords(owner, line.arguments, &settings, &texts, &error)) return Report(kBadInput, error);
  const OverloadChoice choice = ChooseOverload(line.method, texts);
  if (choice.outcome != OverloadChoice::Chosen) {
    return Report(kBadInput, "the arguments fit no form of " + line.method + " (qvl list shows them)");
  }
  error = OutputProblem(line, owner);
  if (!line.mask.empty() || !line.maskOutput.empty()) error = "--mask and --mask-out need a picture method";
  if (!error.empty()) return Report(kBadInput, error);
  qvlhost::OwnedObject instance(qvlhost::NewObject(owner));
  if (!instance) return Report(kFailed, "the host could not make an instance of " + owner);
  if (!PrepareInstance(line, owner, instance, settings, &error)) return Report(kBadInput, error);
  return Call(line, choice.method, instance, texts);
}

}  // namespace qvltool
