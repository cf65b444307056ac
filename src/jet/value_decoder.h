#ifndef NIMPORT_JET_VALUE_DECODER_H_
#define NIMPORT_JET_VALUE_DECODER_H_

#include "jet/page_file.h"
#include "jet/row_view.h"
#include "jet/table.h"
#include "jet/text_decoder.h"
#include "jet/value.h"

namespace nimport::jet {

// Decodes a column's value. Long values are read from `file`. Throws DatabaseError, without a
// place.
[[nodiscard]] Value DecodeValue(const RowView& row, const Column& column, PageFile& file,
                                const TextDecoder& texts);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_VALUE_DECODER_H_
