// qvl_bench: the plug-in's picture operations on 4096 x 4096 pictures in the
// cg2 and gd layouts, against the floor and OpenCV measured in the same run.
#include <benchmark/benchmark.h>

#include <climits>
#include <cstdlib>
#include <iostream>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <string_view>

#include "analysis_measures.h"
#include "colour_measures.h"
#include "filters/vector_level.h"
#include "harness.h"
#include "ratio_table.h"
#include "waveform_operations.h"

namespace {

// Takes --vector-level=NAME out of the arguments and caps the filters' rows
// to that level; false for a name that is not a level.
bool TakeVectorLevel(int& argc, char** argv) {
  constexpr std::string_view kOption = "--vector-level=";
  int kept = 1;
  for (int i = 1; i < argc; ++i) {
    const std::string_view argument = argv[i];
    if (argument.substr(0, kOption.size()) != kOption) {
      argv[kept++] = argv[i];
      continue;
    }
    const auto level = VectorLevelNamed(argument.substr(kOption.size()));
    if (!level) {
      std::cerr << "qvl_bench: no vector level " << argument.substr(kOption.size()) << "\n";
      return false;
    }
    CapVectorLevel(*level);
  }
  argc = kept;
  return true;
}

}  // namespace

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
  if (!TakeVectorLevel(argc, argv)) return 1;
  std::cout << "Vector level: " << NameOf(VectorLevelInUse()) << "\n";
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  AddFloors();
  AddPluginOperations();
  AddColourOperations();
  AddStringOperations();
  AddWaveformOperations();
  AddJobOperations();
  AddOpenCvReferences();
  AddColourReferences();
  AddLutReference();
  AddAnalysisOperations();
  RegisterBenchmarks();
  MedianCollector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  PrintRatioTable(collector, std::cout);
  PrintWaveformTable(collector, std::cout);
  benchmark::Shutdown();
  return 0;
}
