// The analysis rows with ByRef and memory block parameters in the built
// library, on both registration routes: a call through the host by each row's
// parsed declaration gives what the statically linked function gives.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "plugin_loader.h"
#include "support/painted_picture.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

using qvlhost::OwnedPicture;
using qvlhost::Rgba;
using qvlhost::TypeKind;
using qvlhost::Value;

class AnalysisDeclarations : public PluginTest, public testing::WithParamInterface<double> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config = PluginTest::HostConfig();
    config.version = GetParam();
    config.extraBytesPerRow = 4;
    return config;
  }

  void SetUp() override {
    PluginTest::SetUp();
    std::string error;
    ASSERT_TRUE(qvlhost::LoadPlugin(QVL_PLUGIN_PATH, &error)) << error;
  }

  // Calls the method of that name that takes these arguments, the picture
  // first: the overload with as many parameters, or the only one.
  Value Call(const std::string& name, std::vector<Value>& arguments) {
    const std::vector<qvlhost::SurfaceMethod> found = qvlhost::FindMethods(name);
    for (const qvlhost::SurfaceMethod& method : found) {
      if (found.size() > 1 && method.callForm.parameters.size() != arguments.size()) continue;
      Value result;
      std::string error;
      EXPECT_TRUE(qvlhost::CallMethod(method, arguments, &result, &error)) << method.text << ": " << error;
      return result;
    }
    ADD_FAILURE() << "not registered: " << name << " with " << arguments.size() << " arguments";
    return Value();
  }
};

Value Of(REALpictureStruct* picture) { return Value::Handle(TypeKind::Picture, picture); }
Value Int(int64_t value) { return Value::Integer(value); }

// Grey on the left, coloured on the right, one white pixel.
Rgba SampleColour(int64_t x, int64_t y) {
  if (x == 6 && y == 4) return {255, 255, 255, 255};
  const auto level = static_cast<uint8_t>(40 * y + x);
  return x < 3 ? Rgba{level, level, level, 255} : Rgba{level, static_cast<uint8_t>(level + 20 * x), 9, 255};
}

TEST_P(AnalysisDeclarations, ByRefResultsAreTheDirectOnes) {
  OwnedPicture picture(PaintedPicture(7, 5, SampleColour));
  std::vector<Value> blocks = {Of(picture), Value::Nil(TypeKind::MemoryBlock), Value::Nil(TypeKind::MemoryBlock),
                               Value::Nil(TypeKind::MemoryBlock), Int(0)};
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
  // The needle is the sample's 2 x 2 corner at (4, 2).
  OwnedPicture needle(PaintedPicture(2, 2, [](int64_t x, int64_t y) { return SampleColour(x + 4, y + 2); }));
  std::vector<Value> arguments = {Of(picture), Of(needle), Int(-1), Int(-1), Int(1)};
  const Value found = Call("FindPictureQVL", arguments);
  int64_t x = -1, y = -1;
  EXPECT_EQ(found.integer, FindPicture(picture, needle, &x, &y, 1, 0, 3));
  EXPECT_EQ(arguments[2].integer, x);
  EXPECT_EQ(arguments[3].integer, y);
}

// The generated module and the class extension.
INSTANTIATE_TEST_SUITE_P(Routes, AnalysisDeclarations, testing::Values(2024.03, 2012.0),
                         [](const testing::TestParamInfo<double>& info) {
                           return info.param > 2013 ? std::string("module") : std::string("extension");
                         });

}  // namespace
