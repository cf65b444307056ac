// Columns of a mail's row that have no place of their own in a mail.
#ifndef NIMPORT_ARCHIVE_FURTHER_COLUMNS_H_
#define NIMPORT_ARCHIVE_FURTHER_COLUMNS_H_

#include <string>
#include <vector>

#include "archive/mail_contents.h"
#include "store/mails/mail_record.h"

namespace nimport::archive {

// A field "X-Nimport-Column: NAME=value" for each short text and each number but 0; not for the
// number of the folder.
[[nodiscard]] std::vector<HeaderText> ColumnFields(
    const std::vector<store::FurtherColumn>& columns);

// All of them as the members of a JSON object: numbers and booleans as such, dates as
// "1998-04-06T09:00:00", bytes as hexadecimal digits, null for what is absent or cannot be read.
[[nodiscard]] std::string ColumnsToJson(const std::vector<store::FurtherColumn>& columns);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FURTHER_COLUMNS_H_
