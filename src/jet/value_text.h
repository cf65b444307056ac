#ifndef NIMPORT_JET_VALUE_TEXT_H_
#define NIMPORT_JET_VALUE_TEXT_H_

#include <string>

#include "jet/value.h"

namespace nimport::jet {

// The shortest digits that read back as the same number, always with a point or an exponent; empty
// for what is not finite.
[[nodiscard]] std::string ToString(float value);
[[nodiscard]] std::string ToString(double value);

// "-12.5000".
[[nodiscard]] std::string ToString(Currency value);

// "1998-04-06T09:00:00", with ".500" where there are milliseconds; the number of days where that is
// no date of the calendar.
[[nodiscard]] std::string ToString(Date value);

// Two hexadecimal digits a byte.
[[nodiscard]] std::string ToString(const Binary& value);

// Any value: a text as it is, "true" or "false", empty for null.
[[nodiscard]] std::string ToPlainText(const Value& value);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_VALUE_TEXT_H_
