// ThresholdQVL called by its declaration through the loaded shared library,
// on both registration routes, gives the picture of a direct call of the
// statically linked ThresholdQVL. The library and the linked objects are two
// copies of the plug-in in one process.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "filters/threshold.h"
#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::TypeKind;
using qvlhost::Value;

struct Route {
  const char* name;
  double hostVersion;
  qvlhost::OwnerKind ownerKind;
  const char* owner;
};

const Route kModuleRoute{"module2024", 2024.03, qvlhost::OwnerKind::Module, "PicturePictureExtensionQVL"};
const Route kExtensionRoute{"extension2012", 2012.0, qvlhost::OwnerKind::ClassExtension, "Picture"};

class ThresholdThroughLibrary : public PluginTest,
                                public testing::WithParamInterface<std::tuple<Route, qvlhost::Storage>> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = std::get<0>(GetParam()).hostVersion;
    config.storage = std::get<1>(GetParam());
    // Pictures are gd images in console applications, Core Graphics ones on the desktop.
    if (config.storage.kind != qvlhost::Storage::CoreGraphics) config.app = qvlhost::AppKind::Console;
    return config;
  }

  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }

  // The registered ThresholdQVL, checked to come by the expected route.
  qvlhost::SurfaceMethod Threshold() {
    std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods("ThresholdQVL");
    EXPECT_EQ(found.size(), 1u);
    if (found.empty()) return qvlhost::SurfaceMethod();
    const Route& route = std::get<0>(GetParam());
    EXPECT_EQ(found[0].ownerKind, route.ownerKind);
    EXPECT_EQ(found[0].owner, route.owner);
    EXPECT_TRUE(found[0].IsExtension());
    return found[0];
  }

  REALpictureStruct* CallByDeclaration(const qvlhost::SurfaceMethod& method, REALpictureStruct* source,
                                       int64_t threshold) {
    std::vector<Value> arguments = {Value::Handle(TypeKind::Picture, source), Value::Integer(threshold)};
    Value result;
    std::string error;
    EXPECT_TRUE(qvlhost::CallMethod(method, arguments, &result, &error)) << error;
    EXPECT_EQ(result.kind, TypeKind::Picture);
    return static_cast<REALpictureStruct*>(result.handle);
  }
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

void ExpectSamePicture(REALpictureStruct* actual, REALpictureStruct* expected) {
  ASSERT_NE(actual, nullptr);
  ASSERT_NE(expected, nullptr);
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

TEST_P(ThresholdThroughLibrary, GivesTheDirectCallsPicture) {
  qvlhost::SurfaceMethod method = Threshold();
  OwnedPicture sample(qvlhost::ReadPictureFile(QVL_SOURCE_DIR "/samples/gradient.png"));
  OwnedPicture mixed(MixedPicture());
  ASSERT_NE(sample.get(), nullptr);
  for (REALpictureStruct* source : {sample.get(), mixed.get()}) {
    for (int64_t threshold : {-5, 0, 100, 128, 255, 1000}) {
      SCOPED_TRACE("threshold " + std::to_string(threshold));
      OwnedPicture viaLibrary(CallByDeclaration(method, source, threshold));
      OwnedPicture direct(ThresholdQVL(source, threshold));
      ExpectSamePicture(viaLibrary, direct);
    }
  }
}

TEST_P(ThresholdThroughLibrary, NilPictureGivesNil) {
  EXPECT_EQ(CallByDeclaration(Threshold(), nullptr, 128), nullptr);
}

std::string CaseName(const testing::TestParamInfo<std::tuple<Route, qvlhost::Storage>>& info) {
  return std::string(std::get<0>(info.param).name) + "_" + std::get<1>(info.param).Name();
}

INSTANTIATE_TEST_SUITE_P(RoutesAndLayouts, ThresholdThroughLibrary,
                         testing::Combine(testing::Values(kModuleRoute, kExtensionRoute),
                                          testing::ValuesIn(qvlhost::Storage::SevenLayouts())),
                         CaseName);

}  // namespace
