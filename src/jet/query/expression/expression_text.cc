#include "jet/query/expression/expression_text.h"

#include <algorithm>

#include "jet/format/name_text.h"
#include "text/ascii.h"

namespace nimport::jet {
std::u16string TextRules::Fold(std::string_view text) const {
  std::u16string folded = converter_->ToUtf16(text, codePage_);
  for (char16_t& unit : folded) {
    if (unit >= u'A' && unit <= u'Z') unit = static_cast<char16_t>(unit - u'A' + u'a');
  }
  return folded;
}

std::strong_ordering TextRules::Compare(std::string_view left, std::string_view right) const {
  if (left == right) return std::strong_ordering::equal;
  // All code pages that Jet knows agree on ASCII, so most texts need no conversion.
  if (!text::IsAscii(left) || !text::IsAscii(right)) return Fold(left) <=> Fold(right);
  return std::lexicographical_compare_three_way(
      left.begin(), left.end(), right.begin(), right.end(),
      [](char a, char b) { return text::AsciiLower(a) <=> text::AsciiLower(b); });
}

bool TextRules::AreEqual(std::string_view left, std::string_view right) const {
  // No code page writes one character in two lengths.
  return left.size() == right.size() && Compare(left, right) == std::strong_ordering::equal;
}

std::string TextRules::FromUtf8(std::string_view text) const {
  return jet::FromUtf8(text, codePage_, *converter_);
}

std::string TextRules::ToUtf8(std::string_view text) const {
  return jet::ToUtf8(text, codePage_, *converter_);
}

}  // namespace nimport::jet
