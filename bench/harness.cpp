#include "harness.h"

#include <benchmark/benchmark.h>
#include <gd.h>
#include <time.h>

#include <cstring>
#include <utility>

#include "binding/globals.h"
#include "binding/wrappers.h"
#include "picture/picture_editor.h"
#include "platform/platform.h"

namespace {

// One call a repetition, many repetitions: each call takes tens of
// milliseconds, and the median of the repetitions stands up to a noisy
// machine.
constexpr int kIterations = 1;
constexpr int kRepetitions = 15;

const BenchLayout* gCurrentLayout = nullptr;
REALpictureStruct* gSources[2] = {nullptr, nullptr};
std::vector<std::pair<std::string, REALpictureStruct*>> gLayoutPictures;

// A cheap deterministic hash of a pixel position.
uint32_t Noise(int64_t x, int64_t y) {
  uint32_t h = uint32_t(x) * 0x9E3779B1u ^ uint32_t(y) * 0x85EBCA77u;
  h ^= h >> 15;
  h *= 0x2C1B3C6Du;
  return h ^ (h >> 13);
}

// Alpha in 32 x 32 tiles: transparent, opaque, and two tiles of varied
// partial alpha, so the alpha paths meet all three cases, in runs as real
// pictures have them.
uint8_t PatternAlpha(int64_t x, int64_t y) {
  switch ((x / 32 + y / 32) % 4) {
    case 0:
      return 0;
    case 1:
      return 255;
    default:
      return uint8_t(1 + Noise(y, x) % 254);
  }
}

// Gradients with noise over the whole range of each channel, so thresholds,
// clamps and grey tests go both ways across the picture.
qvlhost::Rgba PatternColour(int64_t x, int64_t y, uint8_t alpha, bool premultiplied) {
  uint32_t n = Noise(x, y);
  uint32_t r = (x / 16 + (n & 31)) & 255;
  uint32_t g = (y / 16 + ((n >> 8) & 31)) & 255;
  uint32_t b = ((x + y) / 32 + ((n >> 16) & 63)) & 255;
  if ((n >> 24) < 16) g = b = r;  // some grey pixels for the grey filter
  if (premultiplied) {
    r = (r * alpha + 127) / 255;
    g = (g * alpha + 127) / 255;
    b = (b * alpha + 127) / 255;
  }
  return {uint8_t(r), uint8_t(g), uint8_t(b), alpha};
}

REALpictureStruct* MakeSource(SourceKind kind, bool premultiplied) {
  REALpictureStruct* picture = kind == SourceKind::Alpha ? qvlhost::NewAlphaPicture(kBenchSize, kBenchSize)
                                                         : qvlhost::NewPicture(kBenchSize, kBenchSize);
  if (!picture) return nullptr;
  for (int64_t y = 0; y < kBenchSize; ++y) {
    for (int64_t x = 0; x < kBenchSize; ++x) {
      uint8_t alpha = kind == SourceKind::Alpha ? PatternAlpha(x, y) : 255;
      qvlhost::SetPixelRgba(picture, x, y, PatternColour(x, y, alpha, premultiplied));
    }
  }
  return picture;
}

// Copies the source's pixels into the destination: one block where the rows
// are one block, row by row where they are separate blocks.
bool CopyPixels(const LockedRows& from, const LockedRows& to) {
  if (!from.ok() || !to.ok() || from.width() != to.width() || from.height() != to.height()) return false;
  const size_t rowBytes = size_t(from.width()) * 4;
  if (from.Block() && to.Block() && from.bytesPerRow() == to.bytesPerRow()) {
    std::memcpy(to.Block(), from.Block(), from.bytesPerRow() * size_t(from.height()));
    return true;
  }
  for (int64_t y = 0; y < from.height(); ++y) std::memcpy(to.Row(y), from.Row(y), rowBytes);
  return true;
}

// The floor: what every filter does minus its arithmetic. The host makes a
// picture of the source's size, of the kind the filter's writer would make,
// the source's pixels are copied into it, and it is released.
bool RunFloor(REALpictureStruct* source, SourceKind kind) {
  const int64_t width = qvlhost::PictureWidth(source);
  const int64_t height = qvlhost::PictureHeight(source);
  REALpictureStruct* copy =
      kind == SourceKind::Alpha ? qvlhost::NewAlphaPicture(width, height) : qvlhost::NewPicture(width, height);
  if (!copy) return false;
  bool copied;
  {
    LockedRows from(source);
    LockedRows to(copy);
    copied = CopyPixels(from, to);
  }
  qvlhost::Release(copy);
  return copied;
}

std::vector<Measure>& MeasureList() {
  static std::vector<Measure> measures;
  return measures;
}

const Measure* FindMeasure(const std::string& name) {
  for (const Measure& measure : MeasureList()) {
    if (measure.name == name) return &measure;
  }
  return nullptr;
}

double CpuSeconds() {
  timespec now;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return double(now.tv_sec) + double(now.tv_nsec) * 1e-9;
}

// Runs a measure once, adding its processor time to *total.
bool TimedRun(const Measure& measure, REALpictureStruct* source, double* total) {
  const double start = CpuSeconds();
  const bool done = measure.run(source);
  *total += CpuSeconds() - start;
  return done;
}

REALpictureStruct* PrepareSource(benchmark::State& state, const BenchLayout& layout, SourceKind kind) {
  UseLayout(layout);
  REALpictureStruct* source = SourcePicture(kind);
  if (!source) state.SkipWithError("the host could not make the source picture");
  return source;
}

// A floor or a reference alone, for its time in milliseconds.
void RunAlone(benchmark::State& state, const BenchLayout& layout, const Measure& measure) {
  REALpictureStruct* source = PrepareSource(state, layout, measure.source);
  if (!source) return;
  for (auto _ : state) {
    if (!measure.run(source)) {
      state.SkipWithError("the measured call failed");
      break;
    }
  }
}

// An operation paired with its floor, its base and its reference: every
// iteration runs them back to back, so that the ratios compare calls made
// under the same load of the machine. The iteration time is the
// operation's; the ratios are counters.
void RunPaired(benchmark::State& state, const BenchLayout& layout, const Measure& operation, const Measure& floor,
               const Measure* base, const Measure* reference) {
  REALpictureStruct* source = PrepareSource(state, layout, operation.source);
  if (!source) return;
  double floorTime = 0, baseTime = 0, operationTime = 0, referenceTime = 0;
  for (auto _ : state) {
    const double before = operationTime;
    if (!TimedRun(floor, source, &floorTime) || (base && !TimedRun(*base, source, &baseTime)) ||
        !TimedRun(operation, source, &operationTime) || (reference && !TimedRun(*reference, source, &referenceTime))) {
      state.SkipWithError("the measured call failed");
      break;
    }
    state.SetIterationTime(operationTime - before);
  }
  if (floorTime > 0) state.counters[kFloorCounter] = (operationTime - baseTime) / floorTime;
  if (reference && referenceTime > 0) state.counters[kOpenCvCounter] = operationTime / referenceTime;
}

// Work of another program: the iteration time is the time the measure
// took of its child processes.
void RunExternal(benchmark::State& state, const BenchLayout& layout, const Measure& measure) {
  REALpictureStruct* source = PrepareSource(state, layout, measure.source);
  if (!source) return;
  for (auto _ : state) {
    const std::optional<double> seconds = measure.external(source);
    if (!seconds) {
      state.SkipWithError("the measured program failed");
      break;
    }
    state.SetIterationTime(*seconds);
  }
}

benchmark::internal::Benchmark* Register(const std::string& name, std::function<void(benchmark::State&)> body) {
  return benchmark::RegisterBenchmark(name.c_str(), [body](benchmark::State& state) { body(state); })
      ->Iterations(kIterations)
      ->Repetitions(kRepetitions)
      ->ReportAggregatesOnly(true)
      ->Unit(benchmark::kMillisecond);
}

}  // namespace

