#ifndef NIMPORT_MIME_DATE_H_
#define NIMPORT_MIME_DATE_H_

#include <cstdint>
#include <optional>
#include <string_view>

namespace nimport::mime {

// A date as a mail has it.
struct Date {
  std::int64_t localSeconds = 0;   // its calendar fields as seconds since 1970-01-01 00:00:00
  std::optional<int> zoneMinutes;  // east of UTC; empty where the mail names no zone
};

// The date that the value of a Date field names; empty when it names none. Beyond the lawful form
// it reads what old programs wrote: parts in another order, "98/01/13", ISO 8601, C's ctime, a
// month in digits, years of two digits (1970 to 2069) and of three (since 1900), dots in times,
// names of zones, also in a comment, AM and PM. A date without a time is its midnight, the name of
// an unknown zone means UTC; what cannot be a date (February 30) is none.
[[nodiscard]] std::optional<Date> ParseDate(std::string_view text);

// The date of a mail by its header: that of the first Date field that can be read, or else of the
// topmost such Received field, which is the last machine that received the mail. Lines that are no
// fields do not hide those after them: the header ends with the first empty line.
[[nodiscard]] std::optional<Date> FindDate(std::string_view mail);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_DATE_H_
