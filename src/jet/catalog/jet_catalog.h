#ifndef NIMPORT_JET_CATALOG_JET_CATALOG_H_
#define NIMPORT_JET_CATALOG_JET_CATALOG_H_

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "jet/catalog/catalog.h"
#include "jet/database.h"
#include "jet/format/jet_layout.h"
#include "jet/format/system_layout.h"
#include "jet/format/text_decoder.h"
#include "jet/open_options.h"
#include "jet/storage/damage.h"
#include "jet/storage/page_file.h"
#include "jet/storage/page_survey.h"
#include "jet/storage/stored_table.h"

namespace nimport::jet {

// The catalog of an open file: its system tables, and the tables and queries that were found in
// them. Everything is forgotten when the file changes.
class JetCatalog final : public Catalog {
 public:
  // Reads the file's header and the list of its objects.
  JetCatalog(std::unique_ptr<RandomAccessFile> file, const text::CodePageConverter& converter,
             const OpenOptions& options);

  [[nodiscard]] std::shared_ptr<const StoredTable> FindTable(std::string_view name) override;
  [[nodiscard]] std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) override;
  [[nodiscard]] std::uint64_t Generation() override;
  [[nodiscard]] QueryLimits Limits() const override;
  [[nodiscard]] const std::string& FileName() const override { return file_.Name(); }
  [[nodiscard]] unsigned TextCodePage() const override { return options_.textCodePage; }
  [[nodiscard]] const text::CodePageConverter& Converter() const override { return converter_; }

  // Makes FindQuery answer a substitute for a stored query that cannot be evaluated, from now on.
  // False when there is none, or when it is that which cannot be evaluated.
  [[nodiscard]] bool ReplaceQuery(const std::string& name, const DatabaseError& error);

  // User tables and stored queries, UTF-8, in the order of the list of objects.
  [[nodiscard]] std::vector<std::string> TableNames();
  [[nodiscard]] std::vector<std::string> QueryNames();
  [[nodiscard]] const std::vector<LinkedTable>& LinkedTables();
  // The engine's own tables too.
  [[nodiscard]] std::vector<std::string> AllTableNames();
  // By its name as the list of objects spells it.
  [[nodiscard]] bool IsKnownDamaged(const std::string& table) const {
    return damage_.HasReported(table);
  }
  [[nodiscard]] bool IsSelectQuery(std::string_view name);

  [[nodiscard]] PageFile& File() { return file_; }

 private:
  // A table or a stored query.
  struct Object {
    std::string name;  // UTF-8
    std::int32_t id = 0;
    std::uint32_t flags = 0;
  };
  // Objects of one kind. Of several with one name the first counts.
  struct ObjectList {
    std::vector<Object> objects;
    std::unordered_map<std::string, std::size_t> byName;  // in ASCII lower case

    void Add(Object object);
    [[nodiscard]] const Object* Find(std::string_view name) const;
  };

  struct ObjectColumns;

  [[nodiscard]] TextDecoder DecoderTo(unsigned codePage) const;
  [[nodiscard]] std::shared_ptr<const StoredTable> OpenTable(const std::string& name,
                                                             StoredDefinition definition,
                                                             unsigned codePage);
  // The definition that begins on `page`, as far as everything that bears witness to it agrees.
  // Damage is told or thrown; where there is one way only to undo it, the definition is that.
  // Throws DatabaseError when it cannot be read.
  [[nodiscard]] StoredDefinition ReadDefinition(const std::string& name, std::uint32_t page);
  // Pages of the rows of the table with that definition, as far as can be told; for a glance.
  [[nodiscard]] std::vector<std::uint32_t> PagesOfRows(std::span<const std::byte> definition,
                                                       std::uint32_t page);
  // A table of the engine's own; while somebody listens to damage, also when its definition cannot
  // be relied on.
  [[nodiscard]] std::shared_ptr<const StoredTable> OpenSystemTable(
      std::string_view name, std::uint32_t page, std::span<const SystemColumn> columns);
  // Brings the lists up to date.
  void Refresh();
  void ReadObjects();
  void ReadObject(const StoredRow& row, const ObjectColumns& columns, const StoredTable& objects);
  // The definition of a listed table; where it is not what is known of the table, or cannot be
  // read, one that fits, if there is one.
  [[nodiscard]] StoredDefinition FindDefinition(const Object& object);
  // Where the only definition that fits what is known of the table begins, apart from those of
  // other known tables; while somebody listens to damage.
  [[nodiscard]] std::optional<std::uint32_t> GuessDefinition(std::string_view name);
  // The second one only while somebody listens to damage.
  [[nodiscard]] const KnownTable* FindExpectation(std::string_view name) const;
  [[nodiscard]] const KnownTable* FindKnownTable(std::string_view name) const;
  [[nodiscard]] const KnownQuery* FindKnownQuery(std::string_view name) const;
  template <typename Known>
  [[nodiscard]] const Known* FindByName(const std::vector<Known>& known,
                                        std::string_view name) const;
  [[nodiscard]] std::shared_ptr<const StoredQuery> MakeSubstituteFor(const KnownQuery& known);
  [[nodiscard]] const StoredTable& QueriesTable();
  [[nodiscard]] StoredQuery ReadQuery(const Object& object);

  const text::CodePageConverter& converter_;
  OpenOptions options_;
  DamageReporter damage_;
  PageFile file_;
  PageSurvey survey_;
  std::uint64_t generation_ = 1;
  bool isRead_ = false;  // whether the lists are those of the file as it is
  ObjectList tables_;
  ObjectList queries_;
  std::vector<LinkedTable> links_;
  std::unordered_set<std::uint32_t> tablePages_;
  std::unordered_set<std::string> replacedQueries_;  // in ASCII lower case
  std::shared_ptr<const StoredTable> queriesTable_;
  std::unordered_map<std::uint32_t, std::shared_ptr<const StoredTable>> openTables_;  // by page
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_CATALOG_JET_CATALOG_H_
