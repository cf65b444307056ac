// What the system tables say: which tables and stored queries a database holds.
#ifndef NIMPORT_JET_CATALOG_CATALOG_H_
#define NIMPORT_JET_CATALOG_CATALOG_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "jet/catalog/query_limits.h"
#include "jet/format/stored_query.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

class StoredTable;

// Gives the evaluation of queries what it needs of a database. Names are UTF-8 and compare without
// regard to the case of ASCII letters. Throws DatabaseError.
class Catalog {
 public:
  virtual ~Catalog() = default;

  // Null when there is no such table or query. What was handed out lives on when the file changes,
  // but shows the file as it was; see Generation().
  [[nodiscard]] virtual std::shared_ptr<const StoredTable> FindTable(std::string_view name) = 0;
  [[nodiscard]] virtual std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) = 0;

  // Looks whether the file has changed; a new number after it has. Everything made from an older
  // generation must be made again.
  [[nodiscard]] virtual std::uint64_t Generation() = 0;

  // For each query.
  [[nodiscard]] virtual QueryLimits Limits() const = 0;

  [[nodiscard]] virtual const std::string& FileName() const = 0;  // UTF-8, for messages
  [[nodiscard]] virtual unsigned TextCodePage() const = 0;
  [[nodiscard]] virtual const text::CodePageConverter& Converter() const = 0;
};

}  // namespace nimport::jet

#endif  // NIMPORT_JET_CATALOG_CATALOG_H_
