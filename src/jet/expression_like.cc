#include "jet/expression_like.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "jet/sql_text.h"

namespace nimport::jet {

LikePattern::LikePattern(std::u16string_view pattern) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char16_t c = pattern[i];
    if (c == u'*') {
      items_.push_back({.isAnyText = true, .ranges = {}});
    } else if (c == u'?') {
      items_.push_back({.ranges = {{0, 0xFFFF}}});
    } else if (c == u'#') {
      items_.push_back({.ranges = {{u'0', u'9'}}});
    } else if (c != u'[') {
      items_.push_back({.ranges = {{c, c}}});
    } else {
      const std::size_t close = pattern.find(u']', i + 1);
      if (close == std::u16string_view::npos) {
        throw SqlError("a bracket in the pattern of Like is not closed");
      }
      const std::u16string_view set = pattern.substr(i + 1, close - i - 1);
      // An empty set stands for no character at all.
      if (!set.empty()) items_.push_back(ParseSet(set));
      i = close;
    }
  }
}

LikePattern::Item LikePattern::ParseSet(std::u16string_view set) {
  Item item;
  // An exclamation mark alone is itself.
  item.isNegated = set.size() > 1 && set.front() == u'!';
  if (item.isNegated) set.remove_prefix(1);
  for (std::size_t i = 0; i < set.size(); ++i) {
    // A hyphen at either end is itself.
    if (i + 2 < set.size() && set[i + 1] == u'-') {
      item.ranges.push_back({set[i], set[i + 2]});
      i += 2;
    } else {
      item.ranges.push_back({set[i], set[i]});
    }
  }
  return item;
}

bool LikePattern::MatchesOne(const Item& item, char16_t character) {
  const bool isInSet =
      std::any_of(item.ranges.begin(), item.ranges.end(), [character](const Range& range) {
        return character >= range.first && character <= range.last;
      });
  return isInSet != item.isNegated;
}

// Only the last `*` is ever tried again, so the time stays within items times characters.
bool LikePattern::Matches(std::u16string_view text) const {
  std::size_t item = 0;
  std::size_t position = 0;
  std::size_t itemBehindStar = items_.size() + 1;  // none met
  std::size_t positionAtStar = 0;
  while (position < text.size()) {
    if (item < items_.size() && items_[item].isAnyText) {
      itemBehindStar = ++item;
      positionAtStar = position;
    } else if (item < items_.size() && MatchesOne(items_[item], text[position])) {
      ++item;
      ++position;
    } else if (itemBehindStar <= items_.size()) {
      item = itemBehindStar;
      position = ++positionAtStar;
    } else {
      return false;
    }
  }
  while (item < items_.size() && items_[item].isAnyText)
    ++item;
  return item == items_.size();
}

}  // namespace nimport::jet
