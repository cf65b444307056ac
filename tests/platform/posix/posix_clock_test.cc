#include "platform/posix/posix_clock.h"

#include <climits>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

namespace nimport::platform::posix {
namespace {

class PosixClockTest : public testing::Test {
 protected:
  void SetUp() override {
    if (!std::filesystem::exists("/usr/share/zoneinfo/America/New_York")) {
      GTEST_SKIP() << "no time zones installed";
    }
    if (const char* zone = getenv("TZ")) before_ = zone;
  }
  void TearDown() override {
    before_.empty() ? unsetenv("TZ") : setenv("TZ", before_.c_str(), 1);
    tzset();
  }
  static void SetZone(const char* zone) { setenv("TZ", zone, 1); }

  PosixClock clock_;

 private:
  std::string before_;
};

TEST_F(PosixClockTest, BiasIsThatOfStandardTime) {
  const struct {
    const char* zone;
    int minutes;
  } CASES[] = {{"Asia/Tokyo", -540},      {"UTC", 0},
               {"America/New_York", 300}, {"Australia/Lord_Howe", -630},
               {"Europe/Dublin", 0},      {"Asia/Kathmandu", -345},
               {"America/St_Johns", 210}, {"Pacific/Auckland", -720},
               {"JST-9", -540},           {"EST5EDT,M3.2.0,M11.1.0", 300}};
  for (const auto& row : CASES) {
    SetZone(row.zone);
    EXPECT_EQ(clock_.ZoneBiasMinutes(), row.minutes) << row.zone;
  }
}

TEST_F(PosixClockTest, ConvertsLocalTimesBothWays) {
  const struct {
    const char* zone;
    LocalTime time;
    std::int32_t seconds;
    const char* why;
  } CASES[] = {
      {"Asia/Tokyo", {1998, 1, 13, 10, 0, 0, 2}, 884653200, "standard time"},
      {"America/New_York", {1998, 1, 12, 20, 0, 0, 1}, 884653200, "winter"},
      {"America/New_York", {1998, 7, 1, 12, 0, 0, 3}, 899308800, "daylight saving"},
      {"Australia/Lord_Howe", {1998, 1, 13, 12, 0, 0, 2}, 884653200, "half an hour of it"},
      {"UTC", {1970, 1, 1, 0, 0, 0, 4}, 0, "the first second"},
      {"UTC", {2038, 1, 19, 3, 14, 7, 2}, 2147483647, "the last second"},
  };
  for (const auto& row : CASES) {
    SetZone(row.zone);
    EXPECT_EQ(clock_.ToSeconds(row.time), row.seconds) << row.why;
    const auto back = clock_.ToLocalTime(row.seconds);
    ASSERT_TRUE(back) << row.why;
    EXPECT_EQ(back->month, row.time.month) << row.why;
    EXPECT_EQ(back->day, row.time.day) << row.why;
    EXPECT_EQ(back->hour, row.time.hour) << row.why;
    EXPECT_EQ(back->year, row.time.year) << row.why;
    EXPECT_EQ(back->weekday, row.time.weekday) << row.why;
  }
}

TEST_F(PosixClockTest, TimesThatOccurTwiceOrNeverAreStandardTime) {
  const struct {
    const char* zone;
    LocalTime time;
    std::int32_t seconds;
    const char* why;
  } CASES[] = {
      {"America/New_York", {1998, 10, 25, 1, 30, 0}, 909297000, "twice"},
      {"America/New_York", {1998, 10, 25, 0, 59, 59}, 909291599, "before the hour that is twice"},
      {"America/New_York", {1998, 10, 25, 2, 0, 0}, 909298800, "after it"},
      {"America/New_York", {1998, 4, 5, 2, 30, 0}, 891761400, "never"},
      {"America/New_York", {1998, 4, 5, 3, 0, 0}, 891759600, "after the hour that is left out"},
      {"Australia/Lord_Howe", {1998, 3, 29, 1, 45, 0}, 891098100, "half an hour is twice"},
      {"Europe/Dublin", {1998, 10, 25, 1, 30, 0}, 909279000, "winter time is its saving"},
  };
  for (const auto& row : CASES) {
    SetZone(row.zone);
    // Whatever was converted before.
    for (const int month : {1, 7}) {
      static_cast<void>(clock_.ToSeconds({1998, month, 25, 1, 30, 0}));
      EXPECT_EQ(clock_.ToSeconds(row.time), row.seconds) << row.why << ", " << month;
    }
  }
}

TEST_F(PosixClockTest, FieldsCarryOverAndTheRangeHolds) {
  SetZone("UTC");
  EXPECT_EQ(clock_.ToSeconds({1998, 1, 12, 25, 0, 0}), 884653200);
  EXPECT_EQ(clock_.ToSeconds({1997, 13, 13, 0, 59, 60}), 884653200);
  EXPECT_EQ(clock_.ToSeconds({2038, 1, 19, 3, 14, 8}), std::nullopt);
  EXPECT_EQ(clock_.ToSeconds({1969, 12, 31, 23, 59, 59}), std::nullopt);
  EXPECT_EQ(clock_.ToSeconds({INT_MAX, INT_MIN, INT_MAX, INT_MAX, INT_MAX, INT_MAX}), std::nullopt);
  EXPECT_EQ(clock_.ToSeconds({INT_MIN, INT_MAX, INT_MIN, INT_MIN, INT_MIN, INT_MIN}), std::nullopt);
  SetZone("Asia/Tokyo");
  EXPECT_EQ(clock_.ToSeconds({1970, 1, 1, 8, 59, 59}), std::nullopt);
  EXPECT_EQ(clock_.ToSeconds({1970, 1, 1, 9, 0, 0}), 0);
}

}  // namespace
}  // namespace nimport::platform::posix
