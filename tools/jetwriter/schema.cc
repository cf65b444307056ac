#include "jetwriter/schema.h"

namespace nimport::jetwriter {
namespace {

std::optional<std::string> NullIfEmpty(const std::string& text) {
  return text.empty() ? std::nullopt : std::optional(text);
}

QueryRowSpec ToOptionsRow(const SelectSpec& select) {
  int options = 0;
  if (select.columns.empty()) options |= jet::OPTION_ALL_FIELDS;
  if (select.isDistinct) options |= jet::OPTION_DISTINCT;
  if (select.isDistinctRow) options |= jet::OPTION_DISTINCTROW;
  if (select.top) options |= jet::OPTION_TOP;
  if (select.isTopPercent) options |= jet::OPTION_PERCENT;
  QueryRowSpec row{.attribute = jet::ATTRIBUTE_OPTIONS, .flag = static_cast<std::int16_t>(options)};
  if (select.top) row.name1 = std::to_string(*select.top);
  return row;
}

}  // namespace

std::vector<QueryRowSpec> ToQueryRows(const SelectSpec& select) {
  std::vector<QueryRowSpec> rows = {
      {.attribute = jet::ATTRIBUTE_START, .flag = 0},
      {.attribute = jet::ATTRIBUTE_KIND, .flag = jet::KIND_SELECT},
      ToOptionsRow(select),
  };
  for (const QuerySource& source : select.sources) {
    rows.push_back({.attribute = jet::ATTRIBUTE_SOURCE,
                    .name1 = source.table,
                    .name2 = NullIfEmpty(source.alias)});
  }
  for (const QueryColumn& column : select.columns) {
    rows.push_back({.attribute = jet::ATTRIBUTE_COLUMN,
                    .flag = 0,
                    .name1 = NullIfEmpty(column.alias),
                    .expression = column.expression});
  }
  for (const QueryJoin& join : select.joins) {
    rows.push_back({.attribute = jet::ATTRIBUTE_JOIN,
                    .flag = static_cast<std::int16_t>(join.kind),
                    .name1 = join.left,
                    .name2 = join.right,
                    .expression = join.condition});
  }
  if (!select.where.empty()) {
    rows.push_back({.attribute = jet::ATTRIBUTE_WHERE, .expression = select.where});
  }
  for (const QueryOrder& order : select.orderBy) {
    QueryRowSpec row{.attribute = jet::ATTRIBUTE_ORDER_BY, .expression = order.expression};
    if (order.isDescending) row.name1 = jet::ORDER_DESCENDING;
    rows.push_back(row);
  }
  rows.push_back({.attribute = jet::ATTRIBUTE_END});
  return rows;
}

}  // namespace nimport::jetwriter
