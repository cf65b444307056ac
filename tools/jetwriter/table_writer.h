#ifndef NIMPORT_TOOLS_JETWRITER_TABLE_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_TABLE_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jet/value.h"
#include "jetwriter/long_value_writer.h"
#include "jetwriter/page_builder.h"
#include "jetwriter/row_encoder.h"
#include "jetwriter/schema.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

class UsageMapWriter;

enum class RowForm : std::uint8_t {
  Live,
  Moved,             // its slot points to another page, where the row lies
  Deleted,           // a slot without bytes
  DeletedWithBytes,  // a slot of a deleted row whose bytes are still there
};

struct RowOptions {
  RowForm form = RowForm::Live;
  // The columns that the table had when the row was written; later ones read as null. 0 = all.
  std::size_t columnCount = 0;
};

// Writes the rows of one table, page by page as they come.
class TableWriter {
 public:
  enum class Kind : std::uint8_t { User, System };

  // `definitionPage` has been allocated for the table. `context` must outlive the writer. Throws
  // WriteError when the format does not allow such a table.
  TableWriter(WriterContext& context, const TableSpec& spec, std::uint32_t definitionPage,
              Kind kind = Kind::User);

  // One value for each column that the row knows, deleted columns included. Text is UTF-8; a
  // binary value in a text column is stored as it is. Null in a boolean column is false. Throws
  // WriteError naming table, row and column; the row is then not written.
  void AddRow(std::span<const jet::Value> values, const RowOptions& options = {});

  [[nodiscard]] const std::string& Name() const { return spec_.name; }
  [[nodiscard]] std::uint32_t DefinitionPage() const { return definitionPage_; }
  [[nodiscard]] const std::vector<ColumnSpec>& Columns() const { return spec_.columns; }
  [[nodiscard]] std::uint32_t RowCount() const { return rowCount_; }  // without deleted ones

  // Writes the pages that are still being filled. No row may be added afterwards.
  void Flush();

  // Writes the definition to its page and more, and the usage maps that it points to. Called once,
  // after Flush.
  void WriteDefinition(UsageMapWriter& maps);

 private:
  [[nodiscard]] std::vector<std::optional<std::string>> StoreValues(
      std::span<const jet::Value> values);
  [[nodiscard]] std::optional<std::string> StoreValue(std::size_t id, const jet::Value& value);
  void PlaceRow(const std::string& row, RowForm form);
  std::uint32_t Append(std::optional<PageBuilder>& page, std::string_view row, std::uint16_t flags);
  void FlushPage(std::optional<PageBuilder>& page);

  WriterContext& context_;
  TableSpec spec_;
  std::uint32_t definitionPage_;
  Kind kind_;
  std::vector<PlacedColumn> columns_;
  std::map<std::size_t, LongValueWriter> longValues_;  // by column id
  std::optional<PageBuilder> page_;
  std::optional<PageBuilder> targetPage_;  // takes the rows that moved
  PageSet ownedPages_;
  PageSet freePages_;
  std::uint32_t rowCount_ = 0;
  std::int32_t lastAutonumber_ = 0;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_TABLE_WRITER_H_
