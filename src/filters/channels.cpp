// Channel composition on the frame's walk of several sources in step: the
// rules per pixel and their vector rows, compiled once per target.
// This source includes itself once per target through foreach_target.h,
// so these lines stay in this order.
// clang-format off
#include "filters/vector_rows.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "filters/channels.cpp"
#include "hwy/foreach_target.h"  // IWYU pragma: keep
#include "hwy/highway.h"

#include "filters/layout_rows-inl.h"
#include "filters/channels.h"
// clang-format on

#ifndef QVL_FILTERS_CHANNELS_KERNELS
#define QVL_FILTERS_CHANNELS_KERNELS
#include <algorithm>

#include "binding/exceptions.h"

namespace {

enum class Channel { Red, Green, Blue };

// Each kernel's vector row: one pixel a lane, as many whole blocks of the
// row as fit; the per-pixel rule makes the rest.
template <class Kernel>
using TwoSourceRow = int64_t (*)(uint32_t*, const uint32_t*, const uint32_t*, int64_t, const Kernel&);

// The picture's pixel with one channel from the channel picture's pixel.
template <Channel replaced>
struct ReplaceChannelKernel {
  using VectorStepRow = TwoSourceRow<ReplaceChannelKernel>;
  template <PixelLayout D, PixelLayout S, PixelLayout C>
  VectorStepRow VectorRowAt(VectorLevel level) const;

  template <PixelLayout D, PixelLayout S, PixelLayout C>
  void PixelRow(uint32_t* destination, const uint32_t* picture, const uint32_t* channel, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      for (int64_t column = 0; column < width; ++column) {
        Channels out = ReadAt<S>(picture, column);
        const Channels from = ReadAt<C>(channel, column);
        if (replaced == Channel::Red) out.r = from.r;
        if (replaced == Channel::Green) out.g = from.g;
        if (replaced == Channel::Blue) out.b = from.b;
        destination[column] = OpaquePixel<D>(out.r, out.g, out.b);
      }
    }
  }
};

struct CombineKernel {
  using VectorStepRow = int64_t (*)(uint32_t*, const uint32_t*, const uint32_t*, const uint32_t*, int64_t,
                                    const CombineKernel&);
  template <PixelLayout D, PixelLayout R, PixelLayout G, PixelLayout B>
  VectorStepRow VectorRowAt(VectorLevel level) const;

  template <PixelLayout D, PixelLayout R, PixelLayout G, PixelLayout B>
  void PixelRow(uint32_t* destination, const uint32_t* red, const uint32_t* green, const uint32_t* blue,
                int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      for (int64_t column = 0; column < width; ++column) {
        destination[column] =
            OpaquePixel<D>(ReadAt<R>(red, column).r, ReadAt<G>(green, column).g, ReadAt<B>(blue, column).b);
      }
    }
  }
};

struct MergeKernel {
  using VectorStepRow = TwoSourceRow<MergeKernel>;
  template <PixelLayout D, PixelLayout S1, PixelLayout S2>
  VectorStepRow VectorRowAt(VectorLevel level) const;

  template <PixelLayout D, PixelLayout S1, PixelLayout S2>
  void PixelRow(uint32_t* destination, const uint32_t* first, const uint32_t* second, int64_t width) const {
    if constexpr (D != PixelLayout::Unknown) {
      for (int64_t column = 0; column < width; ++column) {
        const Channels a = ReadAt<S1>(first, column), b = ReadAt<S2>(second, column);
        destination[column] = OpaquePixel<D>(std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b));
      }
    }
  }
};

}  // namespace
#endif

HWY_BEFORE_NAMESPACE();
namespace {
namespace HWY_NAMESPACE {

// The scalar target, which no level uses, is not given rows.
#if HWY_TARGET != HWY_SCALAR
template <Channel replaced, PixelLayout D, PixelLayout S, PixelLayout C>
int64_t ReplaceChannelRow(uint32_t* destination, const uint32_t* picture, const uint32_t* channel, int64_t width,
                          const ReplaceChannelKernel<replaced>&) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto own = hn::LoadU(du, picture + column), from = hn::LoadU(du, channel + column);
    const auto red = replaced == Channel::Red ? RedOf<C>(from) : RedOf<S>(own);
    const auto green = replaced == Channel::Green ? GreenOf<C>(from) : GreenOf<S>(own);
    const auto blue = replaced == Channel::Blue ? BlueOf<C>(from) : BlueOf<S>(own);
    hn::StoreU(OpaqueWords<D>(red, green, blue), du, destination + column);
  }
  return column;
}

template <PixelLayout D, PixelLayout R, PixelLayout G, PixelLayout B>
int64_t CombineRow(uint32_t* destination, const uint32_t* red, const uint32_t* green, const uint32_t* blue,
                   int64_t width, const CombineKernel&) {
  const hn::ScalableTag<uint32_t> du;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto out = OpaqueWords<D>(RedOf<R>(hn::LoadU(du, red + column)), GreenOf<G>(hn::LoadU(du, green + column)),
                                    BlueOf<B>(hn::LoadU(du, blue + column)));
    hn::StoreU(out, du, destination + column);
  }
  return column;
}

