// The embedded host the fuzz targets load the plug-in into, as Xojo loads it
// (once a process, then calls it many times), and the balance check that
// ends the run when an input leaves a lock, a reference or an exception
// behind.
#pragma once

#include <string>

#include "qvlhost.h"
#include "surface.h"

namespace fuzzhost {

// A fresh host of this storage for one input: its object table holds only
// what the input makes (the host keeps a record of every object it ever
// made, so one host for millions of inputs would grow without end), and its
// pictures stay small, so that every input runs quickly. The plug-in is
// loaded into the first host through REALPluginMain and stays loaded; at
// each new host it forgets what it settled on in the last one and frees the
// modules it generated for it.
void FreshHost(const qvlhost::Storage& storage);

// Calls the global method of this name, registered by the plug-in, with one
// argument; the result's reference belongs to the caller. Aborts when the
// host can't make the call.
qvlhost::Value CallGlobal(const std::string& name, const qvlhost::Value& argument);

// Aborts, saying why, when the input has left anything unbalanced.
void RequireBalance();

// Aborts with this message: libFuzzer reports the input as a crash.
[[noreturn]] void Fail(const std::string& message);

}  // namespace fuzzhost
