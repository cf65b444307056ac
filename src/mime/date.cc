#include "mime/date.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "text/ascii.h"
#include "text/byte_set.h"

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
    {"gmt", 0},     {"utc", 0},    {"ut", 0},     {"jst", 540},  {"kst", 540},  {"est", -300},
    {"edt", -240},  {"cst", -360}, {"cdt", -300}, {"mst", -420}, {"mdt", -360}, {"pst", -480},
    {"pdt", -420},  {"bst", 60},   {"cet", 60},   {"cest", 120}, {"met", 60},   {"mest", 120},
    {"mez", 60},    {"mesz", 120}, {"west", 60},  {"eet", 120},  {"eest", 180}, {"sast", 120},
    {"msk", 180},   {"msd", 240},  {"hkt", 480},  {"sgt", 480},  {"ict", 420},  {"akst", -540},
    {"akdt", -480}, {"hst", -600}, {"ast", -240}, {"adt", -180}, {"nst", -210}, {"ndt", -150},
    {"awst", 480},  {"acst", 570}, {"acdt", 630}, {"aest", 600}, {"aedt", 660}, {"nzst", 720},
    {"nzdt", 780},  {"brt", -180}, {"art", -180},
};

// The first words of names such as "Eastern Daylight Time", which Windows gives to zones.
constexpr Zone LONG_NAMES[] = {
    {"tokyo", 540},     {"korea", 540},    {"china", 480},    {"taipei", 480},
    {"singapore", 480}, {"eastern", -300}, {"central", -360}, {"mountain", -420},
    {"pacific", -480},  {"romance", 60},   {"arabian", 240},  {"russian", 180},
};

// Null for a name that is not among the zones.
const Zone* FindZone(std::span<const Zone> zones, std::string_view lowerName) {
  const auto zone = std::ranges::find(zones, lowerName, &Zone::name);
  return zone == zones.end() ? nullptr : &*zone;
}

constexpr std::string_view BLANKS = " \t\r\n";

bool IsBlank(char character) {
  return character == ' ' || character == '\t';
}

// Year, month and day.
constexpr std::size_t MAX_NUMBERS = 3;
constexpr std::size_t MAX_DIGITS = 5;
constexpr int MAX_ZONE_HOURS = 23;

// Reads a date from left to right, each part by its own form.
class DateReader {
 public:
  // Of `text` without its comments; `commentMinutes` stand for a zone that it does not name.
  DateReader(std::string_view text, std::optional<int> commentMinutes)
      : rest_(text), commentMinutes_(commentMinutes) {}

  std::optional<Date> Read() {
    while (!rest_.empty() && !isDone_) {
      if (!TakePart()) return std::nullopt;
    }
    return Result();
  }

 private:
  // False when the text is no date.
  bool TakePart() {
    const char front = rest_.front();
    if (text::IsAsciiDigit(front)) return TakeNumberOrTime();
    if (text::IsAsciiLetter(front)) return TakeWord();
    if (IsOffset()) return TakeOffset();
    rest_.remove_prefix(1);
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
    if (!hasTime_ && TakeCompactForm()) return true;
    const bool isAfterTime = hasTime_ && IsDateComplete();
    const int number = TakeNumber();
    if (IsTimeMark() && !(isAfterTime && zoneMinutes_)) return TakeTime(number);
    if (isAfterTime) {
      // A zone without its sign, or whatever follows a date.
      if (digits_ == 4 && !zoneMinutes_) SetZone(1, number / 100, number % 100);
      isDone_ = true;
      return true;
    }
    numbers_.push_back({number, digits_});
    const bool isYearFrom2000 = number / 100 == 191;  // written as 19 and the years since 1900
    return number >= 0 && (digits_ < MAX_DIGITS || isYearFrom2000) &&
           numbers_.size() <= MAX_NUMBERS;
  }

