// Methods of the plug-in's own classes: "qvl CLASS.METHOD [PROP=VALUE ...]
// [ARGS...] [-o OUT]" makes a new instance, sets its properties through the
// host, calls the method on it, prints the result, writes the instance's
// DestinationPicture and ends the instance.
#pragma once

#include "command_line.h"

namespace qvltool {

// Whether the method the command line names is an instance method of a
// registered class.
bool CallsInstanceMethod(const CommandLine& line);

// Runs it; the exit status. Everything the run made is given back before it
// returns, the instance last, and an exception the call raised stays pending
// for the caller's balance check.
int RunInstanceMethod(const CommandLine& line);

}  // namespace qvltool
