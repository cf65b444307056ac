#ifndef NIMPORT_TOOLS_JETWRITER_LONG_VALUE_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_LONG_VALUE_WRITER_H_

#include <optional>
#include <string>
#include <string_view>

#include "jetwriter/page_builder.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

// Writes the values of one memo or OLE column to pages of their own.
class LongValueWriter {
 public:
  // `context` must outlive the writer.
  explicit LongValueWriter(WriterContext& context) : context_(context) {}

  // Stores `value`, whose bytes are final, and returns what the row holds of it.
  [[nodiscard]] std::string Write(std::string_view value);

  // Writes the page that is still being filled. Nothing may be added afterwards.
  void Flush();

  [[nodiscard]] const PageSet& OwnedPages() const { return ownedPages_; }
  // The page with room that was filled last.
  [[nodiscard]] const PageSet& FreePages() const { return freePages_; }

 private:
  [[nodiscard]] std::uint32_t WriteSingle(std::string_view value);
  [[nodiscard]] std::uint32_t WriteChain(std::string_view value);
  [[nodiscard]] PageBuilder MakePage(std::uint32_t pageNumber);

  WriterContext& context_;
  std::optional<PageBuilder> page_;  // takes values that need less than a page
  PageSet ownedPages_;
  PageSet freePages_;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_LONG_VALUE_WRITER_H_
