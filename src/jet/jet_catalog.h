#ifndef NIMPORT_JET_JET_CATALOG_H_
#define NIMPORT_JET_JET_CATALOG_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jet/catalog.h"
#include "jet/damage.h"
#include "jet/page_file.h"
#include "jet/stored_table.h"
#include "jet/text_decoder.h"

namespace nimport::jet {

// The catalog of an open file: its system tables, and the tables and queries that were found in
// them. Everything is forgotten when the file changes.
class JetCatalog final : public Catalog {
 public:
  // Reads the file's header and the list of its objects.
  JetCatalog(std::unique_ptr<RandomAccessFile> file, const TextConverter& converter,
             const OpenOptions& options);

  [[nodiscard]] std::shared_ptr<const Table> FindTable(std::string_view name) override;
  [[nodiscard]] std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) override;
  [[nodiscard]] std::uint64_t Generation() override;
  [[nodiscard]] const std::string& FileName() const override { return file_.Name(); }
  [[nodiscard]] unsigned TextCodePage() const override { return options_.textCodePage; }
  [[nodiscard]] const TextConverter& Converter() const override { return converter_; }

  // As FindTable.
  [[nodiscard]] std::shared_ptr<const StoredTable> FindStoredTable(std::string_view name);

  // User tables and stored queries, UTF-8, in the order of the list of objects.
  [[nodiscard]] std::vector<std::string> TableNames();
  [[nodiscard]] std::vector<std::string> QueryNames();

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

  [[nodiscard]] TextDecoder DecoderTo(unsigned codePage) const;
  [[nodiscard]] std::shared_ptr<const StoredTable> OpenTable(const std::string& name,
                                                             std::uint32_t page, unsigned codePage);
  // Brings the lists up to date.
  void Refresh();
  void ReadObjects();
  [[nodiscard]] const Table& QueriesTable();
  [[nodiscard]] StoredQuery ReadQuery(const Object& object);

  const TextConverter& converter_;
  OpenOptions options_;
  PageFile file_;
  DamageReporter damage_;
  std::uint64_t generation_ = 1;
  bool isRead_ = false;  // whether the lists are those of the file as it is
  ObjectList tables_;
  ObjectList queries_;
  std::shared_ptr<const StoredTable> queriesTable_;
  std::unordered_map<std::uint32_t, std::shared_ptr<const StoredTable>> openTables_;  // by page
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_JET_CATALOG_H_
