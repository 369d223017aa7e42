// The resolver answers the entry points the plug-in uses and hides what the
// configuration hides; how the other settings show, the plug-in's tests see.
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
    config.hiddenEntries = {"REALLockObject"};
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
