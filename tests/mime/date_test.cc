#include "mime/date.h"

#include <optional>

#include <gtest/gtest.h>

namespace nimport::mime {
namespace {

TEST(ParseDate, ReadsWhatMailProgramsWrote) {
  constexpr std::int64_t TEN_IN_TOKYO = 884653200;  // 1998-01-13 01:00:00 UTC
  constexpr std::int64_t MIDNIGHT = 884649600;      // 1998-01-13 00:00:00 UTC
  const struct {
    const char* text;
    std::optional<std::int64_t> wanted;
    const char* why;
  } cases[] = {
      {"Tue, 13 Jan 1998 10:00:00 +0900", TEN_IN_TOKYO, "the lawful form"},
      {"Tue, 13 Jan 1998 10:00:00 +0900 (JST)", TEN_IN_TOKYO, "a comment"},
      {"(a (b) 1) Tue,13 Jan 98 10:00+0900", TEN_IN_TOKYO, "nested comment, two digits, no blanks"},
      {"13-Jan-98 10:00:00 JST", TEN_IN_TOKYO, "dashes and a zone's name"},
      {"13-January-1998 10:00:00 +09:00", TEN_IN_TOKYO, "a month in full, a colon in the zone"},
      {"Tue Jan 13 10:00:00 JST 1998", TEN_IN_TOKYO, "the form of Unix"},
      {"1998-01-13T10:00:00.5+09:00", TEN_IN_TOKYO, "ISO 8601"},
      {"13 Jan 1998 10:00 +900", TEN_IN_TOKYO, "a zone of three digits"},
      {"98/01/13 10:00 +9:00", TEN_IN_TOKYO, "the year first"},
      {"01/13/98 01:00 GMT", TEN_IN_TOKYO, "the month first"},
      {"13/1/1998 1:00", TEN_IN_TOKYO, "the day first, where it can be nothing else"},
      {"Mon, 12 Jan 1998 08:00 PM EST", TEN_IN_TOKYO, "half a day"},
      {"Tue, 13 Jan 098 01:00:00 A", TEN_IN_TOKYO, "years since 1900, a single letter for a zone"},
      {"13 Jan 1998", MIDNIGHT, "no time"},
      {"Tue, 13 Jan 2070 00:00:00 +0000", 3156796800, "beyond 32 bits"},
      {"Thu, 1 Jan 69 00:00 GMT", 3124224000, "two digits end in 2069"},
      {"Mon, 12 Jan 1998 12:00 AM", MIDNIGHT - 86400, "the twelfth hour before noon"},
      {"29 Feb 1999 00:00", std::nullopt, "no leap year"},
      {"13 Jan 1998 24:00", std::nullopt, "no such hour"},
      {"10:00:00 +0900", std::nullopt, "no date"},
      {"13 1998", std::nullopt, "no month"},
      {"1 2 3 4 Jan", std::nullopt, "too many numbers"},
      {"", std::nullopt, "nothing"},
      {"yesterday", std::nullopt, "a word"},
      {"13 Jan 1998 1:2:3 4:5:6", std::nullopt, "two times"},
      {"99999999999999999999 Jan 1", std::nullopt, "a number without end"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ParseDate(c.text), c.wanted) << c.text << ": " << c.why;
}

}  // namespace
}  // namespace nimport::mime
