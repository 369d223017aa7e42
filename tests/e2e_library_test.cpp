// The built shared library as a host meets it: one export, the surface that
// REALPluginMain registers by the route the host's version decides, and
// ThresholdQVL called by its declaration giving the picture of a direct call
// of the statically linked ThresholdQVL (two copies of the plug-in in one process).
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "filters/threshold.h"
#include "frame/tables.h"
#include "plugin_loader.h"
#include "support/every_pixel.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::TypeKind;
using qvlhost::Value;

TEST(SharedLibrary, ExportsREALPluginMainAlone) {
  if (std::system("command -v nm >/dev/null 2>&1") != 0) GTEST_SKIP() << "nm is not installed";
  FILE* pipe = popen("nm -D --defined-only --format=just-symbols '" QVL_PLUGIN_PATH "' 2>&1", "r");
  ASSERT_NE(pipe, nullptr);
  std::string symbols;
  for (int c; (c = fgetc(pipe)) != EOF;) symbols += char(c);
  pclose(pipe);
  EXPECT_EQ(symbols, "REALPluginMain\n");
}

struct Route {
  const char* name;
  double version;
  const char* owner;
  qvlhost::OwnerKind kind;
  qvlhost::Storage storage;
};

class LoadedLibrary : public PluginTest, public testing::WithParamInterface<Route> {
 protected:
  qvlhost::Config HostConfig() override { return HostWith(GetParam().version, GetParam().storage); }

  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }
};

// Every record of the real tables is registered and readable on both routes.
TEST_P(LoadedLibrary, HostVersionChoosesModuleOrClassExtension) {
  size_t records = 0;  // one method record per function and per setter of the extension's rows
  for (const REALmethodDefinition& row : pictureMethods) records += (row.function ? 1 : 0) + (row.setter ? 1 : 0);
  std::vector<qvlhost::SurfaceOwner> owners = qvlhost::Surface();
  auto owner = std::find_if(owners.begin(), owners.end(), [](const auto& o) { return o.name == GetParam().owner; });
  ASSERT_NE(owner, owners.end());
  EXPECT_EQ(owner->kind, GetParam().kind);
  EXPECT_EQ(owner->methods.size(), records);
  for (const qvlhost::SurfaceMethod& method : owner->methods) {
    EXPECT_TRUE(method.parseError.empty()) << method.text << ": " << method.parseError;
    EXPECT_TRUE(method.IsExtension()) << method.text;
  }
}

TEST_P(LoadedLibrary, ThresholdByDeclarationGivesTheDirectCallsPicture) {
  std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods("ThresholdQVL");
  ASSERT_EQ(found.size(), 1u);
  auto callByDeclaration = [&](REALpictureStruct* source, int64_t threshold) {
    std::vector<Value> arguments = {Value::Handle(TypeKind::Picture, source), Value::Integer(threshold)};
    Value result;
    std::string error;
    EXPECT_TRUE(qvlhost::CallMethod(found[0], arguments, &result, &error)) << error;
    EXPECT_EQ(result.kind, TypeKind::Picture);
    return static_cast<REALpictureStruct*>(result.handle);
  };
  OwnedPicture sample(qvlhost::ReadPictureFile(QVL_SOURCE_DIR "/samples/gradient.png"));
  OwnedPicture varied(VariedAlphaPicture(37, 5));
  for (REALpictureStruct* source : {sample.get(), varied.get()}) {
    for (int64_t threshold : {-5, 128, 1000}) {
      SCOPED_TRACE("threshold " + std::to_string(threshold));
      OwnedPicture actual(callByDeclaration(source, threshold)), expected(ThresholdQVL(source, threshold));
      ExpectSamePicture(actual, expected);
    }
  }
  EXPECT_EQ(callByDeclaration(nullptr, 128), nullptr);
}

// A Core Graphics layout on one route, gd on the other.
INSTANTIATE_TEST_SUITE_P(RoutesAndLayouts, LoadedLibrary,
                         testing::Values(Route{"module2024", 2024.03, "PicturePictureExtensionQVL",
                                               qvlhost::OwnerKind::Module, qvlhost::Storage::CG(1)},
                                         Route{"extension2012", 2012.0, "Picture", qvlhost::OwnerKind::ClassExtension,
                                               qvlhost::Storage::GD()}),
                         [](const testing::TestParamInfo<Route>& info) {
                           return std::string(info.param.name) + "_" + info.param.storage.Name();
                         });

}  // namespace
