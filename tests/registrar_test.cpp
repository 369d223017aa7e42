// The registrar fits flags and sizes to the host, names console-safety and
// offset faults, and builds the generated extension and globals modules; the
// load-time checks write exactly their lines, in order, for each fault of a
// definition record, and nothing for a sound one.
#include "frame/registrar.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>
#include <vector>

#include "frame/checks.h"
#include "frame/tables.h"
#include "support/plugin_test.h"

namespace {

using ::testing::ElementsAre;

int fnA, fnB, setB;  // distinct addresses standing for functions
REALattribute kAttribute[1] = {{"Deprecated", "x"}};

class Registrar : public PluginTest {
 protected:
  void StartAt(double version) {
    rbversion_rbversion = version;
    CurrentREALControlVersion = 13;
    gpartname = gpluginname = "Picture";
  }
  static REALclassDefinition Class(const char* name, REALmethodDefinition* methods = nullptr, uint64_t count = 0) {
    REALclassDefinition d{15, name};
    d.methods = methods;
    d.methodCount = count;
    d.flags = consoleTarget;
    return d;
  }
  qvlhost::LogCapture log;
};

TEST_F(Registrar, FlagsFollowTheHostVersionInEveryMemberTable) {
  const std::tuple<double, uint32_t, uint32_t> cases[] = {
      {2010.028, 0x40000, 0x0}, {2010.029, 0x40000, 0x4}, {2020.01, 0x30C, 0x4},   {2020.01, 0x70C, 0x70C},
      {2020.02, 0x30C, 0x30C},  {2010.0, 0x40308, 0x4},   {2020.01, 0x40022, 0x26}};
  for (auto [version, before, after] : cases) {
    StartAt(version);
    REALmethodDefinition methods[2] = {{&fnA, nullptr, "a", before}, {&fnB, nullptr, "b", before}};
    REALproperty properties[2] = {{nullptr, "p", "Integer", before}, {nullptr, "q", "Integer", before}};
    REALclassDefinition d = Class("K", methods, 1);
    d.flags = before;
    d.sharedMethods = methods + 1;
    d.properties = properties;
    d.sharedProperties = properties + 1;
    d.sharedMethodCount = d.propertyCount = d.sharedPropertyCount = 1;
    FixFlags(&d);
    for (uint32_t flags : {d.flags, methods[0].flags, methods[1].flags, properties[0].flags, properties[1].flags})
      EXPECT_EQ(after, flags) << version << " " << before;
  }
}

TEST_F(Registrar, ClassDataSizeRoundsUpTo16AndTheVersionIsStamped) {
  REALclassDefinition unnamedPart = Class("K");
  MyREALRegisterClass(&unnamedPart);
  EXPECT_EQ(Lines{"Error: gpartname is nil!? K"}, log.Lines());
  EXPECT_TRUE(qvlhost::RegisteredClasses().empty());
  StartAt(2020.02);
  REALclassDefinition classes[3] = {Class("A"), Class("B"), Class("C")};
  const uint64_t sizes[3][2] = {{100, 112}, {96, 96}, {0, 0}};
  for (int i = 0; i < 3; ++i) {
    classes[i].dataSize = sizes[i][0];
    MyREALRegisterClass(&classes[i]);
    EXPECT_EQ(sizes[i][1], classes[i].dataSize);
    EXPECT_EQ(13u, classes[i].version);
  }
  EXPECT_THAT(qvlhost::RegisteredClasses(), ElementsAre(&classes[0], &classes[1], &classes[2]));
  EXPECT_EQ(1u, log.Lines().size());
}

// Standard accessors must leave four bytes of the instance data; a class
// that is not console-safe names its console-safe members, Debugging aside.
TEST_F(Registrar, TargetCheckNamesOverlongOffsetsAndConsoleSafeMembers) {
  REALmethodDefinition methods[3] = {{&fnA, nullptr, "m", 0x4}, {&fnA, nullptr, "w", 0x104}, {&fnA, nullptr, "s", 0x4}};
  REALproperty properties[7] = {{nullptr, "p", "Integer", 0x4, &fnA, &fnA},
                                {nullptr, "a", "Integer", 0, REALstandardGetter, REALstandardSetter, 12},
                                {nullptr, "b", "Integer", 0, REALstandardGetter, REALstandardSetter, 13},
                                {nullptr, "c", "Integer", 0, &fnA, REALstandardSetter, 40},
                                {nullptr, "d", "Integer", 0, &fnA, &fnA, 40},
                                {nullptr, "Debugging", "Boolean", 0x4, &fnA, &fnA},
                                {nullptr, "q", "Integer", 0x4, &fnA, &fnA}};
  REALclassDefinition d = Class("K", methods, 2);
  d.dataSize = 16;
  d.sharedMethods = methods + 2;
  d.properties = properties;
  d.sharedProperties = properties + 5;
  d.sharedMethodCount = 1;
  d.propertyCount = 5;
  d.sharedPropertyCount = 2;
  CheckTargetFlags(&d);
  d.flags = 0x8;
  CheckTargetFlags(&d);
  const std::string b = "Error: Offset for variable too big: K.b 13 16",
                    c = "Error: Offset for variable too big: K.c 40 16";
  EXPECT_THAT(log.Lines(), ElementsAre(b, c, "QVL Debug: Console-safe method in console-unsafe class:  K, m",
                                       "QVL Debug: Console-safe shared method in console-unsafe class:  K, s",
                                       "QVL Debug: Console-safe property in console-unsafe class:  K, p",
                                       "QVL Debug: Console-safe shared property in console-unsafe class:  K, q", b, c));
}

TEST_F(Registrar, ModuleMembersGetDefaultScopeAndTheModuleConsoleTarget) {
  StartAt(2020.02);
  REALmethodDefinition methods[2] = {{&fnA, nullptr, "i", 0x400}, {&fnA, nullptr, "c", 0x4}};
  REALproperty properties[1] = {{nullptr, "Debugging", "Boolean", 0x40022, &fnA, &fnA}};
  REALmoduleDefinition m{15, "M", methods, 2, nullptr, 0, properties, 1};
  MyREALRegisterModule(&m);
  EXPECT_EQ(0x440u, methods[0].flags);
  EXPECT_EQ(0x44u, methods[1].flags);
  EXPECT_EQ(0x26u, properties[0].flags);
  EXPECT_EQ(consoleTarget, m.flags);
  m.flags = iosTarget;
  methods[1].flags = 0x4;
  MyREALRegisterModule(&m);
  EXPECT_EQ(iosTarget, m.flags);
  EXPECT_THAT(qvlhost::RegisteredModules(), ElementsAre(&m, &m));
  EXPECT_THAT(log.Lines(), ElementsAre("QVL Debug: Console-safe method in console-unsafe module:  M, c",
                                       "QVL Debug: Console-safe property in console-unsafe module:  M, Debugging"));

  REALmoduleDefinition nil{15, "N", nullptr, 1, nullptr, 0, nullptr, 1, nullptr, 0, nullptr, 1};
  MyREALRegisterModule(&nil);
  EXPECT_THAT(log.Lines(), ::testing::IsSupersetOf({"QVL Debug: Error: method array is nil while count is not zero!",
                                                    "QVL Debug: Error: property array is nil while count is not zero!",
                                                    "QVL Debug: Error: enum array is nil while count is not zero!"}));
}

TEST_F(Registrar, DeclarationRewrites) {
  const std::string overlong = std::string(1200, 'a') + "(x)", cut = std::string(999, 'a');
  // A declaration, its extends rewrite and its assigns rewrite, null where that gives up.
  const std::tuple<const char*, const char*, const char*> cases[] = {
      {"HasMaskQVL as boolean", "HasMaskQVL(extends ref as Picture) as boolean",
       "HasMaskQVL(assigns value as boolean)"},
      {"InvertQVL", "InvertQVL(extends ref as Picture)", nullptr},
      {"", "(extends ref as Picture)", nullptr},
      {overlong.c_str(), cut.c_str(), cut.c_str()}};
  for (auto [declaration, wantedExtended, wantedAssigned] : cases) {
    char* extended = AddExtendsParameter(declaration, "Picture");
    char* assigned = AddAssignsParameter(declaration);
    EXPECT_STREQ(wantedExtended, extended);
    EXPECT_STREQ(wantedAssigned, assigned);
    std::free(extended);
    std::free(assigned);
  }
  EXPECT_THAT(log.Lines(), ElementsAre("QVL Debug: Error: Keine Klammer in der Deklaration InvertQVL",
                                       "QVL Debug: Error: Keine Klammer in der Deklaration "));
}

TEST_F(Registrar, ExtensionModuleHasTheAssigningFormBeforeThePlainForm) {
  StartAt(2013.0);
  REALmethodDefinition methods[3] = {{&fnA, nullptr, "HasMaskQVL as boolean", 0x40000, 1, kAttribute},
                                     {&fnB, &setB, "EmbeddedMaskQVL(swap as boolean) as picture", 0x40000},
                                     {nullptr, nullptr, "Nothing", 0x40000}};
  REALclassDefinition d = Class("Picture", methods, 3);
  MyREALRegisterClassExtension(&d);
  ASSERT_EQ(1u, qvlhost::RegisteredModules().size());
  const REALmoduleDefinition* m = qvlhost::RegisteredModules()[0];
  EXPECT_EQ(consoleTarget, m->flags);
  EXPECT_EQ(DebuggingSharedProperties, m->properties);
  const std::pair<const void*, const char*> expected[] = {
      {&fnA, "HasMaskQVL(extends ref as Picture) as boolean"},
      {&setB, "EmbeddedMaskQVL(extends ref as Picture, swap as boolean, assigns value as picture)"},
      {&fnB, "EmbeddedMaskQVL(extends ref as Picture, swap as boolean) as picture"}};
  ASSERT_EQ(3u, m->methodCount);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(expected[i].first, m->methods[i].function) << i;
    EXPECT_STREQ(expected[i].second, m->methods[i].declaration) << i;
    EXPECT_EQ(nullptr, m->methods[i].setter) << i;
    EXPECT_EQ(0x14u, m->methods[i].flags) << i;
  }
  EXPECT_EQ(kAttribute, m->methods[0].attributes);
  EXPECT_EQ(Lines{"Error: The method Picture.Nothing has nil function."}, log.Lines());
}

