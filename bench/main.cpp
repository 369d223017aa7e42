// qvl_bench: the plug-in's picture operations on 4096 x 4096 pictures in the
// cg2 and gd layouts, against the floor and OpenCV measured in the same run.
#include <benchmark/benchmark.h>

#include <climits>
#include <cstdlib>
#include <iostream>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "harness.h"
#include "ratio_table.h"

int main(int argc, char** argv) {
  // Every block, pictures included, comes from the C library's heap and
  // freed memory stays there, so each call reuses memory that earlier calls
  // touched. Without this, whether a block came fresh from the kernel (and
  // had its pages cleared on first touch) would depend on its size and on
  // the order of the calls, and would swamp the pixel work in the ratios.
#if defined(__GLIBC__)
  mallopt(M_MMAP_MAX, 0);
  mallopt(M_TRIM_THRESHOLD, INT_MAX);
#endif
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  AddFloors();
  AddPluginOperations();
  AddOpenCvReferences();
  RegisterBenchmarks();
  MedianCollector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  PrintRatioTable(collector, std::cout);
  benchmark::Shutdown();
  return 0;
}
