#include "frame/registrar.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "binding/diagnostics.h"
#include "binding/wrappers.h"
#include "frame/checks.h"
#include "frame/tables.h"

namespace {

constexpr double kFirstConsoleSafeVersion = 2010.029;
constexpr double kFirstModuleRouteVersion = 2013.0;
constexpr double kFirstMobileVersion = 2020.02;
constexpr double kFirstLaterExtensionVersion = 3000.0;

constexpr uint32_t kFurtherTargets = desktopTarget | webTarget | mobileTarget;
constexpr size_t kNameBufferSize = 100;
constexpr size_t kDeclarationBufferSize = 1000;

uint32_t FixedFlags(uint32_t flags) {
  const double version = rbversion_rbversion;
  if (version < kFirstMobileVersion && (flags & (kFurtherTargets | iosTarget)) == kFurtherTargets)
    flags = (flags & ~(kFurtherTargets | consoleTarget)) | consoleTarget;
  if (flags & consoleSafeMark) {
    flags &= ~consoleSafeMark;
    if (version >= kFirstConsoleSafeVersion) flags |= consoleTarget;
  }
  return flags;
}

template <class Record>
void FixRecordFlags(Record* records, int64_t count) {
  if (!records || count < 1) return;
  for (int64_t i = 0; i < count; ++i) records[i].flags = FixedFlags(records[i].flags);
}

const char* ItemName(const REALmethodDefinition& method) { return method.declaration; }
const char* ItemName(const REALproperty& property) { return property.name; }

bool IsNamed(const char* name, const char* wanted) { return name && std::strcmp(name, wanted) == 0; }

// One unguarded line per member that is for consoles only while its owner is not.
template <class Record>
void ConsoleSafetyLines(const char* text, const char* owner, const Record* items, uint64_t count,
                        const char* excusedName = nullptr) {
  if (!items) return;
  for (uint64_t i = 0; i < count; ++i) {
    const Record& item = items[i];
    if ((item.flags & kQVLTargetMask) != consoleTarget) continue;
    if (excusedName && IsNamed(ItemName(item), excusedName)) continue;
    LogMessageX("%s%s %s, %s", QVL_DEBUG_PREFIX, text, owner, ItemName(item));
  }
}

bool UsesStandardAccessor(const REALproperty& property) {
  return property.getter == REALstandardGetter || property.setter == REALstandardSetter;
}

// Every standard-accessor field is taken to be four bytes wide, whatever its type.
void CheckPropertyOffsets(const REALclassDefinition* d) {
  if (!d->properties) return;
  for (uint64_t i = 0; i < d->propertyCount; ++i) {
    const REALproperty& property = d->properties[i];
    if (!UsesStandardAccessor(property)) continue;
    if (int64_t(property.param) + 4 > int64_t(d->dataSize))
      LogMessageX("Error: Offset for variable too big: %s.%s %d %d", d->name, property.name, property.param,
                  int32_t(uint32_t(d->dataSize)));
  }
}

void CheckClassItems(const REALclassDefinition* d) {
  CheckMethods(d->name, d->methods, d->methodCount);
  CheckProperties(d->name, d->properties, d->propertyCount);
  CheckConstants(d->name, d->constants, d->constantCount);
  CheckEvents(d->name, d->events, d->eventCount);
  CheckDelegates(d->name, d->delegates, d->delegateCount);
  CheckMethods(d->name, d->sharedMethods, d->sharedMethodCount);
  CheckProperties(d->name, d->sharedProperties, d->sharedPropertyCount);
}

void CheckModuleItems(const REALmoduleDefinition* d) {
  CheckModuleRecord(d);
  CheckMethods(d->name, d->methods, d->methodCount);
  CheckProperties(d->name, d->properties, d->propertyCount);
  CheckConstants(d->name, d->constants, d->constantCount);
  CheckDelegates(d->name, d->delegates, d->delegateCount);
}

template <class Record>
void GiveDefaultScope(Record* records, uint64_t count, const char* nilArrayMessage) {
  if (count != 0 && !records) {
    LogMessageX("%s%s", QVL_DEBUG_PREFIX, nilArrayMessage);
    return;
  }
  for (uint64_t i = 0; i < count; ++i)
    if ((records[i].flags & kQVLScopeMask) == 0) records[i].flags |= scopeModule;
}

bool RegistrationAllowed(const char* name) {
  if (gpartname) return true;
  LogMessageX("Error: gpartname is nil!? %s", name);
  return false;
}

uint64_t RoundUpTo16(uint64_t size) { return (size + 15) & ~uint64_t(15); }

// Copies the first `length` characters of the source by position, then
// formats the rest behind them in what is left of the buffer.
template <class... Args>
char* Rewrite(const char* source, size_t length, const char* format, Args... args) {
  char* buffer = static_cast<char*>(std::calloc(kDeclarationBufferSize, 1));
  if (!buffer) return nullptr;
  std::memcpy(buffer, source, std::min(length, kDeclarationBufferSize - 1));
  if (length < kDeclarationBufferSize) std::snprintf(buffer + length, kDeclarationBufferSize - length, format, args...);
  return buffer;
}

void WarnAllocationFailed(const char* what) { LogMessageX("%s%s", QVL_DEBUG_PREFIX, what); }

// A generated module with what hangs off it: its name, its records and,
// for an extension module, the declarations it wrote (a globals module's
// records share the plug-in's declarations).
struct GeneratedModule {
  REALmoduleDefinition* module;
  bool ownsDeclarations;
};

// Generated modules live as long as the host that was given them, which for
// Xojo is the whole process. They stay referenced from here, whatever the
// host does with the pointers it was given.
std::vector<GeneratedModule>& GeneratedModules() {
  static std::vector<GeneratedModule>* const modules = new std::vector<GeneratedModule>;
  return *modules;
}

REALmoduleDefinition* NewGeneratedModule(bool ownsDeclarations) {
  auto* module = static_cast<REALmoduleDefinition*>(std::calloc(1, sizeof(REALmoduleDefinition)));
  NewModule = module;
  if (!module) {
    WarnAllocationFailed("Warning: Failed to allocate memory for module definition.");
    return nullptr;
  }
  GeneratedModules().push_back({module, ownsDeclarations});
  return module;
}

REALmethodDefinition* NewMethodRecords(uint64_t count) {
  void* records = count > 0 ? std::calloc(count, sizeof(REALmethodDefinition)) : nullptr;
  if (!records) WarnAllocationFailed("Warning: Failed to allocate memory for method definitions.");
  return static_cast<REALmethodDefinition*>(records);
}

void DiscardRecords(REALmethodDefinition* records, uint64_t made) {
  for (uint64_t i = 0; i < made; ++i) std::free(const_cast<char*>(records[i].declaration));
  std::free(records);
}

REALmethodDefinition GeneratedRecord(const REALmethodDefinition& source, void* function, const char* declaration) {
  REALmethodDefinition record{};
  record.function = function;
  record.declaration = declaration;
  record.flags = source.flags | scopeGlobal;
  record.attributeCount = source.attributeCount;
  record.attributes = source.attributes;
  return record;
}

char* AssigningDeclaration(const char* declaration, const char* className) {
  char* extended = AddExtendsParameter(declaration, className);
  if (!extended) return nullptr;
  char* assigning = AddAssignsParameter(extended);
  std::free(extended);
  return assigning;
}

uint64_t CountRecordsToMake(const REALmethodDefinition* methods, uint64_t count) {
  if (!methods) return 0;
  uint64_t records = 0;
  for (uint64_t i = 0; i < count; ++i) records += (methods[i].function != nullptr) + (methods[i].setter != nullptr);
  return records;
}

// The assigning form of a method stands directly before its plain form.
// `made` counts the records filled, also when a declaration could not be made.
bool MakeExtensionRecords(const REALclassDefinition* d, REALmethodDefinition* records, uint64_t* made) {
  for (uint64_t i = 0; i < d->methodCount; ++i) {
    const REALmethodDefinition& source = d->methods[i];
    if (source.setter) {
      char* declaration = AssigningDeclaration(source.declaration, d->name);
      if (!declaration) return false;
      records[(*made)++] = GeneratedRecord(source, source.setter, declaration);
    }
    if (source.function) {
      char* declaration = AddExtendsParameter(source.declaration, d->name);
      if (!declaration) return false;
      records[(*made)++] = GeneratedRecord(source, source.function, declaration);
    }
  }
  return true;
}

bool FillGeneratedModule(REALmoduleDefinition* module, const char* name, REALmethodDefinition* records,
                         uint64_t count) {
  char* nameCopy = strdup(name);
  if (!nameCopy) return false;
  module->version = uint32_t(CurrentREALControlVersion);
  module->name = nameCopy;
  module->methods = records;
  module->methodCount = count;
  module->properties = DebuggingSharedProperties;
  module->propertyCount = 1;
  module->flags = consoleTarget;
  return true;
}

void RegisterExtensionModule(const REALclassDefinition* d) {
  char name[kNameBufferSize] = {};
  std::snprintf(name, sizeof name, "%s%s%s", d->name, gpluginname, "ExtensionQVL");
  REALmoduleDefinition* module = NewGeneratedModule(true);
  if (!module) return;
  const uint64_t count = CountRecordsToMake(d->methods, d->methodCount);
  REALmethodDefinition* records = NewMethodRecords(count);
  if (!records) return;
  uint64_t made = 0;
  if (!MakeExtensionRecords(d, records, &made) || !FillGeneratedModule(module, name, records, made)) {
    DiscardRecords(records, made);
    return;
  }
  MyREALRegisterModule(module);
}

void RegisterGlobalsModule(const REALmethodDefinition* methods, int64_t count) {
  char name[kNameBufferSize] = {};
  std::snprintf(name, sizeof name, "%s%s", gpluginname, "GlobalsQVL");
  REALmoduleDefinition* module = NewGeneratedModule(false);
  if (!module) return;
  REALmethodDefinition* records = NewMethodRecords(uint64_t(count));
  if (!records) return;
  for (int64_t i = 0; i < count; ++i) {
    records[i] = methods[i];
    records[i].flags |= scopeGlobal;
  }
  if (!FillGeneratedModule(module, name, records, uint64_t(count))) {
    std::free(records);
    return;
  }
  MyREALRegisterModule(module);
}

}  // namespace

