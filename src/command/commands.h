// The subcommands. Each prints its results to stdout, its talk to stderr, and returns the exit
// code; failures that end the run are exceptions.
#ifndef NIMPORT_COMMAND_COMMANDS_H_
#define NIMPORT_COMMAND_COMMANDS_H_

#include "command/options.h"
#include "host/library.h"

namespace nimport::command {

[[nodiscard]] int RunCheck(const host::Library& library, const Options& options);
[[nodiscard]] int RunTree(const host::Library& library, const Options& options);
[[nodiscard]] int RunList(const host::Library& library, const Options& options);
[[nodiscard]] int RunShow(const host::Library& library, const Options& options);
[[nodiscard]] int RunContacts(const host::Library& library, const Options& options);
[[nodiscard]] int RunExport(const host::Library& library, const Options& options);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_COMMANDS_H_
