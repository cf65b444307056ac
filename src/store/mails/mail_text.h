// Reading mail texts: lines, header lines, line ends. Texts are bytes in code page 932; a mail text
// may come from anywhere and be anything.
#ifndef NIMPORT_STORE_MAILS_MAIL_TEXT_H_
#define NIMPORT_STORE_MAILS_MAIL_TEXT_H_

#include <optional>
#include <string>
#include <string_view>

#include "text/text_lines.h"

namespace nimport::store {

// A header field of a mail, numbered as hosts know them. Number 5 is not used.
enum class FieldSelector {
  Subject = 0,
  From = 1,
  To = 2,
  MessageId = 3,
  Date = 4,
  ContentType = 6,
};

// The field's name, in lower case.
[[nodiscard]] std::string_view NameOf(FieldSelector selector);

// The value of the first line of `text` that is a header line of the field `selector`: everything
// after the colon as it stands, the blank before the value included; a view into `text`. Letter
// case does not count in the field's name, blanks around it do. All lines are searched, those after
// the header too; continuation lines are not joined. Empty when no line matches.
[[nodiscard]] std::optional<std::string_view> FindHeaderLine(std::string_view text,
                                                             FieldSelector selector);

// As FindHeaderLine, but throws Failure: RESULT_DATABASE when `text` is empty, RESULT_INVALID when
// no line matches.
[[nodiscard]] std::string_view GetHeaderLine(std::string_view text, FieldSelector selector);

// `text` with a CR written before every LF that does not follow a CR; all other bytes as they are.
// A text that needs none is returned without being copied.
[[nodiscard]] std::string NormalizeLineEnds(std::string text);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_TEXT_H_
