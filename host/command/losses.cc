#include "host/command/losses.h"

#include <iostream>
#include <set>
#include <string>

namespace nimport::command {

bool PrintLosses(const host::Library& library) {
  std::set<std::string> places;
  for (const host::DiagnosticRecord& record : library.TakeLosses()) {
    if (places.insert(record.Describe()).second) {
      std::cerr << "nimport: damage was stepped over: " << record.Describe() << '\n';
    }
  }
  return !places.empty();
}

}  // namespace nimport::command