void FixFlags(REALmethodDefinition* methods, int64_t count, const char*) { FixRecordFlags(methods, count); }

void FixFlags(REALproperty* properties, int64_t count, const char*) { FixRecordFlags(properties, count); }

void FixFlags(REALclassDefinition* d) {
  d->flags = FixedFlags(d->flags);
  FixFlags(d->methods, int64_t(d->methodCount));
  FixFlags(d->sharedMethods, int64_t(d->sharedMethodCount));
  FixFlags(d->properties, int64_t(d->propertyCount));
  FixFlags(d->sharedProperties, int64_t(d->sharedPropertyCount));
}

void CheckTargetFlags(REALclassDefinition* d) {
  if (d->flags & ~uint32_t(consoleTarget)) {
    ConsoleSafetyLines("Console-safe method in console-unsafe class: ", d->name, d->methods, d->methodCount);
    ConsoleSafetyLines("Console-safe shared method in console-unsafe class: ", d->name, d->sharedMethods,
                       d->sharedMethodCount);
    ConsoleSafetyLines("Console-safe property in console-unsafe class: ", d->name, d->properties, d->propertyCount);
    ConsoleSafetyLines("Console-safe shared property in console-unsafe class: ", d->name, d->sharedProperties,
                       d->sharedPropertyCount, "Debugging");
  }
  CheckPropertyOffsets(d);
}

