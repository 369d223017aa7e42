// The load-time checks write exactly their lines, in their order, for each
// fault of a definition record, and nothing for a sound one.
#include "frame/checks.h"

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "support/plugin_test.h"

namespace {

using Lines = std::vector<std::string>;

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

// What a property record with nothing filled in gives.
Lines NilProperty(const std::string& owner) {
  return {"Error: The property " + owner + ".0 has nil name.",
          "Error: The property " + owner + ".(null) has nil getter.",
          "Error: The property " + owner + ".0 has nil type."};
}

int fn;  // an address standing for a function
void* const kStandard = REALstandardGetter;
REALattribute kUnnamed[1] = {};
REALconstant kConstant[1] = {{nullptr, 0, 0, 1}};
REALmethodDefinition kMethods[2] = {{nullptr, nullptr, nullptr, 0, 0, kUnnamed}, {&fn, nullptr, "m", 0, 1, kUnnamed}};
REALdelegate kDelegate[1] = {{nullptr, 0, 1}};
REALevent kEvent[1] = {{nullptr, 0, 1}};
REALproperty kProperties[5] = {{},
                               {nullptr, "d", "double", 0, kStandard, nullptr, 0, &fn, 1, nullptr, 1},
                               {nullptr, "p", "Double", 0, &fn, kStandard, 2},
                               {nullptr, "p", "Integer", 0, kStandard, nullptr, 6},
                               {nullptr, "p", "Integer", 0, &fn, nullptr, 6}};

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
     NilProperty("O") +
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
    REALmethodDefinition method{&fn, nullptr, "m", 4, count, attributes.data()};
    EXPECT_EQ(expected, LogOf([&] { CheckMethods("O", &method, 1); })) << count;
  }
}

}  // namespace
