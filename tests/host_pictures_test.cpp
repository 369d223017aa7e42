// The host's pictures: what new pictures hold, their row padding, that every
// layout survives a file round trip, and that a read picture has an alpha
// channel exactly when its file has one.
#include <gd.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "filters/invert.h"
#include "filters/threshold.h"
#include "qvl/entry_points.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

std::string TempPath(const std::string& name) { return ::testing::TempDir() + "/qvl_host_" + name; }

// Writes the picture, reads it back and removes the file.
REALpictureStruct* RoundTrip(REALpictureStruct* picture, const std::string& name) {
  std::string path = TempPath(name);
  EXPECT_TRUE(qvlhost::WritePictureFile(picture, path)) << name;
  REALpictureStruct* read = qvlhost::ReadPictureFile(path);
  std::remove(path.c_str());
  return read;
}

void ExpectNear(Rgba expected, Rgba actual, int colourTolerance, int alphaTolerance) {
  EXPECT_LE(
      std::max({std::abs(expected.r - actual.r), std::abs(expected.g - actual.g), std::abs(expected.b - actual.b)}),
      colourTolerance);
  EXPECT_LE(std::abs(expected.a - actual.a), alphaTolerance);
}

using HostPictureTest = LayoutTest;

TEST_P(HostPictureTest, NewPictureIsOpaqueWhiteAndConstructedOneTransparent) {
  auto newPicture = HostEntry<REALNewPictureFn>("newPicture");
  OwnedPicture picture(newPicture(3, 2, 32));
  ASSERT_TRUE(picture);
  EXPECT_FALSE(qvlhost::HasAlphaChannel(picture));
  EXPECT_EQ(GetParam().kind == qvlhost::Storage::CoreGraphics ? 0xFFFFFFFFu : 0x00FFFFFFu,
            qvlhost::PixelWord(picture, 2, 1));
  EXPECT_EQ(72, qvlhost::HorizontalResolution(picture));
  EXPECT_EQ(nullptr, newPicture(0, 5, 32));

  qvlhost::OwnedObject object(HostEntry<REALnewInstanceFn>("PluginNewInstance")("Picture"));
  auto constructor = reinterpret_cast<void (*)(REALobjectStruct*, int64_t, int64_t)>(HostEntry<REALLoadObjectMethodFn>(
      "REALLoadObjectMethod")(object, "Constructor(width as integer, height as integer)"));
  ASSERT_TRUE(constructor);
  constructor(object, 4, 3);
  auto* constructed = static_cast<REALpictureStruct*>(object.get());
  EXPECT_TRUE(qvlhost::HasAlphaChannel(constructed));
  EXPECT_EQ(4, qvlhost::PictureWidth(constructed));
  EXPECT_EQ(0, qvlhost::PixelRgba(constructed, 3, 2).a);
}

// Opaque colours come back exactly; alpha goes through gd's 7 bits, so partly
// transparent pixels may move by a step or two.
TEST_P(HostPictureTest, RoundTripsKeepColoursAndAlpha) {
  const Rgba colours[] = {{255, 0, 0, 255}, {12, 200, 77, 255}, {0, 0, 0, 0}, {90, 180, 240, 128}, {1, 2, 3, 254}};
  OwnedPicture alpha(qvlhost::NewAlphaPicture(5, 1));
  for (int x = 0; x < 5; ++x) qvlhost::SetPixelColour(alpha, x, 0, colours[x]);
  OwnedPicture png(RoundTrip(alpha, GetParam().Name() + ".png"));
  ASSERT_TRUE(png);
  EXPECT_TRUE(qvlhost::HasAlphaChannel(png));
  EXPECT_EQ(GetParam().Name(), qvlhost::PictureStorage(png).Name());
  for (int x = 0; x < 5; ++x) {
    Rgba before = qvlhost::PixelColour(alpha, x, 0);
    ExpectNear(before, qvlhost::PixelColour(png, x, 0), before.a == 255 ? 0 : before.a >= 128 ? 3 : 255, 2);
  }

  OwnedPicture opaque(qvlhost::NewPicture(4, 3));
  for (int x = 0; x < 4; ++x) qvlhost::SetPixelColour(opaque, x, 1, Rgba{200, 100, 50, 255});
  for (const std::string extension : {".png", ".gif", ".jpg"}) {
    SCOPED_TRACE(extension);
    OwnedPicture read(RoundTrip(opaque, GetParam().Name() + extension));
    ASSERT_TRUE(read);
    EXPECT_FALSE(qvlhost::HasAlphaChannel(read));
    EXPECT_EQ(4, qvlhost::PictureWidth(read));
    ExpectNear(Rgba{200, 100, 50, 255}, qvlhost::PixelColour(read, 2, 1), extension == ".jpg" ? 12 : 0, 0);
  }
}

