#include "command/terminal.h"

#include "platform/terminal.h"
#include "text/visible.h"

namespace nimport::command {

std::string ForStandardOutput(std::string_view text) {
  static const bool isTerminal = platform::IsTerminal(platform::StandardStream::Output);
  return isTerminal ? text::VisibleLines(text) : std::string(text);
}

}  // namespace nimport::command
