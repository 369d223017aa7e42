// The benchmark harness: the layouts measured, their source pictures, raw
// access to a picture's rows, and the list of measures (floors, plug-in
// operations, OpenCV references) that becomes one benchmark per layout.
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "qvlhost.h"

constexpr int64_t kBenchSize = 4096;

// The source picture a measure works on: opaque (a picture from newPicture)
// or with an alpha channel (a picture from the Picture constructor) whose
// alpha varies from transparent to opaque.
enum class SourceKind { Opaque, Alpha };

struct BenchLayout {
  std::string name;  // "cg2", "gd"
  qvlhost::Storage storage;
  qvlhost::AppKind app;
};

// cg2 (ARGB premultiplied, a desktop host) and gd (a console host).
const std::vector<BenchLayout>& BenchLayouts();

// Makes the host of this layout current, unless it already is: a fresh host
// of that storage, the plug-in pointed at it with its process-wide
// acquisition flags cleared, and both source pictures made.
void UseLayout(const BenchLayout& layout);
const BenchLayout& CurrentLayout();
REALpictureStruct* SourcePicture(SourceKind kind);

// A further picture that measures of the current layout share (a second
// operand, a needle, a picture with particular content): made by `make` on
// first use in a layout and kept until the layout changes, when the host
// that held it is reset.
REALpictureStruct* LayoutPicture(const std::string& name, const std::function<REALpictureStruct*()>& make);

// A picture's pixel rows, reached through the host's picture description,
// which stays locked while the object lives.
class LockedRows {
 public:
  explicit LockedRows(REALpictureStruct* picture);
  ~LockedRows();
  LockedRows(const LockedRows&) = delete;
  LockedRows& operator=(const LockedRows&) = delete;

  bool ok() const { return block_ || gdRows_; }
  int64_t width() const { return width_; }
  int64_t height() const { return height_; }
  uint8_t* Row(int64_t y) const;
  // All rows as one block of height() * bytesPerRow() bytes, or null when the
  // rows are separate blocks (gd).
  uint8_t* Block() const { return block_; }
  size_t bytesPerRow() const { return bytesPerRow_; }

 private:
  REALpictureStruct* picture_ = nullptr;
  int64_t width_ = 0;
  int64_t height_ = 0;
  size_t bytesPerRow_ = 0;
  uint8_t* block_ = nullptr;
  int** gdRows_ = nullptr;
};

// One measured piece of work on a source picture; false when it failed.
using MeasureRun = std::function<bool(REALpictureStruct* source)>;

// Work done by another program, run as a child process: its processor time
// in seconds, which the measure takes itself, or nullopt when it failed.
using ExternalRun = std::function<std::optional<double>(REALpictureStruct* source)>;

// External measures are timed alone, in the first layout only, and their
// time is what ExternalRun gives.
enum class MeasureKind { Floor, Operation, Reference, External };

// The bound of a filter: its time at most 1.2 times its floor. Operations
// with more work to do than their floor name their own.
constexpr double kFloorBound = 1.2;
// Operations held to something other than their floor (a rate, say).
constexpr double kNoFloorBound = std::numeric_limits<double>::infinity();

struct Measure {
  std::string name;
  MeasureKind kind;
  SourceKind source;
  std::string reference;  // operations: the OpenCV reference doing the same work, if any
  MeasureRun run;
  std::string floor = {};      // operations: the floor they are held to; empty for FloorName(source)
  ExternalRun external = {};   // external measures, in place of run
  double bound = kFloorBound;  // operations: the most times their floor they may take
  // Operations: a measure whose time, taken in the same iterations, is left
  // out of the ratio to the floor; empty for none.
  std::string base = {};
};

// The OpenCV references that operations are compared with.
constexpr const char* kReferenceInvert = "bitwise_not";
constexpr const char* kReferenceScaleAbs = "convertScaleAbs";
constexpr const char* kReferencePerChannel = "transform (per channel)";
constexpr const char* kReferenceMixing = "transform (mixing)";
constexpr const char* kReferenceThreshold = "inRange + merge";
// The same references writing into a new matrix instead of a host picture.
constexpr const char* kNewMatrixSuffix = " (new matrix)";

// The counters of an operation's benchmark: its time (less its base's, when
// it has one) over the floor's, and its time over the reference's, all
// measured in the same iterations.
constexpr const char* kFloorCounter = "floor";
constexpr const char* kOpenCvCounter = "OpenCV";

// The floor of each source kind: "floor" and "floor (alpha)".
std::string FloorName(SourceKind kind);

void AddMeasure(Measure measure);
const std::vector<Measure>& Measures();

// Registers every measure as a benchmark "<layout>/<measure>", layout by
// layout, with a few iterations and repetitions. Floors and references are
// timed alone; an operation is timed paired with its floor and reference.
void RegisterBenchmarks();

// The measures of the plug-in's operations, of OpenCV and of other programs.
void AddFloors();
void AddPluginOperations();
void AddStringOperations();
void AddJobOperations();  // the Run of the two job classes
void AddOpenCvReferences();
void AddLutReference();
