// Options of the qvl tool.
#include "command_line.h"

#include <cerrno>
#include <cstdlib>
#include <vector>

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

bool ParsePictureKind(const std::string& name, PictureKind* kind) {
  if (name == "hidpi") return *kind = PictureKind::HiDPI, true;
  if (name == "vector") return *kind = PictureKind::Vector, true;
  return false;
}

bool ParseVersion(const std::string& text, double* version) {
  if (text.empty()) return false;
  char* end = nullptr;
  errno = 0;
  *version = std::strtod(text.c_str(), &end);
  return errno == 0 && *end == '\0' && *version >= 0;
}

// One of the seven layouts a picture operation meets, or alpha info 0, by name.
bool ParseStorage(const std::string& name, qvlhost::Storage* storage) {
  std::vector<qvlhost::Storage> layouts = qvlhost::Storage::SevenLayouts();
  layouts.push_back(qvlhost::Storage::CG(0));
  for (const qvlhost::Storage& layout : layouts) {
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
  } else if (name == "--lut") {
    if (value.empty()) return Fail(error, "the path of --lut is empty");
    line->lut = value;
  } else if (name == "--storage") {
    if (!ParseStorage(value, &line->storage))
      return Fail(error, "unknown storage \"" + value + "\" (cg0 .. cg6 or gd)");
    line->storageGiven = true;
  } else if (name == "--picture-kind") {
    if (!ParsePictureKind(value, &line->pictureKind))
      return Fail(error, "unknown picture kind \"" + value + "\" (hidpi or vector)");
  } else if (name == "--host-version") {
    if (!ParseVersion(value, &line->hostVersion)) return Fail(error, "bad host version \"" + value + "\"");
    line->versionGiven = true;
  } else {
    line->pluginPath = value;
  }
  return true;
}

bool TakesValue(const std::string& name) {
  return name == "-o" || name == "--output" || name == "--storage" || name == "--picture-kind" ||
         name == "--host-version" || name == "--plugin" || name == "--mask" || name == "--mask-out" || name == "--lut";
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
         "memory blocks are files of bytes (of a WAV file, the bytes of its data chunk),\n"
         "numbers may be negative, colours are &cRRGGBB, booleans true or false, nil stands\n"
         "for no object. A string is the text as UTF-8, or, written @PATH, the bytes of that\n"
         "file as a string of unknown encoding. A FolderItem is a path; a path that exists\n"
         "prefers a FolderItem overload.\n"
         "The assigning form of a method (listed with [setter], or with an assigns\n"
         "parameter) takes the assigned value after the method's other arguments:\n"
         "qvl EmbeddedMaskQVL pic.png false mask.png -o out.png assigns mask.png with swap\n"
         "false and writes the changed picture to out.png.\n"
         "A result picture is written to OUT (a picture changed in place too), a result\n"
         "string to OUT as its bytes. Without -o a string prints as result = HEX, and every\n"
         "other result and ByRef argument as name = value, memory blocks as their bytes in\n"
         "hex. An exception the call leaves pending prints as CLASS: MESSAGE.\n"
         "\n"
         "options:\n"
         "  -o OUT              where the result goes (written atomically; a picture to a\n"
         "                      .png, .jpg, .jpeg or .gif file)\n"
         "  --mask FILE         the mask of the picture the method is called on\n"
         "  --mask-out FILE     where that picture's mask is written after the call\n"
         "  --lut FILE.cube     fills the Table of a PictureLut3DQVL instance from a 3-D LUT\n"
         "                      in the .cube format before the call\n"
         "  --storage S         storage of every picture the host makes: cg1 .. cg6 (a desktop\n"
         "                      application) or gd (a console application); cg0 stores the\n"
         "                      pictures read from files with alpha info 0, which the plug-in\n"
         "                      reads through a drawn duplicate\n"
         "  --picture-kind K    every picture read from a file becomes a HiDPI picture (hidpi)\n"
         "                      with bitmaps at scales 1 and 2, or a vector picture (vector)\n"
         "  --host-version V    the Xojo version the host reports, such as 2012.0\n"
         "  --debug             trace lines of the plug-in on standard error\n"
         "  --plugin PATH       load this build of the plug-in\n"
         "  -h, --help          this text\n"
         "\n"
         "Bad input gives one line on standard error and exit status 2; a failed call or an\n"
         "exception, one line and exit status 1.\n";
}

}  // namespace qvltool
