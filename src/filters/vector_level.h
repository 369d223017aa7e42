// The widest vector instructions the filters' rows use: the best the
// processor has, at most a cap. Every level gives the same bytes; the cap
// lets tests run the narrower rows, down to the portable ones, on a
// processor that has more.
#pragma once

#if defined(__x86_64__) && defined(__GNUC__)
#define QVL_X86_VECTOR_ROWS 1
#endif

enum class VectorLevel { Portable, Avx2, Avx512 };

// The level a filter call runs at; asked once per call.
VectorLevel VectorLevelInUse();

// Rows above this level are not used; Avx512, the widest, lifts the cap.
void CapVectorLevel(VectorLevel most);
