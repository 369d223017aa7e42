// Channel composition on the frame's walk of several sources in step.
#include "filters/channels.h"

#include <algorithm>

#include "binding/exceptions.h"
#include "filters/filter_frame.h"

namespace {

enum class Channel { Red, Green, Blue };

// The picture's pixel with one channel from the channel picture's pixel.
template <Channel replaced>
struct ReplaceChannelKernel {
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