// Sources of one layout: the larger of each byte, then the colour bits
// placed for the destination; otherwise channel by channel in 32-bit lanes.
template <PixelLayout D, PixelLayout S1, PixelLayout S2>
int64_t MergeRow(uint32_t* destination, const uint32_t* first, const uint32_t* second, int64_t width,
                 const MergeKernel&) {
  const hn::ScalableTag<uint32_t> du;
  const hn::Repartition<uint8_t, decltype(du)> d8;
  const int64_t lanes = static_cast<int64_t>(hn::Lanes(du));
  const auto colourBits = hn::Set(du, kColourBits<D>), opaqueBits = hn::Set(du, kLayout<D>.opaqueBits);
  int64_t column = 0;
  for (; column + lanes <= width; column += lanes) {
    const auto a = hn::LoadU(du, first + column), b = hn::LoadU(du, second + column);
    if constexpr (S1 == S2 && S1 == D) {
      const auto larger = hn::BitCast(du, hn::Max(hn::BitCast(d8, a), hn::BitCast(d8, b)));
      hn::StoreU(hn::Or(hn::And(larger, colourBits), opaqueBits), du, destination + column);
    } else {
      const auto out = OpaqueWords<D>(hn::Max(RedOf<S1>(a), RedOf<S2>(b)), hn::Max(GreenOf<S1>(a), GreenOf<S2>(b)),
                                      hn::Max(BlueOf<S1>(a), BlueOf<S2>(b)));
      hn::StoreU(out, du, destination + column);
    }
  }
  return column;
}
#endif

}  // namespace HWY_NAMESPACE
}  // namespace
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace {

template <Channel replaced>
template <PixelLayout D, PixelLayout S, PixelLayout C>
auto ReplaceChannelKernel<replaced>::VectorRowAt(VectorLevel level) const -> VectorStepRow {
  return QVL_VECTOR_ROW(level, ReplaceChannelRow<replaced, D, S, C>);
}

template <PixelLayout D, PixelLayout R, PixelLayout G, PixelLayout B>
CombineKernel::VectorStepRow CombineKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, CombineRow<D, R, G, B>);
}

template <PixelLayout D, PixelLayout S1, PixelLayout S2>
MergeKernel::VectorStepRow MergeKernel::VectorRowAt(VectorLevel level) const {
  return QVL_VECTOR_ROW(level, MergeRow<D, S1, S2>);
}

enum class CheckAfterWriter { No, Yes };

// A new picture of the size with the sources walked into it in step, or nil
// when it can't be made.
template <class Kernel, class... Readers>
REALpictureStruct* Compose(int64_t width, int64_t height, CheckAfterWriter check, const Kernel& kernel,
                           Readers&... readers) {
  PictureWriter writer;
  if (!writer.NewPictureWriter(width, height)) return nullptr;
  if (check == CheckAfterWriter::Yes) RegistrationCheck();
  WalkInStep(writer, kernel, readers...);
  return writer.RenderPictureWriter();
}

template <Channel replaced>
REALpictureStruct* ReplaceChannel(REALpictureStruct* pic, REALpictureStruct* channelPicture) {
  RegistrationCheck();
  if (!channelPicture) {
    RaiseException("NilObjectException", "The channel picture is nil.");
    return nullptr;
  }
  PictureReader picture(pic);
  if (!picture.picture) return nullptr;
  PictureReader channel(channelPicture);
  if (!channel.picture) return nullptr;
  if (channel.Height < picture.Height || channel.Width < picture.Width) return nullptr;
  return Compose(picture.Width, picture.Height, CheckAfterWriter::No, ReplaceChannelKernel<replaced>{}, picture,
                 channel);
}

bool SameSize(const PictureEditor& a, const PictureEditor& b) { return a.Width == b.Width && a.Height == b.Height; }

}  // namespace

REALpictureStruct* ReplaceRedChannel(REALpictureStruct* pic, REALpictureStruct* RedChannel) {
  return ReplaceChannel<Channel::Red>(pic, RedChannel);
}

REALpictureStruct* ReplaceGreenChannel(REALpictureStruct* pic, REALpictureStruct* GreenChannel) {
  return ReplaceChannel<Channel::Green>(pic, GreenChannel);
}

REALpictureStruct* ReplaceBlueChannel(REALpictureStruct* pic, REALpictureStruct* BlueChannel) {
  return ReplaceChannel<Channel::Blue>(pic, BlueChannel);
}

REALpictureStruct* CombinePicturesQVL(REALpictureStruct* red, REALpictureStruct* blue, REALpictureStruct* green) {
  RegistrationCheck();
  PictureReader redReader(red);
  if (!redReader.picture) return nullptr;
  PictureReader greenReader(green);
  if (!greenReader.picture) return nullptr;
  PictureReader blueReader(blue);
  if (!blueReader.picture) return nullptr;
  if (!SameSize(redReader, greenReader) || !SameSize(redReader, blueReader)) return nullptr;
  return Compose(redReader.Width, redReader.Height, CheckAfterWriter::No, CombineKernel{}, redReader, greenReader,
                 blueReader);
}

REALpictureStruct* MergePicture(REALpictureStruct* source1, REALpictureStruct* source2) {
  if (!source1 || !source2) return nullptr;
  PictureReader first(source1);
  if (!first.picture) return nullptr;
  PictureReader second(source2);
  if (!second.picture) return nullptr;
  if (!SameSize(first, second)) return nullptr;
  return Compose(first.Width, first.Height, CheckAfterWriter::Yes, MergeKernel{}, first, second);
}
#endif
