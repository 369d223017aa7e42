// qvl_bench: the plug-in's picture operations on 4096 x 4096 pictures in the
// cg2 and gd layouts, against the floor and OpenCV measured in the same run.
#include <benchmark/benchmark.h>

#include <iostream>

#include "harness.h"
#include "ratio_table.h"

int main(int argc, char** argv) {
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
