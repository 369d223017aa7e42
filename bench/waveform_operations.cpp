// RenderSamplesQVL on 10 million 16-bit samples into 4096 x 512 pictures, with
// outlines of 0, 1 and 3 pixels, and its column pass alone (a picture of one
// row). What a waveform takes beyond its column pass is held to the floor of
// a 4096 x 512 picture; then a table of nanoseconds per sample.
#include "waveform_operations.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "harness.h"
#include "waveform/render_samples.h"

namespace {

constexpr int64_t kSampleCount = 10'000'000;
constexpr int64_t kWaveWidth = 4096, kWaveHeight = 512;
constexpr int64_t kUnsigned16 = 16;
constexpr const char* kWaveFloor = "floor 4096 x 512";
constexpr const char* kColumnPass = "RenderSamplesQVL column pass (4096 x 1)";
constexpr int64_t kOutlineWidths[] = {0, 1, 3};

std::string WaveName(int64_t outline) { return "RenderSamplesQVL 4096 x 512, outline " + std::to_string(outline); }

// Unsigned 16-bit samples of a voice-like signal: a few tones under an
// envelope that swells and fades, with some noise, so that columns differ
// and the outline climbs and falls.
const std::vector<uint16_t>& Samples() {
  static const std::vector<uint16_t> samples = [] {
    std::vector<uint16_t> made(static_cast<size_t>(kSampleCount));
    uint32_t noise = 1;
    for (int64_t i = 0; i < kSampleCount; ++i) {
      const double t = double(i) / 22050.0;
      const double envelope = 0.5 + 0.45 * std::sin(t * 3.1) * std::sin(t * 0.7);
      const double tone = std::sin(t * 1380.0) * 0.6 + std::sin(t * 2910.0) * 0.3;
      noise = noise * 1664525u + 1013904223u;
      const double value = envelope * tone * 30000.0 + double(int32_t(noise >> 20) - 2048);
      made[size_t(i)] = uint16_t(32768 + std::lround(value));
    }
    return made;
  }();
  return samples;
}

// One call as the host would make it, over the samples as a block of a
// pointer (made per call; its cost is a host object, nothing per sample).
bool Render(int64_t width, int64_t height, int64_t outline) {
  REALmemoryBlockStruct* block = qvlhost::MemoryBlockOverPointer(const_cast<uint16_t*>(Samples().data()));
  REALpictureStruct* picture =
      RenderSamples(block, kSampleCount, 1, width, height, outline, 0x88B5C4, 0x274C5A, 0x203F4E, kUnsigned16, true);
  qvlhost::Release(reinterpret_cast<REALobjectStruct*>(block));
  if (!picture) return false;
  qvlhost::Release(picture);
  return true;
}

// The floor of a waveform: the host makes a 4096 x 512 picture, the pixels
// of another one are copied into it, and it is released.
bool WaveFloor(REALpictureStruct*) {
  REALpictureStruct* source = LayoutPicture(kWaveFloor, [] { return qvlhost::NewPicture(kWaveWidth, kWaveHeight); });
  REALpictureStruct* copy = qvlhost::NewPicture(kWaveWidth, kWaveHeight);
  if (!source || !copy) return false;
  bool copied;
  {
    LockedRows from(source), to(copy);
    copied = from.ok() && to.ok();
    for (int64_t y = 0; copied && y < kWaveHeight; ++y) std::memcpy(to.Row(y), from.Row(y), size_t(kWaveWidth) * 4);
  }
  qvlhost::Release(copy);
  return copied;
}

// The column pass is held to a rate of samples; what the rest of a waveform
// takes beyond it, to twice the floor.
constexpr double kOutlineBound = 2.0;

void AddWave(const std::string& name, int64_t height, int64_t outline, double bound, const std::string& base) {
  AddMeasure({name,
              MeasureKind::Operation,
              SourceKind::Opaque,
              "",
              [height, outline](REALpictureStruct*) { return Render(kWaveWidth, height, outline); },
              kWaveFloor,
              {},
              bound,
              base});
}

const BenchResult* Result(const MedianCollector& collector, const std::string& layout, const std::string& name) {
  auto found = collector.results().find(layout + "/" + name);
  return found == collector.results().end() ? nullptr : &found->second;
}

std::string Cell(const char* format, double value) {
  char text[32];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

double NanosecondsPerSample(const BenchResult& result) { return result.timeMilliseconds * 1e6 / double(kSampleCount); }

}  // namespace

void AddWaveformOperations() {
  Samples();  // made before any timing
  AddMeasure({kWaveFloor, MeasureKind::Floor, SourceKind::Opaque, "", WaveFloor});
  AddWave(kColumnPass, 1, 0, kNoFloorBound, "");
  for (int64_t outline : kOutlineWidths) AddWave(WaveName(outline), kWaveHeight, outline, kOutlineBound, kColumnPass);
}

void PrintWaveformTable(const MedianCollector& collector, std::ostream& out) {
  out << "\nRenderSamplesQVL, " << kSampleCount << " unsigned 16-bit samples into " << kWaveWidth << " columns. "
      << "Beyond the column pass: the time less the column pass's, timed in the same iterations, over the floor "
      << "of a " << kWaveWidth << " x " << kWaveHeight << " picture.\n\n| Measure | layout | ns a sample | samples a "
      << "second | beyond the column pass / floor |\n|---|---|---:|---:|---:|\n";
  for (const BenchLayout& layout : BenchLayouts()) {
    const BenchResult* pass = Result(collector, layout.name, kColumnPass);
    if (!pass) continue;
    out << "| column pass | " << layout.name << " | " << Cell("%.3f", NanosecondsPerSample(*pass)) << " | "
        << Cell("%.2e", 1e9 / NanosecondsPerSample(*pass)) << " | - |\n";
    for (int64_t outline : kOutlineWidths) {
      const BenchResult* wave = Result(collector, layout.name, WaveName(outline));
      if (!wave || !wave->counters.count(kFloorCounter)) continue;
      out << "| outline " << outline << " | " << layout.name << " | " << Cell("%.3f", NanosecondsPerSample(*wave))
          << " | " << Cell("%.2e", 1e9 / NanosecondsPerSample(*wave)) << " | "
          << Cell("%.2f", wave->counters.at(kFloorCounter)) << " |\n";
    }
  }
}
