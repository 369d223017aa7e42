#include "frame/checks.h"

#include <strings.h>

#include <cstring>

#include "binding/diagnostics.h"

namespace {

constexpr uint64_t kItemCountLimit = 10000;
constexpr uint64_t kClassConstantLimit = 4000;
constexpr double kFirstMobileVersion = 2020.02;

// Counts reach the log through %d, so only their low 32 bits are shown.
int32_t Cut32(uint64_t value) { return static_cast<int32_t>(static_cast<uint32_t>(value)); }

// A null array read as records of zeros, so that a check that walks a null
// array with a count names each empty record instead of faulting.
template <class Record>
const Record& RecordAt(const Record* records, uint64_t index) {
  static const Record kEmpty{};
  return records ? records[index] : kEmpty;
}

// The start of every item check: an absurd count is named and ends the
// check; no items end it silently.
bool ItemCountUsable(const char* format, const char* owner, uint64_t count) {
  if (count > kItemCountLimit) {
    LogMessageX(format, owner, Cut32(count));
    return false;
  }
  return count != 0;
}

// The count rule on an item's attributes, then the attribute walk.
void CheckItemAttributes(const char* format, const char* owner, const char* item, const REALattribute* attributes,
                         uint64_t count) {
  if (!CountAgrees(attributes, count)) LogMessageX(format, owner, item, Cut32(count));
  CheckAttributes(owner, item, attributes, count);
}

void CheckCount(const char* format, const char* owner, const void* pointer, uint64_t count, uint64_t limit = 1000) {
  if (!CountAgrees(pointer, count, limit)) LogMessageX(format, owner, Cut32(count));
}

// Class-extension rows that forbid a table outright.
void CheckAbsent(const char* format, const char* owner, const void* pointer, uint64_t count) {
  if (count != 0 || pointer) LogMessageX(format, owner, Cut32(count));
}

void WarnNonZero(const char* format, const char* owner, uint64_t count) {
  if (count != 0) LogMessageX(format, owner, Cut32(count));
}

bool IsDoubleType(const char* type) { return strcasecmp(type, "double") == 0; }

// Both accessor lines of a double test the getter field, so they come as a
// pair and the setter is never looked at. The unaligned line is written
// twice. Both repetitions are deliberate.
void CheckPropertyAccessors(const char* owner, const REALproperty& property) {
  if (IsDoubleType(property.type)) {
    if (property.getter == REALstandardGetter)
      LogMessageX("Error: The property %s.%s needs custom getter.", owner, property.name);
    if (property.getter == REALstandardGetter)
      LogMessageX("Error: The property %s.%s needs custom setter.", owner, property.name);
    return;
  }
  if (property.getter == REALstandardGetter && property.param % 4 != 0) {
    LogMessageX("Error: The property %s.%s has unaligned offset %d.", owner, property.name, property.param);
    LogMessageX("Error: The property %s.%s has unaligned offset %d.", owner, property.name, property.param);
  }
}

void CheckProperty(const char* owner, const REALproperty& property, uint64_t index) {
  if (!property.name) LogMessageX("Error: The property %s.%d has nil name.", owner, Cut32(index));
  if (!property.getter) LogMessageX("Error: The property %s.%s has nil getter.", owner, property.name);
  if (!property.type)
    LogMessageX("Error: The property %s.%d has nil type.", owner, Cut32(index));
  else
    CheckPropertyAccessors(owner, property);
  if (property.editor) LogMessageX("Error: The property %s.%s has editor.", owner, property.name);
  if (!CountAgrees(property.enumEntries, property.enumCount))
    LogMessageX("Error: The property %s.%s has wrong enumCount: %d", owner, property.name, Cut32(property.enumCount));
  CheckItemAttributes("Error: The property %s.%s has attributes: %d", owner, property.name, property.attributes,
                      property.attributeCount);
}

bool StartsWithLowerCaseLetter(const char* name) { return name && name[0] >= 'a' && name[0] <= 'z'; }

void CheckExtensionRecord(const REALclassDefinition* d) {
  const char* name = d->name;
  if (d->version != kCurrentREALControlVersion)
    LogMessageX("Error: The class extension %s has the wrong kCurrentREALControlVersion: %d vs. %d", name,
                Cut32(d->version), int32_t(kCurrentREALControlVersion));
  if (!name) LogMessageX("Error: A class extension without name.");
  if (d->superName) LogMessageX("Error: A class extension can't have super name: %s", name);
  if (d->dataSize != 0)
    LogMessageX("Error: The class extension %s has the dataSize value: %d", name, Cut32(d->dataSize));
  if (d->forSystemUse != 0)
    LogMessageX("Error: The class extension %s has the wrong forSystemUse value: %d", name, Cut32(d->forSystemUse));
  CheckCount("Error: The class extension %s has the wrong propertyCount value: %d", name, d->properties,
             d->propertyCount);
  CheckCount("Error: The class extension %s has the wrong methodCount value: %d", name, d->methods, d->methodCount);
  CheckAbsent("Error: The class extension %s has events: %d", name, d->events, d->eventCount);
  CheckAbsent("Error: The class extension %s has event instances: %d", name, d->eventInstances, d->eventInstanceCount);
  CheckAbsent("Error: The class extension %s has constants: %d", name, d->constants, d->constantCount);
  CheckAbsent("Error: The class extension %s has shared Properties: %d", name, d->sharedProperties,
              d->sharedPropertyCount);
  CheckAbsent("Error: The class extension %s has shared Methods: %d", name, d->sharedMethods, d->sharedMethodCount);
  CheckCount("Error: The class extension %s has wrong attributes: %d", name, d->attributes, d->attributeCount);
  CheckAbsent("Error: The class extension %s has delegates %d", name, d->delegates, d->delegateCount);
  CheckAbsent("Error: The class extension %s has enums: %d", name, d->enums, d->enumCount);
}

void CheckExtensionItems(const REALclassDefinition* d) {
  CheckMethods(d->name, d->methods, d->methodCount);
  CheckProperties(d->name, d->properties, d->propertyCount);
  CheckConstants(d->name, d->constants, d->constantCount);
  CheckEvents(d->name, d->events, d->eventCount);
  CheckMethods(d->name, d->sharedMethods, d->sharedMethodCount);
  CheckProperties(d->name, d->sharedProperties, d->sharedPropertyCount);
  CheckDelegates(d->name, d->delegates, d->delegateCount);
}

void WarnExtensionMembers(const REALclassDefinition* d) {
  const char* name = d->name;
  WarnNonZero("Warning: The class extension %s has the propertyCount value: %d", name, d->propertyCount);
  WarnNonZero("Warning: The class extension %s has the constantCount value: %d", name, d->constantCount);
  WarnNonZero("Warning: The class extension %s has the eventCount value: %d", name, d->eventCount);
  WarnNonZero("Warning: The class extension %s has the sharedProperties value: %d", name, d->sharedPropertyCount);
  WarnNonZero("Warning: The class extension %s has the sharedMethods value: %d", name, d->sharedMethodCount);
  if (StartsWithLowerCaseLetter(name))
    LogMessageX("Error: The class extension name %s does not start with capital letter.", name);
}

}  // namespace

