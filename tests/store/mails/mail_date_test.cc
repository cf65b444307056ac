#include "store/mails/mail_date.h"

#include <limits>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "common/process_environment.h"
#include "platform/platform.h"

namespace nimport::store {
namespace {

using platform::Clock;
using platform::LocalTime;

using tests::ScopedVariable;

const Clock& SystemClock() {
  return platform::SystemPlatform().clock();
}

class ClockThatCannotConvert : public Clock {
 public:
  [[nodiscard]] int ZoneBiasMinutes() const override { return 0; }
  [[nodiscard]] std::optional<std::int32_t> ToSeconds(const LocalTime&) const override {
    return std::nullopt;
  }
  [[nodiscard]] std::optional<LocalTime> ToLocalTime(std::int32_t) const override {
    return std::nullopt;
  }
};

// What hosts get for a Date header.
std::optional<std::int32_t> TimeOf(std::string_view text, const Clock& clock) {
  const std::optional<std::int32_t> value = ParseMailDate(text, clock);
  if (!value) return std::nullopt;
  return SubtractZoneBias(*value, clock);
}

constexpr std::int32_t INSTANT = 884653200;  // 1998-01-13 01:00:00 UTC
constexpr std::int32_t HOUR = 3600;
constexpr std::int32_t JULY = 900291600;     // 1998-07-13 01:00:00 UTC
constexpr std::int32_t TEN_UTC = 884685600;  // 1998-01-13 10:00:00 UTC

struct Case {
  const char* text;
  std::optional<std::int32_t> wanted;
  const char* why = "";
};

// Forms and zones' names as read in Japan, and in the other zones what depends on the machine's. A
// zone in the text knows nothing of the machine's daylight saving, which Lord Howe Island has in
// January, half an hour of it.
const std::pair<const char*, std::vector<Case>> CASES[] = {
    {"Asia/Tokyo",
     {
         {"Tue, 13 Jan 1998 10:00:00 +0900", INSTANT, "as mail programs write it"},
         {"13 Jan 98 10:00 JST", INSTANT, "short year, no seconds"},
         {"Tue, 13 Jan 1998 01:00:00 GMT", INSTANT},
         {"Tue, 13 Jan 1998 10:00:00", INSTANT, "no zone: local"},
         {"Tue Jan 13 10:00:00 1998", INSTANT, "month first"},
         {"  tuesday 13 JAN 98 10:00:00 jst", INSTANT, "letter case, whole weekday, blanks"},
         {"Tuesblah , ,13 Jan 1998 10:00:00 +0900", INSTANT, "three letters make a weekday"},
         {" ,13 1 1998 10:00", INSTANT, "month as a number, commas"},
         {"13Jan1998 10:00+0900", INSTANT, "no blanks"},
         {"13 Jan 098 10:00 JST", INSTANT, "leading zeros"},
         {"13 Jan 1998 10.00 JST", INSTANT, "any separator before the minutes"},
         {"13 Jan 1998 10:00:00\r\n", INSTANT, "line end for the zone"},
         {"13 Jan 1998 10:00:00 \nGMT", INSTANT, "line end for the zone"},
         {"13 Jan 1998 10:00:00 +0900 (JST)", INSTANT, "comment"},
         {"13 Jan 1998", INSTANT - 10 * HOUR, "no time: midnight"},
         {"13 Jan", 946652400 + 12 * 86400, "no year: 2000"},
         {"13 Jan 10:00", 1263308400, "the hour is taken for the year 2010, midnight"},
         {"1 Jan 1970 18:00", 9 * HOUR, "near the beginning of time"},

         {"12 Jan 1998 20:59:30 -040030", INSTANT - 30, "four digits at most"},

         {"Jan 13 10:00:00 1998", INSTANT, "month first without weekday"},
         {"Tue Jan 13 10:00:00 1998 PST", INSTANT, "nothing is read after the year"},
         {"Tue Jan 13 10-00/00 1998", INSTANT, "separators are not read"},
         {"Tue Jan 44 10:00:00 1997", INSTANT - 365 * 86400 + 31 * 86400, "the day carries over"},
         {"1 Jan 1970 08:00 GMT", std::nullopt, "local time before the beginning"},
         {"1 Jan 1970 17:59:59", std::nullopt, "the value is -1"},
     }},
    {"UTC",
     {
         {"Tue, 13 Jan 1998 10:00:00 +0900", INSTANT},
         {"Tue, 13 Jan 1998 10:00:00", TEN_UTC, "local"},
         {"Tue Jan 13 10:00:00 1998", TEN_UTC, "month first"},
         {"1 Jan 70 00:00 GMT", 0, "the beginning of time"},
         {"1 Jan 1970 00:00 +0900", -9 * HOUR, "before it"},
         {"1 Jan 1970 08:59:59 +0900", std::nullopt, "-1 is no value"},
         {"31 Dec 2036 23:59:59 -9999", 2114380799 + 362340, "the latest"},
         {"13 Jul 1998 10:00 JST", JULY, "summer"},
     }},
    {"America/New_York",
     {
         {"Tue, 13 Jan 1998 10:00:00 +0900", INSTANT, "winter"},
         {"12 Jan 1998 20:00", INSTANT, "winter, local"},
         {"Mon Jan 12 20:00:00 1998", INSTANT, "winter, month first"},
         {"13 Jul 1998 10:00 JST", JULY - HOUR, "a zone in summer is off by the saving"},
         {"12 Jul 1998 21:00", JULY, "local in summer"},
         {"Sun Jul 12 21:00:00 1998", JULY, "month first in summer"},
         {"Mon Jan 18 22:14:07 2038", 2147483647, "the end of time, past it with the bias"},
     }},
    {"Australia/Lord_Howe",
     {
         {"13 Jan 1998 10:00 JST", INSTANT - HOUR / 2, "daylight saving in January"},
         {"13 Jan 1998 01:00:00 GMT", INSTANT - HOUR / 2},
         {"13 Jan 1998 12:00", INSTANT, "local"},
         {"Tue Jan 13 12:00:00 1998", INSTANT, "month first"},
         {"13 Jul 1998 10:00 JST", JULY, "winter"},
     }},
};

TEST(ParseMailDate, ReadsEveryFormInEveryZone) {
  for (const auto& [zone, cases] : CASES) {
    const ScopedVariable variable("TZ", zone);
    for (const Case& c : cases)
      EXPECT_EQ(TimeOf(c.text, SystemClock()), c.wanted) << zone << c.text << c.why;
  }
}

// The instant by the clocks of the zones that may stand after it.
TEST(ParseMailDate, KnowsZones) {
  const std::pair<const char*, std::vector<const char*>> cases[] = {
      // UT, whose rest is not read; unknown ones: no such letter, small ones, a sign alone.
      {"13 Jan 1998 01:00 ", {"UTC", "Z", "J", "(GMT)", "a", "+", "-x"}},
      // Letters count west first, and leave J out.
      {"13 Jan 1998 00:00 ", {"A"}},
      {"12 Jan 1998 16:00 ", {"I"}},
      {"12 Jan 1998 15:00 ", {"K"}},
      {"12 Jan 1998 13:00 ", {"M"}},
      {"13 Jan 1998 02:00 ", {"N"}},
      {"13 Jan 1998 13:00 ", {"Y"}},
      // A C with something after it that is no zone.
      {"12 Jan 1998 22:00 ", {"CET"}},
      {"12 Jan 1998 21:00 ", {"EDT"}},
      {"12 Jan 1998 20:00 ", {"est", "CDT", "-0500"}},
      {"12 Jan 1998 19:00 ", {"CST", "MDT"}},
      {"12 Jan 1998 18:00 ", {"MST", "PDT"}},
      {"12 Jan 1998 17:00 ", {"PST"}},
      // Minutes take the sign.
      {"12 Jan 1998 20:30 ", {"-0430"}},
      {"13 Jan 1998 06:45 ", {"+0545"}},
      // One or two digits are hours, three hmm, after a zero hhm; a colon ends them; no sign: east.
      {"13 Jan 1998 10:00 ", {"+9", "+09", "+900", "+090", "+09:00", "09001"}},
      {"13 Jan 1998 10:30 ", {"+930", "+093"}},
  };
  const ScopedVariable variable("TZ", "Asia/Tokyo");
  for (const auto& [time, zones] : cases) {
    for (const char* zone : zones)
      EXPECT_EQ(TimeOf(std::string(time) + zone, SystemClock()), INSTANT) << time << zone;
  }
}

TEST(ParseMailDate, RefusesWhatIsNoDateInEveryZone) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "empty"},
      {"   ", "blanks only"},
      {"Monday", "ends in the weekday"},
      {"Mon, ", "ends after the weekday"},
      {",Tue 13 Jan 1998 10:00", "a weekday after a comma is none"},
      {"no date", "neither form"},
      {"Mon, 1 Jan 2037 00:00:00 GMT", "year above 2036"},
      {"1 Jan 69 10:00 GMT", "2069"},
      {"1 Jan 1969 10:00 GMT", "year below 1970"},
      {"32 Jan 1998 10:00", "day"},
      {"0 Jan 1998 10:00", "day"},
      {"13 13 1998 10:00", "month"},
      {"13 0 1998 10:00", "month"},
      {"13-Jan-98 10:00", "hyphens"},
      {"13 Smarch 1998 10:00", "no such month"},
      {"13 Ja", "cut in the month"},
      {"13 Jan 1998 24:00", "hour"},
      {"13 Jan 1998 10:60", "minute"},
      {"13 Jan 1998 10:00:60", "second"},
      {"13 Jan 1998 10:00 090", "digits without sign are four"},
      {"13 Jan 1998 10:00 9", "digits without sign are four"},
      {"4294967309 Jan 1998 10:00", "13 modulo 2^32"},
      {"13 Jan 99999999999999999999999 10:00", "year without end"},
      {"Jan 13 10:00:0", "time cut short"},
      {"Tue Jan 13 10:00:00", "month first without year"},
      {"Tue Jan 13 10:00:00 98", "month-first years are as written"},
      {"Tue Jan 99999999999 10:00:00 1998", "day without end"},
      {"Tue Jan 13 10:00:00 99999999999", "year without end"},
      {"Tue Jan 13 10:00:00 2040", "beyond the clock"},
  };
  for (const auto& [zone, readable] : CASES) {
    const ScopedVariable variable("TZ", zone);
    for (const auto& [text, why] : cases)
      EXPECT_EQ(ParseMailDate(text, SystemClock()), std::nullopt) << zone << text << why;
  }
}

