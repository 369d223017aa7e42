// The widest vector rows the filters use: the best level the processor has,
// at most a cap. Every level gives the same bytes; the cap lets tests and
// benchmarks run the narrower rows, down to the portable ones, on a
// processor that has more. The environment variable QVL_VECTOR_LEVEL, read
// once where the processor's level is found, caps it for a whole process.
#pragma once

#include <optional>
#include <string_view>

// Ordered from narrowest to widest. The x86 levels rank above NEON, so a cap
// that names one of them leaves an ARM64 processor at NEON.
enum class VectorLevel { Portable, Neon, Sse4, Avx2, Avx512 };

// The levels this build has rows for, widest first.
#if defined(__x86_64__)
inline constexpr VectorLevel kVectorLevels[] = {VectorLevel::Avx512, VectorLevel::Avx2, VectorLevel::Sse4,
                                                VectorLevel::Portable};
#elif defined(__aarch64__)
inline constexpr VectorLevel kVectorLevels[] = {VectorLevel::Neon, VectorLevel::Portable};
#else
inline constexpr VectorLevel kVectorLevels[] = {VectorLevel::Portable};
#endif

// The level a filter call runs at; asked once per call.
VectorLevel VectorLevelInUse();

// Rows above this level are not used; Avx512, the widest, lifts the cap.
void CapVectorLevel(VectorLevel most);

// Levels by their names: portable, neon, sse4, avx2, avx512.
std::optional<VectorLevel> VectorLevelNamed(std::string_view name);
const char* NameOf(VectorLevel level);
