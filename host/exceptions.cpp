// Exceptions: instances of the host's exception classes, at most one pending.
#include "host_internal.h"

namespace qvlhost {

void ExceptionObject::ReleaseContents() {
  String* held = message;
  message = nullptr;
  if (held) DropReference(held);
}

void ExceptionObject::ListHeld(std::vector<const void*>* held) const {
  if (message) held->push_back(message);
}

namespace {

void MakePending(ExceptionObject* exception) {
  HostState& state = State();
  AddReference(exception);
  ExceptionObject* old = state.pendingException;
  state.pendingException = exception;
  if (old) {
    AddProblem(exception->Describe() + " was raised while " + old->Describe() + " was pending");
    DropReference(old);
  }
}

ExceptionObject* TestException(const void* handle, const char* use) { return Live<ExceptionObject>(handle, use); }

}  // namespace

void RaisePending(const char* className, const std::string& message) {
  auto* exception = static_cast<ExceptionObject*>(NewInstanceOf(className));
  if (!exception) return;
  exception->message = NewHostString(message.data(), message.size(), kREALTextEncodingUTF8);
  MakePending(exception);
  DropReference(exception);
}

REALobjectStruct* PendingException() { return HandleOf<REALobjectStruct>(State().pendingException); }

void ClearPendingException() {
  ExceptionObject* pending = State().pendingException;
  State().pendingException = nullptr;
  if (pending) DropReference(pending);
}

std::string ExceptionMessage(REALobjectStruct* handle) {
  ExceptionObject* exception = TestException(handle, "ExceptionMessage");
  return exception && exception->message ? exception->message->bytes : std::string();
}

bool ExceptionHasMessage(REALobjectStruct* handle) {
  ExceptionObject* exception = TestException(handle, "ExceptionHasMessage");
  return exception && exception->message;
}

int64_t ExceptionErrorNumber(REALobjectStruct* handle) {
  ExceptionObject* exception = TestException(handle, "ExceptionErrorNumber");
  return exception ? exception->errorNumber : 0;
}

namespace entries {

void REALRaiseException(REALobjectStruct* handle) {
  Object* object = LiveObject(handle, "RuntimeRaiseException");
  if (!object) return;
  auto* exception = dynamic_cast<ExceptionObject*>(object);
  if (!exception) return AddProblem("RuntimeRaiseException got " + object->Describe() + ", not an exception");
  MakePending(exception);
}

// Runs the function with nothing pending; what it raised is taken off and
// handed to the caller, with the reference the host held.
REALobjectStruct* REALCallFunctionWithExceptionHandler(void (*function)(void*), void* context) {
  if (!function) return nullptr;
  HostState& state = State();
  ExceptionObject* outer = state.pendingException;
  state.pendingException = nullptr;
  function(context);
  ExceptionObject* raised = State().pendingException;
  State().pendingException = outer;
  return HandleOf<REALobjectStruct>(raised);
}

}  // namespace entries

}  // namespace qvlhost
