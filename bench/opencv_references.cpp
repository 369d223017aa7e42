// OpenCV doing the work of the plug-in's operations on the same pixels: the
// source's rows wrapped as CV_8UC4 matrices without a copy, the result
// written into a new host picture, as a filter's result is a new picture.
// OpenCV runs on one thread, as the plug-in does.
#include <benchmark/benchmark.h>

#include "harness.h"

#ifdef QVL_HAVE_OPENCV
#include <opencv2/core.hpp>

namespace {

// Where a reference writes its result: into a new host picture, as a
// plug-in built on OpenCV would return it (the bound the operations are held
// to), or into a new matrix, OpenCV's own best case (shown for comparison).
enum class Target { HostPicture, NewMatrix };

// Calls work(from, to) over matching bands of two pictures' rows: one band
// when both are one block, one band a row when the rows are separate blocks
// (gd).
template <class Work>
void RunOverBands(const LockedRows& from, const LockedRows& to, const Work& work) {
  const int width = int(from.width());
  const int height = int(from.height());
  if (from.Block() && to.Block()) {
    cv::Mat source(height, width, CV_8UC4, from.Block(), from.bytesPerRow());
    cv::Mat result(height, width, CV_8UC4, to.Block(), to.bytesPerRow());
    work(source, result);
    return;
  }
  for (int y = 0; y < height; ++y) {
    cv::Mat source(1, width, CV_8UC4, from.Row(y));
    cv::Mat result(1, width, CV_8UC4, to.Row(y));
    work(source, result);
  }
}

template <class Work>
bool RunIntoHostPicture(REALpictureStruct* source, const Work& work) {
  REALpictureStruct* picture = qvlhost::NewPicture(qvlhost::PictureWidth(source), qvlhost::PictureHeight(source));
  if (!picture) return false;
  bool done = false;
  {
    LockedRows from(source);
    LockedRows to(picture);
    if (from.ok() && to.ok()) {
      RunOverBands(from, to, work);
      done = true;
    }
  }
  qvlhost::Release(picture);
  return done;
}

template <class Work>
bool RunIntoNewMatrix(REALpictureStruct* source, const Work& work) {
  LockedRows from(source);
  if (!from.ok()) return false;
  const int width = int(from.width());
  const int height = int(from.height());
  cv::Mat result(height, width, CV_8UC4);
  if (from.Block()) {
    cv::Mat band(height, width, CV_8UC4, from.Block(), from.bytesPerRow());
    work(band, result);
  } else {
    for (int y = 0; y < height; ++y) {
      cv::Mat band(1, width, CV_8UC4, from.Row(y));
      cv::Mat to = result.row(y);
      work(band, to);
    }
  }
  benchmark::DoNotOptimize(result.data);
  return true;
}

template <class Work>
bool RunInto(Target target, REALpictureStruct* source, const Work& work) {
  return target == Target::HostPicture ? RunIntoHostPicture(source, work) : RunIntoNewMatrix(source, work);
}

bool IsGd() { return CurrentLayout().storage.kind != qvlhost::Storage::CoreGraphics; }

// Channel indices of a pixel's bytes: cg2 stores A, R, G, B; gd stores B, G,
// R and its alpha field (0 opaque).
int GreenChannel() { return IsGd() ? 1 : 2; }
int BlueChannel() { return IsGd() ? 0 : 3; }
int AlphaChannel() { return IsGd() ? 3 : 0; }
uint8_t OpaqueAlpha() { return IsGd() ? 0 : 255; }

// A colour matrix with offsets (4 x 5) acting on R, G and B and keeping the
// alpha byte opaque.
cv::Mat ColourMatrix(const float rgb[3][4]) {
  const int red = IsGd() ? 2 : 1;
  const int channel[3] = {red, GreenChannel(), BlueChannel()};
  cv::Mat m = cv::Mat::zeros(4, 5, CV_32F);
  for (int out = 0; out < 3; ++out) {
    for (int in = 0; in < 3; ++in) m.at<float>(channel[out], channel[in]) = rgb[out][in];
    m.at<float>(channel[out], 4) = rgb[out][3];
  }
  m.at<float>(AlphaChannel(), 4) = OpaqueAlpha();
  return m;
}

// A plane of opaque alpha bytes the size of a source, made once per layout.
const cv::Mat& OpaquePlane() {
  static cv::Mat planes[2];
  cv::Mat& plane = planes[IsGd() ? 1 : 0];
  if (plane.empty()) plane = cv::Mat(int(kBenchSize), int(kBenchSize), CV_8U, cv::Scalar(OpaqueAlpha()));
  return plane;
}

bool Invert(Target target, REALpictureStruct* source) {
  return RunInto(target, source, [](const cv::Mat& from, cv::Mat& to) { cv::bitwise_not(from, to); });
}

// Contrast 0.5 around 127: v * 1.5 - 63.5, saturated.
bool ScaleAbs(Target target, REALpictureStruct* source) {
  return RunInto(target, source, [](const cv::Mat& from, cv::Mat& to) { cv::convertScaleAbs(from, to, 1.5, -63.5); });
}

// A gain and an offset per channel, as the per-channel tone filters.
bool TransformPerChannel(Target target, REALpictureStruct* source) {
  static const float gains[3][4] = {{1.5f, 0, 0, -63.5f}, {0, 1.2f, 0, 10}, {0, 0, 0.8f, 25}};
  const cv::Mat m = ColourMatrix(gains);
  return RunInto(target, source, [&m](const cv::Mat& from, cv::Mat& to) { cv::transform(from, to, m); });
}

// Every output channel from all three inputs, as tint and saturation.
bool TransformMixing(Target target, REALpictureStruct* source) {
  static const float mix[3][4] = {{1.29f, -0.59f, -0.29f, 0}, {-0.29f, 1.59f, -0.29f, 0}, {-0.29f, -0.59f, 1.29f, 0}};
  const cv::Mat m = ColourMatrix(mix);
  return RunInto(target, source, [&m](const cv::Mat& from, cv::Mat& to) { cv::transform(from, to, m); });
}

// White where green and blue reach 128, black elsewhere, opaque: the mask of
// inRange spread over the colour channels by merge.
bool InRangeMerge(Target target, REALpictureStruct* source) {
  cv::Scalar lower(0, 0, 0, 0), upper(255, 255, 255, 255);
  lower[GreenChannel()] = lower[BlueChannel()] = 128;
  const cv::Mat& opaque = OpaquePlane();
  cv::Mat mask;
  return RunInto(target, source, [&](const cv::Mat& from, cv::Mat& to) {
    cv::inRange(from, lower, upper, mask);
    cv::Mat planes[4] = {mask, mask, mask, mask};
    planes[AlphaChannel()] = opaque(cv::Rect(0, 0, from.cols, from.rows));
    cv::merge(planes, 4, to);
  });
}

using ReferenceRun = bool (*)(Target, REALpictureStruct*);

// Each reference twice: into a host picture under its own name, into a new
// matrix under the name with kNewMatrixSuffix.
void AddReference(const char* name, ReferenceRun run) {
  AddMeasure({name, MeasureKind::Reference, SourceKind::Opaque, "",
              [run](REALpictureStruct* source) { return run(Target::HostPicture, source); }});
  AddMeasure({std::string(name) + kNewMatrixSuffix, MeasureKind::Reference, SourceKind::Opaque, "",
              [run](REALpictureStruct* source) { return run(Target::NewMatrix, source); }});
}

}  // namespace

void AddOpenCvReferences() {
  cv::setNumThreads(1);
  AddReference(kReferenceInvert, Invert);
  AddReference(kReferenceScaleAbs, ScaleAbs);
  AddReference(kReferencePerChannel, TransformPerChannel);
  AddReference(kReferenceMixing, TransformMixing);
  AddReference(kReferenceThreshold, InRangeMerge);
}

#else

void AddOpenCvReferences() {}

#endif
