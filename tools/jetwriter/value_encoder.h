#ifndef NIMPORT_TOOLS_JETWRITER_VALUE_ENCODER_H_
#define NIMPORT_TOOLS_JETWRITER_VALUE_ENCODER_H_

#include <string>

#include "jet/value.h"
#include "jetwriter/schema.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

// A value that is not null as bytes of a file: what a row holds of it or, for memo and OLE
// columns, the long value itself. Text is UTF-8; a binary value in a text or memo column is taken
// for bytes as they stand in the file. Whole numbers of any width fit a number column where they
// are in range. Throws WriteError saying why a value does not fit the column.
[[nodiscard]] std::string EncodeValue(const WriterContext& context, const ColumnSpec& column,
                                      const jet::Value& value);

// The bytes that a column's record gives as its size.
[[nodiscard]] std::size_t SizeBytes(const jet::JetLayout& layout, const ColumnSpec& column);

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_VALUE_ENCODER_H_
