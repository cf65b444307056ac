#ifndef NIMPORT_JET_FORMAT_FILE_HEADER_H_
#define NIMPORT_JET_FORMAT_FILE_HEADER_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "jet/format/jet_layout.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

// What page 0 says about the file.
struct FileHeader {
  const JetLayout* layout = nullptr;
  unsigned codePage = text::CODE_PAGE_WESTERN;  // of Jet 3 text
  std::uint32_t encodingKey = 0;                // 0: pages are plain
};

// The bytes of page 0 that are needed to parse its header.
inline constexpr std::size_t FILE_HEADER_BYTES = MASKED_HEADER_OFFSET + HEADER_MASK.size();

// `bytes` are the first FILE_HEADER_BYTES of the file, or fewer where it is shorter. Throws
// DatabaseError (page 0, without the file) for what is not a Jet 3 or Jet 4 file, naming the other
// format where it is known.
[[nodiscard]] FileHeader ParseFileHeader(std::span<const std::byte> bytes);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_FILE_HEADER_H_
