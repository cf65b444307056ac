// What a program gets from whoever starts it, and how it answers: arguments and standard streams.
#ifndef NIMPORT_PLATFORM_TERMINAL_H_
#define NIMPORT_PLATFORM_TERMINAL_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace nimport::platform {

enum class StandardStream : std::uint8_t { Output, Error };

[[nodiscard]] bool IsTerminal(StandardStream stream);

// The width of the terminal, 80 where it cannot be told. Asked afresh at every call: windows change
// their size.
[[nodiscard]] std::size_t TerminalColumns(StandardStream stream);

// Whether nobody reads standard output any more, whatever has failed since it was written to.
[[nodiscard]] bool HasOutputNoReader();

// The arguments of main, program first, in UTF-8.
[[nodiscard]] std::vector<std::string> ReadArguments(int argc, const char* const* argv);

// While an object lives, std::cout and std::cerr take UTF-8 and lines that end with LF: a file or a
// pipe gets them as they are, a console shows them whatever its code page. A reader that goes away
// and a file that may not grow any more are noticed when writing fails, and end no process. One
// object per process.
class StandardStreams {
 public:
  StandardStreams();
  ~StandardStreams();
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_TERMINAL_H_
