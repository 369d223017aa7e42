// The host's pictures: what new pictures hold and how their storage is locked.
#include <gtest/gtest.h>

#include "qvl/bitmap_context.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

// The host's method of the object with this declaration, as a function of that signature.
template <class Fn>
Fn Method(void* object, const char* declaration) {
  return reinterpret_cast<Fn>(
      HostEntry<REALLoadObjectMethodFn>("REALLoadObjectMethod")(static_cast<REALobjectStruct*>(object), declaration));
}

using HostPictureTest = LayoutTest;

TEST_P(HostPictureTest, NewPictureIsOpaqueWhiteAndConstructedOneTransparent) {
  auto newPicture = HostEntry<REALNewPictureFn>("newPicture");
  qvlhost::OwnedPicture picture(newPicture(3, 2, 32));
  ASSERT_TRUE(picture);
  EXPECT_FALSE(qvlhost::HasAlphaChannel(picture));
  uint32_t white = GetParam().kind == qvlhost::Storage::CoreGraphics ? 0xFFFFFFFFu : 0x00FFFFFFu;
  EXPECT_EQ(white, qvlhost::PixelWord(picture, 2, 1));
  EXPECT_EQ(72, qvlhost::HorizontalResolution(picture));
  EXPECT_EQ(nullptr, newPicture(0, 5, 32));

  qvlhost::OwnedObject object(HostEntry<REALnewInstanceFn>("PluginNewInstance")("Picture"));
  auto constructor =
      Method<void (*)(REALobjectStruct*, int64_t, int64_t)>(object, "Constructor(width as integer, height as integer)");
  ASSERT_TRUE(constructor);
  constructor(object, 4, 3);
  auto* constructed = static_cast<REALpictureStruct*>(object.get());
  EXPECT_TRUE(qvlhost::HasAlphaChannel(constructed));
  EXPECT_EQ(4, qvlhost::PictureWidth(constructed));
  EXPECT_EQ(0, qvlhost::PixelRgba(constructed, 3, 2).a);
}

TEST_P(HostPictureTest, DescriptionLocksOnlyInItsOwnStorage) {
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(5, 4));
  auto lock = HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription");
  bool coreGraphics = GetParam().kind == qvlhost::Storage::CoreGraphics;
  REALpictureDescription description{};
  EXPECT_EQ(coreGraphics, lock(picture, &description, pictureCGBitmapContext));
  EXPECT_EQ(!coreGraphics, lock(picture, &description, pictureGDImagePtr));
  EXPECT_EQ(1, qvlhost::DescriptionLockCount(picture));
  EXPECT_EQ(5, description.width);
  EXPECT_EQ(4, description.height);
  if (coreGraphics) {
    auto* context = static_cast<QVLBitmapContext*>(description.pictureData);
    EXPECT_EQ(GetParam().alphaInfo, context->alphaInfo);
    EXPECT_EQ(uint64_t(20 + kRowPadding), context->bytesPerRow);
  }
  HostEntry<REALUnlockPictureDescriptionFn>("unlockPictureDescription")(picture);
}

QVL_INSTANTIATE_LAYOUTS(HostPictureTest);

}  // namespace
