#ifndef NIMPORT_COMMAND_LOSSES_H_
#define NIMPORT_COMMAND_LOSSES_H_

#include "host/library.h"

namespace nimport::command {

// Says on stderr what damage the plug-in stepped over so far, each place once. Whether there was
// any.
bool PrintLosses(const host::Library& library);

// Says on stderr what else the plug-in had to tell: nothing is lost by it.
void PrintNotes(const host::Library& library);

}  // namespace nimport::command

#endif  // NIMPORT_COMMAND_LOSSES_H_
