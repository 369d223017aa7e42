// The built shared library as a host meets it: one export, and the surface
// that REALPluginMain registers by the route the host's version decides.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/tables.h"
#include "plugin_loader.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::TypeKind;
using qvlhost::Value;

std::string CommandOutput(const std::string& command) {
  std::string output;
  FILE* pipe = popen(command.c_str(), "r");
  if (!pipe) return output;
  char buffer[256];
  while (fgets(buffer, sizeof buffer, pipe)) output += buffer;
  pclose(pipe);
  return output;
}

// The names of the lines "ADDRESS TYPE NAME" that nm prints.
std::vector<std::string> DefinedDynamicSymbols(const std::string& library) {
  std::vector<std::string> names;
  std::string output = CommandOutput("nm -D --defined-only '" + library + "' 2>/dev/null");
  size_t start = 0;
  while (start < output.size()) {
    size_t end = output.find('\n', start);
    if (end == std::string::npos) end = output.size();
    std::string line = output.substr(start, end - start);
    size_t lastSpace = line.rfind(' ');
    if (lastSpace != std::string::npos) names.push_back(line.substr(lastSpace + 1));
    start = end + 1;
  }
  return names;
}

TEST(SharedLibrary, ExportsREALPluginMainAlone) {
  if (std::system("command -v nm >/dev/null 2>&1") != 0) GTEST_SKIP() << "nm is not installed";
  EXPECT_EQ(DefinedDynamicSymbols(QVL_PLUGIN_PATH), std::vector<std::string>{"REALPluginMain"});
}

class LoadedLibrary : public PluginTest {
 protected:
  void Load(double hostVersion) {
    qvlhost::CurrentConfig().version = hostVersion;
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }

  const qvlhost::SurfaceOwner* Owner(const std::string& name) {
    owners_ = qvlhost::Surface();
    for (const auto& owner : owners_) {
      if (owner.name == name) return &owner;
    }
    return nullptr;
  }

  std::vector<qvlhost::SurfaceOwner> owners_;
};

// One method record per function and per setter of the extension's rows.
size_t ExtensionRecordCount() {
  size_t count = 0;
  for (const REALmethodDefinition& row : pictureMethods) count += (row.function ? 1 : 0) + (row.setter ? 1 : 0);
  return count;
}

TEST_F(LoadedLibrary, RecentHostGetsTheGeneratedExtensionModule) {
  Load(2024.03);
  EXPECT_TRUE(qvlhost::RegisteredClassExtensions().empty());
  const qvlhost::SurfaceOwner* module = Owner("PicturePictureExtensionQVL");
  ASSERT_NE(module, nullptr);
  EXPECT_EQ(module->kind, qvlhost::OwnerKind::Module);
  EXPECT_EQ(module->methods.size(), ExtensionRecordCount());
  for (const qvlhost::SurfaceMethod& method : module->methods) {
    SCOPED_TRACE(method.text);
    EXPECT_TRUE(method.parseError.empty()) << method.parseError;
    EXPECT_TRUE(method.IsExtension());
    EXPECT_EQ(method.callForm.parameters.front().type.kind, TypeKind::Picture);
    EXPECT_NE(method.text.find("(extends ref as Picture"), std::string::npos);
    EXPECT_TRUE(method.flags & scopeGlobal);
  }
}

TEST_F(LoadedLibrary, OldHostGetsTheClassExtension) {
  Load(2012.0);
  EXPECT_EQ(Owner("PicturePictureExtensionQVL"), nullptr);
  const qvlhost::SurfaceOwner* extension = Owner("Picture");
  ASSERT_NE(extension, nullptr);
  EXPECT_EQ(extension->kind, qvlhost::OwnerKind::ClassExtension);
  EXPECT_EQ(extension->methods.size(), ExtensionRecordCount());
  for (const qvlhost::SurfaceMethod& method : extension->methods) {
    SCOPED_TRACE(method.text);
    EXPECT_EQ(method.text.find("extends"), std::string::npos);  // the host adds the picture itself
    EXPECT_TRUE(method.IsExtension());
  }
  SCOPED_TRACE("no Debugging property outside the mobile module");
  qvlhost::SurfaceProperty debugging;
  EXPECT_FALSE(qvlhost::FindProperty("Picture", "Debugging", &debugging));
}

// The hidden shared property switches the library's tracing, not that of the
// linked objects: the two are separate copies.
TEST_F(LoadedLibrary, DebuggingPropertyReachesTheLibrarysSwitch) {
  Load(2024.03);
  qvlhost::SurfaceProperty debugging;
  ASSERT_TRUE(qvlhost::FindProperty("PicturePictureExtensionQVL", "Debugging", &debugging));
  EXPECT_TRUE(debugging.shared);
  EXPECT_EQ(debugging.type.kind, TypeKind::Boolean);
  Value value;
  std::string error;
  ASSERT_TRUE(qvlhost::GetProperty(debugging, nullptr, &value, &error)) << error;
  EXPECT_EQ(value.integer, 0);
  ASSERT_TRUE(qvlhost::SetProperty(debugging, nullptr, Value::Boolean(true), &error)) << error;
  ASSERT_TRUE(qvlhost::GetProperty(debugging, nullptr, &value, &error)) << error;
  EXPECT_EQ(value.integer, 1);
  EXPECT_FALSE(DebuggingEnabled);
  ASSERT_TRUE(qvlhost::SetProperty(debugging, nullptr, Value::Boolean(false), &error)) << error;
}

}  // namespace
