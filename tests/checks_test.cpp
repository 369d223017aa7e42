// The load-time checks write exactly their lines, in their order, for each
// fault of a definition record, and nothing for a sound one.
#include "frame/checks.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "frame/globals.h"
#include "qvlhost.h"
#include "support/plugin_test.h"

namespace {

using Lines = std::vector<std::string>;

Lines LogOf(const std::function<void()>& run) {
  qvlhost::LogCapture capture;
  run();
  return capture.Lines();
}

REALattribute kUnnamed[1] = {{nullptr, nullptr}};
REALmethodDefinition kMethod[1] = {{reinterpret_cast<void*>(&LogOf), nullptr, "M", 4, 0, nullptr}};
void* const kStandard = REALstandardGetter;

REALproperty Prop(const char* type, void* getter, int32_t param) {
  return REALproperty{nullptr, "p", type, 0, getter, nullptr, param, nullptr, 0, nullptr, 0, nullptr};
}

struct CheckCase {
  const char* what;
  std::function<void()> run;
  Lines expected;
};

class CheckLines : public PluginTest, public ::testing::WithParamInterface<CheckCase> {};

TEST_P(CheckLines, WritesExactlyTheseLines) { EXPECT_EQ(GetParam().expected, LogOf(GetParam().run)); }

REALconstant kConstant[1] = {{nullptr, 0, 0, 1, nullptr}};
REALmethodDefinition kBadMethods[2] = {{nullptr, nullptr, nullptr, 0, 0, kUnnamed},
                                       {kMethod, nullptr, "m", 0, 1, kUnnamed}};
REALdelegate kDelegate[1] = {{nullptr, 0, 1, nullptr}};
REALevent kEvent[1] = {{nullptr, 0, 1, nullptr}};
REALproperty kProperties[5] = {
    {},
    {nullptr, "d", "double", 0, kStandard, nullptr, 0, kMethod, 1, nullptr, 1, nullptr},
    Prop("Double", kMethod, 2),  // custom getter: the standard setter is not looked at
    Prop("Integer", kStandard, 6),
    Prop("Integer", kMethod, 6),
};
REALclassDefinition kBadClass = {14,    "C",     "BaseQVL", 8,       3, nullptr, nullptr, nullptr, 1,         nullptr,
                                 1,     kEvent,  0,         nullptr, 1, 0,       nullptr, 10001,   kConstant, 4001,
                                 0x400, nullptr, 1,         nullptr, 1, nullptr, 1,       nullptr, 1};
REALmoduleDefinition kBadModule = {3,       "M", nullptr, 1, nullptr, 0, nullptr, 1,
                                   nullptr, 1,   nullptr, 1, nullptr, 1, nullptr, 1};
REALclassDefinition kBadExtension = {1, "picture", "X", 8,       1, nullptr, nullptr, nullptr, 1,       kMethod,
                                     0, nullptr,   1,   nullptr, 1, 0,       nullptr, 1,       nullptr, 1,
                                     4, nullptr,   1,   nullptr, 1, nullptr, 1,       nullptr, 1};
REALmethodDefinition kBareGlobal = {nullptr, nullptr, nullptr, 0, 1, nullptr};

const CheckCase kCases[] = {
    {"ConstantNullArray",
     [] { CheckConstants("O", nullptr, 2); },
     {"Error: Constant O.0 is NULL.", "Error: Constant O.1 is NULL."}},
    {"Constant",
     [] { CheckConstants("O", kConstant, 1); },
     {"Error: The constant O.0 has nil declaration.",
      "Error: The constant O.(null) has the wrong attributeCount value: 1"}},
    {"MethodNullArray", [] { CheckMethods("O", nullptr, 1); }, {"Error: method O.0 is NULL."}},
    {"Methods",
     [] { CheckMethods("O", kBadMethods, 2); },
     {"Error: The method O.0 has nil declaration.", "Error: The method O.(null) has nil function.",
      "Error: The method O.(null) has the wrong attributeCount value: 0",
      "Error: O.m has an attribute without name! Index: 0",
      "Error: O.m has an attribute without value! Name: (null) Index: 0"}},
    {"Delegate",
     [] { CheckDelegates("O", kDelegate, 1); },
     {"Error: The delegate O.0 has nil declaration.", "Warning: The delegate O.(null) has 0 for flags.",
      "Error: The delegate O.(null) has the wrong attributeCount value: 1"}},
    {"Event",
     [] { CheckEvents("O", kEvent, 1); },
     {"Error: The event O.0 has nil declaration.", "Error: The event O.(null) has the wrong attributeCount value: 1"}},
    {"Properties",
     [] { CheckProperties("O", kProperties, 5); },
     {"Error: The property O.0 has nil name.", "Error: The property O.(null) has nil getter.",
      "Error: The property O.0 has nil type.", "Error: The property O.d needs custom getter.",
      "Error: The property O.d needs custom setter.", "Error: The property O.d has editor.",
      "Error: The property O.d has wrong enumCount: 1", "Error: The property O.d has attributes: 1",
      "Error: The property O.p has unaligned offset 6.", "Error: The property O.p has unaligned offset 6."}},
    {"ItemCountsOutOfRange",
     [] {
       CheckConstants("O", kConstant, 10001);
       CheckMethods("O", kMethod, 10001);
       CheckDelegates("O", kDelegate, 10001);
       CheckEvents("O", kEvent, 10001);
       CheckProperties("O", kProperties, 0x100002711);
     },
     {"Error: constant count out of range for O: 10001.", "Error: method count out of range for O: 10001.",
      "Error: delegate count out of range for O: 10001.", "Error: event count out of range for O: 10001.",
      "Error: property count out of range for O: 10001."}},
    {"ClassRecord",
     [] {
       rbversion_rbversion = 2020.01;
       CheckClassRecord(&kBadClass);
     },
     {"Error: The class C has the wrong kCurrentREALControlVersion: 14 vs. 15",
      "Error: The class C has the wrong forSystemUse value: 3",
      "Error: The class C has the wrong propertyCount value: 1",
      "Error: The class C has the wrong methodCount value: 1", "Error: The class C has the wrong eventCount value: 0",
      "Error: The class C has the wrong eventInstanceCount value: 1",
      "Error: The class C has the wrong constantCount value: 4001",
      "Error: The class C has the wrong sharedPropertyCounttionCount value: 1",
      "Error: The class C has the wrong sharedMethodCount value: 1",
      "Error: The class C has the wrong attributeCount value: 10001",
      "Error: The class C has the wrong delegateCount value: 1", "Error: The class C has the wrong enumCount value: 1",
      "Error: The class extension C has wrong attributes: 10001", "Warning: The subclass C of BaseQVL has data size: 8",
      "Warning: iOS only class registered for old Xojo: C", "Error: attribute count out of range for .C: 10001."}},
    {"NamelessRecords",
     [] {
       REALclassDefinition unnamedClass{};
       unnamedClass.version = 15;
       REALmoduleDefinition unnamedModule{};
       CheckClassRecord(&unnamedClass);
       CheckModuleRecord(&unnamedModule);
     },
     {"Error: A class without name.", "Error: The module (null) has the wrong kCurrentREALControlVersion: 0 vs. 15",
      "Error: A module without name."}},
    {"ModuleRecord",
     [] { CheckModuleRecord(&kBadModule); },
     {"Error: The module M has the wrong kCurrentREALControlVersion: 3 vs. 15",
      "Error: The module M has the wrong propertyCount value: 1",
      "Error: The module M has the wrong methodCount value: 1",
      "Error: The module M has the wrong structureCount value: 1",
      "Error: The module M has the wrong enumCount value: 1",
      "Error: The module M has the wrong attributeCount value: 1",
      "Error: The module M has the wrong delegateCount value: 1"}},
    {"ClassExtension",
     [] { CheckClassExtension(&kBadExtension); },
     {"Error: The class extension picture has the wrong kCurrentREALControlVersion: 1 vs. 15",
      "Error: A class extension can't have super name: picture",
      "Error: The class extension picture has the dataSize value: 8",
      "Error: The class extension picture has the wrong forSystemUse value: 1",
      "Error: The class extension picture has the wrong propertyCount value: 1",
      "Error: The class extension picture has the wrong methodCount value: 0",
      "Error: The class extension picture has events: 1",
      "Error: The class extension picture has event instances: 1",
      "Error: The class extension picture has constants: 1",
      "Error: The class extension picture has shared Properties: 1",
      "Error: The class extension picture has shared Methods: 1",
      "Error: The class extension picture has wrong attributes: 1",
      "Error: The class extension picture has delegates 1",
      "Error: The class extension picture has enums: 1",
      "Error: The property picture.0 has nil name.",
      "Error: The property picture.(null) has nil getter.",
      "Error: The property picture.0 has nil type.",
      "Error: Constant picture.0 is NULL.",
      "Error: The event picture.0 has nil declaration.",
      "Error: method picture.0 is NULL.",
      "Error: The property picture.0 has nil name.",
      "Error: The property picture.(null) has nil getter.",
      "Error: The property picture.0 has nil type.",
      "Error: The delegate picture.0 has nil declaration.",
      "Warning: The delegate picture.(null) has 0 for flags.",
      "Warning: The class extension picture has the propertyCount value: 1",
      "Warning: The class extension picture has the constantCount value: 1",
      "Warning: The class extension picture has the eventCount value: 1",
      "Warning: The class extension picture has the sharedProperties value: 1",
      "Warning: The class extension picture has the sharedMethods value: 1",
      "Error: The class extension name picture does not start with capital letter."}},
    {"GlobalMethod",
     [] { CheckGlobalMethod(&kBareGlobal); },
     {"Error: A method without declaration.", "Error: The method (null) has no function.",
      "Error: The method (null) has the wrong attributeCount value: 1"}},
};

INSTANTIATE_TEST_SUITE_P(Messages, CheckLines, ::testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.what); });

