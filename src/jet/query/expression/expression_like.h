// The patterns of Jet's Like operator.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LIKE_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LIKE_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::jet {

class QueryBudget;

// `*` stands for any characters, `?` for one, `#` for a digit, `[a-z]` for one of a set, `[!a-z]`
// for one outside of it. Everything else stands for itself.
class LikePattern {
 public:
  // Patterns and texts are UTF-16, folded to one case. Throws SqlError when a bracket is not
  // closed.
  explicit LikePattern(std::u16string_view pattern);

  // Takes time in proportion to the text and the pattern, but for `?`, `#` and sets between two
  // `*`: there at worst to the product of the text and what stands between them. Throws
  // DatabaseError when `budget` does not last.
  [[nodiscard]] bool Matches(std::u16string_view text, QueryBudget& budget) const;

 private:
  struct Range {
    char16_t first;
    char16_t last;
  };
  // One character of the text: any of its ranges, which are sorted and apart, or none of them.
  struct Set {
    bool isNegated = false;
    std::vector<Range> ranges;
  };
  // What stands between two `*`: plain characters, or sets where one of them is no plain character.
  struct Segment {
    std::u16string plain;
    std::vector<Set> sets;
    // Of plain characters: for each beginning, how long the longest shorter beginning is that also
    // ends it. So no character of a text is looked at twice in vain.
    std::vector<std::uint32_t> borders;

    [[nodiscard]] std::size_t Size() const { return sets.empty() ? plain.size() : sets.size(); }
    [[nodiscard]] bool StartsAt(std::u16string_view text, std::size_t position,
                                QueryBudget& budget) const;
    // Where the first occurrence in `text` from `position` on ends.
    [[nodiscard]] std::optional<std::size_t> FindEnd(std::u16string_view text, std::size_t position,
                                                     QueryBudget& budget) const;
    [[nodiscard]] std::optional<std::size_t> FindPlain(std::u16string_view text,
                                                       std::size_t position) const;
    void FindBorders();
  };

  [[nodiscard]] static Set ParseSet(std::u16string_view set);
  [[nodiscard]] static bool Contains(const Set& set, char16_t character);
  void AddPlain(char16_t character);
  void AddSet(Set set);

  std::vector<Segment> segments_;  // a `*` between each two
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LIKE_H_
