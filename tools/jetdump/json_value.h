#ifndef NIMPORT_TOOLS_JETDUMP_JSON_VALUE_H_
#define NIMPORT_TOOLS_JETDUMP_JSON_VALUE_H_

#include <string>
#include <string_view>

#include "jet/database.h"
#include "jet/value.h"

namespace nimport::jetdump {

// `text` (UTF-8) with quotes; damaged UTF-8 is replaced.
[[nodiscard]] std::string ToJson(std::string_view text);

// Money and decimals are numbers with all their digits; dates "yyyy-mm-ddThh:mm:ss" and, where
// there are any, ".mmm"; binary values hexadecimal digits. A number that JSON has no form for is
// null, a date outside the calendar its number of days.
[[nodiscard]] std::string ToJson(const jet::Value& value);

[[nodiscard]] std::string_view TypeName(jet::ColumnType type);

}  // namespace nimport::jetdump

#endif  // NIMPORT_TOOLS_JETDUMP_JSON_VALUE_H_
