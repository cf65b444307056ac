// A mail of the store in the form in which it is archived.
#ifndef NIMPORT_ARCHIVE_MAIL_CONTENTS_H_
#define NIMPORT_ARCHIVE_MAIL_CONTENTS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/store.h"

namespace nimport::archive {

// A header field to be. The value is UTF-8.
struct HeaderText {
  std::string name;
  std::string value;
};

// The headers of a mail, as far as the store has them. UTF-8, without blanks at the ends.
struct MailHeaders {
  std::optional<std::string> subject;
  std::optional<std::string> from;
  std::optional<std::string> to;
  std::optional<std::string> cc;
  std::optional<std::string> bcc;
  std::optional<std::string> messageId;
  // A date that the store keeps in a column: its calendar fields as seconds since 1970-01-01
  // 00:00:00, whatever the zone. Of a mail with a header of its own only where that has no date.
  std::optional<std::int64_t> columnDate;
  std::optional<std::int64_t> instant;  // seconds since 1970-01-01 UTC
  std::int32_t utcOffset = 0;           // what the store's zone adds to UTC then, in seconds
  // Fields that a composed mail gets after its own. They are no part of what the mail is known by.
  std::vector<HeaderText> furtherFields;
  std::vector<std::string> problems;  // "FIELD: REASON" for each one that could not be read

  // "1998-01-13 10:00:00" in the store's zone; empty without a date.
  [[nodiscard]] std::optional<std::string> DateText() const;
  [[nodiscard]] bool IsEmpty() const { return !subject && !from && !to && !instant; }
};

// In which form a store holds a mail.
enum class ContentsKind {
  Text,        // the text alone; the headers are apart
  WholeMail,   // headers and text in one text of code page 932
  MimeMail,    // an internet mail, in whatever charsets it declares
  StoredFile,  // a file that was sent by itself; the headers are apart
};

struct MailContents {
  ContentsKind kind = ContentsKind::Text;
  // The text (UTF-8, CR LF), the whole mail (code page 932, CR LF), the MIME mail or the file.
  std::string bytes;
  std::string fileName;   // of a stored file; empty where it is not known
  std::string extension;  // of a stored file, with its dot; may be empty
  std::string missing;    // why the stored file is not there; empty when it is
  // A field that a mail with a header of its own gets before that.
  std::optional<HeaderText> leadingField;

  // Whether the bytes hold the mail's own header.
  [[nodiscard]] bool HasOwnHeader() const {
    return kind == ContentsKind::WholeMail || kind == ContentsKind::MimeMail;
  }
};

// What the store holds of a mail. A mail without its stored file has contents all the same. Throws
// store::Error when there are none, store::Interrupted.
[[nodiscard]] MailContents ReadContents(store::Store& store, const store::MailRecord& record);

// The headers of a mail, from wherever its kind keeps them: `contents` are null where they could
// not be read. A header that cannot be read is absent and stands among the problems.
[[nodiscard]] MailHeaders ReadHeaders(const store::Store& store, const store::MailRecord& record,
                                      const MailContents* contents);

// Whether `text` begins with a header line.
[[nodiscard]] bool LooksLikeMail(std::string_view text);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_MAIL_CONTENTS_H_
