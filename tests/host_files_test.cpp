// Picture files: every layout survives a round trip through PNG, and a read
// picture has an alpha channel exactly when its file has one.
#include <gd.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/plugin_test.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;

std::string TempPath(const std::string& name) { return ::testing::TempDir() + "/qvl_host_" + name; }

int Distance(uint8_t a, uint8_t b) { return std::abs(int(a) - int(b)); }

class PictureFileTest : public LayoutTest {};

// Opaque colours come back exactly; alpha goes through gd's 7 bits, so partly
// transparent pixels may move by a step or two.
TEST_P(PictureFileTest, PngRoundTripKeepsColoursAndAlpha) {
  const Rgba colours[] = {{255, 0, 0, 255}, {12, 200, 77, 255}, {0, 0, 0, 0}, {90, 180, 240, 128}, {1, 2, 3, 254}};
  OwnedPicture original(qvlhost::NewAlphaPicture(5, 2));
  ASSERT_TRUE(original);
  for (int x = 0; x < 5; ++x) {
    qvlhost::SetPixelColour(original, x, 0, colours[x]);
    qvlhost::SetPixelColour(original, x, 1, Rgba{colours[x].r, colours[x].g, colours[x].b, 255});
  }
  std::string path = TempPath(GetParam().Name() + ".png");
  ASSERT_TRUE(qvlhost::WritePictureFile(original, path));
  OwnedPicture read(qvlhost::ReadPictureFile(path));
  std::remove(path.c_str());
  ASSERT_TRUE(read);
  EXPECT_TRUE(qvlhost::HasAlphaChannel(read));
  EXPECT_EQ(GetParam().Name(), qvlhost::PictureStorage(read).Name());
  for (int y = 0; y < 2; ++y) {
    for (int x = 0; x < 5; ++x) {
      Rgba before = qvlhost::PixelColour(original, x, y), after = qvlhost::PixelColour(read, x, y);
      SCOPED_TRACE("pixel " + std::to_string(x) + "," + std::to_string(y));
      EXPECT_LE(Distance(before.a, after.a), 2);
      int tolerance = before.a == 255 ? 0 : before.a >= 128 ? 3 : 255;
      EXPECT_LE(Distance(before.r, after.r), tolerance);
      EXPECT_LE(Distance(before.g, after.g), tolerance);
      EXPECT_LE(Distance(before.b, after.b), tolerance);
    }
  }
}

TEST_P(PictureFileTest, OpaquePictureStaysOpaqueInEveryFormat) {
  OwnedPicture original(qvlhost::NewPicture(4, 3));
  for (int x = 0; x < 4; ++x) qvlhost::SetPixelColour(original, x, 1, Rgba{200, 100, 50, 255});
  for (const char* extension : {".png", ".gif", ".jpg"}) {
    SCOPED_TRACE(extension);
    std::string path = TempPath(GetParam().Name() + extension);
    ASSERT_TRUE(qvlhost::WritePictureFile(original, path));
    OwnedPicture read(qvlhost::ReadPictureFile(path));
    std::remove(path.c_str());
    ASSERT_TRUE(read);
    EXPECT_FALSE(qvlhost::HasAlphaChannel(read));
    EXPECT_EQ(4, qvlhost::PictureWidth(read));
    Rgba colour = qvlhost::PixelColour(read, 2, 1);
    int tolerance = std::string(extension) == ".jpg" ? 12 : 0;
    EXPECT_LE(Distance(colour.r, 200), tolerance);
    EXPECT_LE(Distance(colour.g, 100), tolerance);
    EXPECT_LE(Distance(colour.b, 50), tolerance);
    EXPECT_EQ(255, colour.a);
  }
}

