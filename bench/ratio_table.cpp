#include "ratio_table.h"

#include <unistd.h>

#include <cstdio>

#include "harness.h"

namespace {

std::string BenchmarkName(const std::string& layout, const std::string& measure) { return layout + "/" + measure; }

std::string Format(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

const BenchResult* Find(const MedianCollector& collector, const std::string& layout, const std::string& measure) {
  auto found = collector.results().find(BenchmarkName(layout, measure));
  return found == collector.results().end() ? nullptr : &found->second;
}

bool Failed(const MedianCollector& collector, const std::string& layout, const std::string& measure) {
  return collector.failures().count(BenchmarkName(layout, measure)) > 0;
}

// One ratio of an operation's benchmark: "-" when not measured, bold
// beyond the bound.
std::string RatioCell(const MedianCollector& collector, const std::string& layout, const std::string& measure,
                      const char* counter, double bound) {
  if (Failed(collector, layout, measure)) return "failed";
  const BenchResult* result = Find(collector, layout, measure);
  if (!result) return "-";
  auto ratio = result->counters.find(counter);
  if (ratio == result->counters.end()) return "-";
  const std::string cell = Format("%.2f", ratio->second);
  return ratio->second > bound ? "**" + cell + "**" : cell;
}

// The iteration time of operations and external measures, which time
// themselves; the processor time of the rest.
std::string TimeCell(const MedianCollector& collector, const std::string& layout, const std::string& measure,
                     bool timedItself) {
  if (Failed(collector, layout, measure)) return "failed";
  const BenchResult* result = Find(collector, layout, measure);
  if (!result) return "-";
  return Format("%.1f", timedItself ? result->timeMilliseconds : result->cpuMilliseconds);
}

void PrintReferenceTimes(const MedianCollector& collector, std::ostream& out) {
  out << "| Reference (ms a call) |";
  for (const BenchLayout& layout : BenchLayouts()) out << " " << layout.name << " |";
  out << "\n|---|";
  for (size_t i = 0; i < BenchLayouts().size(); ++i) out << "---:|";
  out << "\n";
  for (const Measure& measure : Measures()) {
    if (measure.kind == MeasureKind::Operation) continue;
    out << "| " << (measure.kind == MeasureKind::Reference ? "OpenCV " : "") << measure.name << " |";
    for (const BenchLayout& layout : BenchLayouts())
      out << " " << TimeCell(collector, layout.name, measure.name, measure.kind == MeasureKind::External) << " |";
    out << "\n";
  }
}

void PrintOperationRatios(const MedianCollector& collector, std::ostream& out) {
  out << "| Operation | OpenCV reference |";
  for (const BenchLayout& layout : BenchLayouts()) {
    const std::string& name = layout.name;
    out << " " << name << " ms | " << name << " / floor | " << name << " / OpenCV |";
  }
  out << "\n|---|---|";
  for (size_t i = 0; i < BenchLayouts().size(); ++i) out << "---:|---:|---:|";
  out << "\n";
  for (const Measure& measure : Measures()) {
    if (measure.kind != MeasureKind::Operation) continue;
    out << "| " << measure.name << " | " << (measure.reference.empty() ? "-" : measure.reference) << " |";
    for (const BenchLayout& layout : BenchLayouts()) {
      out << " " << TimeCell(collector, layout.name, measure.name, true) << " |";
      out << " " << RatioCell(collector, layout.name, measure.name, kFloorCounter, measure.bound) << " |";
      out << " " << RatioCell(collector, layout.name, measure.name, kOpenCvCounter, kOpenCvBound) << " |";
    }
    out << "\n";
  }
}

}  // namespace

MedianCollector::MedianCollector() : ConsoleReporter(isatty(STDOUT_FILENO) ? OO_ColorTabular : OO_Tabular) {}

void MedianCollector::ReportRuns(const std::vector<Run>& runs) {
  ConsoleReporter::ReportRuns(runs);
  for (const Run& run : runs) {
    const std::string& name = run.run_name.function_name;
    if (run.error_occurred) {
      failures_.insert(name);
      continue;
    }
    const bool median = run.run_type == Run::RT_Aggregate && run.aggregate_name == "median";
    const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
    if (!median && !single) continue;
    BenchResult& result = results_[name];
    result.cpuMilliseconds = run.GetAdjustedCPUTime();
    result.timeMilliseconds = run.GetAdjustedRealTime();
    for (const auto& counter : run.counters) result.counters[counter.first] = counter.second.value;
  }
}

void PrintRatioTable(const MedianCollector& collector, std::ostream& out) {
  out << "\nCommit " << QVL_BENCH_COMMIT << ". Pictures of " << kBenchSize << " x " << kBenchSize
      << "; processor time, median of the repetitions; OpenCV on one thread. Each operation is timed\n"
         "in the same iterations as its floor and its OpenCV reference.\n\n";
  PrintReferenceTimes(collector, out);
  out << "\nRatios (bold: over the operation's bound on its floor, or slower than OpenCV):\n\n";
  PrintOperationRatios(collector, out);
}
