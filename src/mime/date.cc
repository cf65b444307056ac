#include "mime/date.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "text/ascii.h"

namespace nimport::mime {
namespace {

constexpr std::string_view MONTHS[] = {"jan", "feb", "mar", "apr", "may", "jun",
                                       "jul", "aug", "sep", "oct", "nov", "dec"};

struct Zone {
  std::string_view name;
  int minutes;  // east of UTC
};

// Names of zones that mails have. Single letters, which were written in either sense, count as UTC,
// as RFC 5322 has it; so does every other name.
constexpr Zone ZONES[] = {
    {"jst", 540},   {"kst", 540},   {"est", -300}, {"edt", -240}, {"cst", -360}, {"cdt", -300},
    {"mst", -420},  {"mdt", -360},  {"pst", -480}, {"pdt", -420}, {"bst", 60},   {"cet", 60},
    {"cest", 120},  {"met", 60},    {"mest", 120}, {"eet", 120},  {"eest", 180}, {"msk", 180},
    {"akst", -540}, {"akdt", -480}, {"hst", -600}, {"aest", 600}, {"aedt", 660},
};

// A header field has few words; more than so many are no date.
constexpr std::size_t MAX_NUMBERS = 3;
constexpr std::size_t MAX_DIGITS = 4;

// Reads a date from left to right, each part by its own form.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : rest_(text) {}

  std::optional<std::int64_t> Read() {
    while (!rest_.empty()) {
      if (!TakePart()) return std::nullopt;
    }
    return Instant();
  }

 private:
  // False when the text is no date.
  bool TakePart() {
    const char front = rest_.front();
    if (front == '(') return SkipComment();
    if (text::IsAsciiDigit(front)) return TakeNumberOrTime();
    if (IsLetter(front)) return TakeWord();
    if (hasTime_ && IsOffset()) return TakeOffset();
    rest_.remove_prefix(1);
    return true;
  }

  bool SkipComment() {
    int depth = 0;
    do {
      depth += rest_.front() == '(' ? 1 : rest_.front() == ')' ? -1 : 0;
      rest_.remove_prefix(1);
    } while (depth > 0 && !rest_.empty());
    return true;
  }

  // A number of at most MAX_DIGITS digits; -1 for a longer one.
  int TakeNumber() {
    int number = 0;
    std::size_t digits = 0;
    for (; IsDigitAt(0); rest_.remove_prefix(1), ++digits) {
      if (digits < MAX_DIGITS) number = number * 10 + (rest_.front() - '0');
    }
    digits_ = digits;
    return digits > MAX_DIGITS ? -1 : number;
  }

  bool TakeNumberOrTime() {
    const int number = TakeNumber();
    if (number < 0) return false;
    if (!rest_.starts_with(':') || !IsDigitAt(1)) {
      numbers_.push_back({number, digits_});
      return numbers_.size() <= MAX_NUMBERS;
    }
    if (hasTime_) return false;
    hasTime_ = true;
    hours_ = number;
    minutes_ = TakeAfter(':').value_or(0);
    seconds_ = TakeAfter(':').value_or(0);
    (void)TakeAfter('.');  // fractions
    return hours_ < 24 && minutes_ < 60 && seconds_ <= 60 && minutes_ >= 0 && seconds_ >= 0;
  }

  std::optional<int> TakeAfter(char mark) {
    if (!rest_.starts_with(mark) || !IsDigitAt(1)) return std::nullopt;
    rest_.remove_prefix(1);
    return TakeNumber();
  }

  // Whether "+0900", "+900", "+09:00", "+9:00" or "+09" stands here; "-98" may be a year.
  [[nodiscard]] bool IsOffset() const {
    if (!rest_.starts_with('+') && !rest_.starts_with('-')) return false;
    std::size_t digits = 0;
    while (IsDigitAt(1 + digits))
      ++digits;
    const bool hasColon = rest_.substr(1 + digits).starts_with(':');
    const bool isShort = digits == 1 || digits == 2;
    return digits == 3 || digits == 4 ||
           (isShort && (hasColon || (rest_.starts_with('+') && digits == 2)));
  }

