// The host's definition records, as they stand on 64-bit targets, and the
// flag bits shared by scope and target.
#pragma once

#include <cstddef>
#include <cstdint>

enum : uint32_t {
  kQVLPropertyMarker = 0x2,
  consoleTarget = 0x4,
  desktopTarget = 0x8,
  scopeGlobal = 0x10,
  scopePublic = 0x20,
  scopeModule = 0x40,
  scopePrivate = 0x80,
  webTarget = 0x100,
  mobileTarget = 0x200,
  iosTarget = 0x400,
  consoleSafeMark = 0x40000,
  kQVLScopeMask = 0xF0,
  kQVLTargetMask = 0x70C,
};

enum : uint32_t { kCurrentREALControlVersion = 15 };

// The value of a getter or setter field that asks for the standard accessor.
#define REALstandardGetter ((void*)-1)
#define REALstandardSetter ((void*)-1)

// Every field starts out zero, so a record written with its leading fields
// only leaves the rest empty.
struct REALattribute {
  const char* name{};
  const char* value{};
};

struct REALmethodDefinition {
  void* function{};
  void* setter{};
  const char* declaration{};
  uint32_t flags{};
  uint64_t attributeCount{};
  REALattribute* attributes{};
};

struct REALproperty {
  const char* group{};
  const char* name{};
  const char* type{};
  uint32_t flags{};
  void* getter{};
  void* setter{};
  int32_t param{};
  void* editor{};
  uint64_t enumCount{};
  void* enumEntries{};
  uint64_t attributeCount{};
  REALattribute* attributes{};
};

struct REALconstant {
  const char* declaration{};
  uint64_t reserved1{};
  uint64_t reserved2{};
  uint64_t attributeCount{};
  REALattribute* attributes{};
};

struct REALevent {
  const char* declaration{};
  uint64_t reserved{};
  uint64_t attributeCount{};
  REALattribute* attributes{};
};

struct REALdelegate {
  const char* declaration{};
  uint32_t flags{};
  uint64_t attributeCount{};
  REALattribute* attributes{};
};

struct REALenum {
  uint64_t reserved1{};
  uint64_t reserved2{};
  uint32_t flags{};
  uint64_t reserved4{};
  uint64_t reserved5{};
  uint64_t reserved6{};
  uint64_t reserved7{};
};

struct REALclassDefinition {
  uint32_t version{};
  const char* name{};
  const char* superName{};
  uint64_t dataSize{};
  uint64_t forSystemUse{};
  void* constructor{};
  void* destructor{};
  REALproperty* properties{};
  uint64_t propertyCount{};
  REALmethodDefinition* methods{};
  uint64_t methodCount{};
  REALevent* events{};
  uint64_t eventCount{};
  void* eventInstances{};
  uint64_t eventInstanceCount{};
  uint64_t reserved{};
  REALattribute* attributes{};
  uint64_t attributeCount{};
  REALconstant* constants{};
  uint64_t constantCount{};
  uint32_t flags{};
  REALproperty* sharedProperties{};
  uint64_t sharedPropertyCount{};
  REALmethodDefinition* sharedMethods{};
  uint64_t sharedMethodCount{};
  REALdelegate* delegates{};
  uint64_t delegateCount{};
  REALenum* enums{};
  uint64_t enumCount{};
};

struct REALmoduleDefinition {
  uint32_t version{};
  const char* name{};
  REALmethodDefinition* methods{};
  uint64_t methodCount{};
  REALconstant* constants{};
  uint64_t constantCount{};
  REALproperty* properties{};
  uint64_t propertyCount{};
  void* structures{};
  uint64_t structureCount{};
  REALenum* enums{};
  uint64_t enumCount{};
  REALattribute* attributes{};
  uint64_t attributeCount{};
  REALdelegate* delegates{};
  uint64_t delegateCount{};
  uint64_t reserved[8]{};
  uint32_t flags{};
  uint64_t reserved2[2]{};
};

static_assert(sizeof(void*) == 8, "definition records are laid out for 64-bit targets");

