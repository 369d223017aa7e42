// The registrar fits flags and sizes to the host, names console-safety and
// offset faults, and builds the generated extension and globals modules.
#include "frame/registrar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "frame/globals.h"
#include "frame/tables.h"
#include "qvlhost.h"
#include "support/plugin_test.h"

namespace {

using Lines = std::vector<std::string>;
using ::testing::ElementsAre;

int fnA, fnB, fnC, setB;  // distinct addresses standing for functions
REALattribute kAttribute[1] = {{"Deprecated", "x"}};

class Registrar : public PluginTest {
 protected:
  void StartAt(double version) {
    rbversion_rbversion = version;
    CurrentREALControlVersion = 13;
    gpartname = gpluginname = "Picture";
  }
  REALclassDefinition Class(const char* name, REALmethodDefinition* methods, uint64_t count) {
    REALclassDefinition d{};
    d.version = 15;
    d.name = name;
    d.methods = methods;
    d.methodCount = count;
    d.flags = consoleTarget;
    return d;
  }
  qvlhost::LogCapture log;
};

struct FlagCase {
  double version;
  uint32_t before, after;
};

class FlagFitting : public Registrar, public ::testing::WithParamInterface<FlagCase> {};

TEST_P(FlagFitting, ClassAndEveryMemberTableGetTheSameFlags) {
  StartAt(GetParam().version);
  const uint32_t f = GetParam().before;
  REALmethodDefinition methods[2] = {{&fnA, nullptr, "a", f, 0, nullptr}, {&fnB, nullptr, "b", f, 0, nullptr}};
  REALproperty properties[2] = {{nullptr, "p", "Integer", f}, {nullptr, "q", "Integer", f}};
  REALclassDefinition d = Class("K", methods, 1);
  d.flags = f;
  d.sharedMethods = methods + 1;
  d.sharedMethodCount = d.propertyCount = d.sharedPropertyCount = 1;
  d.properties = properties;
  d.sharedProperties = properties + 1;
  FixFlags(&d);
  for (uint32_t flags : {d.flags, methods[0].flags, methods[1].flags, properties[0].flags, properties[1].flags})
    EXPECT_EQ(GetParam().after, flags);
}

INSTANTIATE_TEST_SUITE_P(Hosts, FlagFitting,
                         ::testing::Values(FlagCase{2010.028, 0x40000, 0x0}, FlagCase{2010.029, 0x40000, 0x4},
                                           FlagCase{2020.01, 0x30C, 0x4}, FlagCase{2020.01, 0x70C, 0x70C},
                                           FlagCase{2020.02, 0x30C, 0x30C}, FlagCase{2010.0, 0x40308, 0x4},
                                           FlagCase{2020.01, 0x40022, 0x26}));

TEST_F(Registrar, ClassDataSizeRoundsUpTo16AndTheVersionIsStamped) {
  StartAt(2020.02);
  for (uint64_t size : {100, 96, 0}) {
    REALclassDefinition d = Class("K", nullptr, 0);
    d.dataSize = size;
    MyREALRegisterClass(&d);
    EXPECT_EQ(size == 100 ? 112u : size, d.dataSize);
    EXPECT_EQ(13u, d.version);
    ASSERT_FALSE(qvlhost::RegisteredClasses().empty());
    EXPECT_EQ(&d, qvlhost::RegisteredClasses().back());
  }
  EXPECT_EQ(Lines{}, log.Lines());
}

TEST_F(Registrar, NilPartNameStopsRegistration) {
  REALclassDefinition d = Class("K", nullptr, 0);
  REALmoduleDefinition m{15, "M"};
  MyREALRegisterClass(&d);
  MyREALRegisterModule(&m);
  EXPECT_EQ((Lines{"Error: gpartname is nil!? K", "Error: gpartname is nil!? M"}), log.Lines());
  EXPECT_TRUE(qvlhost::RegisteredClasses().empty());
  EXPECT_TRUE(qvlhost::RegisteredModules().empty());
}

TEST_F(Registrar, ConsoleSafeMembersOfAConsoleUnsafeClassAreNamed) {
  StartAt(2020.02);
  REALmethodDefinition methods[3] = {{&fnA, nullptr, "m", 0x4}, {&fnA, nullptr, "w", 0x104}, {&fnA, nullptr, "s", 0x4}};
  REALproperty properties[3] = {{nullptr, "p", "Integer", 0x4, &fnA, &fnA},
                                {nullptr, "Debugging", "Boolean", 0x4, &fnA, &fnA},
                                {nullptr, "q", "Integer", 0x4, &fnA, &fnA}};
  REALclassDefinition d = Class("K", methods, 2);
  d.sharedMethods = methods + 2;
  d.sharedMethodCount = d.propertyCount = 1;
  d.properties = properties;
  d.sharedProperties = properties + 1;
  d.sharedPropertyCount = 2;
  CheckTargetFlags(&d);
  EXPECT_EQ(Lines{}, log.Lines()) << "a console-safe class names nothing";
  d.flags = 0x8;
  CheckTargetFlags(&d);
  EXPECT_THAT(log.Lines(), ElementsAre("QVL Debug: Console-safe method in console-unsafe class:  K, m",
                                       "QVL Debug: Console-safe shared method in console-unsafe class:  K, s",
                                       "QVL Debug: Console-safe property in console-unsafe class:  K, p",
                                       "QVL Debug: Console-safe shared property in console-unsafe class:  K, q"));
}

TEST_F(Registrar, StandardAccessorOffsetsMustLeaveFourBytes) {
  REALproperty properties[4] = {{nullptr, "a", "Integer", 4, REALstandardGetter, REALstandardSetter, 12},
                                {nullptr, "b", "Integer", 4, REALstandardGetter, REALstandardSetter, 13},
                                {nullptr, "c", "Integer", 4, &fnA, REALstandardSetter, 40},
                                {nullptr, "d", "Integer", 4, &fnA, &fnA, 40}};
  REALclassDefinition d = Class("K", nullptr, 0);
  d.dataSize = 16;
  d.properties = properties;
  d.propertyCount = 4;
  CheckTargetFlags(&d);
  EXPECT_THAT(log.Lines(), ElementsAre("Error: Offset for variable too big: K.b 13 16",
                                       "Error: Offset for variable too big: K.c 40 16"));
}

TEST_F(Registrar, ModuleMembersGetDefaultScopeAndTheModuleConsoleTarget) {
  StartAt(2020.02);
  REALmethodDefinition methods[2] = {{&fnA, nullptr, "i", 0x400}, {&fnA, nullptr, "c", 0x4}};
  REALproperty properties[1] = {{nullptr, "Debugging", "Boolean", 0x422, &fnA, &fnA}};
  REALmoduleDefinition m{15, "M", methods, 2, nullptr, 0, properties, 1};
  MyREALRegisterModule(&m);
  EXPECT_EQ(0x440u, methods[0].flags);
  EXPECT_EQ(0x44u, methods[1].flags);
  EXPECT_EQ(0x422u, properties[0].flags);
  EXPECT_EQ(consoleTarget, m.flags);
  EXPECT_EQ(13u, m.version);
  ASSERT_EQ(1u, qvlhost::RegisteredModules().size());
  m.flags = iosTarget;
  methods[1].flags = 0x4;
  MyREALRegisterModule(&m);
  EXPECT_EQ(iosTarget, m.flags);
  EXPECT_THAT(log.Lines(), ElementsAre("QVL Debug: Console-safe method in console-unsafe module:  M, c"));
}

TEST_F(Registrar, NilModuleArraysWithCountsAreNamed) {
  StartAt(2020.02);
  REALmoduleDefinition m{15, "M", nullptr, 1, nullptr, 0, nullptr, 1, nullptr, 0, nullptr, 1};
  MyREALRegisterModule(&m);
  EXPECT_THAT(log.Lines(), ::testing::IsSupersetOf({"QVL Debug: Error: method array is nil while count is not zero!",
                                                    "QVL Debug: Error: property array is nil while count is not zero!",
                                                    "QVL Debug: Error: enum array is nil while count is not zero!"}));
}

struct RewriteCase {
  const char* declaration;
  const char* extended;  // after the extends rewrite
  const char* assigned;  // after the assigns rewrite of the original, or null when it gives up
};

class Rewrites : public Registrar, public ::testing::WithParamInterface<RewriteCase> {};

TEST_P(Rewrites, ExtendsAndAssigns) {
  char* extended = AddExtendsParameter(GetParam().declaration, "Picture");
  char* assigned = AddAssignsParameter(GetParam().declaration);
  EXPECT_STREQ(GetParam().extended, extended);
  EXPECT_STREQ(GetParam().assigned, assigned);
  if (!assigned) {
    EXPECT_THAT(log.Lines(), ElementsAre("QVL Debug: Error: Keine Klammer in der Deklaration " +
                                         std::string(GetParam().declaration)));
  }
  std::free(extended);
  std::free(assigned);
}

INSTANTIATE_TEST_SUITE_P(
    Declarations, Rewrites,
    ::testing::Values(RewriteCase{"ThresholdQVL(Threshold as integer) as picture",
                                  "ThresholdQVL(extends ref as Picture, Threshold as integer) as picture",
                                  "ThresholdQVL(Threshold as integer, assigns value as picture)"},
                      RewriteCase{"HasMaskQVL as boolean", "HasMaskQVL(extends ref as Picture) as boolean",
                                  "HasMaskQVL(assigns value as boolean)"},
                      RewriteCase{"InvertQVL", "InvertQVL(extends ref as Picture)", nullptr},
                      RewriteCase{"", "(extends ref as Picture)", nullptr},
                      RewriteCase{
                          "EmbeddedMaskQVL(extends ref as Picture, swap as boolean) as picture",
                          "EmbeddedMaskQVL(extends ref as Picture, extends ref as Picture, swap as boolean) as picture",
                          "EmbeddedMaskQVL(extends ref as Picture, swap as boolean, assigns value as picture)"}));

TEST_F(Registrar, OverlongDeclarationIsCutAtTheBuffer) {
  const std::string declaration = std::string(1200, 'a') + "(x)";
  char* extended = AddExtendsParameter(declaration.c_str(), "Picture");
  EXPECT_EQ(std::string(999, 'a'), extended);
  std::free(extended);
}

TEST_F(Registrar, ExtensionModuleHasAssigningFormBeforePlainForm) {
  StartAt(2013.0);
  REALmethodDefinition methods[4] = {{&fnA, nullptr, "HasMaskQVL as boolean", 0x40000, 1, kAttribute},
                                     {&fnB, &setB, "EmbeddedMaskQVL(swap as boolean) as picture", 0x40000},
                                     {nullptr, nullptr, "Nothing", 0x40000},
                                     {&fnC, nullptr, "Bare", 0x40000}};
  REALclassDefinition d = Class("Picture", methods, 4);
  MyREALRegisterClassExtension(&d);
  ASSERT_EQ(1u, qvlhost::RegisteredModules().size());
  const REALmoduleDefinition* m = qvlhost::RegisteredModules()[0];
  EXPECT_EQ(NewModule, m);
  EXPECT_STREQ("PicturePictureExtensionQVL", m->name);
  EXPECT_EQ(13u, m->version);
  EXPECT_EQ(consoleTarget, m->flags);
  EXPECT_EQ(DebuggingSharedProperties, m->properties);
  EXPECT_EQ(1u, m->propertyCount);
  ASSERT_EQ(4u, m->methodCount);
  const void* functions[4] = {&fnA, &setB, &fnB, &fnC};
  const char* declarations[4] = {"HasMaskQVL(extends ref as Picture) as boolean",
                                 "EmbeddedMaskQVL(extends ref as Picture, swap as boolean, assigns value as picture)",
                                 "EmbeddedMaskQVL(extends ref as Picture, swap as boolean) as picture",
                                 "Bare(extends ref as Picture)"};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(functions[i], m->methods[i].function) << i;
    EXPECT_EQ(nullptr, m->methods[i].setter) << i;
    EXPECT_STREQ(declarations[i], m->methods[i].declaration) << i;
    EXPECT_EQ(0x14u, m->methods[i].flags) << i;
  }
  EXPECT_EQ(kAttribute, m->methods[0].attributes);
  EXPECT_EQ(1u, m->methods[0].attributeCount);
  EXPECT_EQ(Lines{"Error: The method Picture.Nothing has nil function."}, log.Lines());
}

