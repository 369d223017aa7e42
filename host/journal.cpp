// The journal: every host call in order, with its handle and its arguments as text.
#include <cstdio>

#include "host_internal.h"

namespace qvlhost {

void Record(JournalEntry entry) {
  if (Journaling()) State().journal.push_back(std::move(entry));
}

bool Journaling() { return State().config.journal; }

const std::vector<JournalEntry>& Journal() { return State().journal; }

void ClearJournal() { State().journal.clear(); }

std::vector<std::string> JournalEntryNames() {
  std::vector<std::string> names;
  for (const JournalEntry& entry : State().journal) names.push_back(entry.entry);
  return names;
}

void CallRecorder::Append(std::string* detail, const char* text) {
  Separate(detail);
  *detail += text ? "\"" + std::string(text) + "\"" : std::string("nil");
}

void CallRecorder::Append(std::string* detail, bool value) {
  Separate(detail);
  *detail += value ? "true" : "false";
}

void CallRecorder::Append(std::string* detail, double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  Separate(detail);
  *detail += text;
}

void CallRecorder::Append(std::string* detail, const void* pointer) {
  char text[32];
  std::snprintf(text, sizeof text, "%p", pointer);
  Separate(detail);
  *detail += pointer ? text : "nil";
}

}  // namespace qvlhost
