// Dates of mails, as counts of seconds since 1970-01-01 00:00:00 of which some are UTC and some are
// shifted by the machine's zone bias. The bias is standard time's, so a date that falls into
// daylight saving time comes out an hour off; that is the mail client's own way to count.
#ifndef NIMPORT_STORE_MAILS_MAIL_DATE_H_
#define NIMPORT_STORE_MAILS_MAIL_DATE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/clock.h"

namespace nimport::store {

// `seconds` plus, or less, the machine's zone bias. Both count modulo 2^32 and so undo each other
// for every value.
[[nodiscard]] std::int32_t AddZoneBias(std::int32_t seconds, const platform::Clock& clock);
[[nodiscard]] std::int32_t SubtractZoneBias(std::int32_t seconds, const platform::Clock& clock);

// The instant that the text of a Date header names, in UTC plus the zone bias: SubtractZoneBias of
// the result is the instant. Reads the day-first form of mail headers ("Tue, 13 Jan 1998 10:00:00
// +0900", weekday, seconds, time and zone optional) and the month-first form of C's ctime
// ("Tue Jan 13 10:00:00 1998"). Without a zone the date is local; an unknown zone counts as UTC.
// Empty when the text is no date, a field is out of range, or the result is -1.
[[nodiscard]] std::optional<std::int32_t> ParseMailDate(std::string_view text,
                                                        const platform::Clock& clock);

// Local date and time in 24 characters of fixed places, for example "Wed Jan 02 02:03:55 1980".
// Empty when the clock cannot convert `seconds`.
[[nodiscard]] std::string DateText(std::int32_t seconds, const platform::Clock& clock);

// What stands for the message ID of a mail of that date which has none.
[[nodiscard]] std::string MakeFallbackMessageId(std::int32_t seconds, const platform::Clock& clock);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_DATE_H_
