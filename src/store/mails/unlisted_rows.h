#ifndef NIMPORT_STORE_MAILS_UNLISTED_ROWS_H_
#define NIMPORT_STORE_MAILS_UNLISTED_ROWS_H_

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "store/mails/mail_record.h"

namespace nimport::store {

// Mails of kinds that nobody has described: their rows are looked for by their number in the list
// of mails, then in every other table that has the column "DataNo", and at last, for a text or a
// file, in the stored queries. What their columns hold is guessed (LooksLikeRole).
class UnlistedRows {
 public:
  // The database outlives the object.
  explicit UnlistedRows(jet::Database& database);

  // What is found of a mail. All columns that have no place in a mail are among the further ones.
  // Throws Failure (-3) when neither a text nor a title, a sender, a recipient or a file is found.
  [[nodiscard]] MailRecord Read(std::int32_t dataType, std::int32_t dataNo);

 private:
  // A table or a stored query.
  struct Source {
    std::string name;
    std::unique_ptr<jet::TableDefinition> table;  // one of the two
    std::unique_ptr<jet::QueryDefinition> query;
    std::unique_ptr<jet::Recordset> rows;

    [[nodiscard]] const std::vector<jet::ColumnInfo>& Columns() const {
      return table ? table->Columns() : query->Columns();
    }
  };
  class Collector;

  void AddTable(const std::string& name);
  void OpenQueries();

  jet::Database& database_;
  std::vector<Source> tables_;                  // the list of mails first
  std::optional<std::vector<Source>> queries_;  // once they were needed
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_UNLISTED_ROWS_H_
