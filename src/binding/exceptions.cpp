#include "binding/exceptions.h"

#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "binding/diagnostics.h"
#include "binding/host_strings.h"
#include "binding/wrappers.h"

namespace {

struct ExceptionKind {
  const char* leadingText;
  const char* hostClass;
};

// The first row of the table that fits the exception's dynamic type.
ExceptionKind KindOf(const std::exception& exception) {
  if (dynamic_cast<const std::bad_alloc*>(&exception)) return {"Failed to allocate memory", "OutOfMemoryException"};
  if (dynamic_cast<const std::range_error*>(&exception)) return {"C++ reports range error", "OutOfBoundsException"};
  if (dynamic_cast<const std::out_of_range*>(&exception)) return {"C++ reports range error", "OutOfBoundsException"};
  if (dynamic_cast<const std::overflow_error*>(&exception)) {
    return {"C++ reports overflow error", "OutOfBoundsException"};
  }
  if (dynamic_cast<const std::underflow_error*>(&exception)) {
    return {"C++ reports underflow error", "OutOfBoundsException"};
  }
  return {"C++ Exception", "RuntimeException"};
}

}  // namespace

void RaiseException(const char* className, const char* message, uint32_t encoding, int64_t errorNumber) {
  REALstringStruct* text = nullptr;
  if (message) text = REALBuildUnicodeString(message, int64_t(std::strlen(message)), encoding);
  REALobjectStruct* exception = REALnewInstance(className);
  if (!exception) exception = REALnewInstance("RuntimeException");
  if (exception) {
    REALSetPropValueString(exception, "Message", text);
    REALSetPropValueInteger(exception, "ErrorNumber", errorNumber);
    REALRaiseException(exception);
    REALUnlockObject(exception);
  }
  if (text) REALUnlockString(text);
}

void RaiseRuntimeException(const std::exception& exception) {
  const char* what = exception.what();
  if (!what) what = "";
  size_t length = std::strlen(what);
  ExceptionKind kind = KindOf(exception);
  std::string message = kind.leadingText;
  if (length > 0) {
    message += ": ";
    message.append(what, length);
  } else {
    message += ".";
  }
  RaiseException(kind.hostClass, message.c_str());
}

void RaiseUnnamedException() {
  TraceWord("Unnamed C++ Exception.");
  RaiseException("RuntimeException", "Sorry, but there was an unnamed C++ Exception.");
}
