// The background-and-body row, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "waveform/body_rows.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "waveform/body_rows.h"
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

HWY_MAYBE_UNUSED int64_t FillBodyRow(const int32_t* tops, const int32_t* bottoms, int64_t width, int32_t row,
                                     uint32_t fore, uint32_t back, uint32_t* pixels) {
  const hn::ScalableTag<int32_t> d;
  const hn::RebindToUnsigned<decltype(d)> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(d));
  const auto y = hn::Set(d, row);
  const auto foreWords = hn::Set(du, fore), backWords = hn::Set(du, back);
  int64_t x = 0;
  for (; x + lanes <= width; x += lanes) {
    const auto outside = hn::Or(hn::Gt(hn::LoadU(d, tops + x), y), hn::Gt(y, hn::LoadU(d, bottoms + x)));
    hn::StoreU(hn::IfThenElse(hn::RebindMask(du, outside), backWords, foreWords), du, pixels + x);
  }
  return x;
}

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
BodyRow BodyRowAt(VectorLevel level) { return QVL_VECTOR_ROW(level, FillBodyRow); }
#endif
