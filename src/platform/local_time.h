// Calendar arithmetic that every system's clock shares.
#ifndef NIMPORT_PLATFORM_LOCAL_TIME_H_
#define NIMPORT_PLATFORM_LOCAL_TIME_H_

#include <cstdint>
#include <functional>
#include <optional>

#include "platform/clock.h"

namespace nimport::platform {

// Seconds since 1970-01-01 00:00:00 of calendar fields, without regard to time zones. Fields out of
// range carry over.
[[nodiscard]] std::int64_t CountSeconds(const LocalTime& time);

// The inverse, with the weekday.
[[nodiscard]] LocalTime ToFields(std::int64_t seconds);

// What a zone adds to UTC at a moment (seconds since 1970-01-01 00:00:00 UTC), in seconds. Empty
// when the system cannot tell.
using ZoneOffset = std::function<std::optional<std::int64_t>(std::int64_t utcSeconds)>;

// Clock::ToSeconds for a zone that is described by its offsets. A local time that occurs twice,
// and one that does not occur at all, is standard time: the smaller offset of the two about it.
[[nodiscard]] std::optional<std::int32_t> FindMoment(const LocalTime& time,
                                                     const ZoneOffset& offsetAt);

// Seconds since 1970-01-01 00:00:00 UTC of a local time, and what the clock's zone adds to UTC at
// such a moment, in seconds. For times of every year: what the clock cannot convert is standard
// time.
[[nodiscard]] std::int64_t ToInstant(const LocalTime& time, const Clock& clock);
[[nodiscard]] std::int32_t OffsetAt(std::int64_t utcSeconds, const Clock& clock);

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_LOCAL_TIME_H_
