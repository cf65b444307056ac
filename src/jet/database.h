// The database engine: reads Jet 3 and Jet 4 files and evaluates the select queries stored in them.
//
// Text. Names that callers give and get, and the text of rows, are in the code page that the
// database was opened with. Names compare without regard to the case of ASCII letters.
//
// Errors. Every function may throw DatabaseError or std::bad_alloc; after either the database and
// its other recordsets stay usable.
//
// Threads. A Database and what was opened from it belong to one thread at a time. Several databases
// share nothing.
#ifndef NIMPORT_JET_DATABASE_H_
#define NIMPORT_JET_DATABASE_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/random_access_file.h"
#include "jet/database_error.h"
#include "jet/open_options.h"
#include "jet/recordset.h"
#include "jet/value.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

class DeletedData;

// A table opened by name. Valid while its Database lives.
class TableDefinition {
 public:
  virtual ~TableDefinition() = default;
  [[nodiscard]] virtual const std::vector<ColumnInfo>& Columns() const = 0;
  // The number of rows that a scan delivers.
  [[nodiscard]] virtual std::uint32_t RecordCount() const = 0;
  [[nodiscard]] virtual std::unique_ptr<Recordset> OpenRecordset() const = 0;
};

// The column of a table that a query's column shows; both are empty where it shows something else.
struct ColumnOrigin {
  std::string table;
  std::string column;
};

// A stored select query opened by name. Valid while its Database lives.
class QueryDefinition {
 public:
  virtual ~QueryDefinition() = default;
  [[nodiscard]] virtual const std::vector<ColumnInfo>& Columns() const = 0;
  [[nodiscard]] virtual std::unique_ptr<Recordset> OpenRecordset() const = 0;
  // Where each of Columns() comes from.
  [[nodiscard]] virtual std::vector<ColumnOrigin> Origins() const { return {}; }
};

// A table whose rows are in another database. What is not known is empty.
struct LinkedTable {
  std::string name;
  std::string database;     // the path of its file
  std::string connect;      // how that is reached where it is no Jet database
  std::string foreignName;  // of the table there

  // "table NAME of DATABASE", as far as known.
  [[nodiscard]] std::string Describe() const;
};

// An open database file. Nothing is ever written to it. When the file changes while it is open,
// what was remembered of it is read again.
class Database {
 public:
  // Takes over `file`. `converter` must outlive the database.
  [[nodiscard]] static std::unique_ptr<Database> Open(std::unique_ptr<RandomAccessFile> file,
                                                      const text::CodePageConverter& converter,
                                                      const OpenOptions& options = {});
  virtual ~Database() = default;

  // Throws DatabaseError when there is no such table, or when it is a linked one.
  [[nodiscard]] virtual std::unique_ptr<TableDefinition> OpenTable(std::string_view name) = 0;

  // Throws DatabaseError when there is no such query, or when it needs more than the engine
  // evaluates, which the error names.
  [[nodiscard]] virtual std::unique_ptr<QueryDefinition> OpenQuery(std::string_view name) = 0;

  // Whether damage to this table was reported so far.
  [[nodiscard]] virtual bool IsKnownDamaged(std::string_view /*tableName*/) const { return false; }

  // What was deleted and still lies in the file, as it is now. Null where a database keeps no
  // pages.
  [[nodiscard]] virtual std::unique_ptr<DeletedData> OpenDeleted();

  // User tables and stored queries of every kind, in catalog order.
  [[nodiscard]] virtual std::vector<std::string> TableNames() = 0;
  [[nodiscard]] virtual std::vector<std::string> QueryNames() = 0;

  // Tables whose rows are elsewhere; not among TableNames.
  [[nodiscard]] virtual std::vector<LinkedTable> LinkedTables() { return {}; }
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_DATABASE_H_
