// The floors of the read-only operations and of the scrolls, and the OpenCV
// references doing the same work on the same pixels: the rows wrapped as
// CV_8UC4 matrices without a copy, one band when the rows are one block and
// one band a row in gd, where they are separate blocks.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "analysis_references.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"
// clang-format on

#include <benchmark/benchmark.h>

#include <cstring>

#include "analysis_measures.h"
#include "harness.h"

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The scalar target is no level.
#if HWY_TARGET != HWY_SCALAR
// The sum of the words, four vectors a step with the widest vectors of the
// target; what is left over is added one word at a time.
uint32_t SumWords(const uint32_t* words, int64_t count) {
  const hn::ScalableTag<uint32_t> d;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  auto sum0 = hn::Zero(d), sum1 = hn::Zero(d), sum2 = hn::Zero(d), sum3 = hn::Zero(d);
  int64_t i = 0;
  for (; i + 4 * lanes <= count; i += 4 * lanes) {
    sum0 = hn::Add(sum0, hn::LoadU(d, words + i));
    sum1 = hn::Add(sum1, hn::LoadU(d, words + i + lanes));
    sum2 = hn::Add(sum2, hn::LoadU(d, words + i + 2 * lanes));
    sum3 = hn::Add(sum3, hn::LoadU(d, words + i + 3 * lanes));
  }
  uint32_t total = hn::GetLane(hn::SumOfLanes(d, hn::Add(hn::Add(sum0, sum1), hn::Add(sum2, sum3))));
  for (; i < count; ++i) total += words[i];
  return total;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

using WordSum = uint32_t (*)(const uint32_t*, int64_t);

uint32_t PortableSum(const uint32_t* words, int64_t count) {
  uint32_t total = 0;
  for (int64_t i = 0; i < count; ++i) total += words[i];
  return total;
}

// The read floor: every pixel word summed, at the vector level the
// operations run at; one pass over the block, or row by row in gd.
bool ReadFloor(REALpictureStruct* source) {
  const WordSum vectorSum = QVL_VECTOR_ROW(VectorLevelInUse(), SumWords);
  const WordSum sum = vectorSum ? vectorSum : PortableSum;
  LockedRows rows(source);
  if (!rows.ok()) return false;
  uint32_t total = 0;
  if (rows.Block()) {
    total = sum(reinterpret_cast<const uint32_t*>(rows.Block()), int64_t(rows.bytesPerRow() / 4) * rows.height());
  } else {
    for (int64_t y = 0; y < rows.height(); ++y)
      total += sum(reinterpret_cast<const uint32_t*>(rows.Row(y)), rows.width());
  }
  benchmark::DoNotOptimize(total);
  return true;
}

// The memmove floor: the scrolled picture's bytes moved down by one row, in
// one memmove where the rows are one block, row by row in gd.
bool MemmoveFloor(REALpictureStruct*) {
  LockedRows rows(ScrolledPicture());
  if (!rows.ok()) return false;
  const size_t rowBytes = rows.bytesPerRow();
  if (rows.Block()) {
    std::memmove(rows.Block() + rowBytes, rows.Block(), rowBytes * size_t(rows.height() - 1));
  } else {
    for (int64_t y = rows.height() - 1; y > 0; --y) std::memmove(rows.Row(y), rows.Row(y - 1), rowBytes);
  }
  benchmark::ClobberMemory();
  return true;
}

void AddFloor(const char* name, bool (*run)(REALpictureStruct*)) {
  AddMeasure({name, MeasureKind::Floor, SourceKind::Opaque, "", run});
}

}  // namespace

#ifdef QVL_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