void MyREALRegisterClass(REALclassDefinition* d) {
  if (!RegistrationAllowed(d->name)) return;
  CheckClassRecord(d);
  CheckClassItems(d);
  CheckTargetFlags(d);
  FixFlags(d);
  if (d->dataSize % 16 != 0) d->dataSize = RoundUpTo16(d->dataSize);
  d->version = uint32_t(CurrentREALControlVersion);
  REALRegisterClass(d);
}

void MyREALRegisterModule(REALmoduleDefinition* d) {
  if (!RegistrationAllowed(d->name)) return;
  CheckModuleItems(d);
  if (d->flags & ~uint32_t(consoleTarget)) {
    ConsoleSafetyLines("Console-safe method in console-unsafe module: ", d->name, d->methods, d->methodCount);
    ConsoleSafetyLines("Console-safe property in console-unsafe module: ", d->name, d->properties, d->propertyCount);
  }
  GiveDefaultScope(d->methods, d->methodCount, "Error: method array is nil while count is not zero!");
  GiveDefaultScope(d->properties, d->propertyCount, "Error: property array is nil while count is not zero!");
  GiveDefaultScope(d->enums, d->enumCount, "Error: enum array is nil while count is not zero!");
  FixFlags(d->methods, int64_t(d->methodCount));
  FixFlags(d->properties, int64_t(d->propertyCount));
  if (d->flags == 0) d->flags = consoleTarget;
  d->version = uint32_t(CurrentREALControlVersion);
  REALRegisterModule(d);
}

