// The built shared library as a host meets it: one export, the surface that
// REALPluginMain registers by the route the host's version decides, and the
// analysis rows with ByRef and memory block parameters called through the
// host by their parsed declarations.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "frame/tables.h"
#include "plugin_loader.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
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
};

// The library loaded into a host whose rows carry padding beyond their pixels.
class LoadedLibrary : public PluginTest, public testing::WithParamInterface<Route> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = HostWith(GetParam().version, qvlhost::Storage::CG(2));
    config.extraBytesPerRow = 4;
    return config;
  }

  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }

  // Calls the one method of that name with these arguments, the picture first.
  Value Call(const std::string& name, std::vector<Value>& arguments) {
    const std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods(name);
    Value result;
    std::string error;
    if (found.size() != 1)
      ADD_FAILURE() << found.size() << " methods named " << name;
    else
      EXPECT_TRUE(qvlhost::CallMethod(found[0], arguments, &result, &error)) << found[0].text << ": " << error;
    return result;
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

Value Of(REALpictureStruct* picture) { return Value::Handle(TypeKind::Picture, picture); }

// Grey on the left, coloured on the right, one white pixel.
Rgba SampleColour(int64_t x, int64_t y) {
  if (x == 6 && y == 4) return {255, 255, 255, 255};
  const auto level = static_cast<uint8_t>(40 * y + x);
  return x < 3 ? Rgba{level, level, level, 255} : Rgba{level, static_cast<uint8_t>(level + 20 * x), 9, 255};
}

TEST_P(LoadedLibrary, ByRefResultsAreTheDirectOnes) {
  OwnedPicture picture(PaintedPicture(7, 5, SampleColour));
  const Value nilBlock = Value::Nil(TypeKind::MemoryBlock);
  std::vector<Value> blocks = {Of(picture), nilBlock, nilBlock, nilBlock, Value::Integer(0)};
  Call("CountColorsQVL", blocks);
  REALmemoryBlockStruct* direct[3] = {};
  int64_t count = 0;
  CountColorsQVL(picture, &direct[0], &direct[1], &direct[2], &count);
  EXPECT_EQ(blocks[4].integer, count);
  for (int i = 0; i < 3; ++i) {
    auto* called = static_cast<REALmemoryBlockStruct*>(blocks[i + 1].handle);
    ASSERT_TRUE(called && direct[i]);
    EXPECT_EQ(std::memcmp(qvlhost::MemoryBlockData(called), qvlhost::MemoryBlockData(direct[i]), 1024), 0);
    qvlhost::ReleaseValue(blocks[i + 1]);
    qvlhost::Release(reinterpret_cast<REALobjectStruct*>(direct[i]));
  }
  // The needle is the sample's 2 x 2 corner at (4, 2), so that crossed x and y show.
  OwnedPicture needle(PaintedPicture(2, 2, [](int64_t x, int64_t y) { return SampleColour(x + 4, y + 2); }));
  std::vector<Value> arguments = {Of(picture), Of(needle), Value::Integer(-1), Value::Integer(-1), Value::Integer(1)};
  const Value found = Call("FindPictureQVL", arguments);
  int64_t x = -1, y = -1;
  EXPECT_EQ(found.integer, FindPicture(picture, needle, &x, &y, 1, 0, 3));
  EXPECT_EQ(std::make_pair(x, y), std::make_pair(int64_t(4), int64_t(2)));
  EXPECT_EQ(arguments[2].integer, x);
  EXPECT_EQ(arguments[3].integer, y);
}

INSTANTIATE_TEST_SUITE_P(Routes, LoadedLibrary,
                         testing::Values(Route{"module2024", 2024.03, "PicturePictureExtensionQVL",
                                               qvlhost::OwnerKind::Module},
                                         Route{"extension2012", 2012.0, "Picture", qvlhost::OwnerKind::ClassExtension}),
                         [](const testing::TestParamInfo<Route>& info) { return std::string(info.param.name); });

}  // namespace
