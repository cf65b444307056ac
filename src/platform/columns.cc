#include "platform/columns.h"

#include "common/code_page_932.h"
#include "jet/value.h"

namespace nimport::platform {

std::int32_t ReadNumber(const jet::Recordset& recordset, std::string_view column) {
  return jet::ToInteger(recordset.GetFieldValue(column)).value_or(0);
}

std::optional<std::string> ReadText(const jet::Recordset& recordset, std::string_view column) {
  const jet::Value value = recordset.GetFieldValue(column);
  if (jet::IsNull(value)) return std::nullopt;
  return std::string(UpToNul(jet::ToText(value).value_or("")));
}

void ForEachRowWithNumber(jet::Recordset& recordset, std::string_view column, std::int32_t number,
                          const std::function<void()>& visit) {
  if (number != 0) {
    for (bool found = recordset.FindFirst(column, number); found; found = recordset.FindNext()) {
      visit();
    }
    return;
  }
  // Null reads as 0, but a lookup by number finds no nulls.
  for (recordset.MoveFirst(); !recordset.IsEof(); recordset.MoveNext()) {
    if (ReadNumber(recordset, column) == 0) visit();
  }
}

}  // namespace nimport::platform
