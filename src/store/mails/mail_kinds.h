// What the mail client's kinds of mail are: every row of "DataTBL" has a kind number in its column
// "DataType", and the kind tells which stored query holds the mail's own row and which columns hold
// the pieces of the mail. Everything here is constant data.
#ifndef NIMPORT_STORE_MAILS_MAIL_KINDS_H_
#define NIMPORT_STORE_MAILS_MAIL_KINDS_H_

#include <cstdint>
#include <string_view>
#include <vector>

namespace nimport::store {

// The stored query and the columns of one kind of mail. A column that the kind lacks is empty.
// The names are in code page 932 and last as long as the process.
//
// "FileLink" in a slot of a header field means that the field stands in the mail's MIME file; which
// source a reader takes is decided by GetMailContent, never by the slot's text.
struct MailKindColumns {
  std::string_view queryName = {};
  std::string_view titleColumn = {};
  std::string_view originatorIdColumn = {};
  std::string_view originatorNameColumn = {};
  std::string_view recipientColumn = {};
  std::string_view messageIdColumn = {};
  std::string_view contentTypeColumn = {};
  std::string_view dateColumn = {};
  std::string_view textColumn = {};
  std::string_view sizeColumn = {};
  std::string_view filePathColumn = {};

  friend bool operator==(const MailKindColumns&, const MailKindColumns&) = default;
};

// Where the contents of a mail are kept.
enum class MailContent {
  LinkedFile,     // a file, named by the row of another mail with the same "MailID"; no text
  StoredFile,     // a file, named by `filePathColumn`; no text
  Text,           // the text in `textColumn`, without a header
  ForwardedText,  // as Text, followed by the text in "ForwardText"
  WholeMail,      // header and text together in `textColumn`
  MimeFile,       // a MIME file, named by "FileLink"
};

// The stored query in which a mail with MailContent::LinkedFile finds the row that names its file.
inline constexpr std::string_view LINKED_FILE_QUERY = "EmRcvBin\xB8\xB4\xD8\xB0";

// Whether the mail store handles mails of this kind at all. Mails of other kinds are not listed.
[[nodiscard]] bool IsListedMailKind(std::int32_t dataType);

// The kinds of which mails are listed, ascending.
[[nodiscard]] std::vector<std::int32_t> ListedMailKinds();

// The columns of a kind. Throws Failure (RESULT_INVALID) for a kind that is not listed.
[[nodiscard]] const MailKindColumns& LookupMailKind(std::int32_t dataType);

// The columns of every kind; several kinds may share a stored query.
[[nodiscard]] std::vector<MailKindColumns> AllMailKindColumns();

// Whether a row of this kind has the column "EmailMode", which GetMailContent needs.
[[nodiscard]] bool HasEmailMode(std::int32_t dataType);

// Where a mail of this kind is kept. `emailMode` is the value of the row's column "EmailMode"; it
// counts only where HasEmailMode. Throws Failure (RESULT_INVALID) for a kind that is not listed.
[[nodiscard]] MailContent GetMailContent(std::int32_t dataType, std::int32_t emailMode);

// Whether a mail's header fields stand in columns of its row: neither in the header of a stored
// text nor in a MIME file.
[[nodiscard]] constexpr bool HasFieldsInColumns(MailContent content) {
  return content != MailContent::WholeMail && content != MailContent::MimeFile;
}

// Whether a mail consists of a file alone, which is handed out as an attached mail.
[[nodiscard]] constexpr bool HasOnlyFile(MailContent content) {
  return content == MailContent::LinkedFile || content == MailContent::StoredFile;
}

// Whether mails of this kind have as many bodies as their MIME file has parts. Mails of every other
// kind, a MIME file or not, have one body.
[[nodiscard]] bool HasCountedBodies(std::int32_t dataType);

// Whether the date of a mail stands in its MIME file. The other kinds with a MIME file have the
// column `dateColumn`.
[[nodiscard]] bool HasDateInMimeFile(std::int32_t dataType);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_KINDS_H_
