// What every family's vector rows share. A family's source is compiled once
// per target through hwy/foreach_target.h: it includes this header first,
// defines its rows in namespace HWY_NAMESPACE (inside an anonymous one), and
// picks them with QVL_VECTOR_ROW where HWY_ONCE holds. The dispatch is ours,
// by VectorLevelInUse(), so that the shipped library needs nothing of
// Highway at run time.
#pragma once

// Targets no level uses are not compiled: SSSE3 lies between SSE4 and the
// portable rows, and the scalable ARM vectors are not a level.
#ifndef HWY_DISABLED_TARGETS
#define HWY_DISABLED_TARGETS (HWY_SSSE3 | HWY_AVX3_DL | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#endif
// The SSE4 and AVX2 levels do not ask the processor for the carry-less
// multiply and AES instructions, so their rows must not use them.
#ifndef HWY_DISABLE_PCLMUL_AES
#define HWY_DISABLE_PCLMUL_AES
#endif

// Highway is used header-only: its debug checks report through hwy::Abort,
// which lives in the library, so they stay off in every build. The rows
// keep the conditions they check (lane indices below the lane count).
#ifndef HWY_IS_DEBUG_BUILD
#define HWY_IS_DEBUG_BUILD 0
#endif

#include "filters/filter_frame.h"
#include "filters/vector_level.h"
#include "hwy/detect_targets.h"

// The instance of a row template (given with its arguments, e.g.
// ToneRow<S, D>) compiled for a level, or nullptr. Only valid where HWY_ONCE
// holds, after the rows.
#define QVL_VECTOR_ROW(level, ...)                                                                       \
  (QVL_ROW_AVX3_(level, __VA_ARGS__) QVL_ROW_AVX2_(level, __VA_ARGS__) QVL_ROW_SSE4_(level, __VA_ARGS__) \
       QVL_ROW_NEON_(level, __VA_ARGS__) nullptr)

#if HWY_TARGETS & HWY_AVX3
#define QVL_ROW_AVX3_(level, ...) (level) == VectorLevel::Avx512 ? &N_AVX3::__VA_ARGS__:
#else
#define QVL_ROW_AVX3_(level, ...)
#endif
#if HWY_TARGETS & HWY_AVX2
#define QVL_ROW_AVX2_(level, ...) (level) == VectorLevel::Avx2 ? &N_AVX2::__VA_ARGS__:
#else
#define QVL_ROW_AVX2_(level, ...)
#endif
#if HWY_TARGETS & HWY_SSE4
#define QVL_ROW_SSE4_(level, ...) (level) == VectorLevel::Sse4 ? &N_SSE4::__VA_ARGS__:
#else
#define QVL_ROW_SSE4_(level, ...)
#endif
#if HWY_TARGETS & HWY_NEON
#define QVL_ROW_NEON_(level, ...) (level) == VectorLevel::Neon ? &N_NEON::__VA_ARGS__:
#else
#define QVL_ROW_NEON_(level, ...)
#endif
