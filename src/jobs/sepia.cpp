// The sepia job: the class's functions, the per-pixel rule and its vector
// rows, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jobs/sepia.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "jobs/job_instance.h"
#include "jobs/sepia.h"
#include "registrationclient/registration_check.h"
// clang-format on

#ifndef QVL_JOBS_SEPIA_KERNEL
#define QVL_JOBS_SEPIA_KERNEL
namespace {

// Products and sums of the grey are made in 32 bits and wrap as the
// processor's do; signed overflow is kept out of C++ by unsigned steps.
inline int32_t WrappingAdd32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
inline int32_t WrappingMul32(int32_t a, int32_t b) {
  return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

// A factor as a 10-bit fixed-point weight, cut toward zero. A factor whose
// weight lies beyond 32 bits takes the nearest end of that range, and one
// that is no number weighs 0.
int32_t WeightOf(double factor) {
  const double scaled = factor * 1024.0;
  if (!(scaled == scaled)) return 0;
  if (scaled >= 2147483647.0) return INT32_MAX;
  if (scaled <= -2147483648.0) return INT32_MIN;
  return static_cast<int32_t>(scaled);
}

struct SepiaKernel {
  int32_t weightRed, weightGreen, weightBlue;
  int32_t offsetRed, offsetGreen, offsetBlue;

  // Lowered to 255 first, then raised to 0.
  static uint32_t Clamped(int32_t value) {
    if (value >= 255) value = 255;
    return value <= 0 ? 0u : static_cast<uint32_t>(value);
  }

  Channels operator()(Channels in) const {
    const int32_t sum = WrappingAdd32(WrappingAdd32(WrappingMul32(static_cast<int32_t>(in.b), weightBlue),
                                                    WrappingMul32(static_cast<int32_t>(in.g), weightGreen)),
                                      WrappingMul32(static_cast<int32_t>(in.r), weightRed));
    const int32_t grey = sum / 1024;
    return {Clamped(WrappingAdd32(grey, offsetRed)), Clamped(WrappingAdd32(grey, offsetGreen)),
            Clamped(WrappingAdd32(grey, offsetBlue)), 0};
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    MapRowOpaque<S, D>(source, destination, width, *this);
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<SepiaKernel> VectorRowAt(VectorLevel level) const;
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
// As many pixels a block as the target has 32-bit lanes, all in 32-bit
// integers: lane multiplies and adds wrap as the rule's do, and the
// division by 1024 adds 1023 to a negative sum before the arithmetic shift.
// With weights of 16 bits (kNarrow) no product and no sum wraps, and blue
// with green, then red, go through multiply-adds of 16-bit pairs, which take
// less work than 32-bit multiplies.
template <PixelLayout S, PixelLayout D, bool kNarrow>
int64_t SepiaVectorRow(const uint32_t* source, uint32_t* destination, int64_t width, const SepiaKernel& kernel) {
  const hn::ScalableTag<int32_t> di;
  const hn::RebindToUnsigned<decltype(di)> du;
  const hn::Repartition<int16_t, decltype(di)> d16;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(di));
  const auto weightRed = hn::Set(di, kernel.weightRed), weightGreen = hn::Set(di, kernel.weightGreen),
             weightBlue = hn::Set(di, kernel.weightBlue);
  const auto pairOf = [&](int32_t low, int32_t high) {
    return hn::BitCast(d16, hn::Set(du, (uint32_t(low) & 0xFFFFu) | (uint32_t(high) << 16)));
  };
  const auto blueGreenWeights = pairOf(kernel.weightBlue, kernel.weightGreen), redWeight = pairOf(kernel.weightRed, 0);
  const auto offsetRed = hn::Set(di, kernel.offsetRed), offsetGreen = hn::Set(di, kernel.offsetGreen),
             offsetBlue = hn::Set(di, kernel.offsetBlue);
  const auto roundUp = hn::Set(di, 1023), zero = hn::Zero(di), limit = hn::Set(di, 255);
  const auto clamped = [&](auto value) { return hn::BitCast(du, hn::Max(hn::Min(value, limit), zero)); };
  const auto sumOf = [&](auto red, auto green, auto blue) {
    if constexpr (kNarrow) {
      auto upper = zero;
      const auto blueGreen = hn::BitCast(d16, hn::Or(blue, hn::ShiftLeft<16>(green)));
      const auto lower = hn::ReorderWidenMulAccumulate(di, blueGreen, blueGreenWeights, zero, upper);
      return hn::RearrangeToOddPlusEven(
          hn::ReorderWidenMulAccumulate(di, hn::BitCast(d16, red), redWeight, lower, upper), upper);
    } else {
      return hn::Add(hn::Add(hn::Mul(blue, weightBlue), hn::Mul(green, weightGreen)), hn::Mul(red, weightRed));
    }
  };
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto words = hn::LoadU(du, source + column);
    const auto sum =
        sumOf(hn::BitCast(di, RedOf<S>(words)), hn::BitCast(di, GreenOf<S>(words)), hn::BitCast(di, BlueOf<S>(words)));
    const auto grey = hn::ShiftRight<10>(hn::Add(sum, hn::And(hn::ShiftRight<31>(sum), roundUp)));
    const auto out = OpaqueWords<D>(clamped(hn::Add(grey, offsetRed)), clamped(hn::Add(grey, offsetGreen)),
                                    clamped(hn::Add(grey, offsetBlue)));
    hn::StoreU(out, du, destination + column);
  }
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

bool FitsIn16Bits(int32_t weight) { return weight >= INT16_MIN && weight <= INT16_MAX; }

template <PixelLayout S, PixelLayout D>
VectorRow<SepiaKernel> SepiaKernel::VectorRowAt(VectorLevel level) const {
  if (FitsIn16Bits(weightRed) && FitsIn16Bits(weightGreen) && FitsIn16Bits(weightBlue)) {
    return QVL_VECTOR_ROW(level, SepiaVectorRow<S, D, true>);
  }
  return QVL_VECTOR_ROW(level, SepiaVectorRow<S, D, false>);
}

PictureSepiaData* DataOf(REALobjectStruct* instance) {
  return JobData<PictureSepiaData>(instance, gPictureSepiaClassDefinition);
}

constexpr double kDefaultFactorRed = 0.299, kDefaultFactorGreen = 0.587, kDefaultFactorBlue = 0.114;

double Factor(REALobjectStruct* instance, double PictureSepiaData::*factor) {
  const PictureSepiaData* data = DataOf(instance);
  return data ? data->*factor : 0.0;
}

void SetFactor(REALobjectStruct* instance, double PictureSepiaData::*factor, double value) {
  if (PictureSepiaData* data = DataOf(instance)) data->*factor = value;
}

}  // namespace

const REALclassDefinition* gPictureSepiaClassDefinition = nullptr;

void PictureSepiaClassConstructor(REALobjectStruct* instance) {
  PictureSepiaData* data = DataOf(instance);
  if (!data) return;
  data->factorRed = kDefaultFactorRed;
  data->factorGreen = kDefaultFactorGreen;
  data->factorBlue = kDefaultFactorBlue;
}

void PictureSepiaClassDestructor(REALobjectStruct* instance) {
  RegistrationCheck();
  PictureSepiaData* data = DataOf(instance);
  if (!data) return;
  ReleasePictureField(data->SourcePicture);
  ReleasePictureField(data->DestinationPicture);
}

double GetFactorR(REALobjectStruct* instance, int64_t) { return Factor(instance, &PictureSepiaData::factorRed); }
void SetFactorR(REALobjectStruct* instance, int64_t, double value) {
  SetFactor(instance, &PictureSepiaData::factorRed, value);
}
double GetFactorG(REALobjectStruct* instance, int64_t) { return Factor(instance, &PictureSepiaData::factorGreen); }
void SetFactorG(REALobjectStruct* instance, int64_t, double value) {
  SetFactor(instance, &PictureSepiaData::factorGreen, value);
}
double GetFactorB(REALobjectStruct* instance, int64_t) { return Factor(instance, &PictureSepiaData::factorBlue); }
void SetFactorB(REALobjectStruct* instance, int64_t, double value) {
  SetFactor(instance, &PictureSepiaData::factorBlue, value);
}

namespace sepia {

// The previous DestinationPicture is overwritten without being given back:
// a second run leaves the first result's reference held.
bool Run(REALobjectStruct* instance) {
  PictureSepiaData* data = DataOf(instance);
  if (!data || !data->SourcePicture) return false;
  const JobRectangle rectangle{data->MinX, data->MinY, data->MaxX, data->MaxY};
  const SepiaKernel kernel{WeightOf(data->factorRed),
                           WeightOf(data->factorGreen),
                           WeightOf(data->factorBlue),
                           static_cast<int32_t>(data->SepiaRed),
                           static_cast<int32_t>(data->SepiaGreen),
                           static_cast<int32_t>(data->SepiaBlue)};
  const FrameRun run =
      RunFrame(data->SourcePicture, {RegistrationCheckAt::Never, WriterFrom::Size}, kernel,
               [&rectangle](int64_t width, int64_t height) { return rectangle.AreaIn(width, height); });
  if (run.walked) data->DestinationPicture = run.result;
  return run.walked;
}

}  // namespace sepia
#endif
