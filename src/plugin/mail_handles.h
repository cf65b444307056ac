// The checks that the exports of the mail side make on their handles.
#ifndef NIMPORT_PLUGIN_MAIL_HANDLES_H_
#define NIMPORT_PLUGIN_MAIL_HANDLES_H_

#include "plugin/exports/export_guard.h"
#include "plugin/handle_node.h"
#include "plugin/session_context.h"

namespace nimport::plugin {

// The session's mail store. Throws Failure (-3) for anything but a mail session.
[[nodiscard]] MailStore& RequireMailStore(SessionContext& context);

// A handle of a cabinet or folder. Throws Failure (-3).
[[nodiscard]] Folder& RequireFolder(HandleNode* node);

// The same, opened. Throws Failure: -2 when it is not open.
[[nodiscard]] const Folder& RequireOpenFolder(HandleNode* node);

// An opened folder. Throws Failure: -2 also for a cabinet.
[[nodiscard]] const Folder& RequireOpenMailFolder(HandleNode* node);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAIL_HANDLES_H_
