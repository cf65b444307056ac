// What the registry says of the mail client: where it is installed, where it keeps its data, and
// whose they are.
#ifndef NIMPORT_STORE_INSTALLATION_H_
#define NIMPORT_STORE_INSTALLATION_H_

#include <string>
#include <string_view>

#include "platform/platform.h"
#include "text/fixed_text.h"

namespace nimport::store {

// The keys of the mail client's settings, and the values in them that name the directory of both
// databases and the member ID.
inline constexpr std::string_view DIRECTORY_KEY = "Software\\NIFTY\\NIFTY Manager\\Directory";
inline constexpr std::string_view SESSION_KEY = "Software\\NIFTY\\NIFTY Manager\\Session";
inline constexpr std::string_view DATABASE_DIRECTORY_VALUE = "DatabaseDir";
inline constexpr std::string_view MEMBER_ID_VALUE = "ID1";

// The databases, as their paths end after that directory.
inline constexpr std::string_view MAIL_DATABASE_FILE = "\\Cabdata.mdb";
inline constexpr std::string_view ADDRESS_DATABASE_FILE = "\\Abook.mdb";

// Throws Failure (-3) unless the mail client's executable is there in version 5.0 or later.
void CheckInstallation(platform::Platform& platform);

// The directory of both databases, without a trailing '\'. Throws Failure (-3) when the settings do
// not name it or its path is too long.
[[nodiscard]] text::PathText FindDatabaseDirectory(const platform::Platform& platform);

// The member ID of the store's owner. Throws Failure (-3) when the settings do not name it or it is
// too long.
[[nodiscard]] text::AccountText FindMemberId(const platform::Platform& platform);

// The path of a database in `directory`. Throws Failure (-3) when it is too long or no file is
// there.
[[nodiscard]] text::PathText RequireDatabase(platform::Platform& platform,
                                             const text::PathText& directory,
                                             std::string_view databaseFile);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_INSTALLATION_H_
