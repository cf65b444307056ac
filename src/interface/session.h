// The life of a session.
#ifndef NIMPORT_INTERFACE_SESSION_H_
#define NIMPORT_INTERFACE_SESSION_H_

#include <memory>

#include "interface/mailer_context.h"

namespace nimport {

// Loads the MIME library, finds the mail client's data and opens the database of `mode`, on the
// platform for new sessions. Throws Failure: -3 when anything but memory is missing.
[[nodiscard]] std::unique_ptr<MailerContext> OpenSession(SessionMode mode);

// Deletes the temporary files, then releases everything else. Cannot fail.
void CloseSession(MailerContext& context) noexcept;

}  // namespace nimport

#endif  // NIMPORT_INTERFACE_SESSION_H_
