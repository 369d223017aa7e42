#include "filters/tint.h"

#include <array>

#include "filters/filter_frame.h"

namespace {

struct ColourFractions {
  double red, green, blue;
};

// Each channel of a host colour divided by 255.0.
ColourFractions FractionsOf(uint32_t colour) {
  return {static_cast<double>((colour >> 16) & 0xFF) / 255.0, static_cast<double>((colour >> 8) & 0xFF) / 255.0,
          static_cast<double>(colour & 0xFF) / 255.0};
}

// t * s is at most 765, so the conversion is always in range.
inline uint32_t TintChannel(double grey, double sepia) {
  const int32_t value = static_cast<int32_t>(grey * sepia);
  return value >= 255 ? 255u : static_cast<uint32_t>(value);
}

// The difference from the grey, d in -255..255, scaled by k / 255 with a
// division that truncates toward zero, kept to its low 32 bits. It depends
// on d and the call alone, so it is worked out once per call for every d.
class SaturationSteps {
 public:
  explicit SaturationSteps(int64_t Amount) {
    const uint64_t k = static_cast<uint64_t>(Amount) + 255u;
    for (int d = -255; d <= 255; ++d) {
      const int64_t scaled = static_cast<int64_t>(static_cast<uint64_t>(static_cast<int64_t>(d)) * k);
      steps_[d + 255] = static_cast<uint32_t>(scaled / 255);
    }
  }

  // y plus the step of c - y, added in 32 bits, limited to 0..255.
  uint32_t operator()(uint32_t c, uint32_t y) const {
    const int32_t value = static_cast<int32_t>(steps_[c - y + 255] + y);
    return value < 0 ? 0u : value >= 255 ? 255u : static_cast<uint32_t>(value);
  }

 private:
  std::array<uint32_t, 511> steps_;
};

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, uint32_t GreyBase, uint32_t SepiaBase) {
  const ColourFractions weight = FractionsOf(GreyBase);
  const ColourFractions tint = FractionsOf(SepiaBase);
  return RunColourFilter(source, RegistrationCheckAt::AfterAcquire, [weight, tint](Channels in) {
    const double grey = static_cast<double>(in.r) * weight.red + static_cast<double>(in.g) * weight.green +
                        static_cast<double>(in.b) * weight.blue;
    return Channels{TintChannel(grey, tint.red), TintChannel(grey, tint.green), TintChannel(grey, tint.blue), 0};
  });
}

REALpictureStruct* SaturationPicture(REALpictureStruct* pic, int64_t Amount) {
  const SaturationSteps steps(Amount);
  return RunColourFilter(pic, RegistrationCheckAt::First, [&steps](Channels in) {
    const uint32_t y = (in.r + in.b + 2 * in.g) >> 2;
    return Channels{steps(in.r, y), steps(in.g, y), steps(in.b, y), 0};
  });
}
