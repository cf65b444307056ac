#include "command/losses.h"

#include <iostream>
#include <set>
#include <string>

#include "command/visible.h"

namespace nimport::command {

bool PrintLosses(const host::Library& library) {
  std::set<std::string> places;
  for (const host::DiagnosticRecord& record : library.TakeLosses()) {
    if (places.insert(record.Describe()).second) {
      std::cerr << "nimport: damage was stepped over: " << Visible(record.Describe()) << '\n';
    }
  }
  return !places.empty();
}

void PrintNotes(const host::Library& library) {
  for (const host::DiagnosticRecord& record : library.TakeNotes()) {
    std::cerr << "nimport: note: " << Visible(record.Describe()) << '\n';
  }
}

}  // namespace nimport::command
