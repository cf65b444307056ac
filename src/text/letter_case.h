#ifndef NIMPORT_TEXT_LETTER_CASE_H_
#define NIMPORT_TEXT_LETTER_CASE_H_

#include <string>
#include <string_view>

namespace nimport::text {

// `text` with its capital letters made small, for comparing names without regard to letter case:
// Latin, Greek, Cyrillic and Armenian letters, Roman numerals, circled and full-width letters.
[[nodiscard]] std::u16string FoldCase(std::u16string_view text);

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_LETTER_CASE_H_
