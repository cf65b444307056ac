// Reading mail texts: lines, header lines, line ends. Texts are bytes in code page 932; a mail text
// may come from anywhere and be anything.
#ifndef NIMPORT_MAILSTORE_MAIL_TEXT_H_
#define NIMPORT_MAILSTORE_MAIL_TEXT_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "common/fixed_text.h"
#include "mailstore/field_selector.h"

namespace nimport::mailstore {

// A longer line is read in pieces of this many bytes.
inline constexpr std::size_t MAX_LINE_BYTES = ValueText::MAX_BYTES;

// The line of `text` that begins at `position`, as a view into `text`, and moves `position` to the
// beginning of the next one. A line ends before LF, CR LF or the byte 0x1A, at the end of the text,
// or after MAX_LINE_BYTES bytes; what follows a NUL in a line is passed over. Empty when no line is
// left.
[[nodiscard]] std::optional<std::string_view> ReadTextLine(std::string_view text,
                                                           std::size_t& position);

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

}  // namespace nimport::mailstore

#endif  // NIMPORT_MAILSTORE_MAIL_TEXT_H_
