#include "platform/zone_clock.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/formats/zone_rules.h"
#include "platform/local_time.h"
#include "text/ascii.h"

namespace nimport::platform {
namespace {

constexpr std::int32_t SECONDS_PER_MINUTE = 60;
constexpr std::int32_t SECONDS_PER_HOUR = 3600;

class ZoneClock final : public Clock {
 public:
  explicit ZoneClock(ZoneRules rules) : rules_(std::move(rules)) {}

  // As every clock's: the least offset of the year.
  [[nodiscard]] int ZoneBiasMinutes() const override {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    std::int32_t offset = rules_.OffsetAt(duration_cast<seconds>(now).count());
    for (int month = 1; month < 12; ++month)
      offset =
          std::min(offset, rules_.OffsetAt(duration_cast<seconds>(now + months(month)).count()));
    return -offset / SECONDS_PER_MINUTE;
  }

  [[nodiscard]] std::optional<std::int32_t> ToSeconds(const LocalTime& time) const override {
    return FindMoment(time,
                      [this](std::int64_t utcSeconds) { return rules_.OffsetAt(utcSeconds); });
  }

  [[nodiscard]] std::optional<LocalTime> ToLocalTime(std::int32_t seconds) const override {
    return ToFields(std::int64_t{seconds} + rules_.OffsetAt(seconds));
  }

 private:
  ZoneRules rules_;
};

// One or two digits off the front of `text`.
std::optional<int> TakeDigits(std::string_view& text) {
  const std::size_t size = std::min<std::size_t>(text.find_first_not_of("0123456789"), 2);
  const std::string_view digits = text.substr(0, size);
  text.remove_prefix(digits.size());
  if (digits.empty()) return std::nullopt;
  return digits.size() == 1 ? digits[0] - '0' : (digits[0] - '0') * 10 + digits[1] - '0';
}

std::optional<std::int32_t> ParseOffset(std::string_view text) {
  const bool isWest = text.starts_with('-');
  if (!isWest && !text.starts_with('+')) return std::nullopt;
  text.remove_prefix(1);
  const std::optional<int> hours = TakeDigits(text);
  if (text.starts_with(':')) text.remove_prefix(1);
  const std::optional<int> minutes = text.empty() ? std::optional(0) : TakeDigits(text);
  if (!hours || !minutes || !text.empty() || *hours > 23 || *minutes > 59) return std::nullopt;
  const std::int32_t offset = *hours * SECONDS_PER_HOUR + *minutes * SECONDS_PER_MINUTE;
  return isWest ? -offset : offset;
}

std::optional<ZoneRules> FindRules(std::string_view zone) {
  if (const auto offset = ParseOffset(zone)) return ZoneRules(*offset);
  // Since 1951 Japan has had no daylight saving.
  if (text::EqualsIgnoringCase(zone, "Asia/Tokyo")) return ZoneRules(9 * SECONDS_PER_HOUR);
  if (text::EqualsIgnoringCase(zone, "UTC")) return ZoneRules(0);
  const std::optional<std::string> file = ReadZoneFile(std::string(zone));
  return file ? ZoneRules::Read(*file) : std::nullopt;
}

}  // namespace

std::unique_ptr<Clock> MakeZoneClock(std::string_view zone) {
  std::optional<ZoneRules> rules = FindRules(zone);
  return rules ? std::make_unique<ZoneClock>(*std::move(rules)) : nullptr;
}

}  // namespace nimport::platform
