#ifndef NIMPORT_JET_FORMAT_HEADER_SALVAGE_H_
#define NIMPORT_JET_FORMAT_HEADER_SALVAGE_H_

#include <functional>
#include <optional>
#include <span>
#include <string>

#include "jet/format/file_header.h"

namespace nimport::jet {

// Reads the page of that number and size into `target` as it stands in the file, encoded or not;
// false when the file has no such page.
using ReadRawPage = std::function<bool(std::uint32_t number, std::span<std::byte> target)>;

// What the header of a file should say, judged by the file's first pages: the global map on page 1
// and the definitions of the system tables after it. `header` is what it says, empty where it
// cannot be parsed. Empty when those pages bear it out, or do not tell; otherwise `damage` says
// what is wrong with the header.
[[nodiscard]] std::optional<FileHeader> CorrectHeader(const std::optional<FileHeader>& header,
                                                      const ReadRawPage& readPage,
                                                      std::string& damage);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_HEADER_SALVAGE_H_
