#ifndef NIMPORT_ARCHIVE_COMPOSE_MAIL_H_
#define NIMPORT_ARCHIVE_COMPOSE_MAIL_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "archive/mail_contents.h"

namespace nimport::archive {

// A mail as today's programs read it.
struct FinishedMail {
  std::string bytes;                    // RFC 5322, lines end with CR LF
  std::optional<std::int64_t> instant;  // seconds since 1970-01-01 UTC
  // 32 hexadecimal digits of what the store holds, but for a stored file: a mail is the same one
  // with its file and without it.
  std::string key;
  bool isComplete = true;  // nothing of it is missing
  // The owner sent it, and nobody says who that is: it comes from UNDISCLOSED_SENDER.
  bool isSenderUndisclosed = false;
  // Today's programs would show some of its text garbled; whoever asks for that sets it.
  bool isGarbled = false;
};

// A mailbox, which every From field needs, that says what it is in every program and that nobody
// can have.
inline constexpr std::string_view UNDISCLOSED_SENDER =
    "undisclosed <undisclosed@nifty-manager.invalid>";

// The key of the mail that these make.
[[nodiscard]] std::string KeyOf(const MailHeaders& headers, const MailContents& contents);

// The same answers always give the same mail. `memberId` is the owner of the store, who counts as
// the sender of mails without one; it is empty where nobody knows it. Big mails are not copied: the
// bytes of `contents` are moved away.
[[nodiscard]] FinishedMail ComposeMail(const MailHeaders& headers, MailContents& contents,
                                       std::string_view memberId);

// A whole mail in code page 932 as correct MIME. Mail in pure ASCII is given back as it is; header
// text becomes encoded words, and a text without a charset of its own becomes UTF-8.
[[nodiscard]] std::string ConvertWholeMail(std::string mail);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_COMPOSE_MAIL_H_
