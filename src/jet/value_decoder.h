#ifndef NIMPORT_JET_VALUE_DECODER_H_
#define NIMPORT_JET_VALUE_DECODER_H_

#include <memory>

#include "jet/database_error.h"
#include "jet/page_file.h"
#include "jet/row_view.h"
#include "jet/table.h"
#include "jet/text_decoder.h"
#include "jet/value.h"

namespace nimport::jet {

// Decodes a column's value. Long values are read from `file`; one of which only the beginning can
// be read is that beginning, and `cut` says what is wrong with the rest. Throws DatabaseError;
// neither has a place.
[[nodiscard]] Value DecodeValue(const RowView& row, const Column& column, PageFile& file,
                                const TextDecoder& texts, std::unique_ptr<DatabaseError>& cut);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_VALUE_DECODER_H_
