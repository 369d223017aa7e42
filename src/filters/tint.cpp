#include "filters/tint.h"

#include "filters/filter_frame.h"
#include "filters/tint_rows.h"

namespace {

// Each channel of a host colour divided by 255.0.
ColourFractions FractionsOf(uint32_t colour) {
  return {static_cast<double>((colour >> 16) & 0xFF) / 255.0, static_cast<double>((colour >> 8) & 0xFF) / 255.0,
          static_cast<double>(colour & 0xFF) / 255.0};
}

}  // namespace

REALpictureStruct* TintPicture(REALpictureStruct* source, uint32_t GreyBase, uint32_t SepiaBase) {
  const TintColours colours{FractionsOf(GreyBase), FractionsOf(SepiaBase)};
  [[maybe_unused]] const VectorLevel level = VectorLevelInUse();
  return RunFilterFrame(
      source, RegistrationCheckAt::AfterAcquire,
      [&](auto sourceLayout, auto destinationLayout, const uint32_t* from, uint32_t* to, int64_t width) {
        constexpr PixelLayout S = decltype(sourceLayout)::value;
        constexpr PixelLayout D = decltype(destinationLayout)::value;
#if defined(QVL_X86_VECTOR_ROWS)
        if constexpr (kVectorLayouts<S, D>) {
          if (level == VectorLevel::Avx512) return TintRowVector<S, D>(from, to, width, colours);
          if (level == VectorLevel::Avx2) return TintRowAvx2<S, D>(from, to, width, colours);
        }
#endif
        MapRowOpaque<S, D>(from, to, width, [&colours](Channels in) { return TintPixel(in, colours); });
      });
}

REALpictureStruct* SaturationPicture(REALpictureStruct* pic, int64_t Amount) {
  const SaturationSteps steps(Amount);
#if defined(QVL_X86_VECTOR_ROWS)
  const bool vectorRows = steps.narrow() && VectorLevelInUse() >= VectorLevel::Avx2;
#endif
  return RunFilterFrame(
      pic, RegistrationCheckAt::First,
      [&](auto sourceLayout, auto destinationLayout, const uint32_t* from, uint32_t* to, int64_t width) {
        constexpr PixelLayout S = decltype(sourceLayout)::value;
        constexpr PixelLayout D = decltype(destinationLayout)::value;
#if defined(QVL_X86_VECTOR_ROWS)
        if constexpr (kVectorLayouts<S, D>) {
          if (vectorRows) return SaturationRowVector<S, D>(from, to, width, steps);
        }
#endif
        MapRowOpaque<S, D>(from, to, width, [&steps](Channels in) { return steps.Pixel(in); });
      });
}