QVL_INSTANTIATE_LAYOUTS(HostPictureTest);

using HostFileTest = PluginTest;

TEST_F(HostFileTest, AlphaChannelExactlyWhenTheFileHasOne) {
  const struct {
    const char* name;
    bool trueColour, saveAlpha, transparentIndex, hasAlpha;
  } cases[] = {{"rgb.png", true, false, false, false},        {"rgba.png", true, true, false, true},
               {"trns.png", false, false, true, true},        {"palette.png", false, false, false, false},
               {"transparent.gif", false, false, true, true}, {"plain.gif", false, false, false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    gdImagePtr image = c.trueColour ? gdImageCreateTrueColor(2, 2) : gdImageCreate(2, 2);
    if (c.saveAlpha) gdImageSaveAlpha(image, 1);
    if (!c.trueColour) {
      int colour = gdImageColorAllocate(image, 1, 2, 3);
      if (c.transparentIndex) gdImageColorTransparent(image, colour);
    }
    std::string path = TempPath(c.name);
    FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    std::string(c.name).find(".gif") != std::string::npos ? gdImageGif(image, file) : gdImagePng(image, file);
    std::fclose(file);
    gdImageDestroy(image);
    OwnedPicture picture(qvlhost::ReadPictureFile(path));
    std::remove(path.c_str());
    ASSERT_TRUE(picture);
    EXPECT_EQ(c.hasAlpha, qvlhost::HasAlphaChannel(picture));
  }
}

TEST_F(HostFileTest, UnreadableFilesGiveNil) {
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(TempPath("missing.png")));
  std::string path = TempPath("garbage.png");
  FILE* file = std::fopen(path.c_str(), "wb");
  std::fputs("\x89PNG\r\n\x1a\nnot really", file);
  std::fclose(file);
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(path));
  std::remove(path.c_str());
  OwnedPicture picture(qvlhost::NewPicture(1, 1));
  EXPECT_FALSE(qvlhost::WritePictureFile(picture, TempPath("picture.bmp")));
}

// The plug-in reads 32-bit pixels as words, so the host starts every such row
// on a whole word whatever padding is asked; the padding changes no result.
TEST_F(HostFileTest, PaddingOf32BitRowsIsRoundedToWholeWords) {
  OwnedPicture plain(VariedAlphaPicture(5, 3));
  OwnedPicture inverted(InvertPicture2(plain)), threshold(ThresholdQVL(plain, 100));
  for (int64_t padding : {1, 2, 3}) {
    SCOPED_TRACE(padding);
    qvlhost::CurrentConfig().extraBytesPerRow = padding;
    OwnedPicture padded(VariedAlphaPicture(5, 3));
    const int64_t bytesPerRow = 5 * 4 + int64_t(qvlhost::RowPadding(padded, 0).size());
    EXPECT_EQ(0, bytesPerRow % 4);
    EXPECT_LE(5 * 4 + padding, bytesPerRow);
    ExpectSamePicture(OwnedPicture(InvertPicture2(padded)), inverted);
    ExpectSamePicture(OwnedPicture(ThresholdQVL(padded, 100)), threshold);
  }
  qvlhost::CurrentConfig().extraBytesPerRow = 0;
}

}  // namespace
