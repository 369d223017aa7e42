// The 3-D lookup job: the class's functions, the per-pixel rule and its
// vector rows, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "jobs/lut3d.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "jobs/job_instance.h"
#include "jobs/lut3d.h"
#include "registrationclient/registration_check.h"
// clang-format on

#ifndef QVL_JOBS_LUT3D_KERNEL
#define QVL_JOBS_LUT3D_KERNEL
namespace {

// Doubles between one table node and the next along each axis.
constexpr int64_t kRedStride = kLut3DTableSide * kLut3DTableSide * 3;
constexpr int64_t kGreenStride = kLut3DTableSide * 3;
constexpr int64_t kBlueStride = 3;
// Channel values between two lattice nodes; the last node used is 15.
constexpr uint32_t kNodeSpacing = 17;
constexpr uint32_t kLastLowerNode = 14;

// Where a channel value lies on one axis of the lattice: the offset of its
// lower node in the table, the offset from it to the upper node (0 at the
// last node), and the fraction of the way between them.
struct AxisCell {
  int64_t offset;
  int64_t step;
  double fraction;
};

struct Lut3DKernel {
  Lut3DKernel(const double* table) : table(table) {
    for (uint32_t c = 0; c < 256; ++c) {
      const uint32_t lower = c / kNodeSpacing;
      const uint32_t upper = std::min(lower, kLastLowerNode) + 1;
      const double fraction = static_cast<double>(c - kNodeSpacing * lower) / 17.0;
      red[c] = {lower * kRedStride, (upper - lower) * kRedStride, fraction};
      green[c] = {lower * kGreenStride, (upper - lower) * kGreenStride, fraction};
      blue[c] = {lower * kBlueStride, (upper - lower) * kBlueStride, fraction};
    }
  }

  // Below 0.0, and a value that is no number, give 0; above 255.0 gives
  // 255; anything else is cut toward zero.
  static uint32_t ByteOf(double value) {
    if (!(value >= 0.0)) return 0;
    return value > 255.0 ? 255u : static_cast<uint32_t>(value);
  }

  // The tetrahedron of the cell that holds the colour: the axes in the
  // order of their fractions, ties settled by the order of the tests, and
  // the weights of its four corners summed from the left.
  template <PixelLayout D>
  uint32_t Map(Channels in) const {
    const AxisCell &r = red[in.r], &g = green[in.g], &b = blue[in.b];
    const AxisCell *first, *second, *third;
    if (r.fraction > g.fraction) {
      if (g.fraction > b.fraction) {
        first = &r, second = &g, third = &b;
      } else if (r.fraction > b.fraction) {
        first = &r, second = &b, third = &g;
      } else {
        first = &b, second = &r, third = &g;
      }
    } else if (b.fraction > g.fraction) {
      first = &b, second = &g, third = &r;
    } else if (b.fraction > r.fraction) {
      first = &g, second = &b, third = &r;
    } else {
      first = &g, second = &r, third = &b;
    }
    const double w1 = 1.0 - first->fraction, w2 = first->fraction - second->fraction,
                 w3 = second->fraction - third->fraction, w4 = third->fraction;
    const double* c000 = table + r.offset + g.offset + b.offset;
    const double* c1 = c000 + first->step;
    const double* c2 = c1 + second->step;
    const double* c111 = c000 + r.step + g.step + b.step;
    uint32_t out[3];
    for (int x = 0; x < 3; ++x) out[x] = ByteOf(w1 * c000[x] + w2 * c1[x] + w3 * c2[x] + w4 * c111[x]);
    return OpaquePixel<D>(out[0], out[1], out[2]);
  }

  template <PixelLayout S, PixelLayout D>
  void PixelRow(const uint32_t* source, uint32_t* destination, int64_t width) const {
    if (D == PixelLayout::Unknown) return;
    for (int64_t column = 0; column < width; ++column) destination[column] = Map<D>(ReadAt<S>(source, column));
  }

  template <PixelLayout S, PixelLayout D>
  VectorRow<Lut3DKernel> VectorRowAt(VectorLevel level) const;