const std::vector<BenchLayout>& BenchLayouts() {
  static const std::vector<BenchLayout> layouts = {
      {"cg2", qvlhost::Storage::CG(2), qvlhost::AppKind::Desktop},
      {"gd", qvlhost::Storage::GD(), qvlhost::AppKind::Console},
  };
  return layouts;
}

void UseLayout(const BenchLayout& layout) {
  if (gCurrentLayout == &layout) return;
  qvlhost::Config config;
  config.storage = layout.storage;
  config.app = layout.app;
  config.journal = false;  // the timings are the plug-in's, not the journal's
  qvlhost::Reset(config);
  // A process settles on one storage form after its first lock; the
  // benchmarks change form between layouts, so they start from the state at load.
  RestoreLoadState();
  ForgetEntryPoints();
  gLayoutPictures.clear();  // the previous host and its pictures are gone
  gResolver = qvlhost::Resolver();
  rbversion_rbversion = config.version;
  gCurrentLayout = &layout;
  const bool premultiplied = layout.storage.premultiplied();
  gSources[0] = MakeSource(SourceKind::Opaque, premultiplied);
  gSources[1] = MakeSource(SourceKind::Alpha, premultiplied);
}

const BenchLayout& CurrentLayout() { return gCurrentLayout ? *gCurrentLayout : BenchLayouts().front(); }

