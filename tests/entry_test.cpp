// REALPluginMain across hosts: the SDK version it tells, the route the
// Picture extension takes, tracing from QVLDEBUG and the loading line. Host
// wrappers bind on first use, stay quiet when an entry is missing and ask
// again on the next call. The log, the trace switch and the tick clock.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "binding/diagnostics.h"
#include "binding/wrappers.h"
#include "frame/tables.h"
#include "support/plugin_test.h"
#include "surface.h"

namespace {

// The host's version, 0 without its entry, decides the SDK version told and
// the route, start-up after start-up. The two job classes come on every
// route, sepia first, and the mobile module first from 2020.02 on; the
// modules' contents are the registrar's and the declaration tests'.
TEST_F(PluginTest, SdkVersionAndRouteFollowTheHostVersionAndNothingIsLogged) {
  const std::tuple<double, bool, int32_t, bool> hosts[] = {
      // version, its entry hidden, the SDK version, generated modules
      {2024.03, true, 9, false},  {2011.04, false, 9, false}, {2012.5, false, 10, false},
      {2013.0, false, 11, true},  {2013.03, false, 12, true}, {2013.04, false, 13, true},
      {2020.01, false, 13, true}, {2020.02, false, 13, true}, {3000.0, false, 13, false}};
  for (auto [version, hidden, sdkVersion, generatedModules] : hosts) {
    SCOPED_TRACE(::testing::Message() << version << (hidden ? " without its entry" : ""));
    qvlhost::Config config;
    config.version = version;
    if (hidden) config.hiddenEntries.insert("REALGetRBVersion");
    qvlhost::Reset(config);
    qvlhost::LogCapture log;
    REALPluginMain(qvlhost::Resolver());
    EXPECT_EQ(hidden ? 0.0 : version, rbversion_rbversion);
    EXPECT_EQ(sdkVersion, CurrentREALControlVersion);
    EXPECT_EQ(sdkVersion, qvlhost::RegisteredPluginVersion());
    EXPECT_THAT(qvlhost::RegisteredClasses(), ::testing::ElementsAre(&PictureSepiaClass, &Lut3DClass));
    Lines modules, expectedModules;
    for (const REALmoduleDefinition* module : qvlhost::RegisteredModules()) {
      modules.push_back(module->name);
      EXPECT_EQ(uint32_t(sdkVersion), module->version) << module->name;
    }
    if (!hidden && version >= 2020.02) expectedModules.push_back("iOSPictureQVL");
    if (generatedModules)
      expectedModules.insert(expectedModules.end(), {"PicturePictureExtensionQVL", "PictureGlobalsQVL"});
    EXPECT_EQ(expectedModules, modules);
    EXPECT_EQ(generatedModules ? 0u : globalMethods.size(), qvlhost::RegisteredGlobalMethods().size());
    EXPECT_EQ(generatedModules ? 0u : 1u, qvlhost::RegisteredClassExtensions().size());
    for (const REALclassDefinition* extension : qvlhost::RegisteredClassExtensions())
      EXPECT_EQ(uint32_t(sdkVersion), extension->version);
    // Members marked console-safe are console members from 2010.029 on, and
    // not before, whatever an earlier start-up fitted: the tables are fitted
    // afresh each time.
    for (uint32_t flags : {pictureMethods[0].flags, globalMethods[0].flags, Lut3DClass.methods[0].flags,
                           Lut3DClass.properties[0].flags, PictureSepiaClass.properties[0].flags})
      EXPECT_EQ(hidden ? 0u : uint32_t(consoleTarget), flags & consoleTarget);
    EXPECT_EQ(Lines{}, log.Lines());
  }
}

TEST_F(PluginTest, NullResolverRegistersNothing) {
  REALPluginMain(nullptr);
  EXPECT_EQ(0.0, rbversion_rbversion);
  EXPECT_EQ(9, CurrentREALControlVersion);
  EXPECT_EQ(-1, qvlhost::RegisteredPluginVersion());
  EXPECT_EQ(nullptr, gpartname);
  EXPECT_TRUE(qvlhost::RegisteredModules().empty());
  EXPECT_TRUE(qvlhost::RegisteredClassExtensions().empty());
}

// Only one, "true" or "yes" in any case turn tracing on; a built application never writes the loading line.
TEST_F(PluginTest, DebugVariableTurnsTracingOnAndWritesTheLoadingLine) {
  const std::tuple<const char*, bool, bool> cases[] = {// QVLDEBUG, tracing, a built application
                                                       {"YES", true, false}, {"True", true, false}, {"1", true, false},
                                                       {"2", false, false},  {"on", false, false},  {"", false, false},
                                                       {"yes", true, true}};
  for (auto [value, enabled, builtApplication] : cases) {
    SCOPED_TRACE(value);
    qvlhost::Config config;
    config.builtApplication = builtApplication;
    qvlhost::Reset(config);
    qvlhost::LogCapture log;
    setenv("QVLDEBUG", value, 1);
    REALPluginMain(qvlhost::Resolver());
    unsetenv("QVLDEBUG");
    EXPECT_EQ(enabled, DebuggingEnabled);
    const Lines loading = {"Loading Picture in Xojo 2024.03 and plugin SDK version 13..."};
    EXPECT_EQ(enabled && !builtApplication ? loading : Lines{}, log.Lines());
  }
  qvlhost::Reset(config_);
}

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

// An entry not found is asked again on the next call; one found is kept
// until a start-up, which asks afresh for every entry, the string pair
// included, so that a host loading the plug-in again is never reached through
// what another host answered. The pair's halves fail apart.
TEST_F(WrapperTest, LookupsRepeatUntilFoundAndStartUpForgetsThem) {
  REALobjectStruct object;
  REALstringStruct text;
  size_t length = 99;
  REALLockObject(&object);
  EXPECT_EQ(nullptr, REALGetStringContents(&text, &length));
  EXPECT_EQ(0u, length);
  available["REALLockObject"] = reinterpret_cast<void*>(&CountLock);
  available["StringGetCString"] = reinterpret_cast<void*>(&FixedBytes);
  REALLockObject(&object);
  REALLockObject(&object);
  EXPECT_STREQ("abc", REALGetStringContents(&text, &length));
  EXPECT_EQ(0u, length) << "no LenB: the bytes come without their count";
  available["REALLoadGlobalMethod"] = reinterpret_cast<void*>(&LoadLenB);
  EXPECT_STREQ("abc", REALGetStringContents(&text, &length));
  EXPECT_EQ(3u, length);
  REALPluginMain(CountingResolver);
  available.clear();
  REALLockObject(&object);
  EXPECT_EQ(nullptr, REALGetStringContents(&text, &length));
  EXPECT_EQ(0u, length);
  EXPECT_EQ(3, lookups["REALLockObject"]);
  EXPECT_EQ(3, lookups["StringGetCString"]);
  EXPECT_EQ(2, lockCalls);
}

using DiagnosticsTest = PluginTest;

// Any non-zero byte turns tracing on and reads back as 1; log lines are cut
// after 4095 characters.
TEST_F(DiagnosticsTest, TraceLinesOnlyWhileDebugging) {
  qvlhost::LogCapture capture;
  LogMessageX("%s", std::string(4095, 'a').c_str());
  LogMessageX("%s", std::string(4096, 'b').c_str());
  TraceWord("hidden");
  setDebugging(-1);
  EXPECT_EQ(1, getDebugging());
  TraceWord("clear");
  TraceText("name", "Picture");
  TraceInt32("flag", 1);
  setDebugging(0);
  TraceWord("hidden again");
  const Lines expected = {std::string(4095, 'a'), std::string(4095, 'b'), "QVL Debug: clear", "QVL Debug: name Picture",
                          "QVL Debug: flag 1"};
  EXPECT_EQ(expected, capture.Lines());
}

TEST_F(DiagnosticsTest, TickCountCountsSixtiethsOfTheMonotonicClock) {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const int64_t expected = int64_t((double(now.tv_sec) * 1e9 + double(now.tv_nsec)) / 1000000.0 / 16.666666666666668);
  const int64_t ticks = TickCount();
  EXPECT_GE(ticks, expected);
  EXPECT_LE(ticks, expected + 1);
}

}  // namespace
