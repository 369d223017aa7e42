// The balance check finds what a test would otherwise miss: leaks, double
// releases, locks still held, pending exceptions, string data not disposed of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "qvl/entry_points.h"
#include "support/plugin_test.h"

namespace {

// Runs on a host of its own and leaves it reset, because every test here
// unbalances it on purpose.
class BalanceTest : public ::testing::Test {
 protected:
  void SetUp() override { qvlhost::Reset(); }
  void TearDown() override { qvlhost::Reset(); }
};

TEST_F(BalanceTest, ReportsEachKindOfImbalance) {
  struct Case {
    const char* problem;
    std::function<void()> unbalance;
  };
  auto lockDescription = [](REALpictureStruct* picture) {
    REALpictureDescription description{};
    EXPECT_TRUE(HostEntry<REALLockPictureDescriptionFn>("REALLockPictureDescription")(picture, &description, 8));
  };
  auto unlock = HostEntry<REALUnlockObjectFn>("REALUnlockObject");
  const Case cases[] = {
      {"Picture #1 leaked: 1 reference(s) not given back\n", [] { static_cast<void>(qvlhost::NewPicture(2, 2)); }},
      {"REALUnlockObject: Picture #1 released twice\n",
       [&] {
         REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
         unlock(picture);
         unlock(picture);
       }},
      {"REALGetPropValueInteger got Picture #1 after its last release\n",
       [] {
         REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
         qvlhost::Release(picture);
         int64_t width = -1;
         EXPECT_FALSE(HostEntry<REALGetPropValueIntegerFn>("REALGetPropValueInteger")(picture, "Width", &width));
       }},
      {"Picture #1 still has 1 description lock(s)\n", [&] { lockDescription(qvlhost::NewPicture(2, 2)); }},
      {"NilObjectException #1 is pending\n",
       [] {
         qvlhost::OwnedObject exception(qvlhost::NewObject("NilObjectException"));
         HostEntry<REALRaiseExceptionFn>("RuntimeRaiseException")(exception);
       }},
      {"1 string data record(s) not disposed of\n", [] {
         qvlhost::OwnedString text(qvlhost::NewString("abc"));
         REALstringData data{};
         EXPECT_TRUE(HostEntry<REALGetStringDataFn>("PluginGetStringData")(text, 0x08000100, &data));
       }}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.problem);
    qvlhost::Reset();
    c.unbalance();
    EXPECT_THAT(qvlhost::BalanceProblems(), ::testing::HasSubstr(c.problem));
    // An exception the test expects is no problem; everything else still is.
    const bool pending = std::string(c.problem).find("pending") != std::string::npos;
    EXPECT_EQ(!pending, qvlhost::BalanceProblems(true).find(c.problem) != std::string::npos);
  }
}

}  // namespace
