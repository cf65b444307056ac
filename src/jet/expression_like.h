// The patterns of Jet's Like operator.
#ifndef NIMPORT_JET_EXPRESSION_LIKE_H_
#define NIMPORT_JET_EXPRESSION_LIKE_H_

#include <string>
#include <string_view>
#include <vector>

namespace nimport::jet {

// `*` stands for any characters, `?` for one, `#` for a digit, `[a-z]` for one of a set, `[!a-z]`
// for one outside of it. Everything else stands for itself.
class LikePattern {
 public:
  // Patterns and texts are UTF-16, folded to one case. Throws SqlError when a bracket is not
  // closed.
  explicit LikePattern(std::u16string_view pattern);

  [[nodiscard]] bool Matches(std::u16string_view text) const;

 private:
  struct Range {
    char16_t first;
    char16_t last;
  };
  // One character of the text, or any number of them.
  struct Item {
    bool isAnyText = false;
    bool isNegated = false;
    std::vector<Range> ranges;
  };

  [[nodiscard]] static Item ParseSet(std::u16string_view set);
  [[nodiscard]] static bool MatchesOne(const Item& item, char16_t character);

  std::vector<Item> items_;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_EXPRESSION_LIKE_H_
