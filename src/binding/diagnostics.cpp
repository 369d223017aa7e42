#include "binding/diagnostics.h"

#include <cstdarg>
#include <cstdio>

#include "platform/platform.h"

void LogMessageX(const char* format, ...) {
  // Only what vsnprintf writes is read; the empty start covers a format
  // that fails.
  char line[4096];
  line[0] = '\0';
  va_list arguments;
  va_start(arguments, format);
  vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  platform::WriteLogLine(line);
}

int8_t getDebugging() { return DebuggingEnabled ? 1 : 0; }

void setDebugging(int8_t enabled) { DebuggingEnabled = enabled != 0; }

namespace {
bool gottimebase = false;
double clockTicksToNanosecons = 1.0;

struct TimeBase {
  uint32_t numerator;
  uint32_t denominator;
};

const TimeBase& GetTimeBase() {
  static TimeBase timebase;
  platform::ClockTimebase(&timebase.numerator, &timebase.denominator);
  return timebase;
}
}  // namespace

extern "C" int64_t TickCount() {
  double clock = double(platform::ClockNow());
  if (!gottimebase) {
    gottimebase = true;
    const TimeBase& timebase = GetTimeBase();
    clockTicksToNanosecons = double(timebase.numerator) / double(timebase.denominator);
  }
  return int64_t(clock * clockTicksToNanosecons / 1000000.0 / 16.666666666666668);
}

void TraceWord(const char* label) {
  if (DebuggingEnabled) LogMessageX("%s%s", QVL_DEBUG_PREFIX, label);
}

void TraceText(const char* label, const char* text) {
  if (DebuggingEnabled) LogMessageX("%s%s %s", QVL_DEBUG_PREFIX, label, text);
}

void TraceTexts(const char* label, const char* first, const char* second) {
  if (DebuggingEnabled) LogMessageX("%s%s %s, %s", QVL_DEBUG_PREFIX, label, first, second);
}

void TraceInt32(const char* label, int32_t value) {
  if (DebuggingEnabled) LogMessageX("%s%s %d", QVL_DEBUG_PREFIX, label, value);
}

void TraceUInt32(const char* label, uint32_t value) {
  if (DebuggingEnabled) LogMessageX("%s%s %u", QVL_DEBUG_PREFIX, label, value);
}

void TraceUInt64(const char* label, uint64_t value) {
  if (DebuggingEnabled) LogMessageX("%s%s %lu", QVL_DEBUG_PREFIX, label, (unsigned long)value);
}

void TraceInt64(const char* label, int64_t value) {
  if (DebuggingEnabled) LogMessageX("%s%s %lld", QVL_DEBUG_PREFIX, label, (long long)value);
}

void TraceInt64(const char* label, int64_t first, int64_t second) {
  if (DebuggingEnabled) LogMessageX("%s%s %lld, %lld", QVL_DEBUG_PREFIX, label, (long long)first, (long long)second);
}

void TraceInt64(const char* label, int64_t first, int64_t second, int64_t third) {
  if (DebuggingEnabled)
    LogMessageX("%s%s %lld, %lld, %lld", QVL_DEBUG_PREFIX, label, (long long)first, (long long)second,
                (long long)third);
}

void TraceInt64(const char* label, int64_t first, int64_t second, int64_t third, int64_t fourth) {
  if (DebuggingEnabled)
    LogMessageX("%s%s %lld, %lld, %lld, %lld", QVL_DEBUG_PREFIX, label, (long long)first, (long long)second,
                (long long)third, (long long)fourth);
}

void TraceDouble(const char* label, double value) {
  if (DebuggingEnabled) LogMessageX("%s%s %f", QVL_DEBUG_PREFIX, label, value);
}

void TracePointer(const char* label, const void* pointer) {
  if (DebuggingEnabled) LogMessageX("%s%s %p", QVL_DEBUG_PREFIX, label, pointer);
}

void TracePointers(const char* label, const void* first, const void* second) {
  if (DebuggingEnabled) LogMessageX("%s%s %p, %p", QVL_DEBUG_PREFIX, label, first, second);
}
