// What no folder lists, as sources of an export.
#ifndef NIMPORT_ARCHIVE_UNLISTED_SOURCES_H_
#define NIMPORT_ARCHIVE_UNLISTED_SOURCES_H_

#include <string>
#include <vector>

#include "archive/archive_names.h"
#include "archive/mail_source.h"
#include "store/mails/mail_list.h"

namespace nimport::archive {

// Stand for cabinets.
inline constexpr const char* NOT_LISTED = "(not listed)";
inline constexpr const char* NO_MAIL = "(no mail)";

// A source for each folder number whose rows no folder lists; they are moved out of `list`.
// `listed` are those of the folders in the list.
[[nodiscard]] MailSources NotListedSources(store::MailList& list, const MailSources& listed,
                                           ArchiveNames& names);

// MIME files that no row names, by their names there. Those that hold no mail become mails with
// that file attached.
[[nodiscard]] std::unique_ptr<MailSource> NoMailSource(std::vector<std::string> files,
                                                       ArchiveNames& names);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_UNLISTED_SOURCES_H_
