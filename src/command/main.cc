// nimport: the command line tool.
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>

#include <poll.h>
#include <unistd.h>

#include "command/commands.h"
#include "command/options.h"
#include "command/store_location.h"
#include "platform/interruption.h"
#include "store/problem.h"
#include "text/visible.h"

namespace {

using namespace nimport;
using namespace nimport::command;

int Run(const Options& options) {
  const platform::Interruption interruption(EXIT_SOME_FAILED);
  StorePlatform platform(options.location);
  switch (options.subcommand) {
    case Subcommand::Check:
      return RunCheck(platform, options);
    case Subcommand::Tree:
      return RunTree(platform, options);
    case Subcommand::List:
      return RunList(platform, options);
    case Subcommand::Show:
      return RunShow(platform, options);
    case Subcommand::Export:
      return RunExport(platform, options);
    case Subcommand::Contacts:
      return RunContacts(platform, options);
  }
  return EXIT_CANNOT_RUN;
}

// A pipe says so, whatever has failed since it was written to.
bool HasNoReader() {
  pollfd output = {.fd = STDOUT_FILENO, .events = POLLOUT, .revents = 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away and a file that may not grow any more are noticed when writing fails.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  try {
    int exitCode = EXIT_CANNOT_RUN;
    const std::optional<Options> options = ParseOptions(argc, argv, exitCode);
    if (options) exitCode = Run(*options);
    if (std::cout.flush()) return exitCode;
    // A reader that has seen enough needs no message.
    if (!HasNoReader()) std::cerr << "nimport: the answer cannot be written\n";
    return EXIT_CANNOT_RUN;
  } catch (const store::Interrupted&) {
    std::cerr << "nimport: interrupted\n";
    return EXIT_SOME_FAILED;
  } catch (const std::exception& error) {
    std::cerr << "nimport: " << text::VisibleLines(error.what()) << '\n';
    return EXIT_CANNOT_RUN;
  }
}
