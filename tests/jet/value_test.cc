#include "jet/value.h"

#include <cstdio>
#include <limits>

#include <gtest/gtest.h>

namespace nimport::jet {
namespace {

std::string DateText(double days) {
  const auto date = ToCalendarDate({.days = days});
  if (!date) return "none";
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d", date->year, date->month,
                date->day, date->hour, date->minute, date->second, date->millisecond);
  return text;
}

TEST(Value, DatesFollowTheCalendar) {
  const struct {
    double days;
    const char* wanted;
    const char* why;
  } CASES[] = {
      {0, "1899-12-30 00:00:00.000", "day 0"},
      {27293, "1974-09-21 00:00:00.000", "from a file of the engine's own"},
      {36526.5, "2000-01-01 12:00:00.000", "noon"},
      {60, "1900-02-28 00:00:00.000", "1900 is no leap year"},
      {-1.25, "1899-12-29 06:00:00.000", "the time counts forward before day 0 too"},
      {-0.25, "1899-12-30 06:00:00.000", "no whole day to be negative"},
      {-115858, "1582-10-15 00:00:00.000", "no gap where the calendars changed"},
      {-115859, "1582-10-14 00:00:00.000", ""},
      {36250.99999999999, "1999-04-01 00:00:00.000", "rounding carries into the next day"},
      {36250.1234567, "1999-03-31 02:57:46.659", "milliseconds are rounded"},
      {-657434, "0100-01-01 00:00:00.000", "the first day"},
      {-657435, "none", "before the first day"},
      {2958465.5, "9999-12-31 12:00:00.000", "the last day"},
      {2958465.9999999999, "none", "rounds to the day after the last"},
      {1e300, "none", "far out"},
      {std::numeric_limits<double>::quiet_NaN(), "none", ""},
      {-std::numeric_limits<double>::infinity(), "none", ""},
  };
  for (const auto& row : CASES) {
    EXPECT_EQ(DateText(row.days), row.wanted) << row.why;
    const auto date = ToCalendarDate({.days = row.days});
    if (!date) continue;
    EXPECT_EQ(DateText(ToDate(*date).days), row.wanted) << row.why << ", and back";
  }
}

TEST(Value, IntegersComeFromWholeNumbersOnly) {
  const struct {
    Value value;
    std::optional<std::int32_t> wanted;
  } CASES[] = {
      {std::monostate{}, {}},
      {true, -1},
      {false, 0},
      {std::uint8_t{200}, 200},
      {std::int16_t{-5}, -5},
      {std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min()},
      {Currency{.tenThousandths = -30'000}, -3},
      {Currency{.tenThousandths = 30'001}, {}},
      {Currency{.tenThousandths = std::numeric_limits<std::int64_t>::max() / 10'000 * 10'000}, {}},
      {2147483647.0, 2147483647},
      {2147483648.0, {}},
      {-2147483648.0, std::numeric_limits<std::int32_t>::min()},
      {0.5, {}},
      {std::numeric_limits<double>::quiet_NaN(), {}},
      {1.5F, {}},
      {16.0F, 16},
      {Decimal{.magnitude = {0, 0, 0, 1200}, .scale = 2, .isNegative = true}, -12},
      {Decimal{.magnitude = {0, 0, 0, 1201}, .scale = 2, .isNegative = false}, {}},
      {Decimal{.magnitude = {1, 0, 0, 0}, .scale = 0, .isNegative = false}, {}},
      {Text{"42"}, 42},
      {Text{" -42 "}, -42},
      {Text{"+7"}, 7},
      {Text{"12.00"}, 12},
      {Text{"12.01"}, {}},
      {Text{"-2147483648"}, std::numeric_limits<std::int32_t>::min()},
      {Text{"2147483648"}, {}},
      {Text{"99999999999999999999999999"}, {}},
      {Text{""}, {}},
      {Text{"-"}, {}},
      {Text{"."}, {}},
      {Text{"12a"}, {}},
      {Text{"1 2"}, {}},
      {Date{.days = 5}, {}},
      {Binary{}, {}},
  };
  for (const auto& row : CASES) {
    EXPECT_EQ(ToInteger(row.value), row.wanted) << "case " << (&row - CASES);
  }
}

TEST(Value, DecimalsPrintAllTheirDigits) {
  const struct {
    Decimal value;
    const char* wanted;
  } CASES[] = {
      {{.magnitude = {0, 0, 0, 1250}, .scale = 2, .isNegative = true}, "-12.50"},
      {{.magnitude = {0, 0, 0, 5}, .scale = 3, .isNegative = false}, "0.005"},
      {{.magnitude = {0, 0, 0, 0}, .scale = 2, .isNegative = true}, "0.00"},
      {{.magnitude = {0, 0, 1, 0}, .scale = 0, .isNegative = false}, "4294967296"},
      {{.magnitude = {~0U, ~0U, ~0U, ~0U}, .scale = 28, .isNegative = false},
       "34028236692.0938463463374607431768211455"},
  };
  for (const auto& row : CASES)
    EXPECT_EQ(ToString(row.value), row.wanted);
}

}  // namespace
}  // namespace nimport::jet
