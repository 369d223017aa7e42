// The built shared library as a host meets it: one export, and the surface
// that REALPluginMain registers by the route the host's version decides.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "frame/tables.h"
#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

// The last word of each line "ADDRESS TYPE NAME" that nm prints.
std::vector<std::string> DefinedDynamicSymbols(const std::string& library) {
  std::vector<std::string> names;
  FILE* pipe = popen(("nm -D --defined-only '" + library + "' 2>/dev/null").c_str(), "r");
  if (!pipe) return names;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe)) {
    std::istringstream line(buffer);
    std::string word;
    while (line >> word) {
    }
    names.push_back(word);
  }
  pclose(pipe);
  return names;
}

TEST(SharedLibrary, ExportsREALPluginMainAlone) {
  if (std::system("command -v nm >/dev/null 2>&1") != 0) GTEST_SKIP() << "nm is not installed";
  EXPECT_EQ(DefinedDynamicSymbols(QVL_PLUGIN_PATH), std::vector<std::string>{"REALPluginMain"});
}

struct Route {
  double version;
  const char* owner;
  qvlhost::OwnerKind kind;
  const char* otherOwner;
  bool extendsInText;  // the class extension route leaves adding the picture to the host
};

class LoadedLibrary : public PluginTest, public testing::WithParamInterface<Route> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = GetParam().version;
    return config;
  }
};

TEST_P(LoadedLibrary, HostVersionChoosesModuleOrClassExtension) {
  std::string error;
  ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  size_t records = 0;  // one method record per function and per setter of the extension's rows
  for (const REALmethodDefinition& row : pictureMethods) records += (row.function ? 1 : 0) + (row.setter ? 1 : 0);
  std::vector<qvlhost::SurfaceOwner> owners = qvlhost::Surface();
  const qvlhost::SurfaceOwner* owner = nullptr;
  for (const auto& candidate : owners) {
    EXPECT_NE(candidate.name, GetParam().otherOwner);
    if (candidate.name == GetParam().owner) owner = &candidate;
  }
  ASSERT_NE(owner, nullptr);
  EXPECT_EQ(owner->kind, GetParam().kind);
  EXPECT_EQ(owner->methods.size(), records);
  for (const qvlhost::SurfaceMethod& method : owner->methods) {
    SCOPED_TRACE(method.text);
    EXPECT_TRUE(method.parseError.empty()) << method.parseError;
    EXPECT_TRUE(method.IsExtension());
    EXPECT_EQ(method.callForm.parameters.front().type.kind, qvlhost::TypeKind::Picture);
    EXPECT_EQ(method.text.find("(extends ref as Picture") != std::string::npos, GetParam().extendsInText);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Routes, LoadedLibrary,
    testing::Values(Route{2024.03, "PicturePictureExtensionQVL", qvlhost::OwnerKind::Module, "Picture", true},
                    Route{2012.0, "Picture", qvlhost::OwnerKind::ClassExtension, "PicturePictureExtensionQVL", false}));

}  // namespace
