// Host wrappers bind on first use, stay quiet when an entry is missing and
// ask again on the next call. The log, the trace switch and the tick clock.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "binding/diagnostics.h"
#include "binding/wrappers.h"
#include "support/plugin_test.h"

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

std::map<std::string, int> lookups;
std::map<std::string, void*> available;

void* CountingResolver(const char* name) {
  ++lookups[name];
  auto found = available.find(name);
  return found == available.end() ? nullptr : found->second;
}

int lockCalls = 0;
void CountLock(REALobjectStruct*) { ++lockCalls; }
const char* FixedBytes(REALstringStruct*) { return "abc"; }
int64_t LengthThree(REALstringStruct*) { return 3; }
void* LoadLenB(const char*, const char* declaration) {
  return std::strcmp(declaration, "LenB( s as string ) as integer") == 0 ? reinterpret_cast<void*>(&LengthThree)
                                                                         : nullptr;
}

class WrapperTest : public ::testing::Test {
 protected:
  void SetUp() override {
    lookups.clear();
    available.clear();
    lockCalls = 0;
    ForgetEntryPoints();
    gResolver = CountingResolver;
  }
};

TEST_F(WrapperTest, MissingEntriesGiveQuietResults) {
  REALobjectStruct object;
  REALstringStruct text;
  REALpictureStruct picture;
  int64_t value = 7;
  REALLockObject(&object);
  REALUnlockObject(&object);
  EXPECT_EQ(0u, REALGetStringEncoding(&text));
  EXPECT_EQ(nullptr, REALNewPicture(10, 10, 32));
  EXPECT_FALSE(REALGetPropValueInteger(&object, "Width", &value));
  EXPECT_EQ(7, value);
  EXPECT_FALSE(REALinRuntime());
  EXPECT_EQ(2, REALGetPictureType(&picture));
}

// Entries are looked up by the host's spelling, which may differ from the wrapper's name.
TEST_F(WrapperTest, FailedLookupIsAskedAgainAndFoundLater) {
  REALobjectStruct object;
  REALLockObject(&object);
  REALLockObject(&object);
  EXPECT_EQ(2, lookups["REALLockObject"]);
  EXPECT_EQ(0, lockCalls);
  available["REALLockObject"] = reinterpret_cast<void*>(&CountLock);
  REALLockObject(&object);
  REALLockObject(&object);
  EXPECT_EQ(3, lookups["REALLockObject"]);
  EXPECT_EQ(2, lockCalls);
  REALpictureStruct picture;
  REALGetPictureGraphics(&picture);
  REALLoadFrameworkMethod(nullptr, "x");
  EXPECT_EQ(1, lookups["pluginPictureGraphicsGetter"]);
  EXPECT_EQ(1, lookups["REALLoadGlobalMethod"]);
}

// A host that loads the plug-in again is asked afresh for every entry, the
// string pair included, and never reached through what another host answered.
TEST_F(WrapperTest, StartUpForgetsEveryEntryFound) {
  available["REALLockObject"] = reinterpret_cast<void*>(&CountLock);
  available["StringGetCString"] = reinterpret_cast<void*>(&FixedBytes);
  REALobjectStruct object;
  REALstringStruct text;
  REALLockObject(&object);
  REALGetStringContents(&text, nullptr);
  REALPluginMain(CountingResolver);
  available.clear();
  REALLockObject(&object);
  EXPECT_EQ(nullptr, REALGetStringContents(&text, nullptr));
  EXPECT_EQ(2, lookups["REALLockObject"]);
  EXPECT_EQ(2, lookups["StringGetCString"]);
  EXPECT_EQ(1, lockCalls);
}

TEST_F(WrapperTest, StringContentsHalvesFailApart) {
  REALstringStruct text;
  size_t length = 99;
  EXPECT_EQ(nullptr, REALGetStringContents(&text, &length));
  EXPECT_EQ(0u, length);

  available["StringGetCString"] = reinterpret_cast<void*>(&FixedBytes);
  EXPECT_STREQ("abc", REALGetStringContents(&text, &length));
  EXPECT_EQ(0u, length) << "no LenB: the bytes come without their count";

  available["REALLoadGlobalMethod"] = reinterpret_cast<void*>(&LoadLenB);
  EXPECT_STREQ("abc", REALGetStringContents(&text, &length));
  EXPECT_EQ(3u, length);
}

using DiagnosticsTest = PluginTest;

// Any non-zero byte turns tracing on and reads back as 1; log lines are cut
// after 4095 characters.
TEST_F(DiagnosticsTest, TraceLinesOnlyWhileDebugging) {
  qvlhost::LogCapture capture;
  LogMessageX("%s", std::string(4095, 'a').c_str());
  LogMessageX("%s", std::string(4096, 'b').c_str());
  TraceWord("hidden");
  LogMessageX("Error: a check line");
  setDebugging(-1);
  EXPECT_EQ(1, getDebugging());
  TraceWord("clear");
  TraceInt64("pair", -1, 2);
  TraceText("name", "Picture");
  TraceInt32("flag", 1);
  setDebugging(0);
  TraceWord("hidden again");
  std::vector<std::string> expected = {std::string(4095, 'a'), std::string(4095, 'b'),  "Error: a check line",
                                       "QVL Debug: clear",     "QVL Debug: pair -1, 2", "QVL Debug: name Picture",
                                       "QVL Debug: flag 1"};
  EXPECT_EQ(expected, capture.Lines());
}

TEST_F(DiagnosticsTest, TickCountCountsSixtiethsOfTheMonotonicClock) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  double nanoseconds = double(now.tv_sec) * 1e9 + double(now.tv_nsec);
  int64_t expected = int64_t(nanoseconds / 1000000.0 / 16.666666666666668);
  int64_t ticks = TickCount();
  EXPECT_GE(ticks, expected);
  EXPECT_LE(ticks, expected + 1);
}

}  // namespace
