#ifndef NIMPORT_TOOLS_JETWRITER_USAGE_MAP_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_USAGE_MAP_WRITER_H_

#include <cstdint>
#include <optional>
#include <string>

#include "jetwriter/page_builder.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

// Writes usage maps as rows of pages that belong to no table.
class UsageMapWriter {
 public:
  // `context` must outlive the writer.
  explicit UsageMapWriter(WriterContext& context) : context_(context) {}

  // Returns the row pointer of the new map.
  [[nodiscard]] std::uint32_t AddMap(const PageSet& pages);

  // Writes the page that is still being filled.
  void Flush();

 private:
  WriterContext& context_;
  std::optional<PageBuilder> page_;
};

// Writes page 1: the map of the free pages, which are those after the end of the file, and an
// empty one. Called when no more pages will be allocated, except that this may allocate one.
void WriteGlobalMap(WriterContext& context);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_USAGE_MAP_WRITER_H_
