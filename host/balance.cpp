// The balance check at the end of a test: locks given back, nothing pending
// that is not expected, every reference given back by its owner.
#include <map>

#include "host_internal.h"

namespace qvlhost {

namespace {

// References that live host objects hold: masks, the pictures of graphics
// objects, messages of exceptions, and the pending exception.
std::map<const void*, int64_t> HeldByHost() {
  HostState& state = State();
  std::map<const void*, int64_t> held;
  std::vector<const void*> list;
  for (const auto& object : state.objects) {
    if (object->alive) object->ListHeld(&list);
  }
  if (state.pendingException) list.push_back(state.pendingException);
  for (const void* handle : list) ++held[handle];
  return held;
}

void Add(std::string* report, const std::string& line) { *report += line + "\n"; }

std::string LeakLine(const std::string& what, int64_t references, int64_t held) {
  return what + " leaked: " + std::to_string(references - held) + " reference(s) not given back";
}

// References the plug-in was expected to leave held that are not there.
void ReportMissingAbandoned(const std::map<const void*, int64_t>& held, std::string* report) {
  for (const void* handle : State().abandonedReferences) {
    Object* object = State().objectByHandle.count(handle) ? State().objectByHandle[handle] : nullptr;
    if (!object || !object->alive || object->references < held.at(handle)) {
      Add(report, (object ? object->Describe() : std::string("an unknown object")) +
                      " was expected to keep a reference the plug-in left held");
    }
  }
}

}  // namespace

void ExpectAbandonedReference(const void* object) { State().abandonedReferences.push_back(object); }

std::string BalanceProblems(bool exceptionExpected) {
  HostState& state = State();
  std::string report;
  for (const std::string& problem : state.problems) Add(&report, problem);
  if (state.pendingException && !exceptionExpected) {
    Add(&report, state.pendingException->Describe() + " is pending");
  }
  std::map<const void*, int64_t> held = HeldByHost();
  for (const void* handle : state.abandonedReferences) ++held[handle];
  ReportMissingAbandoned(held, &report);
  for (const auto& object : state.objects) {
    // A lock not given back is reported even when its picture is gone.
    if (auto* picture = dynamic_cast<Picture*>(object.get()); picture && picture->descriptionLocks > 0) {
      Add(&report, picture->Describe() + (picture->alive ? " still has " : " was released with ") +
                       std::to_string(picture->descriptionLocks) + " description lock(s)");
    }
    if (!object->alive) continue;
    int64_t hostReferences = held[object.get()];
    if (object->references > hostReferences) {
      Add(&report, LeakLine(object->Describe(), object->references, hostReferences));
    }
  }
  for (const auto& text : state.strings) {
    int64_t hostReferences = held[text.get()];
    if (text->alive && text->references > hostReferences) {
      Add(&report, LeakLine(text->Describe(), text->references, hostReferences));
    }
  }
  if (!state.openStringData.empty()) {
    Add(&report, std::to_string(state.openStringData.size()) + " string data record(s) not disposed of");
  }
  return report;
}

}  // namespace qvlhost
