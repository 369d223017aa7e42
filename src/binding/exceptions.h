// Exceptions into the host: an instance of a host exception class, left
// pending. Raising does not unwind; the caller returns its failure value.
#pragma once

#include <cstdint>
#include <exception>

#include "qvl/encodings.h"
#include "qvl/handles.h"

// Makes an instance of `className` (or of "RuntimeException" when the host
// lacks that class) with the message and raises it. A null message leaves
// Message a nil string.
void RaiseException(const char* className, const char* message, uint32_t encoding = kREALTextEncodingUTF8,
                    int64_t errorNumber = 0);

// Raises the host exception that stands for a standard exception, by its type.
void RaiseRuntimeException(const std::exception& exception);

// Traces "Unnamed C++ Exception." and raises a "RuntimeException" that says so,
// for a caught exception that is not a standard one.
void RaiseUnnamedException();

// Runs `build` and turns any C++ exception that leaves it into a pending
// host exception; the result is then null.
template <class Build>
REALstringStruct* CatchIntoHostException(Build build) noexcept {
  try {
    return build();
  } catch (const std::exception& exception) {
    RaiseRuntimeException(exception);
  } catch (...) {
    RaiseUnnamedException();
  }
  return nullptr;
}
