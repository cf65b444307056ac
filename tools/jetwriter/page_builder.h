#ifndef NIMPORT_TOOLS_JETWRITER_PAGE_BUILDER_H_
#define NIMPORT_TOOLS_JETWRITER_PAGE_BUILDER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "jet/format/jet_layout.h"

namespace nimport::jetwriter {

// A data page being filled with rows, from its end downwards.
class PageBuilder {
 public:
  PageBuilder(const jet::JetLayout& layout, std::uint32_t pageNumber, std::uint32_t owner);

  [[nodiscard]] std::uint32_t PageNumber() const { return pageNumber_; }
  [[nodiscard]] bool HasRoomFor(std::size_t rowBytes) const;

  // Adds a row, for which there must be room, and returns the row pointer to it. `flags` are those
  // of its slot.
  std::uint32_t AddRow(std::string_view row, std::uint16_t flags = jet::SLOT_LIVE);

  // The page as it stands in the file.
  [[nodiscard]] std::string ToBytes() const;

 private:
  [[nodiscard]] std::size_t FreeBytes() const;

  const jet::JetLayout& layout_;
  std::uint32_t pageNumber_;
  std::uint32_t owner_;
  std::string slots_;      // the slot table
  std::string bytes_;      // the whole page; rows stand at their places
  std::size_t lowestRow_;  // offset of the row added last
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_PAGE_BUILDER_H_
