// ThresholdQVL called by its declaration through the loaded shared library,
// on both registration routes, gives the picture of a direct call of the
// statically linked ThresholdQVL. The library and the linked objects are two
// copies of the plug-in in one process.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "filters/threshold.h"
#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::TypeKind;
using qvlhost::Value;

struct Case {
  const char* route;
  double hostVersion;
  qvlhost::OwnerKind ownerKind;
  qvlhost::Storage storage;
};

// One Core Graphics layout and gd on each route.
std::vector<Case> Cases() {
  std::vector<qvlhost::Storage> layouts = qvlhost::Storage::SevenLayouts();
  return {{"module2024", 2024.03, qvlhost::OwnerKind::Module, layouts.front()},
          {"module2024", 2024.03, qvlhost::OwnerKind::Module, layouts.back()},
          {"extension2012", 2012.0, qvlhost::OwnerKind::ClassExtension, layouts[3]},
          {"extension2012", 2012.0, qvlhost::OwnerKind::ClassExtension, layouts.back()}};
}

class ThresholdThroughLibrary : public PluginTest, public testing::WithParamInterface<Case> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = GetParam().hostVersion;
    config.storage = GetParam().storage;
    if (config.storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
    return config;
  }

  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
    std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods("ThresholdQVL");
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].ownerKind, GetParam().ownerKind);
    EXPECT_TRUE(found[0].IsExtension());
    method_ = found[0];
  }

  REALpictureStruct* CallByDeclaration(REALpictureStruct* source, int64_t threshold) {
    std::vector<Value> arguments = {Value::Handle(TypeKind::Picture, source), Value::Integer(threshold)};
    Value result;
    std::string error;
    EXPECT_TRUE(qvlhost::CallMethod(method_, arguments, &result, &error)) << error;
    EXPECT_EQ(result.kind, TypeKind::Picture);
    return static_cast<REALpictureStruct*>(result.handle);
  }

  qvlhost::SurfaceMethod method_;
};

// Colours, alpha and a few exact threshold edges in one picture.
REALpictureStruct* MixedPicture() {
  REALpictureStruct* picture = qvlhost::NewAlphaPicture(37, 5);
  for (int64_t y = 0; y < 5; ++y) {
    for (int64_t x = 0; x < 37; ++x) {
      auto level = static_cast<uint8_t>(x * 7);
      qvlhost::SetPixelColour(picture, x, y,
                              qvlhost::Rgba{static_cast<uint8_t>(255 - level), level, static_cast<uint8_t>(y * 60),
                                            static_cast<uint8_t>(y == 4 ? 255 : 40 + 50 * y)});
    }
  }
  return picture;
}

TEST_P(ThresholdThroughLibrary, GivesTheDirectCallsPicture) {
  OwnedPicture sample(qvlhost::ReadPictureFile(QVL_SOURCE_DIR "/samples/gradient.png"));
  OwnedPicture mixed(MixedPicture());
  ASSERT_NE(sample.get(), nullptr);
  for (REALpictureStruct* source : {sample.get(), mixed.get()}) {
    for (int64_t threshold : {-5, 0, 128, 1000}) {
      SCOPED_TRACE("threshold " + std::to_string(threshold));
      OwnedPicture actual(CallByDeclaration(source, threshold));
      OwnedPicture expected(ThresholdQVL(source, threshold));
      ASSERT_TRUE(actual && expected);
      ASSERT_EQ(qvlhost::PictureWidth(actual), qvlhost::PictureWidth(expected));
      ASSERT_EQ(qvlhost::PictureHeight(actual), qvlhost::PictureHeight(expected));
      EXPECT_EQ(qvlhost::HasAlphaChannel(actual), qvlhost::HasAlphaChannel(expected));
      EXPECT_EQ(qvlhost::PictureStorage(actual).Name(), qvlhost::PictureStorage(expected).Name());
      int64_t differences = 0;
      for (int64_t y = 0; y < qvlhost::PictureHeight(expected); ++y) {
        for (int64_t x = 0; x < qvlhost::PictureWidth(expected); ++x) {
          differences += qvlhost::PixelWord(actual, x, y) != qvlhost::PixelWord(expected, x, y);
        }
      }
      EXPECT_EQ(differences, 0);
    }
  }
  EXPECT_EQ(CallByDeclaration(nullptr, 128), nullptr);
}

std::string CaseName(const testing::TestParamInfo<Case>& info) {
  return std::string(info.param.route) + "_" + info.param.storage.Name();
}

INSTANTIATE_TEST_SUITE_P(RoutesAndLayouts, ThresholdThroughLibrary, testing::ValuesIn(Cases()), CaseName);

}  // namespace