TEST(ZoneBias, IsUndoneForEveryValue) {
  const ScopedVariable zone("TZ", "America/New_York");
  EXPECT_EQ(AddZoneBias(0, SystemClock()), 18000);
  EXPECT_EQ(SubtractZoneBias(0, SystemClock()), -18000);
  for (const std::int32_t value :
       {std::numeric_limits<std::int32_t>::min(), -1, std::numeric_limits<std::int32_t>::max()}) {
    EXPECT_EQ(SubtractZoneBias(AddZoneBias(value, SystemClock()), SystemClock()), value);
  }
}

TEST(DateText, HasFixedPlacesInLocalTime) {
  const std::tuple<const char*, std::int32_t, const char*> cases[] = {
      {"Asia/Tokyo", 315594235, "Wed Jan 02 02:03:55 1980"},
      {"UTC", 315594235, "Tue Jan 01 17:03:55 1980"},
      {"America/New_York", 900291600, "Sun Jul 12 21:00:00 1998"},
      {"Australia/Lord_Howe", 884653200, "Tue Jan 13 12:00:00 1998"},
      {"UTC", std::numeric_limits<std::int32_t>::max(), "Tue Jan 19 03:14:07 2038"},
  };
  for (const auto& [zone, seconds, wanted] : cases) {
    const ScopedVariable variable("TZ", zone);
    EXPECT_EQ(DateText(seconds, SystemClock()), wanted) << zone;
    EXPECT_EQ(MakeFallbackMessageId(seconds, SystemClock()), std::string("DEFAULT") + wanted);
  }
  EXPECT_EQ(DateText(0, ClockThatCannotConvert()), "");
}

}  // namespace
}  // namespace nimport::store
