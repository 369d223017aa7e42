#include "filters/vector_level.h"

#include <algorithm>
#include <atomic>

namespace {

std::atomic<VectorLevel> gCap{VectorLevel::Avx512};

// Avx512 stands for the F, DQ, BW and VL extensions together, which the
// widest rows use.
VectorLevel ProcessorLevel() {
#if defined(QVL_X86_VECTOR_ROWS)
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512vl"))
    return VectorLevel::Avx512;
  if (__builtin_cpu_supports("avx2")) return VectorLevel::Avx2;
#endif
  return VectorLevel::Portable;
}

}  // namespace

VectorLevel VectorLevelInUse() {
  static const VectorLevel processor = ProcessorLevel();
  return std::min(processor, gCap.load(std::memory_order_relaxed));
}

void CapVectorLevel(VectorLevel most) { gCap.store(most, std::memory_order_relaxed); }
