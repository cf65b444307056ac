// The files that come with a mail: how many there are, and each one written to a temporary file.
#ifndef NIMPORT_PLUGIN_CONTENTS_ATTACHED_MAILS_H_
#define NIMPORT_PLUGIN_CONTENTS_ATTACHED_MAILS_H_

#include <cstdint>
#include <optional>
#include <string>

#include "plugin/contents/temporary_files.h"

namespace nimport::plugin {

// The number of attached files. Empty when the MIME library answers 0 for the mail, which tells
// nothing. Throws Failure: as FindMailRow; -3 for a MIME file that is missing or has no content
// type although nothing is attached; any other answer of the library that is not success.
[[nodiscard]] std::optional<std::int32_t> CountAttachedMails(Extraction& extraction,
                                                             std::int32_t folderIndex,
                                                             std::int32_t mailIndex);

// Writes an attached file to a temporary file and returns its path. Throws Failure: as FindMailRow;
// -3 when the mail has no such file or the file that the store names is missing; -2 when there is
// no such attachment in a MIME mail or a file cannot be opened, read or written.
[[nodiscard]] std::string WriteAttachedMail(Extraction& extraction, std::int32_t folderIndex,
                                            std::int32_t mailIndex, std::int32_t attachIndex);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_CONTENTS_ATTACHED_MAILS_H_
