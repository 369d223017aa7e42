// Options of the qvl tool.
#include "command_line.h"

#include <cerrno>
#include <cstdlib>

#include "declaration.h"

namespace qvltool {

namespace {

bool Fail(std::string* error, const std::string& message) {
  *error = message;
  return false;
}

bool LooksLikeNumber(const std::string& word) {
  qvlhost::Literal literal;
  return qvlhost::ParseLiteral(word, &literal) && literal.kind == qvlhost::Literal::Number;
}

bool ParseVersion(const std::string& text, double* version) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  *version = std::strtod(text.c_str(), &end);
  return errno == 0 && *end == '\0' && *version >= 0;
}

// One of the seven layouts a picture operation meets, by name.
bool ParseStorage(const std::string& name, qvlhost::Storage* storage) {
  for (const qvlhost::Storage& layout : qvlhost::Storage::SevenLayouts()) {
    if (layout.Name() != name) continue;
    *storage = layout;
    return true;
  }
  return false;
}

// Splits "--name=value" into its parts; "value" stays empty without "=".
void SplitOption(const std::string& word, std::string* name, std::string* value, bool* inlineValue) {
  size_t equals = word.find('=');
  *inlineValue = word.rfind("--", 0) == 0 && equals != std::string::npos;
  *name = *inlineValue ? word.substr(0, equals) : word;
  *value = *inlineValue ? word.substr(equals + 1) : "";
}

bool ApplyValueOption(const std::string& name, const std::string& value, CommandLine* line, std::string* error) {
  if (name == "-o" || name == "--output") {
    if (value.empty()) return Fail(error, "the output path is empty");
    line->output = value;
  } else if (name == "--mask" || name == "--mask-out") {
    if (value.empty()) return Fail(error, "the path of " + name + " is empty");
    (name == "--mask" ? line->mask : line->maskOutput) = value;
  } else if (name == "--storage") {
    if (!ParseStorage(value, &line->storage))
      return Fail(error, "unknown storage \"" + value + "\" (cg1 .. cg6 or gd)");
    line->storageGiven = true;
  } else if (name == "--host-version") {
    if (!ParseVersion(value, &line->hostVersion)) return Fail(error, "bad host version \"" + value + "\"");
    line->versionGiven = true;
  } else {
    line->pluginPath = value;
  }
  return true;
}

bool TakesValue(const std::string& name) {
  return name == "-o" || name == "--output" || name == "--storage" || name == "--host-version" || name == "--plugin" ||
         name == "--mask" || name == "--mask-out";
}

void AddPositional(const std::string& word, CommandLine* line) {
  if (line->method.empty() && !line->list) {
    if (word == "list") {
      line->list = true;
    } else {
      line->method = word;
    }
    return;
  }
  line->arguments.push_back(word);
}

}  // namespace

bool ParseCommandLine(const std::vector<std::string>& words, CommandLine* line, std::string* error) {
  bool optionsEnded = false;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (optionsEnded || word.size() < 2 || word[0] != '-' || LooksLikeNumber(word)) {
      AddPositional(word, line);
      continue;
    }
    std::string name, value;
    bool inlineValue = false;
    SplitOption(word, &name, &value, &inlineValue);
    if (name == "--") {
      optionsEnded = true;
    } else if (name == "--debug" && !inlineValue) {
      line->debug = true;
    } else if ((name == "--help" || name == "-h") && !inlineValue) {
      line->help = true;
    } else if (!TakesValue(name)) {
      return Fail(error, "unknown option " + word);
    } else {
      if (!inlineValue) {
        if (i + 1 >= words.size()) return Fail(error, "option " + name + " needs a value");
        value = words[++i];
      }
      if (!ApplyValueOption(name, value, line, error)) return false;
    }
  }
  if (!line->help && !line->list && line->method.empty()) return Fail(error, "no method given (qvl --help)");
  if (line->list && !line->arguments.empty()) return Fail(error, "list takes no arguments");
  return true;
}

const char* UsageText() {
  return "usage: qvl [options] METHOD ARGS... [-o OUT]\n"
         "       qvl [options] list\n"
         "\n"
         "Loads the plug-in into the embedded host and calls the registered method METHOD\n"
         "(\"Owner.METHOD\" picks one owner). The overload is chosen by the number and kinds\n"
         "of the arguments. For a method that extends Picture the first argument is the\n"
         "picture file it is called on. Picture arguments are image files (PNG, JPEG, GIF),\n"
         "memory blocks are files of bytes, numbers may be negative, colours are &cRRGGBB,\n"
         "booleans true or false, nil stands for no object.\n"
         "A result picture is written to OUT (a picture changed in place too); any other\n"
         "result and every ByRef argument is printed as name = value.\n"
         "\n"
         "options:\n"
         "  -o OUT              where the result picture goes (written atomically)\n"
         "  --mask FILE         the mask of the picture the method is called on\n"
         "  --mask-out FILE     where that picture's mask is written after the call\n"
         "  --storage S         storage of every picture the host makes: cg1 .. cg6 (a desktop\n"
         "                      application) or gd (a console application)\n"
         "  --host-version V    the Xojo version the host reports, such as 2012.0\n"
         "  --debug             trace lines of the plug-in on standard error\n"
         "  --plugin PATH       load this build of the plug-in\n"
         "  -h, --help          this text\n"
         "\n"
         "Bad input gives one line on standard error and exit status 2.\n";
}

}  // namespace qvltool
