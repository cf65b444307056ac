#ifndef NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_

#include "platform/clock.h"

namespace nimport::platform::posix {

// The time zone of TZ, else of the machine.
class PosixClock final : public Clock {
 public:
  [[nodiscard]] int ZoneBiasMinutes() const override;
  [[nodiscard]] std::optional<std::int32_t> ToSeconds(const LocalTime& time) const override;
  [[nodiscard]] std::optional<LocalTime> ToLocalTime(std::int32_t seconds) const override;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_
