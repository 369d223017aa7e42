// The qvl command line: options, the method and its arguments.
#pragma once

#include <string>
#include <vector>

#include "qvlhost.h"

namespace qvltool {

// What a picture read from a file becomes: a plain mutable bitmap, a HiDPI
// picture with representations at scales 1 and 2, or a vector picture.
enum class PictureKind { Mutable, HiDPI, Vector };

struct CommandLine {
  bool help = false;
  bool list = false;  // "qvl list"
  std::string method;
  std::vector<std::string> arguments;
  std::string output;      // -o OUT; empty when not given
  std::string mask;        // --mask FILE: the mask of the picture the method is called on
  std::string maskOutput;  // --mask-out FILE: where that picture's mask goes after the call
  std::string lut;         // --lut FILE.cube: the Table of the instance, from a 3-D LUT
  bool debug = false;
  bool storageGiven = false;
  qvlhost::Storage storage;  // cg0 only for pictures read from files
  PictureKind pictureKind = PictureKind::Mutable;
  bool versionGiven = false;
  double hostVersion = 0;
  std::string pluginPath;  // --plugin PATH; empty for the built plug-in
};

// Reads the arguments after the program name. Options may stand anywhere;
// "--" ends them. A negative number such as -5 is an argument, not an option.
// False, with *error set, on an unknown option or a missing or bad value.
bool ParseCommandLine(const std::vector<std::string>& words, CommandLine* line, std::string* error);

const char* UsageText();

}  // namespace qvltool
