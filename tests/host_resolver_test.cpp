// The resolver answers the entry points the plug-in uses and hides what the
// configuration hides.
#include <gtest/gtest.h>

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

// With the journal off the host's entries work as before and record nothing.
TEST(HostJournal, SwitchedOffRecordsNothing) {
  for (bool journal : {true, false}) {
    qvlhost::Config config;
    config.journal = journal;
    qvlhost::Reset(config);
    qvlhost::OwnedPicture picture(HostEntry<REALNewPictureFn>("newPicture")(3, 2, 32));
    EXPECT_EQ(3, qvlhost::PictureWidth(picture));
    EXPECT_EQ(journal ? 1u : 0u, qvlhost::Journal().size());
  }
  qvlhost::Reset();
}

}  // namespace
