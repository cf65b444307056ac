#ifndef NIMPORT_TOOLS_JETWRITER_WRITER_CONTEXT_H_
#define NIMPORT_TOOLS_JETWRITER_WRITER_CONTEXT_H_

#include <cstddef>
#include <cstdint>

#include "jet/format/jet_layout.h"
#include "jetwriter/page_writer.h"
#include "jetwriter/text_encoder.h"

namespace nimport::jetwriter {

enum class JetVersion : std::uint8_t { Jet3, Jet4 };

struct WriterOptions {
  JetVersion version = JetVersion::Jet3;
  // Jet 3: of all text. Jet 4 only names it.
  unsigned codePage = 932;
  // Every page but the first is encoded with this key unless it is 0.
  std::uint32_t encodingKey = 0;
  // Jet 4: texts are compressed where that saves space.
  bool compressText = true;
  // Days since 1899-12-30, for the header and the catalog.
  double creationDate = 36251.395833333336;  // 1999-04-01 09:30
  // The sizes up to which long values stand in their row, or in one row of another page, and up to
  // which usage maps stand in their row; 0 = as usual for the version.
  std::size_t maxInlineLongValueBytes = 0;
  std::size_t maxSingleLongValueBytes = 0;
  std::size_t maxInlineMapBytes = 0;
  // 0 = the most that the version allows.
  std::uint64_t maxFileBytes = 0;
};

// What every part of a database being written needs. The options have no 0 left that stands for a
// usual value.
struct WriterContext {
  const WriterOptions options;
  const jet::JetLayout& layout;
  const TextEncoder text;
  PageWriter pages;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_WRITER_CONTEXT_H_
