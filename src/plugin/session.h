// The life of a session.
#ifndef NIMPORT_PLUGIN_SESSION_H_
#define NIMPORT_PLUGIN_SESSION_H_

#include <memory>

#include "plugin/session_context.h"

namespace nimport::plugin {

// Loads the MIME library, finds the mail client's data and opens the database of `mode`, on the
// platform for new sessions. Throws Failure: -3 when anything but memory is missing.
[[nodiscard]] std::unique_ptr<SessionContext> OpenSession(SessionMode mode);

// The session's temporary names. A process that was forked off has a copy of its parent's session:
// what the parent handed out is neither to be overwritten nor deleted by the child, which begins
// anew, in a directory of its own.
[[nodiscard]] TemporaryNames& GetTemporaryNames(SessionContext& context) noexcept;

// Deletes the temporary files, then releases everything else. Cannot fail.
void CloseSession(SessionContext& context) noexcept;

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_SESSION_H_
