#ifndef NIMPORT_MAILSTORE_MIME_FILE_H_
#define NIMPORT_MAILSTORE_MIME_FILE_H_

#include <string>

#include "mailstore/mail_row.h"
#include "mailstore/mail_store.h"

namespace nimport::mailstore {

// The text of the MIME file that belongs to the row's mail, with line ends CR LF. Throws Failure:
// -3 when the row names no file, its name or path is too long, or the file is missing; -2 when the
// file cannot be read into memory.
[[nodiscard]] std::string ReadMimeFile(MailStore& store, const MailRow& row);

// Reads the row's MIME file and makes it the current mail of the MIME library. Throws Failure as
// ReadMimeFile does; -3 when the library cannot parse the text.
void RequireParsedMimeFile(MailStore& store, const MailRow& row);

}  // namespace nimport::mailstore

#endif  // NIMPORT_MAILSTORE_MIME_FILE_H_
