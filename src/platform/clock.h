#ifndef NIMPORT_PLATFORM_CLOCK_H_
#define NIMPORT_PLATFORM_CLOCK_H_

#include <cstdint>
#include <optional>

namespace nimport::platform {

// Calendar fields in the machine's local time.
struct LocalTime {
  int year = 0;   // for example 1998
  int month = 0;  // 1 to 12
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int weekday = 0;  // 0 is Sunday; not read by ToSeconds
};

// The machine's time zone. A change of TZ shows at the next call, one of the machine's own zone
// within a second.
class Clock {
 public:
  virtual ~Clock() = default;

  // Minutes that, added to local standard time, give UTC: -540 in Japan.
  [[nodiscard]] virtual int ZoneBiasMinutes() const = 0;

  // Seconds since 1970-01-01 00:00:00 UTC of a local time, daylight saving applied where it holds.
  // A local time that occurs twice, or not at all, is standard time, whatever was converted before.
  // Fields out of range carry over. Empty outside 1970-01-01 00:00:00 to 2038-01-19 03:14:07 UTC.
  [[nodiscard]] virtual std::optional<std::int32_t> ToSeconds(const LocalTime& time) const = 0;

  // The inverse. Empty when the system cannot convert the value.
  [[nodiscard]] virtual std::optional<LocalTime> ToLocalTime(std::int32_t seconds) const = 0;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_CLOCK_H_
