#include "jet/database.h"

#include <unordered_map>
#include <utility>

#include "jet/catalog/jet_catalog.h"
#include "jet/catalog/table_recordset.h"
#include "jet/format/name_text.h"
#include "jet/query/query_recordset.h"
#include "jet/salvage/deleted_rows.h"

namespace nimport::jet {
namespace {

class JetTableDefinition final : public TableDefinition {
 public:
  explicit JetTableDefinition(OpenedTable table) : table_(std::move(table)) {}

  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const override { return table_.Columns(); }
  [[nodiscard]] std::uint32_t RecordCount() const override { return Current().Table()->RowCount(); }
  [[nodiscard]] std::unique_ptr<Recordset> OpenRecordset() const override {
    return std::make_unique<TableRecordset>(Current());
  }

 private:
  [[nodiscard]] OpenedTable Current() const {
    OpenedTable current = table_;
    current.Refresh();
    return current;
  }

  OpenedTable table_;
};

// The prepared stored queries of a database, as long as its file is unchanged.
class QueryStore {
 public:
  explicit QueryStore(JetCatalog& catalog) : catalog_(catalog) {}

  // `name` is UTF-8.
  [[nodiscard]] std::shared_ptr<PreparedQuery> Find(const std::string& name) {
    if (const std::uint64_t generation = catalog_.Generation(); generation != generation_) {
      queries_.clear();
      generation_ = generation;
    }
    const std::string key = text::AsciiLower(name);
    if (const auto found = queries_.find(key); found != queries_.end()) return found->second;
    auto query = Prepare(name);
    queries_.emplace(key, query);
    return query;
  }

 private:
  [[nodiscard]] std::shared_ptr<PreparedQuery> Prepare(const std::string& name) {
    try {
      return std::make_shared<PreparedQuery>(catalog_, name);
    } catch (const Interrupted&) {
      throw;
    } catch (const DatabaseError& error) {
      if (!catalog_.ReplaceQuery(name, error)) throw;
      return std::make_shared<PreparedQuery>(catalog_, name);
    }
  }

  JetCatalog& catalog_;
  std::uint64_t generation_ = 0;
  std::unordered_map<std::string, std::shared_ptr<PreparedQuery>> queries_;
};

class JetQueryDefinition final : public QueryDefinition {
 public:
  JetQueryDefinition(QueryStore& store, std::string name)
      : store_(store), name_(std::move(name)), columns_(store.Find(name_)->Columns()) {}

  [[nodiscard]] const std::vector<ColumnInfo>& Columns() const override { return columns_; }
  [[nodiscard]] std::unique_ptr<Recordset> OpenRecordset() const override {
    return std::make_unique<QueryRecordset>(store_.Find(name_));
  }
  [[nodiscard]] std::vector<ColumnOrigin> Origins() const override {
    return store_.Find(name_)->Origins();
  }

 private:
  QueryStore& store_;
  std::string name_;
  std::vector<ColumnInfo> columns_;
};

class JetDatabase final : public Database {
 public:
  JetDatabase(std::unique_ptr<RandomAccessFile> file, const text::CodePageConverter& converter,
              const OpenOptions& options)
      : catalog_(std::move(file), converter, options), queries_(catalog_) {}

  [[nodiscard]] std::unique_ptr<TableDefinition> OpenTable(std::string_view name) override {
    return std::make_unique<JetTableDefinition>(OpenedTable(catalog_, ToUtf8(name)));
  }

  [[nodiscard]] std::unique_ptr<QueryDefinition> OpenQuery(std::string_view name) override {
    return std::make_unique<JetQueryDefinition>(queries_, ToUtf8(name));
  }

  [[nodiscard]] bool IsKnownDamaged(std::string_view tableName) const override {
    return catalog_.IsKnownDamaged(ToUtf8(tableName));
  }

  [[nodiscard]] std::unique_ptr<DeletedData> OpenDeleted() override {
    std::vector<DeletedSource> sources;
    for (const std::string& name : catalog_.AllTableNames()) {
      try {
        const OpenedTable table(catalog_, name);
        sources.push_back(
            {.name = jet::FromUtf8(name, catalog_.TextCodePage(), catalog_.Converter()),
             .columns = table.Columns(),
             .table = table.Table()});
      } catch (const Interrupted&) {
        throw;
      } catch (const DatabaseError&) {
        // Whoever asks for the table hears why.
      }
    }
    return std::make_unique<DeletedData>(catalog_.File(), std::move(sources),
                                         catalog_.Limits().interruption);
  }

  [[nodiscard]] std::vector<std::string> TableNames() override {
    return FromUtf8(catalog_.TableNames());
  }

  [[nodiscard]] std::vector<std::string> QueryNames() override {
    return FromUtf8(catalog_.QueryNames());
  }

  [[nodiscard]] std::vector<LinkedTable> LinkedTables() override {
    std::vector<LinkedTable> links = catalog_.LinkedTables();
    for (LinkedTable& link : links) {
      for (std::string* text : {&link.name, &link.database, &link.connect, &link.foreignName})
        *text = jet::FromUtf8(*text, catalog_.TextCodePage(), catalog_.Converter());
    }
    return links;
  }

 private:
  [[nodiscard]] std::string ToUtf8(std::string_view name) const {
    return jet::ToUtf8(name, catalog_.TextCodePage(), catalog_.Converter());
  }

  [[nodiscard]] std::vector<std::string> FromUtf8(std::vector<std::string> names) const {
    for (std::string& name : names) {
      name = jet::FromUtf8(name, catalog_.TextCodePage(), catalog_.Converter());
    }
    return names;
  }

  JetCatalog catalog_;
  QueryStore queries_;
};

}  // namespace

std::unique_ptr<DeletedData> Database::OpenDeleted() {
  return nullptr;
}

std::string LinkedTable::Describe() const {
  const std::string table = "table " + (foreignName.empty() ? name : foreignName);
  if (database.empty() && connect.empty()) return table + " of another database";
  return table + " of " + (database.empty() ? connect : database);
}

std::unique_ptr<Database> Database::Open(std::unique_ptr<RandomAccessFile> file,
                                         const text::CodePageConverter& converter,
                                         const OpenOptions& options) {
  return std::make_unique<JetDatabase>(std::move(file), converter, options);
}

}  // namespace nimport::jet
