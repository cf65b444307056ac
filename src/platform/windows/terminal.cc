#include "platform/terminal.h"

#include <windows.h>

namespace nimport::platform {
namespace {

constexpr std::size_t USUAL_COLUMNS = 80;

HANDLE HandleOf(StandardStream stream) {
  return GetStdHandle(stream == StandardStream::Output ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

}  // namespace

bool IsTerminal(StandardStream stream) {
  DWORD mode = 0;
  return GetConsoleMode(HandleOf(stream), &mode) != FALSE;
}

std::size_t TerminalColumns(StandardStream stream) {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (GetConsoleScreenBufferInfo(HandleOf(stream), &info) == FALSE) return USUAL_COLUMNS;
  return static_cast<std::size_t>(info.srWindow.Right - info.srWindow.Left) + 1;
}

bool HasOutputNoReader() {
  // Writing to a pipe without a reader fails, and nothing else tells.
  return GetLastError() == ERROR_NO_DATA || GetLastError() == ERROR_BROKEN_PIPE;
}

void IgnoreWriteSignals() {
  // Windows has none.
}

}  // namespace nimport::platform
