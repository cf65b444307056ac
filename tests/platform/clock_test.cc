#include "platform/clock.h"

#include <climits>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "common/process_environment.h"
#include "platform/formats/zone_rules.h"
#include "platform/local_time.h"
#include "platform/platform.h"
#include "platform/zone_clock.h"

namespace nimport::platform {
namespace {

using tests::ScopedVariable;

const Clock& SystemClock() {
  return SystemPlatform().clock();
}

struct Zone {
  const char* name;
  int biasMinutes;
};

constexpr Zone TOKYO{"Asia/Tokyo", -540};
constexpr Zone UTC{"UTC", 0};
constexpr Zone NEW_YORK{"America/New_York", 300};
constexpr Zone LORD_HOWE{"Australia/Lord_Howe", -630};
constexpr Zone DUBLIN{"Europe/Dublin", 0};

// Whether the clock is in a zone after TZ names it. Windows has one zone for the whole machine.
bool IsIn(const Zone& zone) {
  return SystemClock().ZoneBiasMinutes() == zone.biasMinutes;
}

// The machine's clock, where TZ has put it into the zone, and the zone's own, which no TZ moves.
std::vector<const Clock*> ClocksIn(const Zone& zone) {
  static std::map<std::string, std::unique_ptr<Clock>> zoneClocks;
  std::unique_ptr<Clock>& zoneClock = zoneClocks[zone.name];
  if (zoneClock == nullptr) zoneClock = MakeZoneClock(zone.name);
  std::vector<const Clock*> clocks;
  if (IsIn(zone)) clocks.push_back(&SystemClock());
  if (zoneClock != nullptr) clocks.push_back(zoneClock.get());
  return clocks;
}

class ClockTest : public testing::Test {
 protected:
  void SetUp() override {
#if !defined(_WIN32)
    if (!std::filesystem::exists("/usr/share/zoneinfo/America/New_York")) {
      GTEST_SKIP() << "no time zones installed";
    }
#endif
  }
};

#if !defined(_WIN32)
TEST_F(ClockTest, BiasIsThatOfStandardTime) {
  for (const Zone& zone : {TOKYO, UTC, NEW_YORK, LORD_HOWE, DUBLIN, Zone{"Asia/Kathmandu", -345},
                           Zone{"America/St_Johns", 210}, Zone{"Pacific/Auckland", -720},
                           Zone{"JST-9", -540}, Zone{"EST5EDT,M3.2.0,M11.1.0", 300}}) {
    const ScopedVariable variable("TZ", zone.name);
    EXPECT_TRUE(IsIn(zone)) << zone.name;
  }
}
#endif

std::string Show(const LocalTime& time) {
  char text[64];
  std::snprintf(text, sizeof text, "%d-%d-%d %d:%d:%d %d", time.year, time.month, time.day,
                time.hour, time.minute, time.second, time.weekday);
  return text;
}

TEST_F(ClockTest, ConvertsLocalTimesBothWays) {
  const struct {
    Zone zone;
    LocalTime time;
    std::int32_t seconds;
    const char* why;
  } cases[] = {
      {TOKYO, {1998, 1, 13, 10, 0, 0, 2}, 884653200, "standard time"},
      {TOKYO, {1998, 7, 13, 10, 0, 0, 1}, 900291600, "summer"},
      {TOKYO, {2000, 2, 29, 0, 0, 0, 2}, 951750000, "a leap day"},
      {TOKYO, {1970, 1, 1, 9, 0, 0, 4}, 0, "the first second"},
      {TOKYO, {2038, 1, 19, 12, 14, 7, 2}, INT32_MAX, "the last second"},
      {NEW_YORK, {1998, 1, 12, 20, 0, 0, 1}, 884653200, "winter"},
      {NEW_YORK, {1998, 7, 1, 12, 0, 0, 3}, 899308800, "daylight saving"},
      {LORD_HOWE, {1998, 1, 13, 12, 0, 0, 2}, 884653200, "half an hour of it"},
      {UTC, {1970, 1, 1, 0, 0, 0, 4}, 0, "the first second"},
      {UTC, {2038, 1, 19, 3, 14, 7, 2}, INT32_MAX, "the last second"},
  };
  for (const auto& row : cases) {
    const ScopedVariable variable("TZ", row.zone.name);
    for (const Clock* clock : ClocksIn(row.zone)) {
      EXPECT_EQ(clock->ToSeconds(row.time), row.seconds) << row.why;
      const auto back = clock->ToLocalTime(row.seconds);
      ASSERT_TRUE(back) << row.why;
      EXPECT_EQ(Show(*back), Show(row.time)) << row.why;
    }
  }
}

TEST_F(ClockTest, ConvertsTimesThatNoClockShows) {
  const std::optional<std::int32_t> none;
  const struct {
    Zone zone;
    LocalTime time;
    std::optional<std::int32_t> seconds;
    const char* why;
  } cases[] = {
      {NEW_YORK, {1998, 10, 25, 1, 30, 0}, 909297000, "twice"},
      {NEW_YORK, {1998, 10, 25, 0, 59, 59}, 909291599, "before the hour that is twice"},
      {NEW_YORK, {1998, 10, 25, 2, 0, 0}, 909298800, "after it"},
      {NEW_YORK, {1998, 4, 5, 2, 30, 0}, 891761400, "never"},
      {NEW_YORK, {1998, 4, 5, 3, 0, 0}, 891759600, "after the hour that is left out"},
      {LORD_HOWE, {1998, 3, 29, 1, 45, 0}, 891098100, "half an hour is twice"},
      {DUBLIN, {1998, 10, 25, 1, 30, 0}, 909279000, "winter time is its saving"},
      {TOKYO, {1997, 12, 44, 10, 0, 0}, 884653200, "days carry over"},
      {TOKYO, {1996, 25, 13, 9, 59, 60}, 884653200, "months and seconds carry over"},
      {TOKYO, {1998, 2, -19, 34, 0, 0}, 884653200, "backwards, too"},
      {TOKYO, {1970, 1, 1, 8, 59, 59}, none, "before the first second"},
      {TOKYO, {2038, 1, 19, 12, 14, 8}, none, "after the last second"},
      {TOKYO, {INT_MAX, INT_MIN, INT_MAX, INT_MAX, INT_MAX, INT_MAX}, none, "far after it"},
      {TOKYO, {INT_MIN, INT_MAX, INT_MIN, INT_MIN, INT_MIN, INT_MIN}, none, "far before it"},
      {TOKYO, {INT_MAX, INT_MAX, 1, 0, 0, 0}, none, "years and months"},
      {TOKYO, {INT_MIN, INT_MIN, 1, 0, 0, 0}, none, "years and months"},
      {UTC, {1969, 12, 31, 23, 59, 59}, none, "before the first second"},
      {UTC, {2038, 1, 19, 3, 14, 8}, none, "after the last second"},
  };
  for (const auto& row : cases) {
    const ScopedVariable variable("TZ", row.zone.name);
    for (const Clock* clock : ClocksIn(row.zone)) {
      // Whatever was converted before.
      for (const int month : {1, 7}) {
        static_cast<void>(clock->ToSeconds({1998, month, 25, 1, 30, 0}));
        EXPECT_EQ(clock->ToSeconds(row.time), row.seconds) << row.why << ", " << month;
      }
    }
  }
}

// In whatever zone the machine is.
TEST_F(ClockTest, GoesThereAndBack) {
  constexpr std::int32_t STEP = 7'654'321;
  for (std::int32_t seconds = 0; seconds < INT32_MAX - STEP; seconds += STEP) {
    const std::optional<LocalTime> local = SystemClock().ToLocalTime(seconds);
    ASSERT_TRUE(local) << seconds;
    const std::optional<std::int32_t> back = SystemClock().ToSeconds(*local);
    ASSERT_TRUE(back || seconds < 86400) << seconds;
    // The hour that comes twice in autumn may come back as the other one.
    EXPECT_LE(std::abs(back.value_or(seconds) - seconds), 3600) << seconds;
  }
}

#if !defined(_WIN32)
// A file of the zone database: one type, no changes, and a rule for all time.
std::string ZoneFileWith(const std::string& rule) {
  std::string header("TZif2", 5);
  header.resize(44);
  header[39] = 1;  // types
  const std::string type(6, '\0');
  return header + type + header + type + '\n' + rule + '\n';
}

// The C library is the second opinion.
TEST_F(ClockTest, ZonesAreTheCLibrarys) {
  for (const char* name :
       {"Asia/Tokyo", "UTC", "America/New_York", "Australia/Lord_Howe", "Europe/Dublin",
        "Africa/Casablanca", "America/Sao_Paulo", "Asia/Tehran", "America/St_Johns",
        "EST5EDT,M3.2.0,M11.1.0", "<+1030>-10:30<+11>-11,M10.1.0,M4.1.0", "NZST-12NZDT,J274/3,59/2",
        "IST-1GMT0,M10.5.0,M3.5.0/1", "XXX3"}) {
    const ScopedVariable variable("TZ", name);
    const std::optional<std::string> file = ReadZoneFile(name);
    const auto rules = ZoneRules::Read(file.value_or(ZoneFileWith(name)));
    ASSERT_TRUE(rules) << name;
    constexpr std::int32_t STEP = 1'234'567;
    // The C library applies no rule to years before 1971.
    for (std::int32_t seconds = file ? -STEP * 100 : STEP * 26; seconds < INT32_MAX - STEP;
         seconds += STEP) {
      const auto local = SystemClock().ToLocalTime(seconds);
      ASSERT_TRUE(local);
      ASSERT_EQ(rules->OffsetAt(seconds), CountSeconds(*local) - seconds) << name << ' ' << seconds;
    }
  }
}

TEST_F(ClockTest, DamagedZoneFilesAreNone) {
  const std::string file = ReadZoneFile("America/New_York").value_or("");
  ASSERT_TRUE(ZoneRules::Read(file));
  // Without its rule, which stands between two line ends, a file is whole.
  const std::size_t whole = file.rfind('\n', file.size() - 2);
  for (std::size_t size = 0; size < whole; ++size)
    EXPECT_FALSE(ZoneRules::Read(std::string_view(file).substr(0, size))) << size;
  for (std::size_t place = 0; place < file.size(); ++place) {
    std::string damaged = file;
    damaged[place] = '\xFF';
    if (const auto rules = ZoneRules::Read(damaged)) (void)rules->OffsetAt(884653200);
  }
}
#endif

TEST(ZoneClock, TakesNamesAndOffsets) {
  const struct {
    const char* zone;
    std::optional<int> bias;
  } cases[] = {{"asia/tokyo", -540},
               {"UTC", 0},
               {"+09:00", -540},
               {"-0330", 210},
               {"+9", -540},
               {"+24:00", std::nullopt},
               {"+9:60", std::nullopt},
               {"09:00", std::nullopt},
               {"+09:00x", std::nullopt},
               {"", std::nullopt},
               {"Asia", std::nullopt},
               {"Asia/Tokio", std::nullopt},
               {"../../etc/passwd", std::nullopt},
               {"/etc/localtime", std::nullopt}};
  for (const auto& c : cases) {
    const auto clock = MakeZoneClock(c.zone);
    EXPECT_EQ(clock == nullptr ? std::nullopt : std::optional(clock->ZoneBiasMinutes()), c.bias)
        << c.zone;
  }
}

}  // namespace
}  // namespace nimport::platform
