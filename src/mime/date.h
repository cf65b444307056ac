#ifndef NIMPORT_MIME_DATE_H_
#define NIMPORT_MIME_DATE_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace nimport::mime {

// The instant that the value of a Date field names, in seconds since 1970-01-01 00:00:00 UTC; empty
// when it names none. Beyond the lawful form it reads what old programs wrote: parts in another
// order, "98/01/13" and ISO 8601, a month in digits, two-digit years, names of zones, AM and PM. A
// date without a time is its midnight, one without a zone is UTC; what cannot be a date (February
// 30) is none.
[[nodiscard]] std::optional<std::int64_t> ParseDate(std::string_view text);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_DATE_H_
