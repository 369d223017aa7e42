// qvl: loads the plug-in into the embedded host and runs a registered method
// on image files, or lists what the plug-in registered.
#include <sys/stat.h>

#include <cstdlib>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "command_line.h"
#include "instances.h"
#include "listing.h"
#include "output.h"
#include "overloads.h"
#include "plugin_loader.h"
#include "qvlhost.h"
#include "surface.h"

namespace {

using qvlhost::SurfaceMethod;
using qvlhost::TypeKind;
using qvlhost::Value;
using qvltool::CommandLine;

const int kFailed = 1;
const int kBadInput = 2;

int Report(int status, const std::string& message) {
  std::cerr << "qvl: " << message << std::endl;
  return status;
}

// The handles one run made or received; each is given back at the end.
class OwnedValues {
 public:
  OwnedValues() = default;
  OwnedValues(const OwnedValues&) = delete;
  OwnedValues& operator=(const OwnedValues&) = delete;
  ~OwnedValues() { ReleaseAll(); }
  void ReleaseAll() {
    for (auto value = values.rbegin(); value != values.rend(); ++value) qvlhost::ReleaseValue(*value);
    values.clear();
  }
  void Add(const Value& value) {
    if (value.handle) values.push_back(value);
  }
  std::vector<Value> values;
};

std::string PluginPath(const CommandLine& line) {
  if (!line.pluginPath.empty()) return line.pluginPath;
#ifdef QVL_PLUGIN_PATH
  return QVL_PLUGIN_PATH;
#else
  return "";
#endif
}

bool StartHost(const CommandLine& line, std::string* error) {
  qvlhost::Config config;
  config.journal = false;  // nothing reads it here
  if (line.versionGiven) config.version = line.hostVersion;
  // Alpha info 0 is the storage of pictures read from files only; the host
  // makes its own pictures as a desktop host does.
  if (line.storageGiven && line.storage.Name() != "cg0") config.storage = line.storage;
  // gd storage is what console applications have; desktop ones draw with Core Graphics.
  if (config.storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
  qvlhost::Reset(config);
  if (line.debug) setenv("QVLDEBUG", "1", 1);
  std::string path = PluginPath(line);
  if (path.empty()) {
    *error = "no plug-in to load (--plugin PATH)";
    return false;
  }
  return qvlhost::LoadPlugin(path, error);
}

std::string Declarations(const std::vector<SurfaceMethod>& methods) {
  std::string list;
  for (const SurfaceMethod& method : methods) list += (list.empty() ? "" : "; ") + qvltool::DisplayDeclaration(method);
  return list;
}

// Names the methods of that name in other owners when the name was qualified.
std::string UnknownMethodProblem(const std::string& name) {
  std::vector<SurfaceMethod> elsewhere = qvlhost::FindMethods(name.substr(name.rfind('.') + 1));
  if (elsewhere.empty()) return "unknown method " + name + " (qvl list shows the registered methods)";
  return "unknown method " + name + "; registered are: " + Declarations(elsewhere);
}

std::string ChoiceProblem(const CommandLine& line, const qvltool::OverloadChoice& choice) {
  switch (choice.outcome) {
    case qvltool::OverloadChoice::UnknownMethod:
      return UnknownMethodProblem(line.method);
    case qvltool::OverloadChoice::WrongCount:
      return "wrong number of arguments (" + std::to_string(line.arguments.size()) + ") for " + line.method + ": " +
             Declarations(choice.candidates);
    default:
      return "the arguments fit no overload of " + line.method + ": " + Declarations(choice.candidates);
  }
}

bool SameFile(const std::string& a, const std::string& b) {
  struct stat first, second;
  return stat(a.c_str(), &first) == 0 && stat(b.c_str(), &second) == 0 && first.st_dev == second.st_dev &&
         first.st_ino == second.st_ino;
}

bool IsFolder(const std::string& path) {
  struct stat status;
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string FolderOf(const std::string& path) {
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// A method that extends a picture changes it in place; -o then takes that picture.
bool WritesExtendedPicture(const SurfaceMethod& method) {
  return method.IsExtension() && method.callForm.parameters.front().type.kind == TypeKind::Picture &&
         method.callForm.result.kind != TypeKind::Picture;
}

bool ReturnsString(const SurfaceMethod& method) { return method.callForm.result.kind == TypeKind::String; }

// A picture goes to an image file the host can write; a string to any file.
std::string OutputPathProblem(const CommandLine& line, const SurfaceMethod& method) {
  if (!IsFolder(FolderOf(line.output))) return "no folder for the output " + line.output;
  if (IsFolder(line.output)) return "the output " + line.output + " is a folder";
  if (!ReturnsString(method) && !qvltool::IsPictureFileName(line.output)) {
    return "the output " + line.output + " is not a .png, .jpg, .jpeg or .gif file";
  }
  for (const std::string& argument : line.arguments) {
    const std::string path = argument.rfind('@', 0) == 0 ? argument.substr(1) : argument;
    if (SameFile(path, line.output)) return "the output would replace " + path;
  }
  return "";
}

bool CheckOutput(const CommandLine& line, const SurfaceMethod& method, std::string* error) {
  bool makesPicture = method.callForm.result.kind == TypeKind::Picture;
  if (makesPicture && line.output.empty()) {
    *error = method.Name() + " returns a picture: give -o OUT";
  } else if (!line.output.empty() && !makesPicture && !ReturnsString(method) && !WritesExtendedPicture(method)) {
    *error = "-o given, but " + method.Name() + " makes no picture or string";
  } else if (!line.output.empty()) {
    *error = OutputPathProblem(line, method);
  }
  return error->empty();
}

// --mask and --mask-out need the picture the method is called on; --mask
// gives it the mask read from a file (the picture holds its own reference).
bool AttachMask(const CommandLine& line, const SurfaceMethod& method, const std::vector<Value>& arguments,
                std::string* error) {
  if (line.mask.empty() && line.maskOutput.empty()) return true;
  if (!method.IsExtension() || method.callForm.parameters.front().type.kind != TypeKind::Picture ||
      !arguments.front().handle) {
    *error = "--mask and --mask-out need a picture that " + method.Name() + " is called on";
    return false;
  }
  if (line.mask.empty()) return true;
  REALpictureStruct* mask = qvlhost::ReadPictureFile(line.mask);
  if (!mask) {
    *error = "cannot read image " + line.mask;
    return false;
  }
  qvlhost::SetPictureMask(static_cast<REALpictureStruct*>(arguments.front().handle), mask);
  qvlhost::Release(reinterpret_cast<REALobjectStruct*>(mask));
  return true;
}

int WriteMask(const CommandLine& line, const Value& picture) {
  REALpictureStruct* mask = qvlhost::PictureMask(static_cast<REALpictureStruct*>(picture.handle));
  if (!mask) return Report(kFailed, "the picture has no mask to write to " + line.maskOutput);
  std::string error;
  if (!qvltool::WritePictureAtomically(mask, line.maskOutput, &error)) return Report(kFailed, error);
  return 0;
}

// Takes the handles that the call handed over: the result and ByRef
// arguments the function replaced.
void TakeHandedOver(const SurfaceMethod& method, const std::vector<Value>& before, const std::vector<Value>& after,
                    const Value& result, OwnedValues* owned) {
  owned->Add(result);
  for (size_t i = 0; i < after.size(); ++i) {
    bool replaced = i >= before.size() || after[i].handle != before[i].handle;
    if (method.callForm.parameters[i].byRef && replaced) owned->Add(after[i]);
  }
}

int WriteString(const CommandLine& line, const Value& result) {
  const std::string bytes = result.handle ? qvlhost::StringBytes(static_cast<REALstringStruct*>(result.handle)) : "";
  if (line.output.empty()) {
    std::cout << "result = " << qvltool::HexBytes(bytes) << "\n";
    return 0;
  }
  std::string error;
  if (!qvltool::WriteBytesAtomically(bytes, line.output, &error)) return Report(kFailed, error);
  return 0;
}

int HandBack(const CommandLine& line, const SurfaceMethod& method, const std::vector<Value>& arguments,
             const Value& result) {
  if (result.kind == TypeKind::Picture || (!line.output.empty() && WritesExtendedPicture(method))) {
    Value picture = result.kind == TypeKind::Picture ? result : arguments.front();
    if (!picture.handle) return Report(kFailed, method.Name() + " gave no picture (nil)");
    std::string error;
    if (!qvltool::WritePictureAtomically(static_cast<REALpictureStruct*>(picture.handle), line.output, &error)) {
      return Report(kFailed, error);
    }
  }
  if (result.kind == TypeKind::String) {
    if (int status = WriteString(line, result)) return status;
  } else if (result.kind != TypeKind::Nothing && result.kind != TypeKind::Picture) {
    std::cout << method.Name() << " = " << qvltool::FormatValue(result) << "\n";
  }
  for (size_t i = 0; i < arguments.size(); ++i) {
    const qvlhost::Parameter& parameter = method.callForm.parameters[i];
    if (parameter.byRef) std::cout << parameter.name << " = " << qvltool::FormatValue(arguments[i]) << "\n";
  }
  return 0;
}

// The pending exception as "CLASS: MESSAGE".
std::string ExceptionText() {
  REALobjectStruct* exception = qvlhost::PendingException();
  return qvlhost::ClassName(exception) + ": " + qvlhost::ExceptionMessage(exception);
}

// After everything the run made is given back, the host must hold nothing
// more than what it holds itself and, if the call raised, that exception.
int CheckBalance(int status) {
  const bool raised = qvlhost::PendingException() != nullptr;
  const std::string raisedText = raised ? ExceptionText() : "";
  std::string problems = qvlhost::BalanceProblems(raised);
  if (raised) qvlhost::ClearPendingException();
  if (!problems.empty()) {
    for (char& c : problems) c = c == '\n' ? ';' : c;
    problems.pop_back();
    return Report(kFailed, "the host is out of balance: " + problems);
  }
  return raised ? Report(kFailed, raisedText) : status;
}

int RunMethod(const CommandLine& line) {
  if (qvltool::CallsInstanceMethod(line)) return CheckBalance(qvltool::RunInstanceMethod(line));
  if (!line.lut.empty()) return Report(kBadInput, "--lut needs a method of a class, as PictureLut3DQVL.Run");
  qvltool::OverloadChoice choice = qvltool::ChooseOverload(line.method, line.arguments);
  if (choice.outcome != qvltool::OverloadChoice::Chosen) return Report(kBadInput, ChoiceProblem(line, choice));
  const SurfaceMethod& method = choice.method;
  std::string error;
  if (!CheckOutput(line, method, &error)) return Report(kBadInput, error);
  OwnedValues owned;
  std::vector<Value> arguments;
  if (method.IsInstanceMethod()) {
    arguments.push_back(Value::Handle(TypeKind::Object, qvlhost::NewObject(method.owner)));
    owned.Add(arguments.back());
  }
  if (!qvltool::MakeArguments(method, line, &arguments, &owned.values, &error)) return Report(kBadInput, error);
  if (!AttachMask(line, method, arguments, &error)) return Report(kBadInput, error);
  std::vector<Value> given = arguments;
  Value result;
  if (!qvlhost::CallMethod(method, arguments, &result, &error)) return Report(kFailed, error);
  TakeHandedOver(method, given, arguments, result, &owned);
  int status = kFailed;
  if (!qvlhost::PendingException()) {
    const bool maskWritten = line.maskOutput.empty() || WriteMask(line, arguments.front()) == 0;
    status = maskWritten ? HandBack(line, method, arguments, result) : kFailed;
  }
  owned.ReleaseAll();
  return CheckBalance(status);
}

// Everything a run does; a failed allocation passes out of it to main.
int Run(int argc, char** argv) {
  CommandLine line;
  std::string error;
  if (!qvltool::ParseCommandLine(std::vector<std::string>(argv + 1, argv + argc), &line, &error)) {
    return Report(kBadInput, error);
  }
  if (line.help) {
    std::cout << qvltool::UsageText();
    return 0;
  }
  // A plug-in named on the command line that cannot be loaded is bad input.
  if (!StartHost(line, &error)) return Report(line.pluginPath.empty() ? kFailed : kBadInput, error);
  if (line.list) {
    qvltool::PrintSurface(std::cout);
    return 0;
  }
  return RunMethod(line);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    return Report(kFailed, "out of memory");
  }
}
