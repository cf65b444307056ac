#include "jet/salvage/query_substitute.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "jet/storage/stored_table.h"
namespace nimport::jet {
namespace {

// MSysQueries.Order; 0 when it cannot be that.
std::uint32_t OrderOf(const QueryRow& row) {
  if (row.order.size() != 4) return 0;
  std::uint32_t order = 0;
  for (const char byte : row.order)
    order = order << 8 | static_cast<unsigned char>(byte);
  return order;
}

std::string ColumnName(const StoredTable& table, const Column& column) {
  return '[' + table.Name() + "].[" + column.name + ']';
}

}  // namespace

bool LooksWhole(const StoredQuery& query) {
  std::array<std::size_t, 256> counts{};
  for (const QueryRow& row : query.rows) {
    // Rows come sorted by attribute and order.
    if (OrderOf(row) != ++counts[row.attribute]) return false;
  }
  const std::size_t sources = counts[ATTRIBUTE_SOURCE];
  return counts[ATTRIBUTE_START] == 1 && counts[ATTRIBUTE_END] == 1 && sources > 0 &&
         counts[ATTRIBUTE_JOIN] + counts[ATTRIBUTE_WHERE] + 1 >= sources;
}

StoredQuery MakeSubstitute(const std::string& name, const StoredTable& table,
                           const StoredTable& joined, const std::string& key) {
  StoredQuery query{.name = name, .flags = QUERY_SELECT, .rows = {}};
  const auto add = [&](std::uint8_t attribute) -> QueryRow& {
    QueryRow& row = query.rows.emplace_back();
    row.attribute = attribute;
    return row;
  };
  add(ATTRIBUTE_SOURCE).name1 = table.Name();
  add(ATTRIBUTE_SOURCE).name1 = joined.Name();
  for (const Column& column : table.Columns())
    add(ATTRIBUTE_COLUMN).expression = ColumnName(table, column);
  for (const Column& column : joined.Columns()) {
    if (!table.FindColumn(column.name)) {
      add(ATTRIBUTE_COLUMN).expression = ColumnName(joined, column);
    }
  }
  QueryRow& join = add(ATTRIBUTE_JOIN);
  join.flag = static_cast<std::int16_t>(JoinKind::Inner);
  join.name1 = table.Name();
  join.name2 = joined.Name();
  join.expression = '[' + table.Name() + "].[" + key + "]=[" + joined.Name() + "].[" + key + ']';
  return query;
}

}  // namespace nimport::jet