  bool TakeOffset() {
    const int sign = rest_.front() == '-' ? -1 : 1;
    rest_.remove_prefix(1);
    int number = TakeNumber();
    if (number < 0) return false;
    if (digits_ <= 2) number = number * 100 + TakeAfter(':').value_or(0);
    zoneMinutes_ = sign * (number / 100 * 60 + number % 100);
    return true;
  }

  bool TakeWord() {
    const auto end = std::ranges::find_if_not(rest_, IsLetter);
    const std::string word = text::AsciiLower({rest_.begin(), end});
    rest_.remove_prefix(word.size());
    const auto* const month = std::ranges::find(MONTHS, word.substr(0, 3));
    if (month != std::end(MONTHS) && word.size() >= 3 && month_ == 0) {
      month_ = static_cast<int>(month - MONTHS) + 1;
    } else if (hasTime_ && hours_ <= 12 && (word == "am" || word == "pm")) {
      hours_ = hours_ % 12 + (word == "pm" ? 12 : 0);
    } else if (const auto* const zone = std::ranges::find(ZONES, word, &Zone::name);
               zone != std::end(ZONES) && !zoneMinutes_) {
      zoneMinutes_ = zone->minutes;
    }
    return true;
  }

  struct Number {
    int value = 0;
    std::size_t digits = 0;

    [[nodiscard]] bool IsYear() const { return digits > 2 || value > 31 || value == 0; }
  };

  // Year, month and day by their forms; zero for what is missing.
  [[nodiscard]] std::chrono::year_month_day Date() const {
    Number year, day;
    int month = month_;
    if (month_ != 0 && numbers_.size() == 2) {
      // "13 Jan 98", "Jan 13 98", "98 Jan 13".
      const bool isYearFirst = numbers_[0].IsYear();
      year = numbers_[isYearFirst ? 0 : 1];
      day = numbers_[isYearFirst ? 1 : 0];
    } else if (month_ == 0 && numbers_.size() == 3) {
      // "1998-01-13", "98/01/13", or with the month first, "01/13/98".
      const bool isYearFirst = numbers_[0].IsYear();
      year = numbers_[isYearFirst ? 0 : 2];
      month = numbers_[isYearFirst ? 1 : 0].value;
      day = numbers_[isYearFirst ? 2 : 1];
      if (!isYearFirst && month > 12) std::swap(month, day.value);
    }
    return {std::chrono::year(FullYear(year)), std::chrono::month(static_cast<unsigned>(month)),
            std::chrono::day(static_cast<unsigned>(day.value))};
  }

  // Two digits mean 1970 to 2069, three count from 1900, as programs wrote them after 1999.
  static int FullYear(Number year) {
    if (year.digits > 3) return year.value;
    if (year.digits == 3 || year.value >= 70) return 1900 + year.value;
    return 2000 + year.value;
  }

  [[nodiscard]] std::optional<std::int64_t> Instant() const {
    const std::chrono::year_month_day date = Date();
    if (!date.ok()) return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return days * 86400 + hours_ * 3600 + (minutes_ - zoneMinutes_.value_or(0)) * 60 + seconds_;
  }

  static bool IsLetter(char character) {
    return text::IsAsciiLetterOrDigit(character) && !text::IsAsciiDigit(character);
  }

  [[nodiscard]] bool IsDigitAt(std::size_t place) const {
    return place < rest_.size() && text::IsAsciiDigit(rest_[place]);
  }

  std::string_view rest_;
  std::size_t digits_ = 0;  // of the number taken last
  std::vector<Number> numbers_;
  int month_ = 0;  // by its name; 0 without one
  bool hasTime_ = false;
  int hours_ = 0, minutes_ = 0, seconds_ = 0;
  std::optional<int> zoneMinutes_;
};

}  // namespace

std::optional<std::int64_t> ParseDate(std::string_view text) {
  return DateReader(text).Read();
}

}  // namespace nimport::mime