TEST_F(Registrar, ExtensionModuleWithoutRecordsWarnsAndRegistersNothing) {
  StartAt(2020.02);
  REALmethodDefinition methods[1] = {{nullptr, nullptr, "Nothing", 4}};
  REALclassDefinition empty = Class("Picture", nullptr, 0);
  MyREALRegisterClassExtension(&empty);
  EXPECT_EQ(Lines{}, log.Lines());
  REALclassDefinition d = Class("Picture", methods, 1);
  MyREALRegisterClassExtension(&d);
  EXPECT_THAT(log.Lines(), ElementsAre("Error: The method Picture.Nothing has nil function.",
                                       "QVL Debug: Warning: Failed to allocate memory for method definitions."));
  EXPECT_TRUE(qvlhost::RegisteredModules().empty());
  EXPECT_NE(nullptr, NewModule);
}

struct RouteCase {
  double version;
  bool modules;
};

class Routes : public Registrar, public ::testing::WithParamInterface<RouteCase> {};

TEST_P(Routes, ExtensionAndGlobalsGoTheSameWay) {
  StartAt(GetParam().version);
  REALmethodDefinition methods[1] = {{&fnA, nullptr, "ThresholdQVL(Threshold as integer) as picture", 0x40000}};
  REALmethodDefinition globals[2] = {{&fnB, nullptr, "B(x as integer)", 0x40000, 1, kAttribute},
                                     {nullptr, nullptr, "C", 0x40000}};
  REALclassDefinition d = Class("Picture", methods, 1);
  MyREALRegisterClassExtension(&d);
  MyREALRegisterGlobalMethods(globals, 2);
  EXPECT_EQ(0x4u, globals[0].flags);
  if (GetParam().modules) {
    ASSERT_EQ(2u, qvlhost::RegisteredModules().size());
    const REALmoduleDefinition* m = qvlhost::RegisteredModules()[1];
    EXPECT_STREQ("PictureGlobalsQVL", m->name);
    ASSERT_EQ(2u, m->methodCount);
    EXPECT_EQ(globals[0].declaration, m->methods[0].declaration);
    EXPECT_EQ(0x14u, m->methods[0].flags);
    EXPECT_EQ(DebuggingSharedProperties, m->properties);
    EXPECT_TRUE(qvlhost::RegisteredClassExtensions().empty());
    EXPECT_EQ(Lines{"Error: The method PictureGlobalsQVL.C has nil function."}, log.Lines());
  } else {
    EXPECT_TRUE(qvlhost::RegisteredModules().empty());
    EXPECT_THAT(qvlhost::RegisteredClassExtensions(), ElementsAre(&d));
    EXPECT_EQ(13u, d.version);
    EXPECT_THAT(qvlhost::RegisteredGlobalMethods(), ElementsAre(&globals[0], &globals[1]));
    EXPECT_EQ(Lines{"Error: The method C has no function."}, log.Lines());
  }
}

INSTANTIATE_TEST_SUITE_P(Versions, Routes,
                         ::testing::Values(RouteCase{2012.99, false}, RouteCase{2013.0, true}, RouteCase{2999.99, true},
                                           RouteCase{3000.0, false}));

}  // namespace
