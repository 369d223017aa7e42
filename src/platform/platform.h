// The few services the plug-in takes from the operating system: a log sink,
// a monotonic clock and read access to a bitmap context.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

// Writes one line, followed by a newline, to the platform's log.
void WriteLogLine(const char* line);

// The monotonic clock in its own units, and the factor numerator/denominator
// that turns those units into nanoseconds.
uint64_t ClockNow();
void ClockTimebase(uint32_t* numerator, uint32_t* denominator);

struct BitmapContextInfo {
  void* data;
  size_t width;
  size_t height;
  size_t bitsPerComponent;
  size_t bitsPerPixel;
  size_t bytesPerRow;
  uint32_t alphaInfo;
  uint32_t bitmapInfo;
};

// Reads what the host's bitmap context says of its pixels.
BitmapContextInfo ReadBitmapContext(void* context);

// Gives back one Core Foundation reference. Without Core Foundation there is
// no such object, and nothing to give back.
void ReleaseCFObject(const void* object);

}  // namespace platform

// Releases one Core Foundation object at the end of the scope.
class fmCFReleaseLater {
 public:
  explicit fmCFReleaseLater(const void* cfObject) : object(cfObject) {}
  ~fmCFReleaseLater() {
    if (object) {
      platform::ReleaseCFObject(object);
      object = nullptr;
    }
  }
  fmCFReleaseLater(const fmCFReleaseLater&) = delete;
  fmCFReleaseLater& operator=(const fmCFReleaseLater&) = delete;

  const void* object;
};