TEST_F(Registrar, ExtensionModuleWithoutRecordsWarnsAndRegistersNothing) {
  StartAt(2020.02);
  REALmethodDefinition methods[1] = {{nullptr, nullptr, "Nothing", 4}};
  REALclassDefinition empty = Class("Picture"), d = Class("Picture", methods, 1);
  MyREALRegisterClassExtension(&empty);
  EXPECT_EQ(Lines{}, log.Lines()) << "no method, no module, no message";
  MyREALRegisterClassExtension(&d);
  EXPECT_THAT(log.Lines(), ElementsAre("Error: The method Picture.Nothing has nil function.",
                                       "QVL Debug: Warning: Failed to allocate memory for method definitions."));
  EXPECT_TRUE(qvlhost::RegisteredModules().empty());
  EXPECT_NE(nullptr, NewModule);
}

// Global methods go into a generated module where the extension does, directly elsewhere.
TEST_F(Registrar, GlobalsTakeTheExtensionsRoute) {
  for (double version : {2012.99, 2013.0, 2999.99, 3000.0}) {
    qvlhost::Reset();
    StartAt(version);
    qvlhost::LogCapture lines;
    REALmethodDefinition globals[2] = {{&fnB, nullptr, "B(x as integer)", 0x40000}, {nullptr, nullptr, "C", 0x40000}};
    MyREALRegisterGlobalMethods(globals, 2);
    EXPECT_EQ(0x4u, globals[0].flags);
    if (version >= 2013.0 && version < 3000.0) {
      ASSERT_EQ(1u, qvlhost::RegisteredModules().size());
      const REALmoduleDefinition* m = qvlhost::RegisteredModules()[0];
      ASSERT_EQ(2u, m->methodCount);
      EXPECT_EQ(globals[0].declaration, m->methods[0].declaration);
      EXPECT_EQ(0x14u, m->methods[0].flags);
      EXPECT_EQ(Lines{"Error: The method PictureGlobalsQVL.C has nil function."}, lines.Lines());
    } else {
      EXPECT_TRUE(qvlhost::RegisteredModules().empty());
      EXPECT_THAT(qvlhost::RegisteredGlobalMethods(), ElementsAre(&globals[0], &globals[1]));
      EXPECT_EQ(Lines{"Error: The method C has no function."}, lines.Lines());
    }
  }
}

