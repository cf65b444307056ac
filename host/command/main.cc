// nimport: the command line tool.
#include <exception>
#include <iostream>
#include <optional>

#include "host/command/commands.h"
#include "host/command/options.h"
#include "host/library.h"
#include "host/store_location.h"

namespace {

using namespace nimport;
using namespace nimport::command;

int Run(const Options& options) {
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
  }
  return EXIT_CANNOT_RUN;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int exitCode = EXIT_CANNOT_RUN;
    const std::optional<Options> options = ParseOptions(argc, argv, exitCode);
    return options ? Run(*options) : exitCode;
  } catch (const std::exception& error) {
    std::cerr << "nimport: " << error.what() << '\n';
    return EXIT_CANNOT_RUN;
  }
}
