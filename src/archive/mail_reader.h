#ifndef NIMPORT_ARCHIVE_MAIL_READER_H_
#define NIMPORT_ARCHIVE_MAIL_READER_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "archive/mail_contents.h"
#include "archive/store_folders.h"
#include "host/session.h"

namespace nimport::command {

// The headers of a mail, as far as the store has them. UTF-8, without blanks at the ends.
struct MailHeaders {
  std::optional<std::string> subject;
  std::optional<std::string> from;
  std::optional<std::string> to;
  std::optional<std::int32_t> date;   // as the plug-in answers it
  std::vector<std::string> problems;  // "FIELD: REASON" for each one that could not be read

  [[nodiscard]] bool IsEmpty() const { return !subject && !from && !to && !date; }
};

// The headers of `mail`, or one of them. A header that cannot be read is absent and stands among
// the problems; host::ResultError is never thrown.
[[nodiscard]] MailHeaders ReadHeaders(const host::Mail& mail);
void ReadSubject(const host::Mail& mail, MailHeaders& headers);
void ReadDate(const host::Mail& mail, MailHeaders& headers);

// Empty for a mail that has none of its own.
[[nodiscard]] std::optional<std::string> ReadMessageId(const host::Mail& mail);

// Reads whole mails. Headers and contents come from sessions of their own, because a session that
// was asked for headers mixes them into the contents.
class MailReader {
 public:
  // Throws host::ResultError. `library` outlives the reader.
  explicit MailReader(const host::Library& library) : headers_(library), contents_(library) {}

  [[nodiscard]] const host::MailSession& session() const { return headers_; }

  // A folder of the store, open until this object is destroyed.
  class OpenFolder {
   public:
    // Throws host::ResultError; std::runtime_error when the store has changed meanwhile.
    OpenFolder(const MailReader& reader, const FolderPlace& place);

    [[nodiscard]] std::int32_t mailCount() const { return headers_.mailCount(); }
    [[nodiscard]] MailHeaders Headers(std::int32_t position) const {
      return ReadHeaders(headers_.MailAt(position));
    }
    // To be called right after Headers of the same mail. Throws host::ResultError.
    [[nodiscard]] MailContents Contents(std::int32_t position) const {
      return Contents(position, [] {});
    }
    // Asks for the headers by `askHeaders`, on MailAt, where they are needed to find the contents.
    // Throws host::ResultError.
    [[nodiscard]] MailContents Contents(std::int32_t position,
                                        const std::function<void()>& askHeaders) const {
      return ReadContents(contents_.MailAt(position), headers_.MailAt(position), askHeaders);
    }
    // For everything else that is asked of a mail. Once its bodies were counted, Contents can no
    // longer be relied on, for any mail of the folder.
    [[nodiscard]] host::Mail MailAt(std::int32_t position) const {
      return headers_.MailAt(position);
    }

   private:
    host::OpenFolder headers_;
    host::OpenFolder contents_;
  };

 private:
  host::MailSession headers_;
  host::MailSession contents_;
};

}  // namespace nimport::command

#endif  // NIMPORT_ARCHIVE_MAIL_READER_H_
