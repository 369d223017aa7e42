#include "binding/references.h"

#include "binding/globals.h"
#include "qvl/entry_points.h"

bool MyREALLockObject(REALobjectStruct* object) {
  auto lock = reinterpret_cast<REALLockObjectFn>(gResolver ? gResolver("REALLockObject") : nullptr);
  if (!lock) return false;
  lock(object);
  return true;
}