bool CountAgrees(const void* pointer, uint64_t count, uint64_t limit) {
  if (count == 0) return pointer == nullptr;
  return count <= limit && pointer != nullptr;
}

void CheckAttributes(const char* owner, const char* item, const REALattribute* attributes, uint64_t count) {
  if (count > kItemCountLimit) {
    LogMessageX("Error: attribute count out of range for %s.%s: %d.", owner, item, Cut32(count));
    return;
  }
  if (!attributes) return;
  for (uint64_t i = 0; i < count; ++i) {
    const REALattribute& attribute = attributes[i];
    if (!attribute.name) LogMessageX("Error: %s.%s has an attribute without name! Index: %d", owner, item, Cut32(i));
    if (!attribute.value)
      LogMessageX("Error: %s.%s has an attribute without value! Name: %s Index: %d", owner, item, attribute.name,
                  Cut32(i));
  }
}

void CheckConstants(const char* owner, const REALconstant* constants, uint64_t count) {
  if (!ItemCountUsable("Error: constant count out of range for %s: %d.", owner, count)) return;
  if (!constants) {
    for (uint64_t i = 0; i < count; ++i) LogMessageX("Error: Constant %s.%d is NULL.", owner, Cut32(i));
    return;
  }
  for (uint64_t i = 0; i < count; ++i) {
    const REALconstant& constant = constants[i];
    if (!constant.declaration) LogMessageX("Error: The constant %s.%d has nil declaration.", owner, Cut32(i));
    CheckItemAttributes("Error: The constant %s.%s has the wrong attributeCount value: %d", owner, constant.declaration,
                        constant.attributes, constant.attributeCount);
  }
}

