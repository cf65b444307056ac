#ifndef NIMPORT_STORE_MAILS_DATE_COLUMN_H_
#define NIMPORT_STORE_MAILS_DATE_COLUMN_H_

#include <optional>

#include "jet/value.h"
#include "platform/clock.h"

namespace nimport::store {

// The calendar fields of a date column: a date, or a text of the form "yyyy/mm/dd hh:mm:ss" or
// "yyyy-mm-dd hh:mm:ss", with or without the time. Milliseconds are dropped. Empty for null, for
// everything else, and for day 0 (1899-12-30), which stands for no date.
[[nodiscard]] std::optional<platform::LocalTime> ReadAnyDate(const jet::Value& value);

// As hosts get it: empty for years outside 1970 to 2029 too.
[[nodiscard]] std::optional<platform::LocalTime> ReadDateColumn(const jet::Value& value);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_DATE_COLUMN_H_
