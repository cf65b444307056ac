#ifndef NIMPORT_PLATFORM_WINDOWS_WINDOWS_CLOCK_H_
#define NIMPORT_PLATFORM_WINDOWS_WINDOWS_CLOCK_H_

#include "platform/clock.h"

namespace nimport::platform::windows {

// The machine's time zone, with the rules for daylight saving that held in the year in question.
// The C library's own functions are not used: they know one year's rules, and take a TZ in the
// environment for something else than it is elsewhere.
class WindowsClock final : public Clock {
 public:
  [[nodiscard]] int ZoneBiasMinutes() const override;
  [[nodiscard]] std::optional<std::int32_t> ToSeconds(const LocalTime& time) const override;
  [[nodiscard]] std::optional<LocalTime> ToLocalTime(std::int32_t seconds) const override;
};

}  // namespace nimport::platform::windows

#endif  // NIMPORT_PLATFORM_WINDOWS_WINDOWS_CLOCK_H_
