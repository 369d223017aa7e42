// REALPluginMain across hosts: the SDK version it tells, the route the
// Picture extension takes, tracing from QVLDEBUG and the loading line.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

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

}  // namespace
