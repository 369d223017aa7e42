#include "registrationclient/registration_check.h"

namespace {
int64_t checkCalls = 0;
}

void RegistrationCheck() { ++checkCalls; }

int64_t RegistrationCheckCalls() { return checkCalls; }
