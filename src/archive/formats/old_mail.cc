#include "archive/formats/old_mail.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "mime/date.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// The lines of a mail, without line ends and without the fields that options decide.
class ComparedLines {
 public:
  explicit ComparedLines(std::string_view mail) : rest_(mail) {}

  std::optional<std::string_view> Next() {
    std::optional<std::string_view> line = NextOfAll();
    while (isInHeader_ && line && IsSkipped(*line))
      line = NextOfAll();
    if (line && line->empty()) isInHeader_ = false;
    return line;
  }

 private:
  std::optional<std::string_view> NextOfAll() {
    if (rest_.empty()) return std::nullopt;
    const std::size_t end = rest_.find('\n');
    std::string_view line = rest_.substr(0, end);
    rest_.remove_prefix(end == rest_.npos ? rest_.size() : end + 1);
    if (line.ends_with('\r')) line.remove_suffix(1);
    return line;
  }

  // A line of such a field, or one that continues it.
  bool IsSkipped(std::string_view line) {
    const bool isContinuation = line.starts_with(' ') || line.starts_with('\t');
    if (!isContinuation) {
      isSkipping_ = text::StartsWithIgnoringCase(line, "Date:") ||
                    text::StartsWithIgnoringCase(line, "From:");
    }
    return isSkipping_;
  }

  std::string_view rest_;
  bool isInHeader_ = true;
  bool isSkipping_ = false;
};

// When the file was changed last, in seconds since 1970-01-01 UTC.
std::optional<std::int64_t> TimeOf(const fs::path& path) {
  std::error_code error;
  const fs::file_time_type time = fs::last_write_time(path, error);
  if (error) return std::nullopt;
  const auto utc = std::chrono::file_clock::to_sys(time).time_since_epoch();
  return std::chrono::floor<std::chrono::seconds>(utc).count();
}

std::optional<std::int64_t> InstantIn(std::string_view mail) {
  const std::optional<mime::Date> date = mime::FindDate(mail);
  if (!date || !date->zoneMinutes) return std::nullopt;
  return date->localSeconds - std::int64_t{*date->zoneMinutes} * 60;
}

}  // namespace

bool DifferByOptionsAlone(std::string_view a, std::string_view b) {
  ComparedLines linesOfA(a);
  ComparedLines linesOfB(b);
  for (;;) {
    const std::optional<std::string_view> line = linesOfA.Next();
    if (line != linesOfB.Next()) return false;
    if (!line) return true;
  }
}

bool IsOutdated(const fs::path& path, std::string_view wanted,
                std::optional<std::int64_t> instant) {
  const std::optional<std::int64_t> time = TimeOf(path);
  if (!time) return false;
  if (time == instant) return true;
  std::error_code error;
  if (fs::file_size(path, error) > MAX_COMPARED_BYTES || error) return false;
  std::ifstream file(path, std::ios::binary);
  const std::string there(std::istreambuf_iterator<char>(file), {});
  return time == InstantIn(there) || DifferByOptionsAlone(there, wanted);
}

bool HasTimeOfOtherZone(const fs::path& path, std::optional<std::int64_t> instant) {
  constexpr std::int64_t ZONE_STEP = 15 * 60;
  constexpr std::int64_t MAX_DIFFERENCE = 26 * 60 * 60;
  const std::optional<std::int64_t> time = instant ? TimeOf(path) : std::nullopt;
  if (!time || *time == *instant) return false;
  const std::int64_t difference = *time - *instant;
  return difference % ZONE_STEP == 0 && std::abs(difference) <= MAX_DIFFERENCE;
}

}  // namespace nimport::archive