REALpictureStruct* SourcePicture(SourceKind kind) { return gSources[kind == SourceKind::Alpha ? 1 : 0]; }

REALpictureStruct* LayoutPicture(const std::string& name, const std::function<REALpictureStruct*()>& make) {
  for (const auto& [made, picture] : gLayoutPictures) {
    if (made == name) return picture;
  }
  REALpictureStruct* picture = make();
  if (picture) gLayoutPictures.emplace_back(name, picture);
  return picture;
}

LockedRows::LockedRows(REALpictureStruct* picture) {
  REALpictureDescription description{};
  const bool gd = gCurrentLayout && gCurrentLayout->storage.kind != qvlhost::Storage::CoreGraphics;
  if (!picture || !REALLockPictureDescription(picture, &description, gd ? pictureGDImagePtr : pictureCGBitmapContext))
    return;
  picture_ = picture;
  if (!description.pictureData) return;
  if (description.pictureType == pictureGDImagePtr) {
    auto* image = static_cast<gdImagePtr>(description.pictureData);
    if (!image->trueColor || !image->tpixels) return;
    width_ = image->sx;
    height_ = image->sy;
    bytesPerRow_ = size_t(width_) * 4;
    gdRows_ = image->tpixels;
  } else if (description.pictureType == pictureCGBitmapContext) {
    platform::BitmapContextInfo context = platform::ReadBitmapContext(description.pictureData);
    if (context.bitsPerPixel != 32) return;
    width_ = int64_t(context.width);
    height_ = int64_t(context.height);
    bytesPerRow_ = context.bytesPerRow;
    block_ = static_cast<uint8_t*>(context.data);
  }
}

LockedRows::~LockedRows() {
  if (picture_) REALUnlockPictureDescription(picture_);
}

uint8_t* LockedRows::Row(int64_t y) const {
  if (gdRows_) return reinterpret_cast<uint8_t*>(gdRows_[y]);
  return block_ + size_t(y) * bytesPerRow_;
}

std::string FloorName(SourceKind kind) { return kind == SourceKind::Alpha ? "floor (alpha)" : "floor"; }

void AddMeasure(Measure measure) { MeasureList().push_back(std::move(measure)); }

const std::vector<Measure>& Measures() { return MeasureList(); }

void AddFloors() {
  for (SourceKind kind : {SourceKind::Opaque, SourceKind::Alpha}) {
    AddMeasure({FloorName(kind), MeasureKind::Floor, kind, "",
                [kind](REALpictureStruct* source) { return RunFloor(source, kind); }});
  }
}

void RegisterBenchmarks() {
  for (const BenchLayout& layout : BenchLayouts()) {
    for (const Measure& measure : Measures()) {
      const std::string name = layout.name + "/" + measure.name;
      if (measure.kind == MeasureKind::External) {
        if (&layout != &BenchLayouts().front()) continue;
        Register(name, [&layout, &measure](benchmark::State& state) {
          RunExternal(state, layout, measure);
        })->UseManualTime();
        continue;
      }
      if (measure.kind != MeasureKind::Operation) {
        Register(name, [&layout, &measure](benchmark::State& state) { RunAlone(state, layout, measure); });
        continue;
      }
      const Measure* floor = FindMeasure(measure.floor.empty() ? FloorName(measure.source) : measure.floor);
      const Measure* base = FindMeasure(measure.base);
      const Measure* reference = FindMeasure(measure.reference);
      if (!floor) continue;
      Register(name, [&layout, &measure, floor, base, reference](benchmark::State& state) {
        RunPaired(state, layout, measure, *floor, base, reference);
      })->UseManualTime();
    }
  }
}
