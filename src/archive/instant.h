// Instants of mails, and how they are written.
#ifndef NIMPORT_ARCHIVE_INSTANT_H_
#define NIMPORT_ARCHIVE_INSTANT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace nimport::archive {

// The instant that a mail's own header names; empty when it names none that can be read.
[[nodiscard]] std::optional<std::int64_t> InstantOfHeader(std::string_view mail);

// "Tue, 13 Jan 1998 10:00:00 +0900" in the machine's time zone.
[[nodiscard]] std::string ToMailDate(std::int64_t instant);

// "1998-01-13 10:00:00" in the machine's time zone.
[[nodiscard]] std::string ToLocalText(std::int64_t instant);

// "Tue Jan 13 01:00:00 1998", UTC.
[[nodiscard]] std::string ToUtcText(std::int64_t instant);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_INSTANT_H_