  const double* table;
  AxisCell red[256], green[256], blue[256];
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

#if HWY_TARGET != HWY_SCALAR
// As many pixels a block as the target has 32-bit lanes. The lattice cell
// is found in integers: the lower node c / 17 is c * 241 >> 12 for every
// byte c, k = c - 17 lower, and the axes compare as their k. The tetrahedron
// is chosen lane by lane with the rule's tests; then each half of the block
// has its fractions k / 17.0 divided in double lanes, its corners read from
// the table a pixel at a time, and its sums made in the rule's order, each
// operation rounded on its own.
template <PixelLayout S, PixelLayout D>
int64_t Lut3DVectorRow(const uint32_t* source, uint32_t* destination, int64_t width, const Lut3DKernel& kernel) {
  const hn::ScalableTag<uint32_t> du;
  const hn::RebindToSigned<decltype(du)> di;
  const hn::Half<decltype(di)> dh;
  const hn::Rebind<double, decltype(dh)> df;
  const hn::Rebind<uint32_t, decltype(df)> du32;
  const hn::Rebind<int32_t, decltype(df)> di32;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du)), half = static_cast<int64_t>(hn::Lanes(df));
  const auto one = hn::Set(df, 1.0), zero = hn::Zero(df), limit = hn::Set(df, 255.0), seventeen = hn::Set(df, 17.0);
  const auto reciprocal = hn::Set(du, 241u), nodeSpacing = hn::Set(du, kNodeSpacing),
             lastLower = hn::Set(du, kLastLowerNode), oneNode = hn::Set(du, 1u);
  const double* table = kernel.table;
  // A corner's red, green and blue, and the red of the next node as a
  // fourth lane where the target has four (every corner Run reads has a
  // next node in the table).
  const hn::CappedTag<double, 4> dc;
  // The cell of each lane's channel on its axis, in 32-bit lanes: the
  // offset of the lower node, the step to the upper one, and k.
  struct Axis {
    hn::Vec<decltype(di)> offset, step, beyond;
  };
  const auto axisOf = [&](auto channel, uint32_t stride) {
    const auto lower = hn::ShiftRight<12>(hn::Mul(channel, reciprocal));
    const auto upper = hn::Add(hn::Min(lower, lastLower), oneNode);
    const auto strideVector = hn::Set(du, stride);
    return Axis{hn::BitCast(di, hn::Mul(lower, strideVector)),
                hn::BitCast(di, hn::Mul(hn::Sub(upper, lower), strideVector)),
                hn::BitCast(di, hn::Sub(channel, hn::Mul(lower, nodeSpacing)))};
  };
  // k / 17.0 divided in double lanes is the rule's quotient, rounded once.
  const auto fractionOf = [&](auto beyond) { return hn::Div(hn::PromoteTo(df, beyond), seventeen); };
  const auto byteOf = [&](auto value) {
    const auto held = hn::Min(hn::IfThenElseZero(hn::Ge(value, zero), value), limit);
    return hn::BitCast(du32, hn::DemoteTo(di32, held));
  };
  // A chunk of pixels goes in three passes: the cells and weights of every
  // block, the sums pixel by pixel, the bytes block by block. A scalar load
  // right behind the vector store that holds it waits for the store to
  // reach the cache, as does a vector load behind scalar stores; between
  // passes the stores have long arrived.
  constexpr int64_t kChunkPixels = 64;
  HWY_ALIGN int32_t corner[4][kChunkPixels];
  HWY_ALIGN double weight[4][kChunkPixels];
  HWY_ALIGN double sums[4 * kChunkPixels];
  int64_t column = 0;
  while (column + lanes <= width) {
    const int64_t chunk = std::min(kChunkPixels, (width - column) / lanes * lanes);
    for (int64_t block = 0; block < chunk; block += lanes) {
      const auto words = hn::LoadU(du, source + column + block);
      const Axis r = axisOf(RedOf<S>(words), kRedStride), g = axisOf(GreenOf<S>(words), kGreenStride),
                 b = axisOf(BlueOf<S>(words), kBlueStride);
      const auto redOverGreen = hn::Gt(r.beyond, g.beyond), greenOverBlue = hn::Gt(g.beyond, b.beyond),
                 redOverBlue = hn::Gt(r.beyond, b.beyond), blueOverGreen = hn::Gt(b.beyond, g.beyond),
                 blueOverRed = hn::Gt(b.beyond, r.beyond);
      // The first, second and third axis of the tetrahedron, per lane.
      const auto firstOf = [&](auto red, auto green, auto blue) {
        return hn::IfThenElse(redOverGreen, hn::IfThenElse(hn::Or(greenOverBlue, redOverBlue), red, blue),
                              hn::IfThenElse(blueOverGreen, blue, green));
      };
      const auto secondOf = [&](auto red, auto green, auto blue) {
        return hn::IfThenElse(redOverGreen,
                              hn::IfThenElse(greenOverBlue, green, hn::IfThenElse(redOverBlue, blue, red)),
                              hn::IfThenElse(blueOverGreen, green, hn::IfThenElse(blueOverRed, blue, red)));
      };
      const auto thirdOf = [&](auto red, auto green, auto blue) {
        return hn::IfThenElse(redOverGreen, hn::IfThenElse(greenOverBlue, blue, green),
                              hn::IfThenElse(hn::Or(blueOverGreen, blueOverRed), red, blue));
      };
      const auto i0 = hn::Add(hn::Add(r.offset, g.offset), b.offset);
      const auto i1 = hn::Add(i0, firstOf(r.step, g.step, b.step));
      hn::Store(i0, di, corner[0] + block);
      hn::Store(i1, di, corner[1] + block);
      hn::Store(hn::Add(i1, secondOf(r.step, g.step, b.step)), di, corner[2] + block);
      hn::Store(hn::Add(i0, hn::Add(hn::Add(r.step, g.step), b.step)), di, corner[3] + block);
      const auto k1 = firstOf(r.beyond, g.beyond, b.beyond), k2 = secondOf(r.beyond, g.beyond, b.beyond),
                 k3 = thirdOf(r.beyond, g.beyond, b.beyond);
      const auto storeWeights = [&](auto beyond1, auto beyond2, auto beyond3, int64_t at) {
        const auto f1 = fractionOf(beyond1), f2 = fractionOf(beyond2), f3 = fractionOf(beyond3);
        hn::Store(hn::Sub(one, f1), df, weight[0] + at);
        hn::Store(hn::Sub(f1, f2), df, weight[1] + at);
        hn::Store(hn::Sub(f2, f3), df, weight[2] + at);
        hn::Store(f3, df, weight[3] + at);
      };
      storeWeights(hn::LowerHalf(dh, k1), hn::LowerHalf(dh, k2), hn::LowerHalf(dh, k3), block);
      storeWeights(hn::UpperHalf(dh, k1), hn::UpperHalf(dh, k2), hn::UpperHalf(dh, k3), block + half);
    }
    // The corners are read as they lie, a corner's three outputs side by
    // side: each pixel's four corners take four loads instead of twelve
    // gathered lanes, and the sums come back to a lane a pixel through the
    // interleaved load.
    for (int64_t pixel = 0; pixel < chunk; ++pixel) {
      for (size_t x = 0; x < 4; x += hn::Lanes(dc)) {
        const auto at = [&](int k) { return hn::LoadU(dc, table + corner[k][pixel] + x); };
        const auto by = [&](int k) { return hn::Set(dc, weight[k][pixel]); };
        const auto sum = hn::Add(hn::Add(hn::Add(hn::Mul(by(0), at(0)), hn::Mul(by(1), at(1))), hn::Mul(by(2), at(2))),
                                 hn::Mul(by(3), at(3)));
        hn::Store(sum, dc, sums + 4 * pixel + x);
      }
    }
    for (int64_t block = 0; block < chunk; block += half) {
      hn::Vec<decltype(df)> red, green, blue, unused;
      hn::LoadInterleaved4(df, sums + 4 * block, red, green, blue, unused);
      hn::StoreU(OpaqueWords<D>(byteOf(red), byteOf(green), byteOf(blue)), du32, destination + column + block);
    }
    column += chunk;
  }
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <PixelLayout S, PixelLayout D>
VectorRow<Lut3DKernel> Lut3DKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, Lut3DVectorRow<S, D>);
}