Lines LogOf(const std::function<void()>& run) {
  qvlhost::LogCapture capture;
  run();
  return capture.Lines();
}

Lines Starting(const std::string& start, std::initializer_list<const char*> ends) {
  Lines lines;
  for (const char* end : ends) lines.push_back(start + end);
  return lines;
}

Lines operator+(Lines first, const Lines& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

void* const kStandard = REALstandardGetter;
REALattribute kUnnamed[1] = {};
REALconstant kConstant[1] = {{nullptr, 0, 0, 1}};
REALmethodDefinition kMethods[2] = {{nullptr, nullptr, nullptr, 0, 0, kUnnamed}, {&fnA, nullptr, "m", 0, 1, kUnnamed}};
REALdelegate kDelegate[1] = {{nullptr, 0, 1}};
REALevent kEvent[1] = {{nullptr, 0, 1}};
REALproperty kProperties[5] = {{},
                               {nullptr, "d", "double", 0, kStandard, nullptr, 0, &fnA, 1, nullptr, 1},
                               {nullptr, "p", "Double", 0, &fnA, kStandard, 2},
                               {nullptr, "p", "Integer", 0, kStandard, nullptr, 6},
                               {nullptr, "p", "Integer", 0, &fnA, nullptr, 6}};

REALclassDefinition BadClass() {
  REALclassDefinition d{14, "C", "BaseQVL", 8, 3};
  d.sharedPropertyCount = 1;  // its line names a misspelt field
  d.attributeCount = 10001;
  d.constants = kConstant;
  d.constantCount = 4001;
  d.flags = iosTarget;
  return d;
}

REALclassDefinition BadExtension() {
  REALclassDefinition d{1, "picture", "X", 8, 1};
  d.eventCount = d.sharedMethodCount = d.enumCount = 1;
  d.methods = kMethods;
  return d;
}

struct CheckCase {
  const char* what;
  std::function<void()> run;
  Lines expected;
};

class CheckLines : public PluginTest, public ::testing::WithParamInterface<CheckCase> {};

TEST_P(CheckLines, WritesExactlyTheseLines) { EXPECT_EQ(GetParam().expected, LogOf(GetParam().run)); }

const CheckCase kCases[] = {
    {"Constants",
     [] {
       CheckConstants("O", kConstant, 1);
       CheckConstants("O", nullptr, 2);
     },
     {"Error: The constant O.0 has nil declaration.",
      "Error: The constant O.(null) has the wrong attributeCount value: 1", "Error: Constant O.0 is NULL.",
      "Error: Constant O.1 is NULL."}},
    {"Methods",
     [] {
       CheckMethods("O", kMethods, 2);
       CheckMethods("O", nullptr, 1);
     },
     {"Error: The method O.0 has nil declaration.", "Error: The method O.(null) has nil function.",
      "Error: The method O.(null) has the wrong attributeCount value: 0",
      "Error: O.m has an attribute without name! Index: 0",
      "Error: O.m has an attribute without value! Name: (null) Index: 0", "Error: method O.0 is NULL."}},
    {"DelegatesAndEvents",
     [] {
       CheckDelegates("O", kDelegate, 1);
       CheckEvents("O", kEvent, 1);
     },
     {"Error: The delegate O.0 has nil declaration.", "Warning: The delegate O.(null) has 0 for flags.",
      "Error: The delegate O.(null) has the wrong attributeCount value: 1", "Error: The event O.0 has nil declaration.",
      "Error: The event O.(null) has the wrong attributeCount value: 1"}},
    {"Properties", [] { CheckProperties("O", kProperties, 5); },
     Lines{"Error: The property O.0 has nil name.", "Error: The property O.(null) has nil getter.",
           "Error: The property O.0 has nil type."} +
         Starting("Error: The property O.d ", {"needs custom getter.", "needs custom setter.", "has editor.",
                                               "has wrong enumCount: 1", "has attributes: 1"}) +
         Lines(2, "Error: The property O.p has unaligned offset 6.")},
    {"ItemCountsOutOfRange",
     [] {
       CheckConstants("O", kConstant, 10001);
       CheckMethods("O", kMethods, 10001);
       CheckDelegates("O", kDelegate, 10001);
       CheckEvents("O", kEvent, 10001);
       CheckProperties("O", kProperties, 0x100002711);  // shown cut to 32 bits
     },
     {"Error: constant count out of range for O: 10001.", "Error: method count out of range for O: 10001.",
      "Error: delegate count out of range for O: 10001.", "Error: event count out of range for O: 10001.",
      "Error: property count out of range for O: 10001."}},
    {"ClassRecord",
     [] {
       REALclassDefinition d = BadClass(), unnamed{15}, constants{15, "K"};
       rbversion_rbversion = 2020.01;
       CheckClassRecord(&d);
       CheckClassRecord(&unnamed);
       constants.constants = kConstant;
       for (uint64_t count : {4000, 0}) {  // a class may have 4000 constants, but not none beside an array
         constants.constantCount = count;
         CheckClassRecord(&constants);
       }
     },
     Starting("Error: The class C has the wrong ",
              {"kCurrentREALControlVersion: 14 vs. 15", "forSystemUse value: 3", "constantCount value: 4001",
               "sharedPropertyCounttionCount value: 1", "attributeCount value: 10001"}) +
         Lines{"Error: The class extension C has wrong attributes: 10001",
               "Warning: The subclass C of BaseQVL has data size: 8",
               "Warning: iOS only class registered for old Xojo: C",
               "Error: attribute count out of range for .C: 10001.", "Error: A class without name.",
               "Error: The class K has the wrong constantCount value: 0"}},
    {"ModuleRecord",
     [] {
       REALmoduleDefinition m{3, "M", nullptr, 1};
       REALmoduleDefinition unnamed{15};
       CheckModuleRecord(&m);
       CheckModuleRecord(&unnamed);
     },
     {"Error: The module M has the wrong kCurrentREALControlVersion: 3 vs. 15",
      "Error: The module M has the wrong methodCount value: 1", "Error: A module without name."}},
    {"ClassExtension",
     [] {
       REALclassDefinition d = BadExtension(), fine[3] = {{15, "Picture"}, {15, "1picture"}, {15, "_x"}};
       CheckClassExtension(&d);
       for (REALclassDefinition& extension : fine)
         CheckClassExtension(&extension);  // the name rule sees lower case only
     },
     Lines{"Error: The class extension picture has the wrong kCurrentREALControlVersion: 1 vs. 15",
           "Error: A class extension can't have super name: picture"} +
         Starting("Error: The class extension picture has ",
                  {"the dataSize value: 8", "the wrong forSystemUse value: 1", "the wrong methodCount value: 0",
                   "events: 1", "shared Methods: 1", "enums: 1"}) +
         Lines{"Error: The event picture.0 has nil declaration.", "Error: method picture.0 is NULL.",
               "Warning: The class extension picture has the eventCount value: 1",
               "Warning: The class extension picture has the sharedMethods value: 1"} +
         Lines{"Error: The class extension name picture does not start with capital letter."}},
    {"GlobalMethod",
     [] {
       REALmethodDefinition bare{nullptr, nullptr, nullptr, 0, 1};
       CheckGlobalMethod(&bare);
     },
     {"Error: A method without declaration.", "Error: The method (null) has no function.",
      "Error: The method (null) has the wrong attributeCount value: 1"}},
};

INSTANTIATE_TEST_SUITE_P(Messages, CheckLines, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.what); });

// The unnamed attribute stands last of 10000: only a walk of 10000 sees it.
TEST_F(PluginTest, AttributeCountLimitsAndTheWalk) {
  std::vector<REALattribute> attributes(10001, REALattribute{"a", "v"});
  attributes[9999].name = nullptr;
  const std::string countLine = "Error: The method O.m has the wrong attributeCount value: ";
  const std::pair<uint64_t, Lines> cases[] = {
      {1000, {}},
      {1001, {countLine + "1001"}},
      {10000, {countLine + "10000", "Error: O.m has an attribute without name! Index: 9999"}},
      {10001, {countLine + "10001", "Error: attribute count out of range for O.m: 10001."}}};
  for (const auto& [count, expected] : cases) {
    REALmethodDefinition method{&fnA, nullptr, "m", 4, count, attributes.data()};
    EXPECT_EQ(expected, LogOf([&] { CheckMethods("O", &method, 1); })) << count;
  }
}

}  // namespace
