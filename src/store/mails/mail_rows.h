#ifndef NIMPORT_STORE_MAILS_MAIL_ROWS_H_
#define NIMPORT_STORE_MAILS_MAIL_ROWS_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "store/mails/mail_kinds.h"
#include "store/mails/mail_record.h"

namespace nimport::store {

// The record of a mail of this kind, whose row `row` stands on; `columns` are the row's. Throws
// Failure (-3) for a kind that is not listed, jet::DatabaseError when nothing tells where the
// mail's contents are.
[[nodiscard]] MailRecord ReadMailRecord(std::int32_t dataType, std::int32_t dataNo,
                                        const std::vector<jet::ColumnInfo>& columns,
                                        const jet::Recordset& row, ColumnsWanted wanted);

// Takes recipients of copies out of a record's further columns, where it has its fields in columns.
void TakeCopies(MailRecord& record);

// The rows of one stored query, read as records, with the columns of its tables that the query
// leaves out. The query stays open, and where its columns stand is found once for all mails.
class MailRows {
 public:
  // `queryName` is in the database's code page. The database outlives the object. Throws
  // jet::DatabaseError.
  MailRows(jet::Database& database, std::string_view queryName);

  // The record of the mail with this kind and number. Throws Failure (-3) when the query has no
  // such row, jet::DatabaseError when it cannot be found or nothing tells where the mail's contents
  // are.
  [[nodiscard]] MailRecord Read(std::int32_t dataType, std::int32_t dataNo, ColumnsWanted wanted);

 private:
  // A table beneath the query, with columns that are not among the query's.
  struct FurtherTable {
    std::unique_ptr<jet::TableDefinition> table;
    std::unique_ptr<jet::Recordset> rows;
    std::vector<std::size_t> columns;  // by their places
  };

  void OpenFurtherTables();
  // Adds those of the mail with this number to the record.
  void ReadFurtherTables(MailRecord& record);

  jet::Database& database_;
  std::string queryName_;
  std::optional<std::vector<FurtherTable>> furtherTables_;  // once they were asked for
  std::unique_ptr<jet::QueryDefinition> query_;
  std::unique_ptr<jet::Recordset> rows_;
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_ROWS_H_
