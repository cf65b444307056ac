#include "command/terminal.h"

#include <unistd.h>

#include "text/visible.h"

namespace nimport::command {

std::string ForStandardOutput(std::string_view text) {
  static const bool isTerminal = isatty(STDOUT_FILENO) == 1;
  return isTerminal ? text::VisibleLines(text) : std::string(text);
}

}  // namespace nimport::command
