// The built shared library as a host meets it: one export, and the surface
// that REALPluginMain registers by the route the host's version decides.
// What the loaded library's methods give shows in the qvl tool's tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/tables.h"
#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

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
};

class LoadedLibrary : public PluginTest, public testing::WithParamInterface<Route> {
 protected:
  qvlhost::Config HostConfig() override { return HostWith(GetParam().version, qvlhost::Storage::CG(2)); }
};

// Every record of the real tables is registered and readable on both routes.
TEST_P(LoadedLibrary, HostVersionChoosesModuleOrClassExtension) {
  std::string error;
  ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
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

INSTANTIATE_TEST_SUITE_P(Routes, LoadedLibrary,
                         testing::Values(Route{"module2024", 2024.03, "PicturePictureExtensionQVL",
                                               qvlhost::OwnerKind::Module},
                                         Route{"extension2012", 2012.0, "Picture", qvlhost::OwnerKind::ClassExtension}),
                         [](const testing::TestParamInfo<Route>& info) { return std::string(info.param.name); });

}  // namespace