Lut3DData* DataOf(REALobjectStruct* instance) { return JobData<Lut3DData>(instance, gLut3DClassDefinition); }

bool InTable(uint32_t r, uint32_t g, uint32_t b, uint32_t x) {
  const uint32_t side = kLut3DTableSide;
  return r < side && g < side && b < side && x < 3;
}

}  // namespace

const REALclassDefinition* gLut3DClassDefinition = nullptr;

void Lut3DClassConstructor(REALobjectStruct*) {}

void Lut3DClassDestructor(REALobjectStruct* instance) {
  RegistrationCheck();
  Lut3DData* data = DataOf(instance);
  if (!data) return;
  ReleasePictureField(data->SourcePicture);
  ReleasePictureField(data->DestinationPicture);
}

double GetPMX(REALobjectStruct* instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x) {
  const Lut3DData* data = DataOf(instance);
  return data && InTable(r, g, b, x) ? data->Table[r][g][b][x] : 0.0;
}

void SetPMX(REALobjectStruct* instance, uint32_t r, uint32_t g, uint32_t b, uint32_t x, double value) {
  Lut3DData* data = DataOf(instance);
  if (data && InTable(r, g, b, x)) data->Table[r][g][b][x] = value;
}

namespace lut3d {

bool Run(REALobjectStruct* instance) {
  Lut3DData* data = DataOf(instance);
  if (!data) return false;
  ReleasePictureField(data->DestinationPicture);
  if (!data->SourcePicture) return false;
  const JobRectangle rectangle{data->MinX, data->MinY, data->MaxX, data->MaxY};
  const Lut3DKernel kernel(&data->Table[0][0][0][0]);
  const FrameRun run =
      RunFrame(data->SourcePicture, {RegistrationCheckAt::Never, WriterFrom::Reader}, kernel,
               [&rectangle](int64_t width, int64_t height) { return rectangle.AreaIn(width, height); });
  data->DestinationPicture = run.result;
  return run.walked;
}

}  // namespace lut3d
#endif
