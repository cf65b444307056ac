#include "store/mails/mail_date.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <span>

#include "text/ascii.h"
#include "text/code_page_932.h"

namespace nimport::store {
namespace {

using platform::Clock;
using platform::LocalTime;

constexpr std::array<std::string_view, 7> WEEKDAYS = {"Sun", "Mon", "Tue", "Wed",
                                                      "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 12> MONTHS = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

struct ZoneEntry {
  std::string_view name;
  int hoursEast;
};

// In the order in which they are tried.
constexpr ZoneEntry ZONES[] = {
    {"UT", 0},   {"GMT", 0},  {"EST", -5}, {"EDT", -4}, {"CST", -6}, {"CDT", -5},
    {"MST", -7}, {"MDT", -6}, {"PST", -8}, {"PDT", -7}, {"JST", 9},
};

// A text that is read from its beginning towards its end.
class DateScanner {
 public:
  explicit DateScanner(std::string_view text) : rest_(text) {}

  [[nodiscard]] std::string_view rest() const { return rest_; }
  [[nodiscard]] bool IsAtEnd() const { return rest_.empty(); }
  [[nodiscard]] bool IsAtDigit() const {
    return !rest_.empty() && text::IsAsciiDigit(rest_.front());
  }
  [[nodiscard]] bool IsAt(char byte) const { return rest_.starts_with(byte); }

  // Whether `name` stands here, letter case aside.
  [[nodiscard]] bool IsAtName(std::string_view name) const {
    return text::StartsWithIgnoringCase(rest_, name);
  }

  void Skip(std::size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }
  void SkipAll(std::string_view bytes) { Skip(rest_.find_first_not_of(bytes)); }
  void SkipTo(std::string_view bytes) { Skip(rest_.find_first_of(bytes)); }
  void SkipBlanks() { SkipAll(" "); }

  // The number in the digits that stand here, 0 where none do. A number too large to be any field
  // of a date is only known to be that.
  int ReadNumber() {
    int number = 0;
    for (; IsAtDigit(); Skip(1)) {
      number = std::min(number * 10 + (rest_.front() - '0'), TOO_LARGE);
    }
    return number;
  }

  // The position in `names` of the name that stands here, which is skipped.
  std::optional<int> ReadName(std::span<const std::string_view> names) {
    const auto name = std::ranges::find_if(names, [&](auto each) { return IsAtName(each); });
    if (name == names.end()) return std::nullopt;
    Skip(name->size());
    return static_cast<int>(name - names.begin());
  }

 private:
  static constexpr int TOO_LARGE = 100'000'000;

  std::string_view rest_;
};

constexpr bool IsIn(int value, int lowest, int highest) {
  return value >= lowest && value <= highest;
}

// Two bytes of `text` as a decimal number, digits or not: month-first dates are not checked.
int NumberAt(std::string_view text, std::size_t offset) {
  const auto digit = [&](std::size_t i) { return static_cast<signed char>(text[i]) - '0'; };
  return digit(offset) * 10 + digit(offset + 1);
}

// Skips a weekday's name, abbreviated or not. False when the text ends with it.
bool SkipWeekday(DateScanner& scanner) {
  if (scanner.ReadName(WEEKDAYS)) {
    scanner.SkipTo(" ,");
    if (scanner.IsAtEnd()) return false;
  }
  scanner.SkipAll(" ,");
  return true;
}

// The number of a month, 1 to 12, that is written as a number or as a name.
std::optional<int> ReadMonth(DateScanner& scanner) {
  if (!scanner.IsAtDigit()) {
    const std::optional<int> index = scanner.ReadName(MONTHS);
    if (!index) return std::nullopt;
    return *index + 1;
  }
  const int month = scanner.ReadNumber();
  if (!IsIn(month, 1, 12)) return std::nullopt;
  return month;
}

std::optional<int> ReadYear(DateScanner& scanner) {
  if (!scanner.IsAtDigit()) return 2000;
  int year = scanner.ReadNumber();
  if (year < 70) {
    year += 2000;
  } else if (year < 100) {
    year += 1900;
  }
  if (!IsIn(year, 1970, 2036)) return std::nullopt;
  return year;
}

// Hours, minutes and seconds into `time`, each 0 where it is missing. False when one is out of
// range.
bool ReadTimeOfDay(DateScanner& scanner, LocalTime& time) {
  time.hour = scanner.ReadNumber();
  scanner.Skip(1);  // whatever separates hours and minutes
  time.minute = scanner.ReadNumber();
  if (scanner.IsAt(':')) {
    scanner.Skip(1);
    time.second = scanner.ReadNumber();
  }
  return IsIn(time.hour, 0, 23) && IsIn(time.minute, 0, 59) && IsIn(time.second, 0, 59);
}

// The day-first form up to the zone.
std::optional<LocalTime> ReadDayFirst(DateScanner& scanner) {
  LocalTime time;
  time.day = scanner.ReadNumber();
  if (!IsIn(time.day, 1, 31)) return std::nullopt;
  scanner.SkipBlanks();
  const std::optional<int> month = ReadMonth(scanner);
  if (!month) return std::nullopt;
  time.month = *month;
  scanner.SkipBlanks();
  const std::optional<int> year = ReadYear(scanner);
  if (!year) return std::nullopt;
  time.year = *year;
  scanner.SkipBlanks();
  if (!ReadTimeOfDay(scanner, time)) return std::nullopt;
  scanner.SkipBlanks();
  return time;
}

// The month-first form. Nothing but the places of the fields is checked.
std::optional<LocalTime> ReadMonthFirst(DateScanner& scanner) {
  constexpr std::size_t TIME_SIZE = 8;  // hh:mm:ss
  LocalTime time;
  const std::optional<int> month = scanner.ReadName(MONTHS);
  if (!month) return std::nullopt;
  time.month = *month + 1;
  scanner.SkipBlanks();
  time.day = scanner.ReadNumber();
  scanner.SkipBlanks();
  if (scanner.rest().size() < TIME_SIZE) return std::nullopt;
  time.hour = NumberAt(scanner.rest(), 0);
  time.minute = NumberAt(scanner.rest(), 3);
  time.second = NumberAt(scanner.rest(), 6);
  scanner.Skip(TIME_SIZE);
  scanner.SkipBlanks();
  time.year = scanner.ReadNumber();
  return time;
}

// Minutes east of UTC of a one-letter zone, by the mail client's own table; 0 for any other byte.
int MilitaryZoneMinutes(char letter) {
  if (IsIn(letter, 'A', 'I')) return -60 * (letter - 'A' + 1);
  if (IsIn(letter, 'K', 'M')) return -60 * (letter - 'K' + 10);
  if (IsIn(letter, 'N', 'Y')) return 60 * (letter - 'N' + 1);
  return 0;
}

// Minutes of up to four digits: hhmm, 0hm (the last 0 left off), hmm, hh or h. 0 for no digits.
int DigitZoneMinutes(std::string_view digits) {
  DateScanner scanner(digits);
  int number = scanner.ReadNumber();
  if (digits.size() <= 2) number *= 100;
  if (digits.size() == 3 && digits.front() == '0') number *= 10;
  return number / 100 * 60 + number % 100;
}

// Minutes east of UTC of the zone that stands here, 0 for one that is not known. Empty for digits
// that are cut short.
std::optional<int> ReadZoneMinutes(const DateScanner& scanner) {
  for (const ZoneEntry& zone : ZONES) {
    if (scanner.IsAtName(zone.name)) return zone.hoursEast * 60;
  }
  const bool isNegative = scanner.IsAt('-');
  const bool hasSign = isNegative || scanner.IsAt('+');
  std::string_view digits = scanner.rest().substr(hasSign ? 1 : 0, 4);
  digits = digits.substr(0, digits.find_first_not_of("0123456789"));
  if (hasSign) return isNegative ? -DigitZoneMinutes(digits) : DigitZoneMinutes(digits);
  if (digits.empty()) return MilitaryZoneMinutes(scanner.rest().front());
  if (digits.size() < 4) return std::nullopt;
  return DigitZoneMinutes(digits);
}

std::optional<std::int32_t> ParseDayFirst(DateScanner& scanner, const Clock& clock) {
  const std::optional<LocalTime> time = ReadDayFirst(scanner);
  if (!time) return std::nullopt;
  const std::optional<std::int32_t> seconds = clock.ToSeconds(*time);
  if (!seconds) return std::nullopt;
  if (scanner.IsAtEnd() || scanner.IsAt('\r') || scanner.IsAt('\n')) {
    return AddZoneBias(*seconds, clock);
  }
  const std::optional<int> minutesEast = ReadZoneMinutes(scanner);
  if (!minutesEast) return std::nullopt;
  // Fits: the year is at most 2036.
  return static_cast<std::int32_t>(*seconds - std::int64_t{*minutesEast} * 60);
}

std::optional<std::int32_t> ParseMonthFirst(DateScanner& scanner, const Clock& clock) {
  const std::optional<LocalTime> time = ReadMonthFirst(scanner);
  if (!time) return std::nullopt;
  const std::optional<std::int32_t> seconds = clock.ToSeconds(*time);
  if (!seconds) return std::nullopt;
  return AddZoneBias(*seconds, clock);
}

std::uint32_t ZoneBiasSeconds(const Clock& clock) {
  return static_cast<std::uint32_t>(clock.ZoneBiasMinutes()) * 60U;
}

}  // namespace

std::int32_t AddZoneBias(std::int32_t seconds, const Clock& clock) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds) + ZoneBiasSeconds(clock));
}

