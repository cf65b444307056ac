// What the system tables say: which tables and stored queries a database holds.
#ifndef NIMPORT_JET_CATALOG_CATALOG_H_
#define NIMPORT_JET_CATALOG_CATALOG_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/query/expression/query_budget.h"
#include "jet/storage/table.h"

namespace nimport::jet {

// A row of MSysQueries. Texts are UTF-8 without trailing NULs; null reads as empty.
struct QueryRow {
  std::uint8_t attribute = 0;
  std::string order;  // the stored bytes; rows come sorted by (attribute, order)
  std::string name1;
  std::string name2;
  std::string expression;
  std::optional<std::int16_t> flag;
};

// A stored query as the catalog holds it.
struct StoredQuery {
  std::string name;         // UTF-8
  std::uint32_t flags = 0;  // of its object; bits 0xF0 tell its kind
  std::vector<QueryRow> rows;
};

// What is read of one stored query. Jet's own limits are 255 columns, 32 tables and some 64,000
// characters in all; these only bound what a damaged query can ask for.
inline constexpr std::size_t MAX_QUERY_ROWS = 4096;
inline constexpr std::size_t MAX_QUERY_TEXT_BYTES = std::size_t{4} << 20;

// Gives the evaluation of queries what it needs of a database. Names are UTF-8 and compare without
// regard to the case of ASCII letters. Throws DatabaseError.
class Catalog {
 public:
  virtual ~Catalog() = default;

  // Null when there is no such table or query. What was handed out lives on when the file changes,
  // but tells of the file as it was; see Generation().
  [[nodiscard]] virtual std::shared_ptr<const Table> FindTable(std::string_view name) = 0;
  [[nodiscard]] virtual std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) = 0;

  // Looks whether the file has changed; a new number after it has. Everything made from an older
  // generation must be made again.
  [[nodiscard]] virtual std::uint64_t Generation() = 0;

  // For each query.
  [[nodiscard]] virtual QueryLimits Limits() const = 0;

  [[nodiscard]] virtual const std::string& FileName() const = 0;  // UTF-8, for messages
  [[nodiscard]] virtual unsigned TextCodePage() const = 0;
  [[nodiscard]] virtual const TextConverter& Converter() const = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_CATALOG_CATALOG_H_
