// How values of columns are read.
#ifndef NIMPORT_PLATFORM_COLUMNS_H_
#define NIMPORT_PLATFORM_COLUMNS_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "jet/recordset.h"

namespace nimport::platform {

// A value as a number; null and a text that is no number are 0.
[[nodiscard]] std::int32_t NumberOf(const jet::Value& value);

// A value's text in code page 932, up to its first NUL; empty for null and for numbers. Borrows
// from the value.
[[nodiscard]] std::string_view TextOf(const jet::Value& value);

// The current row's number; null and a text that is no number read as 0.
[[nodiscard]] std::int32_t ReadNumber(const jet::Recordset& recordset, std::string_view column);

// The current row's text in code page 932, up to its first NUL. Empty for null.
[[nodiscard]] std::optional<std::string> ReadText(const jet::Recordset& recordset,
                                                  std::string_view column);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_COLUMNS_H_
