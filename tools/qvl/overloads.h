// Choosing the overload of a registered method that fits the command line's
// arguments, and turning those arguments into host values.
#pragma once

#include <string>
#include <vector>

#include "command_line.h"
#include "surface.h"

namespace qvltool {

// The parameters the user gives values for: the call form, less the instance
// of an instance method (the tool makes one).
std::vector<qvlhost::Parameter> UserParameters(const qvlhost::SurfaceMethod& method);

// The declaration as the host received it; the setter of an assignable
// class-extension method is marked as such.
std::string DisplayDeclaration(const qvlhost::SurfaceMethod& method);

struct OverloadChoice {
  enum Outcome { Chosen, UnknownMethod, WrongCount, NoFit };
  Outcome outcome = UnknownMethod;
  qvlhost::SurfaceMethod method;                   // when Chosen
  std::vector<qvlhost::SurfaceMethod> candidates;  // every method of that name
};

// Among the methods of that name, the one whose parameters take the arguments:
// the count must lie between the parameters without default and all of them,
// and each text must read as its parameter's kind. A call that needs no
// default wins over one that does, then the more specific kinds (integer over
// double, a literal over a file name), then the order of registration.
OverloadChoice ChooseOverload(const std::string& name, const std::vector<std::string>& arguments);

// One host value for a parameter (or a property given as one) from its
// text, read as MakeArguments reads arguments; a handle made belongs to the
// caller. False, with *error set, when the text does not stand for the
// parameter's kind or its file can't be read.
bool ValueFor(const std::string& text, const qvlhost::Parameter& parameter, const CommandLine& line,
              qvlhost::Value* value, std::string* error);

// Host values for the arguments of the chosen method. Pictures are read from
// image files in the storage and kind the command line asks for, memory
// blocks from files of bytes (a WAV file's data chunk), strings are UTF-8
// text or, written @PATH, a file's bytes of unknown encoding. Every handle
// made here is also put in *owned for the caller to give back. False, with
// *error set, when a file is missing or cannot be read or a WAV file's header
// does not fit it.
bool MakeArguments(const qvlhost::SurfaceMethod& method, const CommandLine& line, std::vector<qvlhost::Value>* values,
                   std::vector<qvlhost::Value>* owned, std::string* error);

}  // namespace qvltool
