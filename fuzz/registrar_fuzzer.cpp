// The definition checks and the registrar on tables made from the input: a
// class, a module, a class extension or a table of global methods, with any
// names, declarations, flags and counts, arrays present or nil, registered
// with a fresh host at a host version from the input. A table's count never
// exceeds the records it holds when its array is present (the plug-in's
// tables are its own); a nil array may come with any count. The host must be
// balanced afterwards and its view of the registered surface readable.
#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "binding/globals.h"
#include "frame/registrar.h"
#include "fuzz_host.h"

namespace {

constexpr uint64_t kMaxRecords = 4;

int functionA, functionB;  // distinct addresses standing for functions

// Everything the tables point at, alive until the input ends.
struct Arena {
  std::deque<std::string> texts;
  std::deque<std::vector<REALattribute>> attributes;
  std::deque<std::vector<REALmethodDefinition>> methods;
  std::deque<std::vector<REALproperty>> properties;
  std::deque<std::vector<REALconstant>> constants;
  std::deque<std::vector<REALevent>> events;
  std::deque<std::vector<REALdelegate>> delegates;
  std::deque<std::vector<REALenum>> enums;
};

const char* Text(FuzzedDataProvider& input, Arena& arena, const char* const* usual, size_t usualCount) {
  switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
      return nullptr;
    case 1:
      return usual[input.ConsumeIntegralInRange<size_t>(0, usualCount - 1)];
    default:
      arena.texts.push_back(input.ConsumeRandomLengthString(120));
      return arena.texts.back().c_str();
  }
}

const char* Declaration(FuzzedDataProvider& input, Arena& arena) {
  static const char* const kUsual[] = {"F(a as integer) as picture",
                                       "G as boolean",
                                       "H(x as double, y as color)",
                                       "NoParenthesis",
                                       "S(byref m as memoryblock, p as picture = nil) as string",
                                       ""};
  return Text(input, arena, kUsual, sizeof kUsual / sizeof *kUsual);
}

const char* Name(FuzzedDataProvider& input, Arena& arena) {
  static const char* const kUsual[] = {"Picture", "K", "Debugging", "ModuleQVL", "", "Integer", "Double"};
  return Text(input, arena, kUsual, sizeof kUsual / sizeof *kUsual);
}

uint32_t Flags(FuzzedDataProvider& input) {
  static const uint32_t kUsual[] = {0,
                                    consoleTarget,
                                    consoleSafeMark,
                                    desktopTarget | webTarget | mobileTarget,
                                    desktopTarget | webTarget | mobileTarget | iosTarget,
                                    iosTarget,
                                    scopePublic | consoleTarget,
                                    kQVLPropertyMarker | consoleSafeMark};
  return input.ConsumeBool() ? input.PickValueInArray(kUsual) : input.ConsumeIntegral<uint32_t>();
}

// A count and its array: none, a few records, a nil array with a small or
// absurd count, or records with a count of zero.
template <class Record, class Fill>
Record* Table(FuzzedDataProvider& input, std::deque<std::vector<Record>>& store, uint64_t* count, Fill fill) {
  static const uint64_t kAbsurd[] = {10001, 4001, 1001, uint64_t(1) << 32, UINT64_MAX, uint64_t(INT64_MAX) + 1};
  switch (input.ConsumeIntegralInRange(0, 4)) {
    case 0:
      *count = 0;
      return nullptr;
    case 1:
      *count = input.ConsumeIntegralInRange<uint64_t>(1, 12);
      return nullptr;
    case 2:
      *count = input.PickValueInArray(kAbsurd);
      return nullptr;
    default: {
      const uint64_t records = input.ConsumeIntegralInRange<uint64_t>(1, kMaxRecords);
      store.emplace_back(records);
      for (Record& record : store.back()) fill(record);
      *count = input.ConsumeIntegralInRange(0, 9) == 0 ? 0 : records;
      return store.back().data();
    }
  }
}

REALattribute* Attributes(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.attributes, count, [&](REALattribute& attribute) {
    attribute.name = Name(input, arena);
    attribute.value = Declaration(input, arena);
  });
}

REALmethodDefinition* Methods(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.methods, count, [&](REALmethodDefinition& method) {
    method.function = input.ConsumeIntegralInRange(0, 4) == 0 ? nullptr : &functionA;
    method.setter = input.ConsumeIntegralInRange(0, 3) == 0 ? &functionB : nullptr;
    method.declaration = Declaration(input, arena);
    method.flags = Flags(input);
    method.attributes = Attributes(input, arena, &method.attributeCount);
  });
}

REALproperty* Properties(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.properties, count, [&](REALproperty& property) {
    static const char* const kTypes[] = {"Integer", "Double", "double", "Picture", "Boolean", "Color", "String"};
    property.name = Name(input, arena);
    property.type = Text(input, arena, kTypes, sizeof kTypes / sizeof *kTypes);
    property.flags = Flags(input);
    const bool standard = input.ConsumeBool();
    property.getter = standard ? REALstandardGetter : input.ConsumeBool() ? &functionA : nullptr;
    property.setter = standard ? REALstandardSetter : input.ConsumeBool() ? &functionB : nullptr;
    property.param = input.ConsumeIntegral<int32_t>();
    property.enumEntries = input.ConsumeBool() ? &functionA : nullptr;
    property.enumCount = input.ConsumeIntegralInRange<uint64_t>(0, 3);
    property.attributes = Attributes(input, arena, &property.attributeCount);
  });
}

