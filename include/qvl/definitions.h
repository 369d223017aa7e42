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

struct REALattribute {
  const char* name;
  const char* value;
};

struct REALmethodDefinition {
  void* function;
  void* setter;
  const char* declaration;
  uint32_t flags;
  uint64_t attributeCount;
  REALattribute* attributes;
};

struct REALproperty {
  const char* group;
  const char* name;
  const char* type;
  uint32_t flags;
  void* getter;
  void* setter;
  int32_t param;
  void* editor;
  uint64_t enumCount;
  void* enumEntries;
  uint64_t attributeCount;
  REALattribute* attributes;
};

struct REALconstant {
  const char* declaration;
  uint64_t reserved1;
  uint64_t reserved2;
  uint64_t attributeCount;
  REALattribute* attributes;
};

struct REALevent {
  const char* declaration;
  uint64_t reserved;
  uint64_t attributeCount;
  REALattribute* attributes;
};

struct REALdelegate {
  const char* declaration;
  uint32_t flags;
  uint64_t attributeCount;
  REALattribute* attributes;
};

struct REALenum {
  uint64_t reserved1;
  uint64_t reserved2;
  uint32_t flags;
  uint64_t reserved4;
  uint64_t reserved5;
  uint64_t reserved6;
  uint64_t reserved7;
};

struct REALclassDefinition {
  uint32_t version;
  const char* name;
  const char* superName;
  uint64_t dataSize;
  uint64_t forSystemUse;
  void* constructor;
  void* destructor;
  REALproperty* properties;
  uint64_t propertyCount;
  REALmethodDefinition* methods;
  uint64_t methodCount;
  REALevent* events;
  uint64_t eventCount;
  void* eventInstances;
  uint64_t eventInstanceCount;
  uint64_t reserved;
  REALattribute* attributes;
  uint64_t attributeCount;
  REALconstant* constants;
  uint64_t constantCount;
  uint32_t flags;
  REALproperty* sharedProperties;
  uint64_t sharedPropertyCount;
  REALmethodDefinition* sharedMethods;
  uint64_t sharedMethodCount;
  REALdelegate* delegates;
  uint64_t delegateCount;
  REALenum* enums;
  uint64_t enumCount;
};

struct REALmoduleDefinition {
  uint32_t version;
  const char* name;
  REALmethodDefinition* methods;
  uint64_t methodCount;
  REALconstant* constants;
  uint64_t constantCount;
  REALproperty* properties;
  uint64_t propertyCount;
  void* structures;
  uint64_t structureCount;
  REALenum* enums;
  uint64_t enumCount;
  REALattribute* attributes;
  uint64_t attributeCount;
  REALdelegate* delegates;
  uint64_t delegateCount;
  uint64_t reserved[8];
  uint32_t flags;
  uint64_t reserved2[2];
};

static_assert(sizeof(void*) == 8, "definition records are laid out for 64-bit targets");
static_assert(sizeof(REALattribute) == 16, "REALattribute layout");
static_assert(offsetof(REALmethodDefinition, flags) == 24 && offsetof(REALmethodDefinition, attributes) == 40 &&
                  sizeof(REALmethodDefinition) == 48,
              "REALmethodDefinition layout");
static_assert(offsetof(REALproperty, flags) == 24 && offsetof(REALproperty, getter) == 32 &&
                  offsetof(REALproperty, param) == 48 && offsetof(REALproperty, editor) == 56 &&
                  offsetof(REALproperty, attributes) == 88 && sizeof(REALproperty) == 96,
              "REALproperty layout");
static_assert(sizeof(REALconstant) == 40, "REALconstant layout");
static_assert(sizeof(REALevent) == 32, "REALevent layout");
static_assert(offsetof(REALdelegate, flags) == 8 && sizeof(REALdelegate) == 32, "REALdelegate layout");
static_assert(offsetof(REALenum, flags) == 16 && sizeof(REALenum) == 56, "enum record layout");
static_assert(offsetof(REALclassDefinition, name) == 8 && offsetof(REALclassDefinition, dataSize) == 24 &&
                  offsetof(REALclassDefinition, forSystemUse) == 32 &&
                  offsetof(REALclassDefinition, reserved) == 120 && offsetof(REALclassDefinition, flags) == 160 &&
                  offsetof(REALclassDefinition, sharedProperties) == 168 &&
                  offsetof(REALclassDefinition, enumCount) == 224 && sizeof(REALclassDefinition) == 232,
              "REALclassDefinition layout");
static_assert(offsetof(REALmoduleDefinition, name) == 8 && offsetof(REALmoduleDefinition, delegateCount) == 120 &&
                  offsetof(REALmoduleDefinition, flags) == 192 && sizeof(REALmoduleDefinition) == 216,
              "REALmoduleDefinition layout");
