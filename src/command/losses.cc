#include "command/losses.h"

#include <iostream>
#include <set>
#include <string>

#include "text/visible.h"

namespace nimport::command {

bool PrintLosses(std::span<const store::Problem> losses) {
  std::set<std::string> places;
  for (const store::Problem& loss : losses) {
    if (places.insert(loss.Describe()).second) {
      std::cerr << "nimport: damage was stepped over: " << text::Visible(loss.Describe()) << '\n';
    }
  }
  return !places.empty();
}

void PrintNotes(std::span<const store::Problem> notes) {
  for (const store::Problem& note : notes)
    std::cerr << "nimport: note: " << text::Visible(note.Describe()) << '\n';
}

}  // namespace nimport::command
