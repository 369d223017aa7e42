// The registration check that most picture operations call. This product
// has no licence check: the call does nothing the host can see, and it only
// counts, so tests can tell where an operation makes it.
#pragma once

#include <cstdint>

void RegistrationCheck();

int64_t RegistrationCheckCalls();
