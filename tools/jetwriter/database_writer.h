// Writes Jet 3 and Jet 4 database files: tables of any size, row by row, and stored queries.
//
// A file is made in one go: construct, add tables and queries, add rows to the tables in any order,
// Finish. Memory does not grow with the rows; each table keeps a page or two and a bit for each
// page of the file. The same calls give the same bytes.
//
// Tables have no indexes, and no relationships are written.
#ifndef NIMPORT_TOOLS_JETWRITER_DATABASE_WRITER_H_
#define NIMPORT_TOOLS_JETWRITER_DATABASE_WRITER_H_

#include <filesystem>
#include <memory>
#include <vector>

#include "jet/database.h"
#include "jetwriter/schema.h"
#include "jetwriter/table_writer.h"
#include "jetwriter/writer_context.h"

namespace nimport::jetwriter {

class DatabaseWriter {
 public:
  // Makes the file, or empties one that is there. Throws WriteError, as all functions do.
  explicit DatabaseWriter(const std::filesystem::path& file, const WriterOptions& options = {});
  ~DatabaseWriter();
  DatabaseWriter(const DatabaseWriter&) = delete;
  DatabaseWriter& operator=(const DatabaseWriter&) = delete;

  // The table lives as long as this writer.
  TableWriter& AddTable(const TableSpec& spec);

  // The rows of each attribute are counted in the order given; an empty text is written as null.
  void AddQuery(const jet::StoredQuery& query);

  // A table of another file.
  void AddLinkedTable(const jet::LinkedTable& link) { links_.push_back(link); }

  // Writes everything that is still missing and closes the file. Without it the file is no
  // database. Nothing may be added afterwards.
  void Finish();

 private:
  void WriteCatalog();
  void WriteHeader();

  std::unique_ptr<WriterContext> context_;
  std::vector<std::unique_ptr<TableWriter>> systemTables_;  // as their definitions lie, from page 2
  std::vector<std::unique_ptr<TableWriter>> tables_;
  std::vector<jet::StoredQuery> queries_;
  std::vector<jet::LinkedTable> links_;
};

}  // namespace nimport::jetwriter

#endif  // NIMPORT_TOOLS_JETWRITER_DATABASE_WRITER_H_
