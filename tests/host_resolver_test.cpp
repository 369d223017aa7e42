// The resolver answers the entry points the plug-in uses and hides what the
// configuration hides; the log capture the tests read, and instances of
// registered classes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

class ResolverTest : public PluginTest {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    config.version = 2019.01;
    config.hiddenEntries = {"REALLockObject"};
    config.hiddenClasses = {"MemoryBlock"};
    config.app = qvlhost::AppKind::Console;
    config.failingProperties = {"HorizontalResolution"};
    config.hiddenMethods = {"Mask(create As Boolean = True) As Picture"};
    return config;
  }
};

TEST_F(ResolverTest, AnswersEveryEntryButHiddenAndUnknownOnes) {
  const std::vector<std::string> entries = {
#define QVL_ENTRY_NAME(wrapper, entry, Ret, params, args, fail) entry,
      QVL_ENTRY_POINTS(QVL_ENTRY_NAME)
#undef QVL_ENTRY_NAME
          QVL_ENTRY_GET_RB_VERSION,
      QVL_ENTRY_REGISTER_PLUGIN_VERSION, QVL_ENTRY_STRING_GET_CSTRING};
  for (const std::string& entry : entries) {
    EXPECT_EQ(entry == "REALLockObject", gResolver(entry.c_str()) == nullptr) << entry;
  }
  EXPECT_EQ(nullptr, gResolver("reallockpicturedescription"));
}

TEST_F(ResolverTest, VersionApplicationClassesPropertiesAndMethodsFollowTheConfiguration) {
  EXPECT_EQ(2019.01, reinterpret_cast<QVLGetRBVersionFn>(gResolver("REALGetRBVersion"))());
  auto classRef = reinterpret_cast<REALGetClassRefFn>(gResolver("pluginObjectType"));
  EXPECT_NE(nullptr, classRef("ConsoleApplication"));
  EXPECT_EQ(nullptr, classRef("Application"));
  EXPECT_EQ(nullptr, classRef("MemoryBlock"));
  EXPECT_EQ(nullptr, reinterpret_cast<REALnewInstanceFn>(gResolver("PluginNewInstance"))("MemoryBlock"));
  reinterpret_cast<QVLRegisterPluginVersionFn>(gResolver("RegisterPluginVersion"))(15);
  EXPECT_EQ(15, qvlhost::RegisteredPluginVersion());

  qvlhost::OwnedPicture picture(qvlhost::NewPicture(2, 2));
  int64_t value = 0;
  EXPECT_FALSE(
      REALGetPropValueIntegerFn(gResolver("REALGetPropValueInteger"))(picture, "HorizontalResolution", &value));
  EXPECT_FALSE(REALSetPropValueIntegerFn(gResolver("REALSetPropValueInteger"))(picture, "HorizontalResolution", 3));
  EXPECT_TRUE(REALSetPropValueIntegerFn(gResolver("REALSetPropValueInteger"))(picture, "VerticalResolution", 3));
  EXPECT_EQ(3, qvlhost::VerticalResolution(picture));
  auto load = REALLoadObjectMethodFn(gResolver("REALLoadObjectMethod"));
  EXPECT_EQ(nullptr, load(picture, "Mask(create As Boolean = True) As Picture"));
  EXPECT_NE(nullptr, load(picture, "Mask(assigns newMask As Picture)"));
}

void WriteError(const char* text) { ASSERT_EQ(ssize_t(std::strlen(text)), write(2, text, std::strlen(text))); }

TEST_F(PluginTest, LogCaptureReturnsCompleteLinesWhileItLives) {
  {
    qvlhost::LogCapture capture;
    WriteError("first line\nsecond ");
    EXPECT_EQ(std::vector<std::string>{"first line"}, capture.Lines());
    WriteError("line\n");
    EXPECT_EQ((std::vector<std::string>{"first line", "second line"}), capture.Lines());
  }
  EXPECT_TRUE(qvlhost::LogCapture().Lines().empty());
}

int constructed = 0;
int destructed = 0;
void CountConstructor(REALobjectStruct* self) {
  ++constructed;
  EXPECT_EQ(0, *static_cast<int64_t*>(qvlhost::InstanceData(self)));
}
void CountDestructor(REALobjectStruct*) { ++destructed; }

TEST_F(PluginTest, RegisteredClassInstancesRunConstructorAndDestructor) {
  REALclassDefinition definition{kCurrentREALControlVersion, "CounterQVL", nullptr, 16};
  definition.constructor = reinterpret_cast<void*>(&CountConstructor);
  definition.destructor = reinterpret_cast<void*>(&CountDestructor);
  HostEntry<REALRegisterClassFn>("PluginRegisterClass")(&definition);
  REALobjectStruct* instance = HostEntry<REALnewInstanceFn>("PluginNewInstance")("CounterQVL");
  ASSERT_NE(nullptr, instance);
  EXPECT_EQ(reinterpret_cast<uint8_t*>(instance) + definition.forSystemUse, qvlhost::InstanceData(instance));
  EXPECT_EQ(1, constructed);
  HostEntry<REALLockObjectFn>("REALLockObject")(instance);
  qvlhost::Release(instance);
  EXPECT_EQ(0, destructed);
  qvlhost::Release(instance);
  EXPECT_EQ(1, destructed);
}

}  // namespace
