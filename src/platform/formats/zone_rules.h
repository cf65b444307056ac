#ifndef NIMPORT_PLATFORM_FORMATS_ZONE_RULES_H_
#define NIMPORT_PLATFORM_FORMATS_ZONE_RULES_H_

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace nimport::platform {

// A day of every year and a time on it, as POSIX writes them in TZ: "M3.2.0/2" (the second Sunday
// in March at two o'clock; week 5 is the last one), "J60" (1 March in every year) or "59" (the 60th
// day).
struct YearlyMoment {
  enum class Form { Weekday, DayWithoutLeapDay, DayOfYear };
  Form form = Form::Weekday;
  int month = 1;
  int week = 1;
  int day = 0;  // 0 is Sunday; or the day's number
  std::int32_t secondsOfDay = 7200;

  // In seconds of local time since 1970-01-01 00:00:00.
  [[nodiscard]] std::int64_t In(int year) const;
};

// What a time zone adds to UTC, in seconds, for all time.
class ZoneRules {
 public:
  explicit ZoneRules(std::int32_t offset) : first_(offset) {}

  // Reads a file of the zone database (TZif, RFC 9636). Empty when it is none or is damaged.
  [[nodiscard]] static std::optional<ZoneRules> Read(std::string_view file);

  [[nodiscard]] std::int32_t OffsetAt(std::int64_t utcSeconds) const;

 private:
  struct Change {
    std::int64_t utcSeconds;
    std::int32_t offset;  // from then on
  };
  struct Saving {
    std::int32_t offset;
    YearlyMoment begin;  // by standard time
    YearlyMoment end;    // by saving time
  };
  // What holds after the last change that the file lists.
  struct Rule {
    std::int32_t standard;
    std::optional<Saving> saving;

    [[nodiscard]] static std::optional<Rule> Parse(std::string_view text);
    [[nodiscard]] std::int32_t OffsetAt(std::int64_t utcSeconds) const;
  };

  std::int32_t first_;  // before the first change
  std::vector<Change> changes_;
  std::optional<Rule> rule_;
};

}  // namespace nimport::platform

#endif  // NIMPORT_PLATFORM_FORMATS_ZONE_RULES_H_
