#include "jet/query/expression/expression_in.h"

#include <algorithm>
#include <cmath>

namespace nimport::jet {

void LiteralSet::Add(const Value& literal, const TextRules& texts) {
  const auto text = ToText(literal);
  const auto number = ToNumber(literal);
  if (text) {
    texts_.emplace_back(text->size(), texts.Fold(*text));
    if (number) textNumbers_.push_back(*number);
    hasWord_ = hasWord_ || !number;
  } else if (number) {
    numbers_.push_back(*number);
  } else {
    hasNull_ = true;
  }
}

void LiteralSet::Sort() {
  std::ranges::sort(numbers_);
  std::ranges::sort(textNumbers_);
  std::ranges::sort(texts_);
}

bool LiteralSet::ContainsText(std::string_view text, const TextRules& texts) const {
  const auto first = std::ranges::lower_bound(texts_, text.size(), {},
                                              [](const auto& entry) { return entry.first; });
  if (first == texts_.end() || first->first != text.size()) return false;
  return std::binary_search(first, texts_.end(), std::pair(text.size(), texts.Fold(text)));
}

Truth LiteralSet::Contains(const Value& value, const TextRules& texts) const {
  if (IsNull(value)) return Truth::Unknown;
  const auto text = ToText(value);
  if (text && ContainsText(*text, texts)) return Truth::True;
  const auto number = ToNumber(value);
  const bool isNumber = number && !std::isnan(*number);
  if (isNumber && std::ranges::binary_search(numbers_, *number)) return Truth::True;
  if (isNumber && !text && std::ranges::binary_search(textNumbers_, *number)) return Truth::True;
  // Texts compare with all texts and, where they are numbers, with numbers; numbers with numbers.
  const bool comparesWithAll = text ? isNumber || numbers_.empty() : isNumber && !hasWord_;
  return comparesWithAll && !hasNull_ ? Truth::False : Truth::Unknown;
}

}  // namespace nimport::jet
