// Where the mail client is installed and keeps its data.
#ifndef NIMPORT_PLUGIN_DISCOVERY_H_
#define NIMPORT_PLUGIN_DISCOVERY_H_

#include <string_view>

#include "platform/platform.h"
#include "plugin/mailer_context.h"

namespace nimport {

inline constexpr std::string_view MAILER_NAME = "Nifty Manager";

// Throws Failure (-3) unless the mail client's executable is there in version 5.0 or later.
void CheckInstallation(platform::Platform& platform);

// The directory of both databases, without a trailing '\'. Throws Failure (-3) when the settings do
// not tell.
[[nodiscard]] text::PathText FindDatabaseDirectory(const platform::Platform& platform);

// Fills the context's directories and member ID from the platform and opens the database of `mode`.
// Throws Failure: -3 when a setting or the database is missing, -2 when the database cannot be
// opened.
void DiscoverInstallation(MailerContext& context, SessionMode mode);

}  // namespace nimport

#endif  // NIMPORT_PLUGIN_DISCOVERY_H_
