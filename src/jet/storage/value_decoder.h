#ifndef NIMPORT_JET_STORAGE_VALUE_DECODER_H_
#define NIMPORT_JET_STORAGE_VALUE_DECODER_H_

#include <memory>

#include "jet/database_error.h"
#include "jet/storage/table_definition.h"
#include "jet/value.h"

namespace nimport::jet {

class PageFile;
class RowView;
class TextDecoder;

// Decodes a column's value. Long values are read from `file`; one of which only the beginning can
// be read is that beginning, and `cut` says what is wrong with the rest. Throws DatabaseError;
// neither has a place.
[[nodiscard]] Value DecodeValue(const RowView& row, const Column& column, PageFile& file,
                                const TextDecoder& texts, std::unique_ptr<DatabaseError>& cut);

// Whether the column holds booleans, or numbers or dates at a fixed place in the row: what most
// columns do. Such a value is there as a whole or not at all.
[[nodiscard]] inline bool IsPlain(const Column& column) {
  return column.type == ColumnType::Boolean ||
         (column.isFixed && column.type <= ColumnType::DateTime);
}

// The same as DecodeValue for a plain column, without looking for a cut value: all columns of
// 200,000 rows take 22.0 ms with it, 23.6 without.
[[nodiscard]] Value DecodePlain(const RowView& row, const Column& column);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_STORAGE_VALUE_DECODER_H_
