#include "platform/windows/windows_clock.h"

#include <limits>

#include <gtest/gtest.h>

namespace nimport::platform::windows {
namespace {

constexpr std::int32_t INSTANT = 884653200;  // 1998-01-13 01:00:00 UTC
constexpr std::int32_t HOUR = 3600;

class WindowsClockTest : public testing::Test {
 protected:
  // Japan has no daylight saving and needs no year's rules.
  bool IsInJapan() const { return clock_.ZoneBiasMinutes() == -540; }

  WindowsClock clock_;
};

TEST_F(WindowsClockTest, KnowsJapan) {
  if (!IsInJapan()) GTEST_SKIP() << "the machine is elsewhere";
  const struct {
    LocalTime time;
    std::optional<std::int32_t> wanted;
    const char* why;
  } CASES[] = {
      {{1998, 1, 13, 10, 0, 0, 0}, INSTANT, "winter"},
      {{1998, 7, 13, 10, 0, 0, 0}, 900291600, "summer"},
      {{1997, 12, 44, 10, 0, 0, 0}, INSTANT, "days carry over"},
      {{1996, 25, 13, 9, 59, 60, 0}, INSTANT, "months and seconds carry over"},
      {{1998, 2, -19, 34, 0, 0, 0}, INSTANT, "backwards, too"},
      {{2000, 2, 29, 0, 0, 0, 0}, 951750000, "a leap day"},
      {{1970, 1, 1, 9, 0, 0, 0}, 0, "the beginning of time"},
      {{1970, 1, 1, 8, 59, 59, 0}, std::nullopt, "before it"},
      {{2038, 1, 19, 12, 14, 7, 0}, std::numeric_limits<std::int32_t>::max(), "the end of time"},
      {{2038, 1, 19, 12, 14, 8, 0}, std::nullopt, "past it"},
      {{std::numeric_limits<int>::max(), std::numeric_limits<int>::max(), 1, 0, 0, 0, 0},
       std::nullopt,
       "far past it"},
      {{std::numeric_limits<int>::min(), std::numeric_limits<int>::min(), 1, 0, 0, 0, 0},
       std::nullopt,
       "far before it"},
  };
  for (const auto& row : CASES)
    EXPECT_EQ(clock_.ToSeconds(row.time), row.wanted) << row.why;
}

TEST_F(WindowsClockTest, TellsTheFieldsOfAMoment) {
  if (!IsInJapan()) GTEST_SKIP() << "the machine is elsewhere";
  const std::optional<LocalTime> time = clock_.ToLocalTime(INSTANT - 11 * HOUR - 1);
  ASSERT_TRUE(time);
  EXPECT_EQ(time->year * 10000 + time->month * 100 + time->day, 19980112);
  EXPECT_EQ(time->hour * 10000 + time->minute * 100 + time->second, 225959);
  EXPECT_EQ(time->weekday, 1);
}

TEST_F(WindowsClockTest, GoesThereAndBackInEveryZone) {
  constexpr std::int32_t STEP = 7'654'321;
  for (std::int32_t seconds = 0; seconds < std::numeric_limits<std::int32_t>::max() - STEP;
       seconds += STEP) {
    const std::optional<LocalTime> local = clock_.ToLocalTime(seconds);
    ASSERT_TRUE(local) << seconds;
    const std::optional<std::int32_t> back = clock_.ToSeconds(*local);
    ASSERT_TRUE(back || seconds < 86400) << seconds;
    // The hour that comes twice in autumn may come back as the other one.
    if (!back) continue;
    EXPECT_LE(std::abs(*back - seconds), HOUR) << seconds;
  }
  EXPECT_TRUE(clock_.ToLocalTime(std::numeric_limits<std::int32_t>::min()));
}

}  // namespace
}  // namespace nimport::platform::windows