void CheckMethods(const char* owner, const REALmethodDefinition* methods, uint64_t count) {
  if (!ItemCountUsable("Error: method count out of range for %s: %d.", owner, count)) return;
  if (!methods) {
    for (uint64_t i = 0; i < count; ++i) LogMessageX("Error: method %s.%d is NULL.", owner, Cut32(i));
    return;
  }
  for (uint64_t i = 0; i < count; ++i) {
    const REALmethodDefinition& method = methods[i];
    if (!method.declaration) LogMessageX("Error: The method %s.%d has nil declaration.", owner, Cut32(i));
    if (!method.function) LogMessageX("Error: The method %s.%s has nil function.", owner, method.declaration);
    CheckItemAttributes("Error: The method %s.%s has the wrong attributeCount value: %d", owner, method.declaration,
                        method.attributes, method.attributeCount);
  }
}

void CheckDelegates(const char* owner, const REALdelegate* delegates, uint64_t count) {
  if (!ItemCountUsable("Error: delegate count out of range for %s: %d.", owner, count)) return;
  for (uint64_t i = 0; i < count; ++i) {
    const REALdelegate& delegate = RecordAt(delegates, i);
    if (!delegate.declaration) LogMessageX("Error: The delegate %s.%d has nil declaration.", owner, Cut32(i));
    if (delegate.flags == 0) LogMessageX("Warning: The delegate %s.%s has 0 for flags.", owner, delegate.declaration);
    CheckItemAttributes("Error: The delegate %s.%s has the wrong attributeCount value: %d", owner, delegate.declaration,
                        delegate.attributes, delegate.attributeCount);
  }
}

void CheckEvents(const char* owner, const REALevent* events, uint64_t count) {
  if (!ItemCountUsable("Error: event count out of range for %s: %d.", owner, count)) return;
  for (uint64_t i = 0; i < count; ++i) {
    const REALevent& event = RecordAt(events, i);
    if (!event.declaration) LogMessageX("Error: The event %s.%d has nil declaration.", owner, Cut32(i));
    CheckItemAttributes("Error: The event %s.%s has the wrong attributeCount value: %d", owner, event.declaration,
                        event.attributes, event.attributeCount);
  }
}

void CheckProperties(const char* owner, const REALproperty* properties, uint64_t count) {
  if (!ItemCountUsable("Error: property count out of range for %s: %d.", owner, count)) return;
  for (uint64_t i = 0; i < count; ++i) CheckProperty(owner, RecordAt(properties, i), i);
}

