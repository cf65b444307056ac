// How values of columns are read.
#ifndef NIMPORT_PLATFORM_COLUMNS_H_
#define NIMPORT_PLATFORM_COLUMNS_H_

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "jet/recordset.h"

namespace nimport::platform {

// The current row's number; null and a text that is no number read as 0.
[[nodiscard]] std::int32_t ReadNumber(const jet::Recordset& recordset, std::string_view column);

// The current row's text in code page 932, up to its first NUL. Empty for null.
[[nodiscard]] std::optional<std::string> ReadText(const jet::Recordset& recordset,
                                                  std::string_view column);

// Stands on every row whose number column equals `number`, in order, and calls `visit`.
void ForEachRowWithNumber(jet::Recordset& recordset, std::string_view column, std::int32_t number,
                          const std::function<void()>& visit);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_COLUMNS_H_
