#include "filters/threshold.h"

#include "filters/filter_frame.h"

namespace {

// Channels run from 0 to 255, so the signed 64-bit comparison of a channel
// with Threshold gives the same answer as a 32-bit comparison with Threshold
// brought into 0..256: the pixel loop stays narrow and the result unchanged.
int32_t ComparableThreshold(int64_t Threshold) {
  if (Threshold < 0) return 0;
  if (Threshold > 256) return 256;
  return int32_t(Threshold);
}

}  // namespace

REALpictureStruct* ThresholdQVL(REALpictureStruct* pic, int64_t Threshold) {
  const int32_t limit = ComparableThreshold(Threshold);
  return RunColourFilter(pic, RegistrationCheckAt::AfterAcquire, [limit](Channels in) {
    // Red takes no part in the decision.
    const uint32_t v = (int32_t(in.g) >= limit) & (int32_t(in.b) >= limit) ? 255u : 0u;
    return Channels{v, v, v, 255};
  });
}
