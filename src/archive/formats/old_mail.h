// Mails that an earlier run wrote otherwise: with other options, or in another version.
#ifndef NIMPORT_ARCHIVE_FORMATS_OLD_MAIL_H_
#define NIMPORT_ARCHIVE_FORMATS_OLD_MAIL_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>

namespace nimport::archive {

// More than so much is not read only to see whether somebody changed it.
inline constexpr std::uintmax_t MAX_COMPARED_BYTES = 16 << 20;

// Whether two mails differ in nothing but what the options of a run decide, the fields Date and
// From of a mail that is composed, and in line ends. Then the one is the other with other options,
// and nobody has changed it.
[[nodiscard]] bool DifferByOptionsAlone(std::string_view a, std::string_view b);

// Whether an earlier run wrote the mail in the file at `path`, which is not `wanted`, and nobody
// has changed it since: it differs by options alone, or its time is still the mail's date, which
// every file gets. `instant` is the date as this run has it.
[[nodiscard]] bool IsOutdated(const std::filesystem::path& path, std::string_view wanted,
                              std::optional<std::int64_t> instant);

// Whether the file at `path` has another time than the mail's date by so much as zones differ: it
// holds a date without a zone, which an earlier run read in another one.
[[nodiscard]] bool HasTimeOfOtherZone(const std::filesystem::path& path,
                                      std::optional<std::int64_t> instant);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_OLD_MAIL_H_
