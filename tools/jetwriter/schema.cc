#include "jetwriter/schema.h"

namespace nimport::jetwriter {
namespace {

jet::QueryRow ToOptionsRow(const jet::SelectStatement& select) {
  int options = 0;
  if (select.columns.empty()) options |= jet::OPTION_ALL_FIELDS;
  if (select.isDistinct) options |= jet::OPTION_DISTINCT;
  if (select.isDistinctRow) options |= jet::OPTION_DISTINCTROW;
  if (select.top) options |= jet::OPTION_TOP;
  if (select.isTopPercent) options |= jet::OPTION_PERCENT;
  return {.attribute = jet::ATTRIBUTE_OPTIONS,
          .name1 = select.top ? std::to_string(*select.top) : "",
          .flag = static_cast<std::int16_t>(options)};
}

}  // namespace

std::vector<jet::QueryRow> ToQueryRows(const jet::SelectStatement& select) {
  std::vector<jet::QueryRow> rows = {
      {.attribute = jet::ATTRIBUTE_START, .flag = 0},
      {.attribute = jet::ATTRIBUTE_KIND, .flag = jet::KIND_SELECT},
      ToOptionsRow(select),
  };
  for (const auto& source : select.sources) {
    rows.push_back(
        {.attribute = jet::ATTRIBUTE_SOURCE, .name1 = source.name, .name2 = source.alias});
  }
  for (const auto& column : select.columns) {
    rows.push_back({.attribute = jet::ATTRIBUTE_COLUMN,
                    .name1 = column.alias,
                    .expression = column.expression,
                    .flag = 0});
  }
  for (const auto& join : select.joins) {
    rows.push_back({.attribute = jet::ATTRIBUTE_JOIN,
                    .name1 = join.left,
                    .name2 = join.right,
                    .expression = join.condition,
                    .flag = static_cast<std::int16_t>(join.kind)});
  }
  for (const std::string& condition : select.conditions)
    rows.push_back({.attribute = jet::ATTRIBUTE_WHERE, .expression = condition});
  for (const auto& order : select.order) {
    rows.push_back({.attribute = jet::ATTRIBUTE_ORDER_BY,
                    .name1 = std::string(order.isDescending ? jet::ORDER_DESCENDING : ""),
                    .expression = order.expression});
  }
  rows.push_back({.attribute = jet::ATTRIBUTE_END});
  return rows;
}

}  // namespace nimport::jetwriter
