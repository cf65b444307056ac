#ifndef NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_
#define NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "platform/clock.h"

namespace nimport::platform::posix {

// The time zone of TZ, else of the machine. Sessions of several threads share one.
class PosixClock final : public Clock {
 public:
  [[nodiscard]] int ZoneBiasMinutes() const override;
  [[nodiscard]] std::optional<std::int32_t> ToSeconds(const LocalTime& time) const override;
  [[nodiscard]] std::optional<LocalTime> ToLocalTime(std::int32_t seconds) const override;

 private:
  // What tells one zone from another, and one hour from the next: rules change as time goes on.
  struct ZoneState {
    std::string setting;
    long offsetSeconds = 0;
    int hasDaylightSaving = 0;
    std::int64_t hour = 0;

    friend bool operator==(const ZoneState&, const ZoneState&) = default;
  };

  // Looks which zone holds now: at once for TZ, at most a second late for the machine's own, since
  // the C library asks for its file each time. Under the lock.
  void RefreshZone(std::int64_t now) const;

  // The zone that was found last, by whoever looked; `now` in seconds since 1970.
  [[nodiscard]] static ZoneState CurrentZone(std::int64_t now);

  // The C library's idea of the zone is the process's, and changes with each look at TZ.
  mutable std::mutex mutex_;
  mutable std::optional<std::pair<ZoneState, int>> known_;
  // What RefreshZone found last, and in which second.
  mutable std::optional<std::pair<ZoneState, std::int64_t>> refreshed_;
};

}  // namespace nimport::platform::posix

#endif  // NIMPORT_PLATFORM_POSIX_POSIX_CLOCK_H_
