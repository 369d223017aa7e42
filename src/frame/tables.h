// The definition tables: everything Xojo code can see of the plug-in. The
// rows are written once, as constants; what the host receives are writable
// copies, because the registrar fits their flags and version fields to the
// host in place. Row tables grow one row per line in registration order.
#pragma once

#include <cstddef>

#include "frame/signatures.h"
#include "qvl/definitions.h"

// The records of one table, in static storage: loading the plug-in and
// starting it up take no heap memory, so neither can fail for want of it.
template <class Record>
struct TableView {
  Record* first = nullptr;
  size_t count = 0;

  Record* begin() const { return first; }
  Record* end() const { return first + count; }
  Record* data() const { return count ? first : nullptr; }
  size_t size() const { return count; }
  Record& operator[](size_t i) const { return first[i]; }
};

// The methods that extend the host's Picture class, and their class record.
extern const TableView<REALmethodDefinition> pictureMethods;
extern REALclassDefinition pictureClass;

extern const TableView<REALmethodDefinition> globalMethods;

extern REALclassDefinition Lut3DClass;
extern REALclassDefinition PictureSepiaClass;
extern REALmoduleDefinition IOSPictureModule;

// The hidden shared property "Debugging": one record for the generated
// modules, one for the mobile module.
extern REALattribute DebuggingHiddenAttributes[1];
extern REALproperty DebuggingSharedProperties[1];
extern REALproperty IOSPictureSharedProperties[1];

extern REALattribute DeprecatedAttributes[1];

// A method row as written: the record and what its function takes and gives.
struct MethodRow {
  REALmethodDefinition definition;
  FunctionKinds kinds;
};

// One table of method rows, and what its functions take before the declared
// parameters: the picture for the extension, the instance for a class,
// nothing for global and module methods.
struct MethodTable {
  const char* owner;
  ValueType receiver;
  TableView<const MethodRow> rows;
};

// Every table of method rows, in registration order.
TableView<const MethodTable> MethodTables();

// Puts every writable table back as it is written, in the same storage, so
// that a second start-up fits and registers what the first one did.
void RestoreTables();