TEST_P(PictureFileTest, GifKeepsTransparentPixels) {
  OwnedPicture original(qvlhost::NewAlphaPicture(3, 1));
  qvlhost::SetPixelColour(original, 0, 0, Rgba{10, 20, 30, 255});
  std::string path = TempPath(GetParam().Name() + ".gif");
  ASSERT_TRUE(qvlhost::WritePictureFile(original, path));
  OwnedPicture read(qvlhost::ReadPictureFile(path));
  std::remove(path.c_str());
  ASSERT_TRUE(read);
  EXPECT_TRUE(qvlhost::HasAlphaChannel(read));
  EXPECT_EQ(255, qvlhost::PixelColour(read, 0, 0).a);
  if (GetParam().kind != qvlhost::Storage::CoreGraphics || GetParam().alphaInfo <= 4) {
    EXPECT_EQ(0, qvlhost::PixelColour(read, 2, 0).a);
  }
}

QVL_INSTANTIATE_LAYOUTS(PictureFileTest);

// Files written by gd itself, so that each way of carrying alpha is met.
std::string WriteWithGd(gdImagePtr image, const std::string& name) {
  std::string path = TempPath(name);
  FILE* file = std::fopen(path.c_str(), "wb");
  if (name.find(".gif") != std::string::npos) {
    gdImageGif(image, file);
  } else {
    gdImagePng(image, file);
  }
  std::fclose(file);
  gdImageDestroy(image);
  return path;
}

class FileAlphaTest : public PluginTest {
 protected:
  bool ReadHasAlpha(const std::string& path) {
    OwnedPicture picture(qvlhost::ReadPictureFile(path));
    std::remove(path.c_str());
    EXPECT_TRUE(picture);
    return qvlhost::HasAlphaChannel(picture);
  }
};

TEST_F(FileAlphaTest, AlphaChannelExactlyWhenTheFileHasOne) {
  gdImagePtr rgb = gdImageCreateTrueColor(2, 2);
  EXPECT_FALSE(ReadHasAlpha(WriteWithGd(rgb, "rgb.png")));

  gdImagePtr rgba = gdImageCreateTrueColor(2, 2);
  gdImageSaveAlpha(rgba, 1);
  EXPECT_TRUE(ReadHasAlpha(WriteWithGd(rgba, "rgba.png")));

  gdImagePtr paletteWithTransparency = gdImageCreate(2, 2);
  gdImageColorTransparent(paletteWithTransparency, gdImageColorAllocate(paletteWithTransparency, 1, 2, 3));
  EXPECT_TRUE(ReadHasAlpha(WriteWithGd(paletteWithTransparency, "trns.png")));

  gdImagePtr plainPalette = gdImageCreate(2, 2);
  gdImageColorAllocate(plainPalette, 1, 2, 3);
  EXPECT_FALSE(ReadHasAlpha(WriteWithGd(plainPalette, "palette.png")));

  gdImagePtr gifWithTransparency = gdImageCreate(2, 2);
  gdImageColorTransparent(gifWithTransparency, gdImageColorAllocate(gifWithTransparency, 1, 2, 3));
  EXPECT_TRUE(ReadHasAlpha(WriteWithGd(gifWithTransparency, "transparent.gif")));

  gdImagePtr plainGif = gdImageCreate(2, 2);
  gdImageColorAllocate(plainGif, 1, 2, 3);
  EXPECT_FALSE(ReadHasAlpha(WriteWithGd(plainGif, "plain.gif")));
}

TEST_F(FileAlphaTest, UnreadableFilesGiveNil) {
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(TempPath("missing.png")));
  std::string path = TempPath("garbage.png");
  FILE* file = std::fopen(path.c_str(), "wb");
  std::fputs("\x89PNG\r\n\x1a\nnot really", file);
  std::fclose(file);
  EXPECT_EQ(nullptr, qvlhost::ReadPictureFile(path));
  std::remove(path.c_str());
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(1, 1));
  EXPECT_FALSE(qvlhost::WritePictureFile(picture, TempPath("picture.bmp")));
}

}  // namespace
