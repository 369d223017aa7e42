// Process-wide state set by start-up and read afterwards.
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
