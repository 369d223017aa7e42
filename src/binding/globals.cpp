#include "binding/globals.h"

QVLResolver gResolver = nullptr;
double rbversion_rbversion = 0.0;
int32_t CurrentREALControlVersion = 15;
const char* gpartname = nullptr;
const char* gpluginname = nullptr;
bool gplugin = false;
bool DebuggingEnabled = false;
REALmoduleDefinition* NewModule = nullptr;
