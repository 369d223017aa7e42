// The balance check finds what a test would otherwise miss: leaks, double
// releases, locks still held, pending exceptions, string data not disposed of.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qvl/entry_points.h"
#include "qvlhost.h"

namespace {

template <class Fn>
Fn Entry(const char* name) {
  return reinterpret_cast<Fn>(qvlhost::Resolver()(name));
}

// Runs on a host of its own and leaves it reset, because every test here
// unbalances it on purpose.
class BalanceTest : public ::testing::Test {
 protected:
  void SetUp() override { qvlhost::Reset(); }
  void TearDown() override { qvlhost::Reset(); }
};

TEST_F(BalanceTest, ReportsReferenceNotGivenBack) {
  REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
  Entry<REALLockObjectFn>("REALLockObject")(picture);
  qvlhost::Release(picture);
  EXPECT_EQ("Picture #1 leaked: 1 reference(s) not given back\n", qvlhost::BalanceProblems());
  Entry<REALUnlockObjectFn>("REALUnlockObject")(picture);
  EXPECT_EQ("", qvlhost::BalanceProblems());
  EXPECT_EQ(0, qvlhost::LiveObjectCount());
}

TEST_F(BalanceTest, ReportsDoubleReleaseWithoutTouchingFreedMemory) {
  REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
  auto unlock = Entry<REALUnlockObjectFn>("REALUnlockObject");
  unlock(picture);
  unlock(picture);
  EXPECT_EQ("REALUnlockObject: Picture #1 released twice\n", qvlhost::BalanceProblems());
}

TEST_F(BalanceTest, ReportsUseAfterLastRelease) {
  REALpictureStruct* picture = qvlhost::NewPicture(2, 2);
  qvlhost::Release(picture);
  int64_t width = -1;
  EXPECT_FALSE(Entry<REALGetPropValueIntegerFn>("REALGetPropValueInteger")(picture, "Width", &width));
  EXPECT_EQ("REALGetPropValueInteger got Picture #1 after its last release\n", qvlhost::BalanceProblems());
}

TEST_F(BalanceTest, ReportsDescriptionLockStillHeldAndUnlockWithoutLock) {
  using ::testing::HasSubstr;
  using ::testing::Not;
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(2, 2));
  REALpictureDescription description{};
  ASSERT_TRUE(Entry<REALLockPictureDescriptionFn>("REALLockPictureDescription")(picture, &description, 8));
  EXPECT_THAT(qvlhost::BalanceProblems(), HasSubstr("Picture #1 still has 1 description lock(s)\n"));
  auto unlock = Entry<REALUnlockPictureDescriptionFn>("unlockPictureDescription");
  unlock(picture);
  EXPECT_THAT(qvlhost::BalanceProblems(), Not(HasSubstr("description")));
  unlock(picture);
  EXPECT_THAT(qvlhost::BalanceProblems(), HasSubstr("unlockPictureDescription: Picture #1 has no description locked"));
}

TEST_F(BalanceTest, PendingExceptionIsAProblemUnlessExpected) {
  qvlhost::OwnedObject exception(qvlhost::NewObject("NilObjectException"));
  Entry<REALRaiseExceptionFn>("RuntimeRaiseException")(exception);
  exception.reset();
  EXPECT_EQ("NilObjectException #1 is pending\n", qvlhost::BalanceProblems());
  EXPECT_EQ("", qvlhost::BalanceProblems(true));
  qvlhost::ClearPendingException();
  EXPECT_EQ(0, qvlhost::LiveObjectCount());
}

TEST_F(BalanceTest, MaskHeldByItsPictureIsNoLeak) {
  qvlhost::OwnedPicture picture(qvlhost::NewPicture(3, 3));
  REALpictureStruct* mask = Entry<REALGetPictureMaskFn>("REALGetPictureMask")(picture, true);
  ASSERT_NE(nullptr, mask);
  EXPECT_EQ(2, qvlhost::ReferenceCount(mask));
  qvlhost::Release(mask);
  EXPECT_EQ("Picture #1 leaked: 1 reference(s) not given back\n", qvlhost::BalanceProblems());
  picture.reset();
  EXPECT_EQ(0, qvlhost::LiveObjectCount());
}

TEST_F(BalanceTest, ReportsStringsAndStringData) {
  REALstringStruct* text = qvlhost::NewString("abc");
  REALstringData data{};
  ASSERT_TRUE(Entry<REALGetStringDataFn>("PluginGetStringData")(text, 0x08000100, &data));
  EXPECT_EQ("String #1 leaked: 1 reference(s) not given back\n1 string data record(s) not disposed of\n",
            qvlhost::BalanceProblems());
  Entry<REALDisposeStringDataFn>("PluginDisposeStringData")(&data);
  qvlhost::Release(text);
  EXPECT_EQ("", qvlhost::BalanceProblems());
}

}  // namespace
