// The registrar: checks a definition record, fits its flags to the running
// host, stamps the SDK version into it and hands it to the host. From 2013.0
// up to 3000.0 the class extension and the global methods reach the host as
// generated modules whose declarations gain an "extends" parameter.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"

void MyREALRegisterClass(REALclassDefinition* definition);
void MyREALRegisterModule(REALmoduleDefinition* definition);

// Folds the further target bits on hosts before 2020.02 and turns the
// console-safe mark into consoleTarget (or just drops it before 2010.029).
// The owner name of the array forms is not used.
void FixFlags(REALclassDefinition* definition);
void FixFlags(REALmethodDefinition* methods, int64_t count, const char* owner = nullptr);
void FixFlags(REALproperty* properties, int64_t count, const char* owner = nullptr);

// Console-safe members of a console-unsafe class, and standard-accessor
// offsets that reach past the instance data.
void CheckTargetFlags(REALclassDefinition* definition);

// True on hosts that take the extension and the global methods as modules.
bool UsesGeneratedModules();

// The extension of a host class: its checks, its flags, then either the
// host's class-extension entry or the module "<class><plug-in>ExtensionQVL".
void MyREALRegisterClassExtension(REALclassDefinition* definition);

// The global methods: their flags, then one by one or as the module
// "<plug-in>GlobalsQVL". A table without rows registers nothing.
void MyREALRegisterGlobalMethods(REALmethodDefinition* methods, int64_t count);

// Frees every module generated so far, for a process that goes on with a new
// host after the one that was given them is gone (the fuzz targets do). Xojo
// keeps its host for the whole process, and the plug-in never calls this.
void ForgetGeneratedModules();

// The rewrites of the generated extension module. Each result is a zeroed
// 1000-byte buffer from calloc that the caller owns; null when memory runs
// out or, for the assigns form, when the declaration has neither a closing
// parenthesis nor a blank.
char* AddExtendsParameter(const char* declaration, const char* className);
char* AddAssignsParameter(const char* declaration);
