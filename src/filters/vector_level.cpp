#include "filters/vector_level.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#if defined(__x86_64__)
#include <cpuid.h>
#endif

namespace {

std::atomic<VectorLevel> gCap{VectorLevel::Avx512};

struct NamedLevel {
  const char* name;
  VectorLevel level;
};

constexpr NamedLevel kNames[] = {{"portable", VectorLevel::Portable},
                                 {"neon", VectorLevel::Neon},
                                 {"sse4", VectorLevel::Sse4},
                                 {"avx2", VectorLevel::Avx2},
                                 {"avx512", VectorLevel::Avx512}};

#if defined(__x86_64__)
// F16C, which not every compiler's __builtin_cpu_supports knows: CPUID leaf
// 1, bit 29 of ECX.
bool HasF16c() {
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
  return __get_cpuid(1, &eax, &ebx, &ecx, &edx) && (ecx & bit_F16C) != 0;
}
#endif

// Each level stands for every extension its rows are compiled with.
VectorLevel DetectedLevel() {
#if defined(__x86_64__)
  __builtin_cpu_init();
  const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
                      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw");
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2") &&
                    __builtin_cpu_supports("fma") && HasF16c();
  const bool sse4 =
      __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("sse4.2");
  if (avx512 && avx2) return VectorLevel::Avx512;
  if (avx2) return VectorLevel::Avx2;
  if (sse4) return VectorLevel::Sse4;
  return VectorLevel::Portable;
#elif defined(__aarch64__)
  return VectorLevel::Neon;
#else
  return VectorLevel::Portable;
#endif
}

// The processor's level under the process-wide cap of the environment; a
// name that is not a level leaves it uncapped.
VectorLevel ProcessorLevel() {
  const VectorLevel detected = DetectedLevel();
  const char* capName = std::getenv("QVL_VECTOR_LEVEL");
  const std::optional<VectorLevel> cap = capName ? VectorLevelNamed(capName) : std::nullopt;
  return cap ? std::min(detected, *cap) : detected;
}

}  // namespace

VectorLevel VectorLevelInUse() {
  static const VectorLevel processor = ProcessorLevel();
  return std::min(processor, gCap.load(std::memory_order_relaxed));
}

void CapVectorLevel(VectorLevel most) { gCap.store(most, std::memory_order_relaxed); }

std::optional<VectorLevel> VectorLevelNamed(std::string_view name) {
  for (const NamedLevel& named : kNames) {
    if (name == named.name) return named.level;
  }
  return std::nullopt;
}

const char* NameOf(VectorLevel level) {
  for (const NamedLevel& named : kNames) {
    if (named.level == level) return named.name;
  }
  return "unknown";
}
