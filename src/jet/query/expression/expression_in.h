#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_IN_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_IN_H_

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "jet/query/expression/expression_text.h"
#include "jet/query/expression/expression_value.h"
#include "jet/value.h"

namespace nimport::jet {

// The literals of an In, sorted: a value is compared with a few of them instead of with all.
class LiteralSet {
 public:
  // Text is in the rows' code page.
  void Add(const Value& literal, const TextRules& texts);
  // To be called once, after all were added.
  void Sort();

  // As comparing `value` with one literal after the other.
  [[nodiscard]] Truth Contains(const Value& value, const TextRules& texts) const;

 private:
  [[nodiscard]] bool ContainsText(std::string_view text, const TextRules& texts) const;

  std::vector<double> numbers_;
  std::vector<double> textNumbers_;  // of texts that are numbers
  // Folded, with the number of bytes that the text has in its code page: texts that differ in it
  // need no folding to be told apart.
  std::vector<std::pair<std::size_t, std::u16string>> texts_;
  bool hasNull_ = false;
  bool hasWord_ = false;  // a text that is no number
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_IN_H_
