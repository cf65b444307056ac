// How texts of rows are converted and compared in expressions.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_TEXT_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_TEXT_H_

#include <compare>
#include <string>
#include <string_view>

#include "text/code_page_converter.h"

namespace nimport::jet {

// Texts are bytes in one code page. They compare as UTF-16 without regard to the case of ASCII
// letters: in code page 932 the same bytes also occur inside of double-byte characters.
class TextRules {
 public:
  // Borrows `converter` for its whole life.
  TextRules(const text::CodePageConverter& converter, unsigned codePage)
      : converter_(&converter), codePage_(codePage) {}

  // UTF-16 with small ASCII letters only.
  [[nodiscard]] std::u16string Fold(std::string_view text) const;

  [[nodiscard]] std::strong_ordering Compare(std::string_view left, std::string_view right) const;
  [[nodiscard]] bool AreEqual(std::string_view left, std::string_view right) const;

  [[nodiscard]] std::string FromUtf8(std::string_view text) const;
  [[nodiscard]] std::string ToUtf8(std::string_view text) const;

 private:
  const text::CodePageConverter* converter_;
  unsigned codePage_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_TEXT_H_
