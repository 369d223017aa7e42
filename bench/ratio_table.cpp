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

// One cell: the ratio of two measured times, "-" when either was not
// measured, "failed" when the operation failed, bold beyond the bound.
std::string RatioCell(const MedianCollector& collector, const std::string& layout, const std::string& measure,
                      const std::string& against, double bound) {
  if (against.empty()) return "-";
  const std::string name = BenchmarkName(layout, measure);
  if (collector.failures().count(name)) return "failed";
  auto time = collector.medians().find(name);
  auto reference = collector.medians().find(BenchmarkName(layout, against));
  if (time == collector.medians().end() || reference == collector.medians().end() || reference->second <= 0) return "-";
  const double ratio = time->second / reference->second;
  const std::string cell = Format("%.2f", ratio);
  return ratio > bound ? "**" + cell + "**" : cell;
}

std::string TimeCell(const MedianCollector& collector, const std::string& layout, const std::string& measure) {
  const std::string name = BenchmarkName(layout, measure);
  if (collector.failures().count(name)) return "failed";
  auto time = collector.medians().find(name);
  return time == collector.medians().end() ? "-" : Format("%.1f", time->second);
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
      out << " " << TimeCell(collector, layout.name, measure.name) << " |";
    out << "\n";
  }
}

void PrintOperationRatios(const MedianCollector& collector, std::ostream& out) {
  out << "| Operation | OpenCV reference |";
  for (const BenchLayout& layout : BenchLayouts())
    out << " " << layout.name << " / floor | " << layout.name << " / OpenCV |";
  out << "\n|---|---|";
  for (size_t i = 0; i < BenchLayouts().size(); ++i) out << "---:|---:|";
  out << "\n";
  for (const Measure& measure : Measures()) {
    if (measure.kind != MeasureKind::Operation) continue;
    out << "| " << measure.name << " | " << (measure.reference.empty() ? "-" : measure.reference) << " |";
    for (const BenchLayout& layout : BenchLayouts()) {
      out << " " << RatioCell(collector, layout.name, measure.name, FloorName(measure.source), kFloorBound) << " |";
      out << " " << RatioCell(collector, layout.name, measure.name, measure.reference, kOpenCvBound) << " |";
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
    } else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
      medians_[name] = run.GetAdjustedCPUTime();
    } else if (run.run_type == Run::RT_Iteration && run.repetitions <= 1) {
      medians_[name] = run.GetAdjustedCPUTime();
    }
  }
}

void PrintRatioTable(const MedianCollector& collector, std::ostream& out) {
  out << "\nPictures of " << kBenchSize << " x " << kBenchSize
      << "; median CPU time of the repetitions; OpenCV on one thread.\n\n";
  PrintReferenceTimes(collector, out);
  out << "\nRatios (bold: over " << kFloorBound << " x the floor, or slower than OpenCV):\n\n";
  PrintOperationRatios(collector, out);
}
