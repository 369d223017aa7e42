// ThresholdQVL: the rule per pixel and its vector rows, compiled once per
// target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/threshold.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "filters/threshold.h"
// clang-format on

#ifndef QVL_FILTERS_THRESHOLD_KERNEL
#define QVL_FILTERS_THRESHOLD_KERNEL
namespace {

// Channels run from 0 to 255, so the signed 64-bit comparison of a channel
// with Threshold gives the same answer as a 32-bit comparison with Threshold
// brought into 0..256: the pixel loop stays narrow and the result unchanged.
int32_t ComparableThreshold(int64_t Threshold) {
  if (Threshold < 0) return 0;
  if (Threshold > 256) return 256;
  return static_cast<int32_t>(Threshold);
}

struct ThresholdKernel {
  int32_t limit;

  // White where green and blue both reach the limit; red takes no part.
  Channels operator()(Channels in) const {
    const bool reached = static_cast<int32_t>(in.g) >= limit && static_cast<int32_t>(in.b) >= limit;
    const uint32_t v = reached ? 255u : 0u;
    return Channels{v, v, v, 255};
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    MapRowOpaque<S, D>(source, destination, width, *this);
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<ThresholdKernel> VectorRowAt(VectorLevel level) const;
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

template <PixelLayout S, PixelLayout D>
int64_t ThresholdRow(const uint32_t* source, uint32_t* destination, int64_t width, const ThresholdKernel& kernel) {
  const hn::ScalableTag<uint32_t> d;
  const hn::RebindToSigned<decltype(d)> di;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  // channel >= limit as channel > limit - 1, the comparison the lanes have.
  const auto belowLimit = hn::Set(di, kernel.limit - 1);
  const auto white = hn::Set(d, OpaquePixel<D>(255, 255, 255)), black = hn::Set(d, OpaquePixel<D>(0, 0, 0));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(d, source + column);
    const auto greenReached = hn::BitCast(di, GreenOf<S>(words)) > belowLimit;
    const auto blueReached = hn::BitCast(di, BlueOf<S>(words)) > belowLimit;
    const auto reached = hn::RebindMask(d, hn::And(greenReached, blueReached));
    hn::StoreU(hn::IfThenElse(reached, white, black), d, destination + column);
  }
  return column;
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout S, PixelLayout D>
VectorRow<ThresholdKernel> ThresholdKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, ThresholdRow<S, D>);
}

}  // namespace

REALpictureStruct* ThresholdQVL(REALpictureStruct* pic, int64_t Threshold) {
  return RunFilterFrame(pic, {RegistrationCheckAt::AfterAcquire}, ThresholdKernel{ComparableThreshold(Threshold)});
}
#endif