struct Boundary {
  uint64_t count;
  Lines expected;
};

class AttributeCountBoundary : public PluginTest, public ::testing::WithParamInterface<Boundary> {};

// The unnamed attribute stands last of 10000, so it is seen only when the walk runs to 10000.
TEST_P(AttributeCountBoundary, CountLineAndWalk) {
  std::vector<REALattribute> attributes(10001, REALattribute{"a", "v"});
  attributes[9999].name = nullptr;
  REALmethodDefinition method = {kMethod, nullptr, "m", 4, GetParam().count, attributes.data()};
  EXPECT_EQ(GetParam().expected, LogOf([&] { CheckMethods("O", &method, 1); }));
}

INSTANTIATE_TEST_SUITE_P(Limits, AttributeCountBoundary,
                         ::testing::Values(Boundary{1000, {}},
                                           Boundary{1001,
                                                    {"Error: The method O.m has the wrong attributeCount value: 1001"}},
                                           Boundary{10000,
                                                    {"Error: The method O.m has the wrong attributeCount value: 10000",
                                                     "Error: O.m has an attribute without name! Index: 9999"}},
                                           Boundary{10001,
                                                    {"Error: The method O.m has the wrong attributeCount value: 10001",
                                                     "Error: attribute count out of range for O.m: 10001."}}));

TEST_F(PluginTest, ClassConstantsMayNumber4000AndNeverZeroWithAnArray) {
  REALclassDefinition sound{};
  sound.version = 15;
  sound.name = "C";
  sound.constants = kConstant;
  for (uint64_t count : {1, 4000}) {
    sound.constantCount = count;
    EXPECT_EQ(Lines{}, LogOf([&] { CheckClassRecord(&sound); })) << count;
  }
  for (uint64_t count : {0, 4001}) {
    sound.constantCount = count;
    EXPECT_EQ(Lines{"Error: The class C has the wrong constantCount value: " + std::to_string(count)},
              LogOf([&] { CheckClassRecord(&sound); }));
  }
}

TEST_F(PluginTest, ExtensionNameCapitalRuleLooksOnlyAtLowerCaseLetters) {
  for (const char* name : {"Picture", "1picture", "_x"}) {
    REALclassDefinition extension{};
    extension.version = 15;
    extension.name = name;
    EXPECT_EQ(Lines{}, LogOf([&] { CheckClassExtension(&extension); })) << name;
  }
}

}  // namespace
