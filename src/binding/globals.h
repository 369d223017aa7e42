// Process-wide state: set by start-up and by the first picture acquisition,
// read afterwards. Every variable of the plug-in that outlives a call is
// here, so that start-up can put them all back to their values at load.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"
#include "qvl/handles.h"

extern QVLResolver gResolver;
extern double rbversion_rbversion;
extern int32_t CurrentREALControlVersion;
extern const char* gpartname;
extern const char* gpluginname;
extern bool gplugin;
extern bool DebuggingEnabled;
extern REALmoduleDefinition* NewModule;

// Learnt while acquiring pictures: which application class the host runs
// and which storage form its pictures take.
extern bool IsConsole;
extern bool IsDesktop;
extern bool CheckedApplication;

// Puts every variable above back to its value at load.
void RestoreLoadState();
