// Mails that were deleted, as sources of an archive. They go to "(deleted)/CABINET/FOLDER", apart
// from everything that is listed.
#ifndef NIMPORT_ARCHIVE_DELETED_SOURCE_H_
#define NIMPORT_ARCHIVE_DELETED_SOURCE_H_

#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "archive/mail_source.h"

namespace nimport::archive {

// Says "whole", or "partial" and what is missing. A composed mail has the field among its own; a
// mail with a header of its own has it before that, and its bytes follow as they are.
inline constexpr std::string_view RECOVERED_FIELD = "X-Nimport-Recovered";

// {"whole", "partial", "onlyNumber"}.
[[nodiscard]] nlohmann::ordered_json ToJson(const store::DeletedCounts& counts);
// A sentence without an end of line.
[[nodiscard]] std::string Describe(const store::DeletedCounts& counts);

// A source for each folder from which mails were deleted, in the order of the list of folders, then
// folders that are not listed. Throws store::Error, store::Interrupted.
[[nodiscard]] MailSources DeletedSources(store::Store& store, ArchiveNames& names);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_DELETED_SOURCE_H_
