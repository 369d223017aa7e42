// Load-time checks of the definition records. Every finding is written to the
// log, owner and item named, whether tracing is on or not; nothing is
// corrected and nothing is stopped.
#pragma once

#include <cstdint>

#include "qvl/definitions.h"

// A pointer and its count agree when both are empty, or when the count lies
// in 1..limit and the pointer is set.
bool CountAgrees(const void* pointer, uint64_t count, uint64_t limit = 1000);

// The attribute walk that follows the count rule on an item's attributes.
void CheckAttributes(const char* owner, const char* item, const REALattribute* attributes, uint64_t count);

void CheckConstants(const char* owner, const REALconstant* constants, uint64_t count);
void CheckMethods(const char* owner, const REALmethodDefinition* methods, uint64_t count);
void CheckDelegates(const char* owner, const REALdelegate* delegates, uint64_t count);
void CheckEvents(const char* owner, const REALevent* events, uint64_t count);
void CheckProperties(const char* owner, const REALproperty* properties, uint64_t count);

// The record's own fields; the item checks are run by the registrar.
void CheckClassRecord(const REALclassDefinition* definition);
void CheckModuleRecord(const REALmoduleDefinition* definition);

// The whole check of a class extension: its record, its items, then the
// extension's warnings.
void CheckClassExtension(const REALclassDefinition* definition);

// One global method registered on its own.
void CheckGlobalMethod(const REALmethodDefinition* method);