REALconstant* Constants(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.constants, count, [&](REALconstant& constant) {
    constant.declaration = Declaration(input, arena);
    constant.attributes = Attributes(input, arena, &constant.attributeCount);
  });
}

REALevent* Events(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.events, count, [&](REALevent& event) {
    event.declaration = Declaration(input, arena);
    event.attributes = Attributes(input, arena, &event.attributeCount);
  });
}

REALdelegate* Delegates(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.delegates, count, [&](REALdelegate& delegate) {
    delegate.declaration = Declaration(input, arena);
    delegate.flags = Flags(input);
    delegate.attributes = Attributes(input, arena, &delegate.attributeCount);
  });
}

REALenum* Enums(FuzzedDataProvider& input, Arena& arena, uint64_t* count) {
  return Table(input, arena.enums, count, [&](REALenum& entry) { entry.flags = Flags(input); });
}

REALclassDefinition ClassRecord(FuzzedDataProvider& input, Arena& arena) {
  REALclassDefinition d{};
  d.version = input.ConsumeIntegral<uint32_t>();
  d.name = Name(input, arena);
  d.superName = Name(input, arena);
  d.dataSize = input.ConsumeBool() ? input.ConsumeIntegralInRange<uint64_t>(0, 200) : input.ConsumeIntegral<uint64_t>();
  d.constructor = input.ConsumeBool() ? &functionA : nullptr;
  d.destructor = input.ConsumeBool() ? &functionB : nullptr;
  d.properties = Properties(input, arena, &d.propertyCount);
  d.methods = Methods(input, arena, &d.methodCount);
  d.events = Events(input, arena, &d.eventCount);
  d.attributes = Attributes(input, arena, &d.attributeCount);
  d.constants = Constants(input, arena, &d.constantCount);
  d.flags = Flags(input);
  d.sharedProperties = Properties(input, arena, &d.sharedPropertyCount);
  d.sharedMethods = Methods(input, arena, &d.sharedMethodCount);
  d.delegates = Delegates(input, arena, &d.delegateCount);
  return d;
}

REALmoduleDefinition ModuleRecord(FuzzedDataProvider& input, Arena& arena) {
  REALmoduleDefinition d{};
  d.version = input.ConsumeIntegral<uint32_t>();
  d.name = Name(input, arena);
  d.methods = Methods(input, arena, &d.methodCount);
  d.constants = Constants(input, arena, &d.constantCount);
  d.properties = Properties(input, arena, &d.propertyCount);
  d.enums = Enums(input, arena, &d.enumCount);
  d.attributes = Attributes(input, arena, &d.attributeCount);
  d.delegates = Delegates(input, arena, &d.delegateCount);
  d.flags = Flags(input);
  return d;
}

// The host version, the control version and the plug-in's names, as
// REALPluginMain would have set them.
void StartPlugin(FuzzedDataProvider& input) {
  static const double kVersions[] = {2009.0,  2010.028, 2010.029, 2012.02, 2013.0, 2019.03,
                                     2020.01, 2020.02,  2024.03,  2999.9,  3000.0, 3100.0};
  rbversion_rbversion = input.PickValueInArray(kVersions);
  CurrentREALControlVersion = input.ConsumeIntegralInRange<int32_t>(0, 20);
  gpartname = input.ConsumeIntegralInRange(0, 7) == 0 ? nullptr : "Picture";
  gpluginname = gpartname;
}

void Register(FuzzedDataProvider& input, Arena& arena) {
  // The records outlive the switch: the host reads them below.
  REALclassDefinition classRecord{};
  REALmoduleDefinition moduleRecord{};
  switch (input.ConsumeIntegralInRange(0, 3)) {
    case 0:
      classRecord = ClassRecord(input, arena);
      MyREALRegisterClass(&classRecord);
      break;
    case 1:
      moduleRecord = ModuleRecord(input, arena);
      MyREALRegisterModule(&moduleRecord);
      break;
    case 2:
      classRecord = ClassRecord(input, arena);
      MyREALRegisterClassExtension(&classRecord);
      break;
    default: {
      uint64_t count = 0;
      REALmethodDefinition* methods = Methods(input, arena, &count);
      const int64_t given =
          input.ConsumeIntegralInRange(0, 5) == 0 ? -input.ConsumeIntegralInRange<int64_t>(1, 3) : int64_t(count);
      MyREALRegisterGlobalMethods(methods, given);
      break;
    }
  }
  // The host's view of what it was given, read as the tools read it.
  qvlhost::Surface();
}

// The checks write a line per finding to standard error, thousands for an
// absurd count. While an input is registered standard error is /dev/null
// opened for reading, so each write fails at once instead of passing through
// the file system; the sanitizers report to the original standard error.
int QuietStandardError() {
  static const int original = [] {
    const int copy = dup(STDERR_FILENO);
    __sanitizer_set_report_fd(reinterpret_cast<void*>(intptr_t(copy)));
    return copy;
  }();
  static const int devNull = open("/dev/null", O_RDONLY);
  dup2(devNull, STDERR_FILENO);
  return original;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzedDataProvider input(data, size);
  fuzzhost::FreshHost(qvlhost::Storage::CG(2));
  StartPlugin(input);
  Arena arena;
  const int original = QuietStandardError();
  Register(input, arena);
  dup2(original, STDERR_FILENO);
  fuzzhost::RequireBalance();
  return 0;
}
