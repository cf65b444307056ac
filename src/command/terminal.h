#ifndef NIMPORT_COMMAND_TERMINAL_H_
#define NIMPORT_COMMAND_TERMINAL_H_

#include <string>
#include <string_view>

namespace nimport::command {

// Something for other programs, such as a mail's source or vCards: as it is, but made visible where
// standard output is a terminal.
[[nodiscard]] std::string ForStandardOutput(std::string_view text);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_TERMINAL_H_