  // ISO 8601 without marks between the parts: "19980113", "T100000", or both as one number.
  bool TakeCompactForm() {
    std::size_t digits = 0;
    while (IsDigitAt(digits))
      ++digits;
    const bool isDate = numbers_.empty() && month_ == 0 && (digits == 8 || digits == 14);
    const bool isTime = !isDate && digits == 6 && numbers_.size() == MAX_NUMBERS;
    if (!isDate && !isTime) return false;
    const auto take = [this](std::size_t size) {
      int number = 0;
      for (; size > 0; --size, rest_.remove_prefix(1))
        number = number * 10 + (rest_.front() - '0');
      return number;
    };
    if (isDate) {
      numbers_.push_back({take(4), 4});
      numbers_.push_back({take(2), 2});
      numbers_.push_back({take(2), 2});
    }
    if (digits != 8) {
      hasTime_ = true;
      hours_ = take(2);
      minutes_ = take(2);
      seconds_ = take(2);
    }
    return true;
  }

  // Whether what follows a number makes it the hours of a time: a colon, or, after a date, a dot.
  [[nodiscard]] bool IsTimeMark() const {
    const bool canBeDot = !hasTime_ && digits_ <= 2 && IsDateComplete();
    return FindAfter(':') || (canBeDot && rest_.starts_with('.') && IsDigitAt(1));
  }

  bool TakeTime(int hours) {
    if (hasTime_) return false;
    hasTime_ = true;
    const char mark = rest_.starts_with('.') ? '.' : ':';
    hours_ = hours;
    minutes_ = TakeAfter(mark).value_or(0);
    seconds_ = TakeAfter(mark).value_or(0);
    if (IsDigitAt(1)) (void)TakeAfter('.');  // fractions
    return hours_ >= 0 && minutes_ >= 0 && seconds_ >= 0;
  }

  // The place of the digit after a mark; both may stand after blanks.
  [[nodiscard]] std::optional<std::size_t> FindAfter(char mark) const {
    const std::size_t markPlace = rest_.find_first_not_of(BLANKS);
    if (markPlace == rest_.npos || rest_[markPlace] != mark) return std::nullopt;
    const std::size_t place = rest_.find_first_not_of(BLANKS, markPlace + 1);
    return place != rest_.npos && IsDigitAt(place) ? std::optional(place) : std::nullopt;
  }

  std::optional<int> TakeAfter(char mark) {
    const std::optional<std::size_t> place = FindAfter(mark);
    if (!place) return std::nullopt;
    rest_.remove_prefix(*place);
    return TakeNumber();
  }

  // Whether "+0900", "+900", "+09:00", "+9:00", "+09" or "+9" stands here; before the date has its
  // year, "-98" is that.
  [[nodiscard]] bool IsOffset() const {
    const bool hasSign = rest_.starts_with('+') || rest_.starts_with('-');
    if (!hasTime_ || !hasSign || !IsDigitAt(1)) return false;
    std::size_t digits = 1;
    while (IsDigitAt(1 + digits))
      ++digits;
    return digits > 2 || rest_.starts_with('+') || rest_.substr(1 + digits).starts_with(':') ||
           IsDateComplete();
  }

  bool TakeOffset() {
    const int sign = rest_.front() == '-' ? -1 : 1;
    rest_.remove_prefix(1);
    int number = TakeNumber();
    if (digits_ <= 2) number = number * 100 + TakeAfter(':').value_or(0);
    SetZone(sign, number / 100, number % 100);
    return true;
  }

  // What no zone has is one that is not known.
  void SetZone(int sign, int hours, int minutes) {
    const bool isZone = hours >= 0 && hours <= MAX_ZONE_HOURS && minutes >= 0 && minutes < 60;
    zoneMinutes_ = isZone ? sign * (hours * 60 + minutes) : 0;
  }

  bool TakeWord() {
    const auto end = std::ranges::find_if_not(rest_, text::IsAsciiLetter);
    const std::string_view written(rest_.begin(), end);
    const std::string word = text::AsciiLower(written);
    rest_.remove_prefix(word.size());
    const auto* const month = std::ranges::find(MONTHS, word.substr(0, 3));
    if (month != std::end(MONTHS) && month_ == 0) {
      month_ = static_cast<int>(month - MONTHS) + 1;
    } else if (hasTime_) {
      TakeWordAfterTime(word, written);
    }
    return true;
  }