bool UsesGeneratedModules() {
  return rbversion_rbversion >= kFirstModuleRouteVersion && rbversion_rbversion < kFirstLaterExtensionVersion;
}

void MyREALRegisterClassExtension(REALclassDefinition* d) {
  CheckClassExtension(d);
  CheckTargetFlags(d);
  FixFlags(d);
  if (!UsesGeneratedModules()) {
    d->version = uint32_t(CurrentREALControlVersion);
    REALRegisterClassExtension(d);
  } else if (d->methodCount >= 1) {
    RegisterExtensionModule(d);
  }
}

void MyREALRegisterGlobalMethods(REALmethodDefinition* methods, int64_t count) {
  FixFlags(methods, count);
  if (!methods || count < 1) return;
  if (UsesGeneratedModules()) {
    RegisterGlobalsModule(methods, count);
    return;
  }
  for (int64_t i = 0; i < count; ++i) {
    CheckGlobalMethod(&methods[i]);
    REALRegisterMethod(&methods[i]);
  }
}

void ForgetGeneratedModules() {
  for (const GeneratedModule& generated : GeneratedModules()) {
    REALmoduleDefinition* module = generated.module;
    if (generated.ownsDeclarations)
      DiscardRecords(module->methods, module->methodCount);
    else
      std::free(module->methods);
    std::free(const_cast<char*>(module->name));
    std::free(module);
  }
  GeneratedModules().clear();
  NewModule = nullptr;
}

char* AddExtendsParameter(const char* declaration, const char* className) {
  const char* text = declaration ? declaration : "";
  const size_t stop = std::strcspn(text, " (");
  if (text[stop] == '(') return Rewrite(text, stop, "(extends ref as %s, %s", className, text + stop + 1);
  if (text[stop] == ' ') return Rewrite(text, stop, "(extends ref as %s)%s", className, text + stop);
  return Rewrite(text, 0, "%s(extends ref as %s)", text, className);
}

char* AddAssignsParameter(const char* declaration) {
  const char* text = declaration ? declaration : "";
  if (const char* close = std::strchr(text, ')'))
    return Rewrite(text, size_t(close - text), ", assigns value%s)", close + 1);
  if (const char* blank = std::strchr(text, ' '))
    return Rewrite(text, size_t(blank - text), "(assigns value%s)", blank);
  LogMessageX("%s%s %s", QVL_DEBUG_PREFIX, "Error: Keine Klammer in der Deklaration", text);
  return nullptr;
}