#define QVL_FIELD_AT(Record, field, offset) \
  static_assert(offsetof(Record, field) == (offset), #Record "." #field " stands at " #offset)

QVL_FIELD_AT(REALattribute, name, 0);
QVL_FIELD_AT(REALattribute, value, 8);
static_assert(sizeof(REALattribute) == 16, "REALattribute size");

QVL_FIELD_AT(REALmethodDefinition, function, 0);
QVL_FIELD_AT(REALmethodDefinition, setter, 8);
QVL_FIELD_AT(REALmethodDefinition, declaration, 16);
QVL_FIELD_AT(REALmethodDefinition, flags, 24);
QVL_FIELD_AT(REALmethodDefinition, attributeCount, 32);
QVL_FIELD_AT(REALmethodDefinition, attributes, 40);
static_assert(sizeof(REALmethodDefinition) == 48, "REALmethodDefinition size");

QVL_FIELD_AT(REALproperty, group, 0);
QVL_FIELD_AT(REALproperty, name, 8);
QVL_FIELD_AT(REALproperty, type, 16);
QVL_FIELD_AT(REALproperty, flags, 24);
QVL_FIELD_AT(REALproperty, getter, 32);
QVL_FIELD_AT(REALproperty, setter, 40);
QVL_FIELD_AT(REALproperty, param, 48);
QVL_FIELD_AT(REALproperty, editor, 56);
QVL_FIELD_AT(REALproperty, enumCount, 64);
QVL_FIELD_AT(REALproperty, enumEntries, 72);
QVL_FIELD_AT(REALproperty, attributeCount, 80);
QVL_FIELD_AT(REALproperty, attributes, 88);
static_assert(sizeof(REALproperty) == 96, "REALproperty size");

QVL_FIELD_AT(REALconstant, declaration, 0);
QVL_FIELD_AT(REALconstant, attributeCount, 24);
QVL_FIELD_AT(REALconstant, attributes, 32);
static_assert(sizeof(REALconstant) == 40, "REALconstant size");

QVL_FIELD_AT(REALevent, declaration, 0);
QVL_FIELD_AT(REALevent, attributeCount, 16);
QVL_FIELD_AT(REALevent, attributes, 24);
static_assert(sizeof(REALevent) == 32, "REALevent size");

QVL_FIELD_AT(REALdelegate, declaration, 0);
QVL_FIELD_AT(REALdelegate, flags, 8);
QVL_FIELD_AT(REALdelegate, attributeCount, 16);
QVL_FIELD_AT(REALdelegate, attributes, 24);
static_assert(sizeof(REALdelegate) == 32, "REALdelegate size");

QVL_FIELD_AT(REALenum, flags, 16);
static_assert(sizeof(REALenum) == 56, "enum record size");

QVL_FIELD_AT(REALclassDefinition, version, 0);
QVL_FIELD_AT(REALclassDefinition, name, 8);
QVL_FIELD_AT(REALclassDefinition, superName, 16);
QVL_FIELD_AT(REALclassDefinition, dataSize, 24);
QVL_FIELD_AT(REALclassDefinition, forSystemUse, 32);
QVL_FIELD_AT(REALclassDefinition, constructor, 40);
QVL_FIELD_AT(REALclassDefinition, destructor, 48);
QVL_FIELD_AT(REALclassDefinition, properties, 56);
QVL_FIELD_AT(REALclassDefinition, propertyCount, 64);
QVL_FIELD_AT(REALclassDefinition, methods, 72);
QVL_FIELD_AT(REALclassDefinition, methodCount, 80);
QVL_FIELD_AT(REALclassDefinition, events, 88);
QVL_FIELD_AT(REALclassDefinition, eventCount, 96);
QVL_FIELD_AT(REALclassDefinition, eventInstances, 104);
QVL_FIELD_AT(REALclassDefinition, eventInstanceCount, 112);
QVL_FIELD_AT(REALclassDefinition, reserved, 120);
QVL_FIELD_AT(REALclassDefinition, attributes, 128);
QVL_FIELD_AT(REALclassDefinition, attributeCount, 136);
QVL_FIELD_AT(REALclassDefinition, constants, 144);
QVL_FIELD_AT(REALclassDefinition, constantCount, 152);
QVL_FIELD_AT(REALclassDefinition, flags, 160);
QVL_FIELD_AT(REALclassDefinition, sharedProperties, 168);
QVL_FIELD_AT(REALclassDefinition, sharedPropertyCount, 176);
QVL_FIELD_AT(REALclassDefinition, sharedMethods, 184);
QVL_FIELD_AT(REALclassDefinition, sharedMethodCount, 192);
QVL_FIELD_AT(REALclassDefinition, delegates, 200);
QVL_FIELD_AT(REALclassDefinition, delegateCount, 208);
QVL_FIELD_AT(REALclassDefinition, enums, 216);
QVL_FIELD_AT(REALclassDefinition, enumCount, 224);
static_assert(sizeof(REALclassDefinition) == 232, "REALclassDefinition size");

QVL_FIELD_AT(REALmoduleDefinition, version, 0);
QVL_FIELD_AT(REALmoduleDefinition, name, 8);
QVL_FIELD_AT(REALmoduleDefinition, methods, 16);
QVL_FIELD_AT(REALmoduleDefinition, methodCount, 24);
QVL_FIELD_AT(REALmoduleDefinition, constants, 32);
QVL_FIELD_AT(REALmoduleDefinition, constantCount, 40);
QVL_FIELD_AT(REALmoduleDefinition, properties, 48);
QVL_FIELD_AT(REALmoduleDefinition, propertyCount, 56);
QVL_FIELD_AT(REALmoduleDefinition, structures, 64);
QVL_FIELD_AT(REALmoduleDefinition, structureCount, 72);
QVL_FIELD_AT(REALmoduleDefinition, enums, 80);
QVL_FIELD_AT(REALmoduleDefinition, enumCount, 88);
QVL_FIELD_AT(REALmoduleDefinition, attributes, 96);
QVL_FIELD_AT(REALmoduleDefinition, attributeCount, 104);
QVL_FIELD_AT(REALmoduleDefinition, delegates, 112);
QVL_FIELD_AT(REALmoduleDefinition, delegateCount, 120);
QVL_FIELD_AT(REALmoduleDefinition, reserved, 128);
QVL_FIELD_AT(REALmoduleDefinition, flags, 192);
QVL_FIELD_AT(REALmoduleDefinition, reserved2, 200);
static_assert(sizeof(REALmoduleDefinition) == 216, "REALmoduleDefinition size");

#undef QVL_FIELD_AT