  void TakeWordAfterTime(std::string_view word, std::string_view written) {
    const bool isHalfDay =
        word == "am" || word == "pm" ||
        ((word == "a" || word == "p") && (rest_.starts_with(".m") || rest_.starts_with(".M")));
    if (isHalfDay && hours_ <= 12) {
      hours_ = hours_ % 12 + (word.front() == 'p' ? 12 : 0);
      if (word.size() == 1) rest_.remove_prefix(2);
    } else if (zoneMinutes_ && (word == "dst" || word == "daylight")) {
      *zoneMinutes_ += 60;
    } else if (!zoneMinutes_ && IsLongName()) {
      const Zone* const zone = FindZone(LONG_NAMES, word);
      zoneMinutes_ = zone == nullptr ? 0 : zone->minutes;
    } else if (const Zone* const zone = FindZone(ZONES, word); zone != nullptr && !zoneMinutes_) {
      zoneMinutes_ = zone->minutes;
      if (zone->minutes != 0) SkipRestOfName();
    } else if (!zoneMinutes_ && LooksLikeZoneName(written)) {
      zoneMinutes_ = 0;
    }
  }

  // Whether the word that was taken began one of the names that Windows gives to zones.
  [[nodiscard]] bool IsLongName() const {
    return text::StartsWithIgnoringCase(rest_, " Standard Time") ||
           text::StartsWithIgnoringCase(rest_, " Daylight Time");
  }

  // "EST5EDT" and "JST-9" are settings of Unix, whose numbers count the other way.
  void SkipRestOfName() {
    const bool hasSign = rest_.starts_with('+') || rest_.starts_with('-');
    std::size_t digits = hasSign ? 1 : 0;
    while (IsDigitAt(digits))
      ++digits;
    if (digits <= (hasSign ? 3U : 2U)) rest_.remove_prefix(digits);
  }

  static bool LooksLikeZoneName(std::string_view word) {
    const auto isCapital = [](char c) { return c >= 'A' && c <= 'Z'; };
    return word.size() <= 5 && std::ranges::all_of(word, isCapital);
  }

  struct Number {
    int value = 0;
    std::size_t digits = 0;

    [[nodiscard]] bool IsDay() const { return value >= 1 && value <= 31; }
    [[nodiscard]] bool IsYear() const { return digits > 2 || !IsDay(); }
  };

  // Whether the day and the year stand before this place, and the month.
  [[nodiscard]] bool IsDateComplete() const {
    return numbers_.size() == MAX_NUMBERS || (month_ != 0 && numbers_.size() == 2);
  }

