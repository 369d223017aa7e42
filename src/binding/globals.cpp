#include "binding/globals.h"

QVLResolver gResolver = nullptr;
double rbversion_rbversion = 0.0;
int32_t CurrentREALControlVersion = 15;
const char* gpartname = nullptr;
const char* gpluginname = nullptr;
bool gplugin = false;
bool DebuggingEnabled = false;
REALmoduleDefinition* NewModule = nullptr;
bool IsConsole = false;
bool IsDesktop = false;
bool CheckedApplication = false;

void RestoreLoadState() {
  gResolver = nullptr;
  rbversion_rbversion = 0.0;
  CurrentREALControlVersion = 15;
  gpartname = nullptr;
  gpluginname = nullptr;
  gplugin = false;
  DebuggingEnabled = false;
  NewModule = nullptr;
  IsConsole = false;
  IsDesktop = false;
  CheckedApplication = false;
}
