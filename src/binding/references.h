// Counted references that tell whether they were taken.
#pragma once

#include "qvl/handles.h"

// REALLockObject that answers whether it took a reference: false, having done
// nothing, on a host that offers no such entry. The entry is looked up on
// every call, so the answer always matches what was done.
bool MyREALLockObject(REALobjectStruct* object);