void CheckClassRecord(const REALclassDefinition* d) {
  const char* name = d->name;
  if (d->version != kCurrentREALControlVersion)
    LogMessageX("Error: The class %s has the wrong kCurrentREALControlVersion: %d vs. %d", name, Cut32(d->version),
                int32_t(kCurrentREALControlVersion));
  if (!name) LogMessageX("Error: A class without name.");
  if (d->forSystemUse != 0)
    LogMessageX("Error: The class %s has the wrong forSystemUse value: %d", name, Cut32(d->forSystemUse));
  CheckCount("Error: The class %s has the wrong propertyCount value: %d", name, d->properties, d->propertyCount);
  CheckCount("Error: The class %s has the wrong methodCount value: %d", name, d->methods, d->methodCount);
  CheckCount("Error: The class %s has the wrong eventCount value: %d", name, d->events, d->eventCount);
  CheckCount("Error: The class %s has the wrong eventInstanceCount value: %d", name, d->eventInstances,
             d->eventInstanceCount);
  CheckCount("Error: The class %s has the wrong constantCount value: %d", name, d->constants, d->constantCount,
             kClassConstantLimit);
  CheckCount("Error: The class %s has the wrong sharedPropertyCounttionCount value: %d", name, d->sharedProperties,
             d->sharedPropertyCount);
  CheckCount("Error: The class %s has the wrong sharedMethodCount value: %d", name, d->sharedMethods,
             d->sharedMethodCount);
  CheckCount("Error: The class %s has the wrong attributeCount value: %d", name, d->attributes, d->attributeCount);
  CheckCount("Error: The class %s has the wrong delegateCount value: %d", name, d->delegates, d->delegateCount);
  CheckCount("Error: The class %s has the wrong enumCount value: %d", name, d->enums, d->enumCount);
  CheckCount("Error: The class extension %s has wrong attributes: %d", name, d->attributes, d->attributeCount);
  if (d->superName && std::strstr(d->superName, "QVL") && d->dataSize != 0)
    LogMessageX("Warning: The subclass %s of %s has data size: %d", name, d->superName, Cut32(d->dataSize));
  if (rbversion_rbversion < kFirstMobileVersion && d->flags == iosTarget)
    LogMessageX("Warning: iOS only class registered for old Xojo: %s", name);
  CheckAttributes("", name, d->attributes, d->attributeCount);
}

void CheckModuleRecord(const REALmoduleDefinition* d) {
  const char* name = d->name;
  if (d->version != kCurrentREALControlVersion && d->version != uint32_t(CurrentREALControlVersion))
    LogMessageX("Error: The module %s has the wrong kCurrentREALControlVersion: %d vs. %d", name, Cut32(d->version),
                int32_t(kCurrentREALControlVersion));
  if (!name) LogMessageX("Error: A module without name.");
  CheckCount("Error: The module %s has the wrong propertyCount value: %d", name, d->properties, d->propertyCount);
  CheckCount("Error: The module %s has the wrong methodCount value: %d", name, d->methods, d->methodCount);
  CheckCount("Error: The module %s has the wrong structureCount value: %d", name, d->structures, d->structureCount);
  CheckCount("Error: The module %s has the wrong enumCount value: %d", name, d->enums, d->enumCount);
  CheckCount("Error: The module %s has the wrong attributeCount value: %d", name, d->attributes, d->attributeCount);
  CheckCount("Error: The module %s has the wrong delegateCount value: %d", name, d->delegates, d->delegateCount);
}

void CheckClassExtension(const REALclassDefinition* definition) {
  CheckExtensionRecord(definition);
  CheckExtensionItems(definition);
  WarnExtensionMembers(definition);
}

void CheckGlobalMethod(const REALmethodDefinition* method) {
  if (!method->declaration) LogMessageX("Error: A method without declaration.");
  if (!method->function) LogMessageX("Error: The method %s has no function.", method->declaration);
  if (!CountAgrees(method->attributes, method->attributeCount))
    LogMessageX("Error: The method %s has the wrong attributeCount value: %d", method->declaration,
                Cut32(method->attributeCount));
  CheckAttributes("", method->declaration, method->attributes, method->attributeCount);
}