  // Year, month and day by their forms; zero for what is missing.
  [[nodiscard]] std::chrono::year_month_day CalendarDate() const {
    Number year, day;
    int month = month_;
    if (month_ != 0 && numbers_.size() == 2) {
      // "13 Jan 98", "Jan 13 98", "98 Jan 13"; "013 Jan 1998".
      const bool isYearFirst =
          numbers_[0].IsYear() && !(numbers_[1].digits == 4 && numbers_[0].IsDay());
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

  // Two digits mean 1970 to 2069. Programs that counted from 1900 wrote "100", "0100" or "19100"
  // for 2000.
  static int FullYear(Number year) {
    if (year.digits == MAX_DIGITS) return year.value - 19000 + 1900;
    if (year.value >= 1000) return year.value;
    if (year.digits == 3 || year.value >= 70) return 1900 + year.value;
    return 2000 + year.value;
  }

  [[nodiscard]] std::optional<Date> Result() const {
    const std::chrono::year_month_day date = CalendarDate();
    if (!date.ok() || hours_ >= 24 || minutes_ >= 60 || seconds_ > 60) return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return Date{.localSeconds = days * 86400 + hours_ * 3600 + minutes_ * 60 + seconds_,
                .zoneMinutes = zoneMinutes_ ? zoneMinutes_ : commentMinutes_};
  }

  [[nodiscard]] bool IsDigitAt(std::size_t place) const {
    return place < rest_.size() && text::IsAsciiDigit(rest_[place]);
  }

  std::string_view rest_;
  bool isDone_ = false;     // what follows is no part of the date
  std::size_t digits_ = 0;  // of the number taken last
  std::vector<Number> numbers_;
  int month_ = 0;  // by its name; 0 without one
  bool hasTime_ = false;
  int hours_ = 0, minutes_ = 0, seconds_ = 0;
  std::optional<int> zoneMinutes_;
  std::optional<int> commentMinutes_;
};

// Takes a comment off the front of `text`, with those in it; one that does not end is the rest.
std::string_view TakeComment(std::string_view& text) {
  const std::string_view before = text;
  int depth = 0;
  while (!text.empty()) {
    depth += text.front() == '(' ? 1 : text.front() == ')' ? -1 : 0;
    text.remove_prefix(1);
    if (depth == 0) break;
  }
  return before.substr(0, before.size() - text.size());
}

// Many a program writes the zone's name there, some only there.
std::optional<int> ZoneInComment(std::string_view comment) {
  const std::size_t end = comment.find_first_of("() \t", 1);
  if (end == comment.npos) return std::nullopt;
  const Zone* const zone = FindZone(ZONES, text::AsciiLower(comment.substr(1, end - 1)));
  return zone == nullptr ? std::nullopt : std::optional(zone->minutes);
}

// Takes one line off the front of `text`, whatever ends it.
std::string_view TakeAnyLine(std::string_view& text) {
  constexpr text::ByteSet LINE_END("\r\n");
  const std::size_t end = std::min(LINE_END.FindIn(text), text.size());
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end);
  text.remove_prefix(text.starts_with("\r\n") ? 2 : text.empty() ? 0 : 1);
  return line;
}

// The value of a field that begins with `line`, with the lines from `rest` that continue it, when
// its name is `name`.
std::optional<std::string_view> ValueOf(std::string_view line, std::string_view name,
                                        std::string_view rest) {
  if (!text::StartsWithIgnoringCase(line, name)) return std::nullopt;
  const std::size_t colon = line.find_first_not_of(" \t", name.size());
  if (colon == line.npos || line[colon] != ':') return std::nullopt;
  const char* end = line.data() + line.size();
  while (!rest.empty() && IsBlank(rest.front())) {
    const std::string_view more = TakeAnyLine(rest);
    end = more.data() + more.size();
  }
  const char* const begin = line.data() + colon + 1;
  return std::string_view(begin, static_cast<std::size_t>(end - begin));
}

// "from HOST by HOST ...; DATE"
std::optional<Date> ParseReceived(std::string_view value) {
  const std::size_t mark = value.rfind(';');
  return mark == value.npos ? std::nullopt : ParseDate(value.substr(mark + 1));
}

}  // namespace

std::optional<Date> ParseDate(std::string_view text) {
  std::string kept;
  std::optional<int> commentMinutes;
  while (!text.empty()) {
    const std::size_t begin = std::min(text.find('('), text.size());
    kept.append(text.substr(0, begin)) += ' ';
    text.remove_prefix(begin);
    const std::string_view comment = TakeComment(text);
    if (!commentMinutes) commentMinutes = ZoneInComment(comment);
  }
  return DateReader(kept, commentMinutes).Read();
}

std::optional<Date> FindDate(std::string_view mail) {
  std::optional<Date> received;
  bool hasBegun = false;
  while (!mail.empty()) {
    const std::string_view line = TakeAnyLine(mail);
    if (line.empty() && hasBegun) break;
    hasBegun = hasBegun || (!line.empty() && !line.starts_with("From "));
    if (const auto value = ValueOf(line, "Date", mail)) {
      if (const auto date = ParseDate(*value)) return date;
    } else if (!received) {
      if (const auto trace = ValueOf(line, "Received", mail)) received = ParseReceived(*trace);
    }
  }
  return received;
}

}  // namespace nimport::mime
