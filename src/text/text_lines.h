// Lines of mail texts. A mail text may come from anywhere and be anything.
#ifndef NIMPORT_TEXT_TEXT_LINES_H_
#define NIMPORT_TEXT_TEXT_LINES_H_

#include <cstddef>
#include <optional>
#include <string_view>

#include "text/fixed_text.h"

namespace nimport::text {

// A longer line is read in pieces of this many bytes.
inline constexpr std::size_t MAX_LINE_BYTES = ValueText::MAX_BYTES;

// The line of `text` that begins at `position`, as a view into `text`, and moves `position` to the
// beginning of the next one. A line ends before LF, CR LF or the byte 0x1A, at the end of the text,
// or after MAX_LINE_BYTES bytes; what follows a NUL in a line is passed over. Empty when no line is
// left.
[[nodiscard]] std::optional<std::string_view> ReadTextLine(std::string_view text,
                                                           std::size_t& position);

// The value of the first line of `text` that is a header line of the field `lowerName`, which is in
// lower case: everything after the colon as it stands, the blank before the value included; a view
// into `text`. Letter case does not count in the field's name, blanks around it do. All lines are
// searched; continuation lines are not joined. Empty when no line matches.
[[nodiscard]] std::optional<std::string_view> FindFieldLine(std::string_view text,
                                                            std::string_view lowerName);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_TEXT_LINES_H_
