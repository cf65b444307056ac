#include "platform/formats/zone_rules.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <utility>

#include "text/ascii.h"

namespace nimport::platform {
namespace {

constexpr std::int64_t SECONDS_PER_DAY = 86400;
constexpr std::int32_t SECONDS_PER_HOUR = 3600;
// No zone is further from UTC than this; files that say so are damaged.
constexpr std::int32_t MAX_OFFSET = 26 * SECONDS_PER_HOUR;

std::int64_t DaysTo(std::chrono::year_month_day date) {
  return std::chrono::sys_days(date).time_since_epoch().count();
}

int YearOf(std::int64_t seconds) {
  const std::chrono::sys_seconds time{std::chrono::seconds(seconds)};
  return int{std::chrono::year_month_day(std::chrono::floor<std::chrono::days>(time)).year()};
}

// Takes the parts of a POSIX rule off its front.
class RuleReader {
 public:
  explicit RuleReader(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool IsAtEnd() const { return rest_.empty(); }
  [[nodiscard]] bool IsAt(char mark) const { return rest_.starts_with(mark); }

  bool Take(char mark) {
    const bool isThere = IsAt(mark);
    if (isThere) rest_.remove_prefix(1);
    return isThere;
  }

  // A zone's name, "JST" or "<+03>".
  bool TakeName() {
    const bool isQuoted = Take('<');
    const auto isEnd = [&](char c) { return isQuoted ? c == '>' : !text::IsAsciiLetter(c); };
    const auto size = static_cast<std::size_t>(std::ranges::find_if(rest_, isEnd) - rest_.begin());
    rest_.remove_prefix(size);
    return size > 0 && (!isQuoted || Take('>'));
  }

  std::optional<int> TakeNumber() {
    int number = 0;
    std::size_t digits = 0;
    for (; !rest_.empty() && text::IsAsciiDigit(rest_.front()) && digits < 4; ++digits) {
      number = number * 10 + (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    return digits == 0 ? std::nullopt : std::optional(number);
  }

  // "[+-]hh[:mm[:ss]]" in seconds.
  std::optional<std::int32_t> TakeTime() {
    const int sign = Take('-') ? -1 : 1;
    if (sign > 0) Take('+');
    std::int32_t seconds = 0;
    std::int32_t unit = SECONDS_PER_HOUR;
    do {
      const std::optional<int> number = TakeNumber();
      if (!number) return std::nullopt;
      seconds += *number * unit;
      unit /= 60;
    } while (unit > 0 && Take(':'));
    return sign * seconds;
  }

  std::optional<YearlyMoment> TakeMoment() {
    YearlyMoment moment;
    if (Take('M')) {
      moment.month = TakeNumber().value_or(0);
      moment.week = Take('.') ? TakeNumber().value_or(0) : 0;
      moment.day = Take('.') ? TakeNumber().value_or(-1) : -1;
      if (moment.month < 1 || moment.month > 12 || moment.week < 1 || moment.week > 5 ||
          moment.day < 0 || moment.day > 6) {
        return std::nullopt;
      }
    } else {
      moment.form =
          Take('J') ? YearlyMoment::Form::DayWithoutLeapDay : YearlyMoment::Form::DayOfYear;
      const std::optional<int> day = TakeNumber();
      if (!day || *day > 366) return std::nullopt;
      moment.day = *day;
    }
    if (!Take('/')) return moment;
    const std::optional<std::int32_t> time = TakeTime();
    if (!time) return std::nullopt;
    moment.secondsOfDay = *time;
    return moment;
  }

 private:
  std::string_view rest_;
};

// The tables of a zone file, whose numbers are big-endian. Places are checked once, by the sizes
// that the header gives.
class ZoneFile {
 public:
  // Takes header and tables off the front of `file`; false when it is too short for them.
  bool Take(std::string_view& file, std::size_t timeSize) {
    constexpr std::size_t HEADER_SIZE = 44;
    constexpr std::size_t COUNTS_OFFSET = 20;
    if (!file.starts_with("TZif") || file.size() < HEADER_SIZE) return false;
    version_ = file[4];
    std::array<std::uint64_t, 6> counts{};
    for (std::size_t i = 0; i < counts.size(); ++i)
      counts[i] = static_cast<std::uint64_t>(Number(file, COUNTS_OFFSET + i * 4, 4));
    const auto [utcMarks, standardMarks, leapSeconds, times, types, nameBytes] = counts;
    if (types == 0 || std::ranges::any_of(counts, [](auto count) { return count > 0xFFFF; }))
      return false;
    timeSize_ = timeSize;
    times_ = static_cast<std::size_t>(times);
    types_ = static_cast<std::size_t>(types);
    const auto size =
        static_cast<std::size_t>(times * (timeSize + 1) + types * TYPE_SIZE + nameBytes +
                                 leapSeconds * (timeSize + 4) + standardMarks + utcMarks);
    if (file.size() - HEADER_SIZE < size) return false;
    tables_ = file.substr(HEADER_SIZE, size);
    file.remove_prefix(HEADER_SIZE + size);
    return true;
  }

  [[nodiscard]] char version() const { return version_; }
  [[nodiscard]] std::size_t times() const { return times_; }
  [[nodiscard]] std::int64_t TimeAt(std::size_t i) const {
    return Number(tables_, i * timeSize_, timeSize_);
  }
  [[nodiscard]] std::size_t TypeAt(std::size_t i) const {
    return static_cast<unsigned char>(tables_[times_ * timeSize_ + i]);
  }
  // Empty for a type that is not there.
  [[nodiscard]] std::optional<std::int32_t> OffsetOf(std::size_t type) const {
    if (type >= types_) return std::nullopt;
    const std::int64_t offset = Number(tables_, times_ * (timeSize_ + 1) + type * TYPE_SIZE, 4);
    if (offset < -MAX_OFFSET || offset > MAX_OFFSET) return std::nullopt;
    return static_cast<std::int32_t>(offset);
  }

 private:
  // Offset, whether it is daylight saving, place of its name.
  static constexpr std::size_t TYPE_SIZE = 6;

  static std::int64_t Number(std::string_view bytes, std::size_t offset, std::size_t size) {
    std::uint64_t number = (bytes[offset] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < size; ++i)
      number = number << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return static_cast<std::int64_t>(number);
  }

  char version_ = 0;
  std::size_t timeSize_ = 0;
  std::size_t times_ = 0;
  std::size_t types_ = 0;
  std::string_view tables_;
};

}  // namespace

std::int64_t YearlyMoment::In(int year) const {
  using namespace std::chrono;
  const std::chrono::year inYear(year);
  if (form != Form::Weekday) {
    const bool skipsLeapDay = form == Form::DayWithoutLeapDay;
    const int days = skipsLeapDay ? day - 1 + (inYear.is_leap() && day > 59 ? 1 : 0) : day;
    return (DaysTo(inYear / January / 1) + days) * SECONDS_PER_DAY + secondsOfDay;
  }
  const auto inMonth = inYear / std::chrono::month(static_cast<unsigned>(month));
  const weekday wanted(static_cast<unsigned>(day));
  const auto date = week == 5
                        ? year_month_day(sys_days(inMonth / wanted[last]))
                        : year_month_day(sys_days(inMonth / wanted[static_cast<unsigned>(week)]));
  return DaysTo(date) * SECONDS_PER_DAY + secondsOfDay;
}

std::optional<ZoneRules::Rule> ZoneRules::Rule::Parse(std::string_view text) {
  RuleReader reader(text);
  if (!reader.TakeName()) return std::nullopt;
  // POSIX counts what is added to local time.
  const std::optional<std::int32_t> west = reader.TakeTime();
  if (!west) return std::nullopt;
  Rule rule{.standard = -*west, .saving = std::nullopt};
  if (reader.IsAtEnd()) return rule;
  if (!reader.TakeName()) return std::nullopt;
  std::int32_t saving = rule.standard + SECONDS_PER_HOUR;
  if (!reader.IsAt(',')) {
    const std::optional<std::int32_t> savingWest = reader.TakeTime();
    if (!savingWest) return std::nullopt;
    saving = -*savingWest;
  }
  const std::optional<YearlyMoment> begin = reader.Take(',') ? reader.TakeMoment() : std::nullopt;
  const std::optional<YearlyMoment> end = reader.Take(',') ? reader.TakeMoment() : std::nullopt;
  if (!begin || !end || !reader.IsAtEnd()) return std::nullopt;
  rule.saving = Saving{.offset = saving, .begin = *begin, .end = *end};
  return rule;
}

std::int32_t ZoneRules::Rule::OffsetAt(std::int64_t utcSeconds) const {
  if (!saving) return standard;
  const int year = YearOf(utcSeconds + standard);
  const std::int64_t begin = saving->begin.In(year) - standard;
  const std::int64_t end = saving->end.In(year) - saving->offset;
  const bool isAfterBegin = utcSeconds >= begin;
  const bool isBeforeEnd = utcSeconds < end;
  // In the south the year begins and ends in summer.
  const bool isSaving = begin < end ? isAfterBegin && isBeforeEnd : isAfterBegin || isBeforeEnd;
  return isSaving ? saving->offset : standard;
}

std::optional<ZoneRules> ZoneRules::Read(std::string_view file) {
  ZoneFile zone;
  if (!zone.Take(file, 4)) return std::nullopt;
  // Since version 2 the same follows with times of 64 bits, and a rule for later times between two
  // line ends.
  const bool hasRule = zone.version() != '\0';
  if (hasRule && !zone.Take(file, 8)) return std::nullopt;
  const std::optional<std::int32_t> first = zone.OffsetOf(0);
  if (!first) return std::nullopt;
  ZoneRules rules(*first);
  for (std::size_t i = 0; i < zone.times(); ++i) {
    const std::optional<std::int32_t> offset = zone.OffsetOf(zone.TypeAt(i));
    if (!offset || (i > 0 && zone.TimeAt(i) < zone.TimeAt(i - 1))) return std::nullopt;
    rules.changes_.push_back({zone.TimeAt(i), *offset});
  }
  if (hasRule && file.starts_with('\n'))
    rules.rule_ = Rule::Parse(file.substr(1, file.find('\n', 1) - 1));
  return rules;
}

std::int32_t ZoneRules::OffsetAt(std::int64_t utcSeconds) const {
  const auto next = std::ranges::upper_bound(changes_, utcSeconds, {}, &Change::utcSeconds);
  if (next == changes_.end() && rule_) return rule_->OffsetAt(utcSeconds);
  return next == changes_.begin() ? first_ : std::prev(next)->offset;
}

}  // namespace nimport::platform