namespace {

bool IsGd() { return CurrentLayout().storage.kind != qvlhost::Storage::CoreGraphics; }

// Calls work(band) over the picture's rows: one band when they are one
// block, one band a row in gd.
template <class Work>
bool OverBands(REALpictureStruct* picture, const Work& work) {
  LockedRows rows(picture);
  if (!rows.ok()) return false;
  const int width = int(rows.width()), height = int(rows.height());
  if (rows.Block()) {
    work(cv::Mat(height, width, CV_8UC4, rows.Block(), rows.bytesPerRow()));
  } else {
    for (int y = 0; y < height; ++y) work(cv::Mat(1, width, CV_8UC4, rows.Row(y)));
  }
  return true;
}

// The channel index of red, green and blue in a pixel's bytes: cg2 stores
// A, R, G, B, gd B, G, R and its alpha field.
int ChannelOf(int rgb) {
  static const int cg2[3] = {1, 2, 3}, gd[3] = {2, 1, 0};
  return IsGd() ? gd[rgb] : cg2[rgb];
}

// A histogram of each of red, green and blue, added up over the bands.
bool ThreeHistograms(REALpictureStruct* source) {
  cv::Mat histograms[3];
  const int bins = 256;
  const float range[] = {0, 256};
  const float* ranges[] = {range};
  bool accumulate = false;
  const bool done = OverBands(source, [&](const cv::Mat& band) {
    for (int rgb = 0; rgb < 3; ++rgb) {
      const int channel = ChannelOf(rgb);
      cv::calcHist(&band, 1, &channel, cv::Mat(), histograms[rgb], 1, &bins, ranges, true, accumulate);
    }
    accumulate = true;
  });
  benchmark::DoNotOptimize(histograms[0].data);
  return done;
}

// The pixels of one colour, whatever their alpha.
bool CountOneColour(REALpictureStruct* source) {
  cv::Scalar lower(0, 0, 0, 0), upper(255, 255, 255, 255);
  const int colour[3] = {0x40, 0x60, 0x80};
  for (int rgb = 0; rgb < 3; ++rgb) lower[ChannelOf(rgb)] = upper[ChannelOf(rgb)] = colour[rgb];
  cv::Mat mask;
  int64_t count = 0;
  const bool done = OverBands(source, [&](const cv::Mat& band) {
    cv::inRange(band, lower, upper, mask);
    count += cv::countNonZero(mask);
  });
  benchmark::DoNotOptimize(count);
  return done;
}

// The source as one matrix: its rows wrapped where they are one block,
// copied into a new matrix in gd.
cv::Mat WholePicture(const LockedRows& rows) {
  const int width = int(rows.width()), height = int(rows.height());
  if (rows.Block()) return cv::Mat(height, width, CV_8UC4, rows.Block(), rows.bytesPerRow());
  cv::Mat whole(height, width, CV_8UC4);
  for (int y = 0; y < height; ++y) std::memcpy(whole.ptr(y), rows.Row(y), size_t(width) * 4);
  return whole;
}

// The sum of squared differences at every position, and its smallest.
bool MatchTemplate(REALpictureStruct* source) {
  LockedRows rows(source), needleRows(NeedlePicture());
  if (!rows.ok() || !needleRows.ok()) return false;
  const cv::Mat haystack = WholePicture(rows), needle = WholePicture(needleRows);
  cv::Mat differences;
  cv::matchTemplate(haystack, needle, differences, cv::TM_SQDIFF);
  cv::Point best;
  cv::minMaxLoc(differences, nullptr, nullptr, &best);
  return best.x == kBenchSize - kNeedleSize && best.y == kBenchSize - kNeedleSize;
}

void AddReference(const char* name, bool (*run)(REALpictureStruct*)) {
  AddMeasure({name, MeasureKind::Reference, SourceKind::Opaque, "", run});
}

void AddOpenCv() {
  AddReference(kReferenceCalcHist, ThreeHistograms);
  AddReference(kReferenceCountColour, CountOneColour);
  AddReference(kReferenceMatchTemplate, MatchTemplate);
}

}  // namespace
#else
namespace {
void AddOpenCv() {}
}  // namespace
#endif

void AddAnalysisReferences() {
  AddFloor(kReadFloor, ReadFloor);
  AddFloor(kMemmoveFloor, MemmoveFloor);
  AddOpenCv();
}
#endif
