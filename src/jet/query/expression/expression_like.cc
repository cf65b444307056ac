#include "jet/query/expression/expression_like.h"

#include <algorithm>
#include <utility>

#include "jet/query/expression/query_budget.h"
#include "jet/query/expression/sql_text.h"

namespace nimport::jet {
namespace {

constexpr std::uint64_t STEPS_PER_SET = 3;  // that a character is compared with

}  // namespace

LikePattern::LikePattern(std::u16string_view pattern) : segments_(1) {
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char16_t c = pattern[i];
    if (c == u'*') {
      // Several of them in a row are one.
      if (segments_.size() == 1 || segments_.back().Size() > 0) segments_.emplace_back();
    } else if (c == u'?') {
      AddSet({.ranges = {{0, 0xFFFF}}});
    } else if (c == u'#') {
      AddSet({.ranges = {{u'0', u'9'}}});
    } else if (c != u'[') {
      AddPlain(c);
    } else {
      const std::size_t close = pattern.find(u']', i + 1);
      if (close == std::u16string_view::npos) {
        throw SqlError("a bracket in the pattern of Like is not closed");
      }
      const std::u16string_view set = pattern.substr(i + 1, close - i - 1);
      // An empty set stands for no character at all.
      if (!set.empty()) AddSet(ParseSet(set));
      i = close;
    }
  }
  for (Segment& segment : segments_)
    segment.FindBorders();
}

void LikePattern::AddPlain(char16_t character) {
  Segment& segment = segments_.back();
  if (segment.sets.empty()) {
    segment.plain += character;
  } else {
    segment.sets.push_back({.ranges = {{character, character}}});
  }
}

void LikePattern::AddSet(Set set) {
  Segment& segment = segments_.back();
  for (const char16_t character : std::exchange(segment.plain, {}))
    segment.sets.push_back({.ranges = {{character, character}}});
  segment.sets.push_back(std::move(set));
}

LikePattern::Set LikePattern::ParseSet(std::u16string_view set) {
  Set parsed;
  // An exclamation mark alone is itself.
  parsed.isNegated = set.size() > 1 && set.front() == u'!';
  if (parsed.isNegated) set.remove_prefix(1);
  std::vector<Range> ranges;
  for (std::size_t i = 0; i < set.size(); ++i) {
    // A hyphen at either end is itself.
    if (i + 2 < set.size() && set[i + 1] == u'-') {
      // The other way round it has no characters.
      if (set[i] <= set[i + 2]) ranges.push_back({set[i], set[i + 2]});
      i += 2;
    } else {
      ranges.push_back({set[i], set[i]});
    }
  }
  std::ranges::sort(ranges, {}, &Range::first);
  for (const Range& range : ranges) {
    if (parsed.ranges.empty() || range.first > parsed.ranges.back().last) {
      parsed.ranges.push_back(range);
    } else {
      parsed.ranges.back().last = std::max(parsed.ranges.back().last, range.last);
    }
  }
  return parsed;
}

bool LikePattern::Contains(const Set& set, char16_t character) {
  const auto after = std::ranges::upper_bound(set.ranges, character, {}, &Range::first);
  const bool isInRange = after != set.ranges.begin() && character <= std::prev(after)->last;
  return isInRange != set.isNegated;
}

void LikePattern::Segment::FindBorders() {
  borders.assign(plain.size(), 0);
  std::uint32_t border = 0;
  for (std::size_t i = 1; i < plain.size(); ++i) {
    while (border > 0 && plain[i] != plain[border])
      border = borders[border - 1];
    if (plain[i] == plain[border]) ++border;
    borders[i] = border;
  }
}

bool LikePattern::Segment::StartsAt(std::u16string_view text, std::size_t position,
                                    QueryBudget& budget) const {
  if (sets.empty()) return text.substr(position).starts_with(plain);
  if (text.size() - position < sets.size()) return false;
  const auto start = text.begin() + static_cast<std::ptrdiff_t>(position);
  const auto [set, character] = std::mismatch(sets.begin(), sets.end(), start, Contains);
  budget.Work(STEPS_PER_SET * static_cast<std::uint64_t>(set - sets.begin() + 1));
  return set == sets.end();
}

std::optional<std::size_t> LikePattern::Segment::FindEnd(std::u16string_view text,
                                                         std::size_t position,
                                                         QueryBudget& budget) const {
  if (sets.empty()) return FindPlain(text, position);
  for (; text.size() - position >= sets.size(); ++position) {
    if (StartsAt(text, position, budget)) return position + sets.size();
  }
  return std::nullopt;
}

std::optional<std::size_t> LikePattern::Segment::FindPlain(std::u16string_view text,
                                                           std::size_t position) const {
  std::size_t matched = 0;
  for (; matched < plain.size() && position < text.size(); ++position) {
    while (matched > 0 && text[position] != plain[matched])
      matched = borders[matched - 1];
    if (text[position] == plain[matched]) ++matched;
  }
  if (matched < plain.size()) return std::nullopt;
  return position;
}

// The first segment stands at the start and the last one at the end. For each between them the
// first place is as good as any: it leaves the most to those after it.
bool LikePattern::Matches(std::u16string_view text, QueryBudget& budget) const {
  budget.Work(STEPS_PER_OPERATION + 2 * text.size());
  const Segment& first = segments_.front();
  if (!first.StartsAt(text, 0, budget)) return false;
  if (segments_.size() == 1) return text.size() == first.Size();
  const Segment& last = segments_.back();
  std::size_t position = first.Size();
  if (text.size() < position + last.Size()) return false;
  const std::size_t lastPosition = text.size() - last.Size();
  if (!last.StartsAt(text, lastPosition, budget)) return false;
  for (std::size_t i = 1; i + 1 < segments_.size(); ++i) {
    const auto end = segments_[i].FindEnd(text.substr(0, lastPosition), position, budget);
    if (!end) return false;
    position = *end;
  }
  return true;
}

}  // namespace nimport::jet
