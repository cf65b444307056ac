#include "jet/query/query.h"

#include <utility>

#include "jet/query/query_recordset.h"

namespace nimport::jet {

std::shared_ptr<PreparedQuery> PrepareQuery(Catalog& catalog, std::string_view name) {
  return std::make_shared<PreparedQuery>(catalog, name);
}

const std::vector<ColumnInfo>& ColumnsOf(const PreparedQuery& query) {
  return query.Columns();
}

std::unique_ptr<Recordset> OpenRecordset(std::shared_ptr<PreparedQuery> query) {
  return std::make_unique<QueryRecordset>(std::move(query));
}

}  // namespace nimport::jet
