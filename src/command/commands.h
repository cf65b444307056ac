// The subcommands. Each prints its results to stdout, its talk to stderr, and returns the exit
// code; failures that end the run are exceptions.
#ifndef NIMPORT_COMMAND_COMMANDS_H_
#define NIMPORT_COMMAND_COMMANDS_H_

#include "command/options.h"
#include "command/store_location.h"

namespace nimport::command {

// Looks for stores itself.
[[nodiscard]] int RunFind(const Options& options);

[[nodiscard]] int RunCheck(StorePlatform& platform, const Options& options);
[[nodiscard]] int RunTree(StorePlatform& platform, const Options& options);
[[nodiscard]] int RunList(StorePlatform& platform, const Options& options);
[[nodiscard]] int RunShow(StorePlatform& platform, const Options& options);
[[nodiscard]] int RunContacts(StorePlatform& platform, const Options& options);
[[nodiscard]] int RunExport(StorePlatform& platform, const Options& options);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_COMMANDS_H_
