// Instants of mails, and how they are written.
#ifndef NIMPORT_ARCHIVE_INSTANT_H_
#define NIMPORT_ARCHIVE_INSTANT_H_

#include <cstdint>
#include <string>

#include "mime/date.h"
#include "platform/clock.h"

namespace nimport::archive {

// The instant that a date names, in seconds since 1970-01-01 UTC; one without a zone is local time
// of `clock`.
[[nodiscard]] std::int64_t ToInstant(const mime::Date& date, const platform::Clock& clock);

// "Tue, 13 Jan 1998 10:00:00 +0900" in a zone that adds so many seconds to UTC.
[[nodiscard]] std::string ToMailDate(std::int64_t instant, std::int32_t utcOffset);

// "1998-01-13 10:00:00" in such a zone.
[[nodiscard]] std::string ToLocalText(std::int64_t instant, std::int32_t utcOffset);

// "Tue Jan 13 01:00:00 1998", UTC.
[[nodiscard]] std::string ToUtcText(std::int64_t instant);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_INSTANT_H_
