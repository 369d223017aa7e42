// Tests of the job classes: the plug-in registered with the host, instances
// made by the host as Xojo makes them, and their properties set and read
// through the host's accessors.
#pragma once

#include <string>

#include "qvlhost.h"
#include "support/every_pixel.h"
#include "support/plugin_test.h"
#include "surface.h"

extern "C" void REALPluginMain(QVLResolver resolver);

class JobTest : public LayoutTest {
 protected:
  void SetUp() override {
    LayoutTest::SetUp();
    REALPluginMain(qvlhost::Resolver());
  }

  static qvlhost::SurfaceProperty PropertyOf(REALobjectStruct* job, const std::string& name) {
    qvlhost::SurfaceProperty property;
    EXPECT_TRUE(qvlhost::FindProperty(qvlhost::ClassName(job), name, &property)) << name;
    return property;
  }

  static void Set(REALobjectStruct* job, const std::string& name, const qvlhost::Value& value) {
    std::string error;
    EXPECT_TRUE(qvlhost::SetProperty(PropertyOf(job, name), job, value, &error)) << name << ": " << error;
  }
  static void SetInteger(REALobjectStruct* job, const std::string& name, int64_t value) {
    Set(job, name, qvlhost::Value::Integer(value));
  }
  static void SetPicture(REALobjectStruct* job, const std::string& name, REALpictureStruct* picture) {
    Set(job, name, qvlhost::Value::Handle(qvlhost::TypeKind::Picture, picture));
  }

  // The value of a property; a picture comes with a reference for the caller.
  static qvlhost::Value Get(REALobjectStruct* job, const std::string& name) {
    qvlhost::Value value;
    std::string error;
    EXPECT_TRUE(qvlhost::GetProperty(PropertyOf(job, name), job, &value, &error)) << name << ": " << error;
    return value;
  }
  static REALpictureStruct* Destination(REALobjectStruct* job) {
    return static_cast<REALpictureStruct*>(Get(job, "DestinationPicture").handle);
  }
};

// Every pixel of a picture inside the walked area (columns and rows from 0)
// against a rule of the source's pixel, and every other pixel as `untouched`.
// Row padding must be as the host made it.
template <class Rule>
void ExpectWalked(REALpictureStruct* source, REALpictureStruct* result, int64_t columns, int64_t rows, Rule rule,
                  qvlhost::Rgba untouched) {
  ASSERT_NE(result, nullptr);
  int64_t misses = 0;
  const auto padding = qvlhost::FreshRowPadding(qvlhost::CurrentConfig().extraBytesPerRow);
  for (int64_t y = 0; y < qvlhost::PictureHeight(result); ++y) {
    if (qvlhost::PictureStorage(result).kind == qvlhost::Storage::CoreGraphics) {
      EXPECT_EQ(padding, qvlhost::RowPadding(result, y)) << "row " << y;
    }
    for (int64_t x = 0; x < qvlhost::PictureWidth(result); ++x) {
      const bool walked = x < columns && y < rows;
      const qvlhost::Rgba want = walked ? rule(qvlhost::PixelRgba(source, x, y)) : untouched;
      const qvlhost::Rgba got = qvlhost::PixelRgba(result, x, y);
      if (!(got == want) && misses++ == 0)
        ADD_FAILURE() << "at (" << x << ", " << y << ") got " << testing::PrintToString(got) << ", want "
                      << testing::PrintToString(want);
    }
  }
  EXPECT_EQ(misses, 0);
}
