#include "platform/terminal.h"

#include <csignal>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace nimport::platform {
namespace {

constexpr std::size_t USUAL_COLUMNS = 80;

int DescriptorOf(StandardStream stream) {
  return stream == StandardStream::Output ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

bool IsTerminal(StandardStream stream) {
  return isatty(DescriptorOf(stream)) == 1;
}

std::size_t TerminalColumns(StandardStream stream) {
  winsize size = {};
  const bool isKnown = ioctl(DescriptorOf(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return isKnown ? size.ws_col : USUAL_COLUMNS;
}

bool HasOutputNoReader() {
  // A pipe says so.
  pollfd output = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

std::vector<std::string> ReadArguments(int argc, const char* const* argv) {
  return {argv, argv + argc};
}

struct StandardStreams::State {};

StandardStreams::StandardStreams() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

StandardStreams::~StandardStreams() = default;

}  // namespace nimport::platform
