// The bitmap context handed out for Core Graphics storage where Core Graphics
// does not exist: the host fills it, the plug-in's platform layer reads it.
#pragma once

#include <cstddef>
#include <cstdint>

// Core Graphics alpha-info values.
enum : uint32_t {
  kQVLAlphaNone = 0,
  kQVLAlphaPremultipliedLast = 1,
  kQVLAlphaPremultipliedFirst = 2,
  kQVLAlphaLast = 3,
  kQVLAlphaFirst = 4,
  kQVLAlphaNoneSkipLast = 5,
  kQVLAlphaNoneSkipFirst = 6,
  kQVLAlphaOnly = 7,
};

struct QVLBitmapContext {
  void* data;
  size_t width;
  size_t height;
  size_t bitsPerComponent;
  size_t bitsPerPixel;
  size_t bytesPerRow;
  uint32_t alphaInfo;   // alpha info in the low bits, as CGBitmapContextGetAlphaInfo
  uint32_t bitmapInfo;  // alpha info plus byte-order flags, as CGBitmapContextGetBitmapInfo
};
