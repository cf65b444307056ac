// The standard streams, as far as somebody looks at them.
#ifndef NIMPORT_PLATFORM_TERMINAL_H_
#define NIMPORT_PLATFORM_TERMINAL_H_

#include <cstddef>
#include <cstdint>

namespace nimport::platform {

enum class StandardStream : std::uint8_t { Output, Error };

[[nodiscard]] bool IsTerminal(StandardStream stream);

// The width of the terminal, 80 where it cannot be told. Asked afresh at every call: windows change
// their size.
[[nodiscard]] std::size_t TerminalColumns(StandardStream stream);

// Whether nobody reads standard output any more, whatever has failed since it was written to.
[[nodiscard]] bool HasOutputNoReader();

// From here on, a reader that goes away and a file that may not grow any more are noticed when
// writing fails, and end no process.
void IgnoreWriteSignals();

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_TERMINAL_H_
