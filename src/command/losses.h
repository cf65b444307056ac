#ifndef NIMPORT_COMMAND_LOSSES_H_
#define NIMPORT_COMMAND_LOSSES_H_

#include <span>

#include "store/problem.h"

namespace nimport::command {

// Says on stderr what damage was stepped over, each place once. Whether there was any.
bool PrintLosses(std::span<const store::Problem> losses);

// Says on stderr what else a user may want to know: nothing is lost by it.
void PrintNotes(std::span<const store::Problem> notes);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_LOSSES_H_
