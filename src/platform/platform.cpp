#include "platform/platform.h"

#include <cstring>

#ifdef __APPLE__
#include <CoreFoundation/CoreFoundation.h>
#include <CoreGraphics/CoreGraphics.h>
#include <mach/mach_time.h>
extern "C" void NSLog(CFStringRef format, ...);
#else
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

#include "qvl/bitmap_context.h"
#endif

namespace platform {

#ifdef __APPLE__

void WriteLogLine(const char* line) { NSLog(CFSTR("%s\n"), line); }

uint64_t ClockNow() { return mach_absolute_time(); }

void ClockTimebase(uint32_t* numerator, uint32_t* denominator) {
  mach_timebase_info_data_t info;
  mach_timebase_info(&info);
  *numerator = info.numer;
  *denominator = info.denom;
}

BitmapContextInfo ReadBitmapContext(void* handle) {
  CGContextRef context = static_cast<CGContextRef>(handle);
  return {CGBitmapContextGetData(context),
          CGBitmapContextGetWidth(context),
          CGBitmapContextGetHeight(context),
          CGBitmapContextGetBitsPerComponent(context),
          CGBitmapContextGetBitsPerPixel(context),
          CGBitmapContextGetBytesPerRow(context),
          uint32_t(CGBitmapContextGetAlphaInfo(context)),
          uint32_t(CGBitmapContextGetBitmapInfo(context))};
}

void ReleaseCFObject(const void* object) { CFRelease(static_cast<CFTypeRef>(object)); }

#else

// One write of the line and its newline, so that lines from threads do not
// interleave, and no allocation: the log still works when memory is short.
void WriteLogLine(const char* line) {
  iovec parts[2] = {{const_cast<char*>(line), strlen(line)}, {const_cast<char*>("\n"), 1}};
  ssize_t ignored = writev(STDERR_FILENO, parts, 2);
  (void)ignored;
}

uint64_t ClockNow() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return uint64_t(now.tv_sec) * 1000000000u + uint64_t(now.tv_nsec);
}

void ClockTimebase(uint32_t* numerator, uint32_t* denominator) {
  *numerator = 1;
  *denominator = 1;
}

BitmapContextInfo ReadBitmapContext(void* handle) {
  const QVLBitmapContext* context = static_cast<const QVLBitmapContext*>(handle);
  return {context->data,         context->width,       context->height,    context->bitsPerComponent,
          context->bitsPerPixel, context->bytesPerRow, context->alphaInfo, context->bitmapInfo};
}

void ReleaseCFObject(const void*) {}

#endif

}  // namespace platform
