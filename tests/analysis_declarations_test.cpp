// The rows of the analysis and scroll methods in the built library, on both
// registration routes: a call through the host by each row's parsed
// declaration gives what the statically linked function gives.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "analysis/counting.h"
#include "analysis/search.h"
#include "analysis/uniformity.h"
#include "plugin_loader.h"
#include "scroll/scroll.h"
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

  // Calls the registered method of that name that takes these arguments
  // (the picture first): the overload with as many parameters, or the only
  // one, whose missing arguments take their defaults.
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

  Value Call(const std::string& name, std::vector<Value>&& arguments) { return Call(name, arguments); }
};

Value Of(REALpictureStruct* picture) { return Value::Handle(TypeKind::Picture, picture); }

// Grey on the left, coloured on the right, one white pixel.
REALpictureStruct* Sample() {
  return PaintedPicture(7, 5, [](int64_t x, int64_t y) {
    if (x == 6 && y == 4) return Rgba{255, 255, 255, 255};
    const auto level = static_cast<uint8_t>(40 * y + x);
    return x < 3 ? Rgba{level, level, level, 255} : Rgba{level, static_cast<uint8_t>(level + 20 * x), 9, 255};
  });
}

TEST_P(AnalysisDeclarations, TestsAndCountsGiveTheDirectResults) {
  OwnedPicture picture(Sample());
  for (int64_t left : {0, 3, -2}) {
    EXPECT_EQ(Call("isWhiteQVL",
                   {Of(picture), Value::Integer(left), Value::Integer(4), Value::Integer(-1), Value::Integer(-1)})
                  .integer,
              isWhite(picture, left, 4, -1, -1));
    EXPECT_EQ(
        Call("isBlackQVL", {Of(picture), Value::Integer(left), Value::Integer(0), Value::Integer(1), Value::Integer(1)})
            .integer,
        isBlack(picture, left, 0, 1, 1));
    EXPECT_EQ(Call("isGrayQVL", {Of(picture), Value::Integer(left * 10), Value::Integer(left), Value::Integer(0),
                                 Value::Integer(3), Value::Integer(-1)})
                  .integer,
              isGray(picture, left * 10, left, 0, 3, -1));
    EXPECT_EQ(Call("isGrayQVL", {Of(picture), Value::Integer(left * 30)}).integer, isGray2(picture, left * 30));
    EXPECT_EQ(Call("ColornessQVL", {Of(picture), Value::Integer(left * 15)}).real, ColornessQVL(picture, left * 15));
  }
  EXPECT_EQ(Call("isWhiteQVL", {Of(picture)}).integer, isWhite2(picture));
  EXPECT_EQ(Call("isBlackQVL", {Of(picture)}).integer, isBlack2(picture));
  EXPECT_EQ(Call("ColornessQVL", {Of(picture)}).real, ColornessQVL(picture, 10));
  for (uint32_t colour : {0xFFFFFFu, 0x282828u, 0x123456u}) {
    EXPECT_EQ(Call("CountColorQVL", {Of(picture), Value::Color(colour)}).integer, CountColorQVL(picture, colour));
  }
}

TEST_P(AnalysisDeclarations, ByRefResultsGiveTheDirectResults) {
  OwnedPicture picture(Sample());
  std::vector<Value> blocks = {Of(picture), Value::Nil(TypeKind::MemoryBlock), Value::Nil(TypeKind::MemoryBlock),
                               Value::Nil(TypeKind::MemoryBlock), Value::Integer(0)};
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

  OwnedPicture needle(PaintedPicture(2, 2, [](int64_t x, int64_t y) {
    return Rgba{uint8_t(40 * (y + 2) + x + 4), uint8_t(40 * (y + 2) + x + 4 + 20 * (x + 4)), 9, 255};
  }));
  for (int64_t startX : {0, 5}) {
    std::vector<Value> arguments = {
        Of(picture), Of(needle), Value::Integer(-1), Value::Integer(-1), Value::Integer(startX), Value::Integer(0)};
    const Value found = Call("FindPictureQVL", arguments);
    int64_t x = -1, y = -1;
    EXPECT_EQ(found.integer, FindPicture(picture, needle, &x, &y, startX, 0, 3));
    EXPECT_EQ(arguments[2].integer, x);
    EXPECT_EQ(arguments[3].integer, y);
  }
}

TEST_P(AnalysisDeclarations, ScrollsGiveTheDirectPictures) {
  for (bool wrap : {false, true}) {
    OwnedPicture called(Sample()), direct(Sample());
    EXPECT_EQ(
        Call("ScrollVerticalQVL", {Of(called), Value::Integer(2), Value::Boolean(wrap), Value::Boolean(false)}).integer,
        ScrollVerticalQVL(direct, 2, wrap, false));
    EXPECT_EQ(Call("ScrollHorizontalQVL", {Of(called), Value::Integer(1), Value::Boolean(wrap), Value::Boolean(true)})
                  .integer,
              ScrollHorizontalQVL(direct, 1, wrap, true));
    EXPECT_EQ(Call("ScrollQVL",
                   {Of(called), Value::Integer(-3), Value::Integer(-1), Value::Boolean(wrap), Value::Boolean(false)})
                  .integer,
              ScrollQVL(direct, -3, -1, wrap, false));
    int64_t differences = 0;
    for (int64_t y = 0; y < 5; ++y) {
      for (int64_t x = 0; x < 7; ++x)
        differences += qvlhost::PixelWord(called, x, y) != qvlhost::PixelWord(direct, x, y);
      differences += qvlhost::RowPadding(called, y) != qvlhost::RowPadding(direct, y);
    }
    EXPECT_EQ(differences, 0);
  }
}

// The generated module and the class extension.
INSTANTIATE_TEST_SUITE_P(Routes, AnalysisDeclarations, testing::Values(2024.03, 2012.0),
                         [](const testing::TestParamInfo<double>& info) {
                           return info.param > 2013 ? std::string("module") : std::string("extension");
                         });

}  // namespace
