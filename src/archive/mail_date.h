// Instants of mails. The plug-in's dates mean two things: of a date kept in a column, its calendar
// fields counted as if they were UTC; of a date read from a mail's header, the instant itself.
#ifndef NIMPORT_ARCHIVE_MAIL_DATE_H_
#define NIMPORT_ARCHIVE_MAIL_DATE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nimport::command {

// The instant of a date that the store keeps in a column, in seconds since 1970-01-01 UTC.
[[nodiscard]] std::int64_t InstantOfColumnDate(std::int32_t date);

// The instant that a mail's own header names; empty when it names none that can be read.
[[nodiscard]] std::optional<std::int64_t> InstantOfHeader(std::string_view mail);

// The instant of a mail that has a header of its own. `date` is what the plug-in answers; whether
// it came from the header or from a column shows in the header.
[[nodiscard]] std::optional<std::int64_t> InstantOfMail(std::optional<std::int32_t> date,
                                                        std::string_view mail);

// "Tue, 13 Jan 1998 10:00:00 +0900" in the machine's time zone.
[[nodiscard]] std::string ToMailDate(std::int64_t instant);

// "1998-01-13 10:00:00" in the machine's time zone.
[[nodiscard]] std::string ToLocalText(std::int64_t instant);

// "Tue Jan 13 01:00:00 1998", UTC.
[[nodiscard]] std::string ToUtcText(std::int64_t instant);

}  // namespace nimport::command

#endif  // NIMPORT_ARCHIVE_MAIL_DATE_H_
