// How values compare, sort and turn into numbers and texts in expressions.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_VALUE_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_VALUE_H_

#include <compare>
#include <cstdint>
#include <optional>
#include <string>

#include "jet/query/expression/expression_text.h"
#include "jet/value.h"

namespace nimport::jet {

class QueryBudget;

// What three-valued logic knows of a condition.
enum class Truth : std::uint8_t { False, Unknown, True };

// Numbers of every kind, booleans (true is -1), dates (days), and texts that are a decimal number
// as a whole. Empty for everything else.
[[nodiscard]] std::optional<double> ToNumber(const Value& value);

// Unordered when one of them is null or they are of kinds that do not compare. A text and a number
// compare as numbers where the text is one.
[[nodiscard]] std::partial_ordering CompareValues(const Value& left, const Value& right,
                                                  const TextRules& texts);

// Appends bytes that compare (memcmp) as the values sort: nulls first, then numbers and dates, then
// texts, then binary values. Values of one kind that compare as equal give the same bytes. Throws
// DatabaseError when `budget` has not the time or the memory for the key.
void AppendSortKey(const Value& value, const TextRules& texts, std::string& key,
                   QueryBudget& budget);

// What & concatenates; empty for null.
[[nodiscard]] std::string ToDisplayText(const Value& value);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_VALUE_H_
