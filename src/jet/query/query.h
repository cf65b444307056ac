// Evaluation of stored select queries over tables of the catalog.
#ifndef NIMPORT_JET_QUERY_QUERY_H_
#define NIMPORT_JET_QUERY_QUERY_H_

#include <memory>
#include <string_view>

#include "jet/catalog/catalog.h"
#include "jet/recordset.h"

namespace nimport::jet {

// A stored query, read and bound to its sources. Indexes that lookups build are kept in it, so it
// is made once per generation of the catalog and shared by all who open the query.
class PreparedQuery;

// Throws DatabaseError naming what the query asks for beyond what is evaluated. `name` is UTF-8.
[[nodiscard]] std::shared_ptr<PreparedQuery> PrepareQuery(Catalog& catalog, std::string_view name);

// Column names come out in the catalog's text code page.
[[nodiscard]] const std::vector<ColumnInfo>& ColumnsOf(const PreparedQuery& query);
[[nodiscard]] std::unique_ptr<Recordset> OpenRecordset(std::shared_ptr<PreparedQuery> query);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_QUERY_H_
