// nimport: the command line tool.
#include <cerrno>
#include <csignal>
#include <exception>
#include <iostream>
#include <optional>

#include "host/command/commands.h"
#include "host/command/interruption.h"
#include "host/command/options.h"
#include "host/library.h"
#include "host/store_location.h"

namespace {

using namespace nimport;
using namespace nimport::command;

int Run(const Options& options) {
  // Also where nothing asks for it: temporary files go away only when the program ends properly.
  const Interruption interruption;
  const host::StoreSettings settings(options.location);
  const host::Library library(options.library);
  switch (options.subcommand) {
    case Subcommand::Check:
      return RunCheck(library, options);
    case Subcommand::Tree:
      return RunTree(library, options);
    case Subcommand::List:
      return RunList(library, options);
    case Subcommand::Show:
      return RunShow(library, options);
    case Subcommand::Export:
      return RunExport(library, options);
    case Subcommand::Contacts:
      return RunContacts(library, options);
  }
  return EXIT_CANNOT_RUN;
}

}  // namespace

int main(int argc, char** argv) {
  // A reader that goes away is noticed when writing to it fails.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    int exitCode = EXIT_CANNOT_RUN;
    const std::optional<Options> options = ParseOptions(argc, argv, exitCode);
    if (options) exitCode = Run(*options);
    if (std::cout.flush()) return exitCode;
    // A reader that has seen enough needs no message.
    if (errno != EPIPE) std::cerr << "nimport: the answer cannot be written\n";
    return EXIT_CANNOT_RUN;
  } catch (const std::exception& error) {
    std::cerr << "nimport: " << error.what() << '\n';
    return EXIT_CANNOT_RUN;
  }
}
