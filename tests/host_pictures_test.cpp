// The host's pictures: what new pictures hold, how their storage is locked,
// and that the reference counts the balance check relies on are kept.
#include <gtest/gtest.h>

#include "qvl/bitmap_context.h"
#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

template <class Fn>
Fn Entry(const char* name) {
  return reinterpret_cast<Fn>(qvlhost::Resolver()(name));
}

class HostPictureTest : public LayoutTest {};

TEST_P(HostPictureTest, NewPictureIsOpaqueWhiteWithoutAlpha) {
  auto newPicture = Entry<REALNewPictureFn>("newPicture");
  qvlhost::OwnedPicture picture(newPicture(3, 2, 32));
  ASSERT_TRUE(picture);
  EXPECT_FALSE(qvlhost::HasAlphaChannel(picture));
  uint32_t white = GetParam().kind == qvlhost::Storage::CoreGraphics ? 0xFFFFFFFFu : 0x00FFFFFFu;
  EXPECT_EQ(white, qvlhost::PixelWord(picture, 2, 1));
  EXPECT_EQ(72, qvlhost::HorizontalResolution(picture));
  EXPECT_EQ(nullptr, newPicture(0, 5, 32));
}

TEST_P(HostPictureTest, ConstructedPictureIsTransparentWithAlpha) {
  auto newInstance = Entry<REALnewInstanceFn>("PluginNewInstance");
  auto loadMethod = Entry<REALLoadObjectMethodFn>("REALLoadObjectMethod");
  qvlhost::OwnedObject object(newInstance("Picture"));
  auto constructor = reinterpret_cast<void (*)(REALobjectStruct*, int64_t, int64_t)>(
      loadMethod(object, "Constructor(width as integer, height as integer)"));
  ASSERT_TRUE(constructor);
  constructor(object, 4, 3);
  auto* picture = static_cast<REALpictureStruct*>(object.get());
  EXPECT_TRUE(qvlhost::HasAlphaChannel(picture));
  EXPECT_EQ(4, qvlhost::PictureWidth(picture));
  EXPECT_EQ(0, qvlhost::PixelRgba(picture, 3, 2).a);
}

TEST_P(HostPictureTest, DescriptionLocksOnlyInItsOwnStorage) {
  auto lock = Entry<REALLockPictureDescriptionFn>("REALLockPictureDescription");
  auto unlock = Entry<REALUnlockPictureDescriptionFn>("unlockPictureDescription");
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(5, 4));
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
    EXPECT_EQ(20u, context->bytesPerRow);
  }
  unlock(picture);
}

QVL_INSTANTIATE_LAYOUTS(HostPictureTest);

}  // namespace
