// Texts of a store as they may be shown. Whoever wrote a mail chose its characters: those that move
// the cursor, change a terminal's settings or turn the direction of writing would have it show
// something else than there is.
#ifndef NIMPORT_TEXT_VISIBLE_H_
#define NIMPORT_TEXT_VISIBLE_H_

#include <cstddef>
#include <string>
#include <string_view>

namespace nimport::text {

// `text`, on one line and harmless on a terminal: control characters below U+0020 and U+007F become
// their pictures (U+2400 and the following), those from U+0080 to U+009F, line separators and
// characters that turn the direction of writing (U+2028 to U+202E, U+2066 to U+2069) become
// "<U+202E>". Bytes that are no UTF-8 become U+FFFD.
[[nodiscard]] std::string Visible(std::string_view text);

// Whether Visible leaves it as it is.
[[nodiscard]] bool IsVisible(std::string_view text);

// The same for texts of several lines: line ends (CR LF becomes LF) and tabs stay.
[[nodiscard]] std::string VisibleLines(std::string_view text);

// As many characters of `text`, which Visible made, as surely fit into so many columns of a
// terminal; where that is not all of them, "..." at the end.
[[nodiscard]] std::string CutToColumns(std::string_view text, std::size_t columns);

// The same characters as in Visible, in JSON text, as escapes of JSON. What is no UTF-8 stays.
[[nodiscard]] std::string VisibleJson(std::string_view json);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_VISIBLE_H_
