// The report of a run: the median time of every benchmark, then the table of
// ratios to the floor and to OpenCV.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <ostream>
#include <set>
#include <string>
#include <vector>

// What is kept of one benchmark: the medians of its repetitions (or the
// values of its one run).
struct BenchResult {
  double cpuMilliseconds = 0;   // processor time a call
  double timeMilliseconds = 0;  // the iteration time: the operation's alone for paired benchmarks
  std::map<std::string, double> counters;
};

// Prints every run as the console reporter does, and keeps the result of
// every benchmark by name.
class MedianCollector : public benchmark::ConsoleReporter {
 public:
  // Colours only on a terminal, so that the output can go to a file.
  MedianCollector();
  void ReportRuns(const std::vector<Run>& runs) override;

  const std::map<std::string, BenchResult>& results() const { return results_; }
  const std::set<std::string>& failures() const { return failures_; }

 private:
  std::map<std::string, BenchResult> results_;
  std::set<std::string> failures_;
};

// An operation's time is held to no more than OpenCV's for the same work.
constexpr double kOpenCvBound = 1.0;

// Markdown tables: the times of the floors and references, then one row per
// operation with its time and ratios in every layout. Ratios beyond a bound
// are bold.
void PrintRatioTable(const MedianCollector& collector, std::ostream& out);
