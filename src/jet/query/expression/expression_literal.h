// Literals as SQL writes them.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LITERAL_H_
#define NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LITERAL_H_

#include <optional>
#include <string_view>

#include "jet/value.h"

namespace nimport::jet {

// Digits with or without fraction and exponent, or &H and hexadecimal digits: a 32-bit integer
// where it fits, else a double. Empty when it is no number or out of range.
[[nodiscard]] std::optional<Value> ParseNumberLiteral(std::string_view text);

// What stands between two #: month/day/year as in the United States whatever the system's settings,
// or year-month-day, with or without a time, or a time alone. Where the month cannot be one, it is
// the day. Years of two digits mean 1930 to 2029. Empty when it is no date.
[[nodiscard]] std::optional<Date> ParseDateLiteral(std::string_view text);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_EXPRESSION_LITERAL_H_