std::int32_t SubtractZoneBias(std::int32_t seconds, const Clock& clock) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(seconds) - ZoneBiasSeconds(clock));
}

std::optional<std::int32_t> ParseMailDate(std::string_view text, const Clock& clock) {
  DateScanner scanner(text::UpToNul(text));
  scanner.SkipBlanks();
  if (!SkipWeekday(scanner)) return std::nullopt;
  const std::optional<std::int32_t> seconds =
      scanner.IsAtDigit() ? ParseDayFirst(scanner, clock) : ParseMonthFirst(scanner, clock);
  return seconds == -1 ? std::nullopt : seconds;
}

std::string DateText(std::int32_t seconds, const Clock& clock) {
  const std::optional<LocalTime> time = clock.ToLocalTime(seconds);
  if (!time || !IsIn(time->weekday, 0, 6) || !IsIn(time->month, 1, 12)) return {};
  char text[96];
  const int size = std::snprintf(text, sizeof text, "%s %s %02d %02d:%02d:%02d %04d",
                                 WEEKDAYS[static_cast<std::size_t>(time->weekday)].data(),
                                 MONTHS[static_cast<std::size_t>(time->month - 1)].data(),
                                 time->day, time->hour, time->minute, time->second, time->year);
  return std::string(text, static_cast<std::size_t>(size));
}

std::string MakeFallbackMessageId(std::int32_t seconds, const Clock& clock) {
  return "DEFAULT" + DateText(seconds, clock);
}

}  // namespace nimport::store
