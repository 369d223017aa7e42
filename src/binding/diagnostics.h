// The plug-in's log and its trace switch. Check lines are written always;
// trace lines only while DebuggingEnabled is set, tested by the trace helper.
#pragma once

#include <cstdint>

#include "binding/globals.h"

#define QVL_DEBUG_PREFIX "QVL Debug: "

// Formats at most 4095 characters, printf style, and writes them as one line.
void LogMessageX(const char* format, ...) __attribute__((format(printf, 1, 2)));

int8_t getDebugging();
void setDebugging(int8_t enabled);

extern "C" int64_t TickCount();

// Trace helpers, one per format of the family "%s%s ..." with the prefix
// "QVL Debug: " and a label. Each first tests DebuggingEnabled.
void TraceWord(const char* label);
void TraceText(const char* label, const char* text);
void TraceTexts(const char* label, const char* first, const char* second);
void TraceInt32(const char* label, int32_t value);
void TraceUInt32(const char* label, uint32_t value);
void TraceUInt64(const char* label, uint64_t value);
void TraceInt64(const char* label, int64_t value);
void TraceInt64(const char* label, int64_t first, int64_t second);
void TraceInt64(const char* label, int64_t first, int64_t second, int64_t third);
void TraceInt64(const char* label, int64_t first, int64_t second, int64_t third, int64_t fourth);
void TraceDouble(const char* label, double value);
void TracePointer(const char* label, const void* pointer);
void TracePointers(const char* label, const void* first, const void* second);
