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
  // Heap memory that is freed stays with the process, as it does in a program
  // that has run for a while, so the row blocks of gd pictures are reused
  // from one call to the next instead of coming back from the kernel at
  // random. Pictures of one block are larger than the allocator's mapping
  // limit and come fresh from the kernel every time, for the floor, the
  // operations and OpenCV alike.
#if defined(__GLIBC__)
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
