// The state of one host run: its configuration, objects and strings, and the
// reference counts that the balance check reads.
#include <cstring>
#include <new>

#include "host_internal.h"

namespace qvlhost {

namespace {

HostState* current = nullptr;

// Compares two texts ignoring case and, when asked, white space, without
// copying them: the plug-in looks a method up for every line it draws. The
// texts are compared as in the C locale.
bool SameText(std::string_view a, std::string_view b, bool ignoreSpaces) {
  if (a == b) return true;
  auto isSpace = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
  auto skipSpaces = [&](std::string_view text, size_t at) {
    while (ignoreSpaces && at < text.size() && isSpace(text[at])) ++at;
    return at;
  };
  size_t i = skipSpaces(a, 0), j = skipSpaces(b, 0);
  while (i < a.size() && j < b.size()) {
    if (lower(a[i]) != lower(b[j])) return false;
    i = skipSpaces(a, i + 1), j = skipSpaces(b, j + 1);
  }
  return i == a.size() && j == b.size();
}

}  // namespace

HostState::~HostState() {
  for (const void* data : openStringData) delete[] static_cast<const char*>(data);
}

HostState& State() {
  if (!current) current = new HostState();
  return *current;
}

void Reset(const Config& config) {
  delete current;
  current = new HostState();
  current->config = config;
}

Config& CurrentConfig() { return State().config; }

Object::Object(std::string name) : className(std::move(name)) {}

std::string Object::Describe() const { return className + " #" + std::to_string(serial); }

std::string String::Describe() const { return "String #" + std::to_string(serial); }

void AddProblem(const std::string& problem) { State().problems.push_back(problem); }

Object* LiveObject(const void* handle, const char* use) {
  if (!handle) return nullptr;
  HostState& state = State();
  auto found = state.objectByHandle.find(handle);
  if (found == state.objectByHandle.end()) {
    AddProblem(std::string(use) + " got a handle the host never made");
    return nullptr;
  }
  if (!found->second->alive) {
    AddProblem(std::string(use) + " got " + found->second->Describe() + " after its last release");
    return nullptr;
  }
  return found->second;
}

void AddReference(Object* object) { ++object->references; }

void DropReference(Object* object) {
  if (--object->references > 0) return;
  object->ReleaseContents();
  object->alive = false;
}

bool SameName(std::string_view a, std::string_view b) { return SameText(a, b, false); }

bool SameDeclaration(std::string_view a, std::string_view b) { return SameText(a, b, true); }

int64_t ReferenceCount(const void* handle) {
  HostState& state = State();
  auto object = state.objectByHandle.find(handle);
  if (object != state.objectByHandle.end()) return object->second->alive ? object->second->references : 0;
  auto text = state.stringByHandle.find(handle);
  if (text != state.stringByHandle.end()) return text->second->alive ? text->second->references : 0;
  return 0;
}

int64_t LiveObjectCount() {
  int64_t count = 0;
  for (const auto& object : State().objects) count += object->alive ? 1 : 0;
  return count;
}

void ReleaseHandle(const void* handle, const char* use) {
  if (!handle) return;
  HostState& state = State();
  auto found = state.objectByHandle.find(handle);
  if (found == state.objectByHandle.end()) {
    AddProblem(std::string(use) + " got a handle the host never made");
  } else if (!found->second->alive) {
    AddProblem(std::string(use) + ": " + found->second->Describe() + " released twice");
  } else {
    DropReference(found->second);
  }
}

void Release(REALobjectStruct* handle) { ReleaseHandle(handle, "Release"); }

const uint64_t Instance::kDataOffset = (sizeof(Instance) + 15) / 16 * 16;

void* Instance::operator new(size_t size, DataSize data) {
  size_t total = kDataOffset + data.bytes;
  void* memory = ::operator new(total);
  std::memset(memory, 0, total);
  (void)size;
  return memory;
}

void Instance::operator delete(void* memory) { ::operator delete(memory); }

void Instance::operator delete(void* memory, DataSize) { ::operator delete(memory); }

void* InstanceDataOf(Object* object) {
  auto* instance = dynamic_cast<Instance*>(object);
  return instance ? instance->Data() : nullptr;
}

void* InstanceData(REALobjectStruct* handle) { return InstanceDataOf(LiveObject(handle, "InstanceData")); }

}  // namespace qvlhost
