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

extern "C" void REALPluginMain(QVLResolver resolver);

namespace {

using Lines = std::vector<std::string>;

struct HostCase {
  const char* name;
  double version;
  bool hideVersionEntry;
  int32_t sdkVersion;
  bool generatedModules;
};

class StartUp : public PluginTest, public ::testing::WithParamInterface<HostCase> {
 protected:
  qvlhost::Config HostConfig() override {
    qvlhost::Config config;
    config.version = GetParam().version;
    if (GetParam().hideVersionEntry) config.hiddenEntries.insert("REALGetRBVersion");
    return config;
  }
};

TEST_P(StartUp, SdkVersionAndRouteFollowTheHostVersionAndNothingIsLogged) {
  qvlhost::LogCapture log;
  REALPluginMain(qvlhost::Resolver());
  const HostCase& host = GetParam();
  EXPECT_EQ(host.hideVersionEntry ? 0.0 : host.version, rbversion_rbversion);
  EXPECT_EQ(host.sdkVersion, CurrentREALControlVersion);
  EXPECT_EQ(host.sdkVersion, qvlhost::RegisteredPluginVersion());
  // The two job classes on every route, sepia first, their data sizes
  // rounded to 16.
  EXPECT_THAT(qvlhost::RegisteredClasses(), ::testing::ElementsAre(&PictureSepiaClass, &Lut3DClass));
  EXPECT_EQ(112u, PictureSepiaClass.dataSize);
  // The mobile module comes first, from 2020.02 on; the modules' contents are
  // the registrar's and the loaded library's tests.
  Lines modules, expectedModules;
  for (const REALmoduleDefinition* module : qvlhost::RegisteredModules()) modules.push_back(module->name);
  if (!host.hideVersionEntry && host.version >= 2020.02) expectedModules.push_back("iOSPictureQVL");
  if (host.generatedModules)
    expectedModules.insert(expectedModules.end(), {"PicturePictureExtensionQVL", "PictureGlobalsQVL"});
  EXPECT_EQ(expectedModules, modules);
  for (const REALmoduleDefinition* module : qvlhost::RegisteredModules())
    EXPECT_EQ(uint32_t(host.sdkVersion), module->version) << module->name;
  if (host.generatedModules) {
    EXPECT_EQ(0x26u, DebuggingSharedProperties[0].flags);
    EXPECT_TRUE(qvlhost::RegisteredGlobalMethods().empty());
    EXPECT_TRUE(qvlhost::RegisteredClassExtensions().empty());
  } else {
    EXPECT_EQ(globalMethods.size(), qvlhost::RegisteredGlobalMethods().size());
    EXPECT_THAT(qvlhost::RegisteredClassExtensions(), ::testing::ElementsAre(&pictureClass));
    EXPECT_EQ(uint32_t(host.sdkVersion), pictureClass.version);
    EXPECT_EQ(host.hideVersionEntry ? 0u : 0x4u, pictureMethods[0].flags) << "console-safe mark before 2010.029";
  }
  EXPECT_EQ(Lines{}, log.Lines());
}

INSTANTIATE_TEST_SUITE_P(
    Hosts, StartUp,
    ::testing::Values(HostCase{"NoVersionEntry", 2024.03, true, 9, false},
                      HostCase{"V2011_04", 2011.04, false, 9, false}, HostCase{"V2012_5", 2012.5, false, 10, false},
                      HostCase{"V2013_0", 2013.0, false, 11, true}, HostCase{"V2013_03", 2013.03, false, 12, true},
                      HostCase{"V2013_04", 2013.04, false, 13, true}, HostCase{"V2020_01", 2020.01, false, 13, true},
                      HostCase{"V2020_02", 2020.02, false, 13, true}, HostCase{"V3000_0", 3000.0, false, 13, false}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(PluginTest, NullResolverRegistersNothing) {
  REALPluginMain(nullptr);
  EXPECT_EQ(0.0, rbversion_rbversion);
  EXPECT_EQ(9, CurrentREALControlVersion);
  EXPECT_EQ(-1, qvlhost::RegisteredPluginVersion());
  EXPECT_EQ(nullptr, gpartname);
  EXPECT_TRUE(qvlhost::RegisteredModules().empty());
  EXPECT_TRUE(qvlhost::RegisteredClassExtensions().empty());
}

// A second start-up, also after a host of another version, registers what
// the first one registered and logs nothing: the tables are fitted afresh.
TEST_F(PluginTest, AnotherStartUpRegistersWhatTheFirstDid) {
  auto startAt = [](double version) {
    qvlhost::Config config;
    config.version = version;
    qvlhost::Reset(config);
    qvlhost::LogCapture log;
    REALPluginMain(qvlhost::Resolver());
    EXPECT_EQ(Lines{}, log.Lines()) << version;
    std::string surface;
    for (const qvlhost::SurfaceOwner& owner : qvlhost::Surface()) {
      surface += owner.name + " " + std::to_string(owner.flags) + "\n";
      for (const qvlhost::SurfaceMethod& method : owner.methods)
        surface += method.text + " " + std::to_string(method.flags) + "\n";
    }
    return surface;
  };
  for (double version : {2009.0, 2012.0, 2024.03}) {
    const std::string first = startAt(version);
    startAt(3000.0);
    EXPECT_EQ(first, startAt(version)) << version;
  }
  qvlhost::Reset(config_);
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
  const Lines expected = {std::string(4095, 'a'),  std::string(4095, 'b'),    "Error: a check line", "QVL Debug: clear",
                          "QVL Debug: pair -1, 2", "QVL Debug: name Picture", "QVL Debug: flag 1"};
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
