// Date headers, on machines in zones with and without daylight saving time.
#include "fuzz_input.h"
#include "platform/platform.h"
#include "store/mails/mail_date.h"

using nimport::fuzz::Check;
using nimport::fuzz::ToText;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const nimport::fuzz::TimeLimit limit(size);
  static const char* const ZONES[] = {"Asia/Tokyo", "America/New_York", "Australia/Lord_Howe",
                                      "UTC"};
  if (size == 0) return 0;
  setenv("TZ", ZONES[data[0] % std::size(ZONES)], 1);
  const nimport::platform::Clock& clock = nimport::platform::SystemPlatform().clock();
  const auto seconds = nimport::store::ParseMailDate(ToText(data + 1, size - 1), clock);
  if (!seconds) return 0;
  Check(*seconds != -1);
  const std::string text = nimport::store::DateText(*seconds, clock);
  Check(text.empty() || text.size() == 24);
  // What DateText writes is a date of the month-first form.
  const auto again = nimport::store::ParseMailDate(text, clock);
  Check(!again ||
        nimport::store::DateText(nimport::store::SubtractZoneBias(*again, clock), clock) == text);
  return 0;
}
