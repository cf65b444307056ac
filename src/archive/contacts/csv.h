#ifndef NIMPORT_ARCHIVE_CONTACTS_CSV_H_
#define NIMPORT_ARCHIVE_CONTACTS_CSV_H_

#include <initializer_list>
#include <string>
#include <string_view>

#include "archive/contacts/contact_writer.h"

namespace nimport::archive {

// The cells as a line of comma-separated values with its end, RFC 4180. A cell that a spreadsheet
// would compute gets an apostrophe before it.
[[nodiscard]] std::string ToCsvRow(std::initializer_list<std::string_view> cells);

// Comma-separated values, RFC 4180, in UTF-8, with a line of column names at the top. Texts are as
// stored; a cell that holds several has "; " between them.
class CsvWriter final : public ContactWriter {
 public:
  // With a byte order mark, Excel takes the text for UTF-8.
  CsvWriter(TextSink sink, bool hasByteOrderMark);

  void Write(const Contact& contact) override;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_CSV_H_
