#include "mkstore/query_description.h"

#include <limits>

namespace nimport::mkstore {
namespace {

using jet::JoinKind;
using jet::SelectStatement;

JoinKind ReadJoinKind(const Node& node) {
  const std::string kind = node.ToText();
  if (kind == "inner") return JoinKind::Inner;
  if (kind == "left") return JoinKind::Left;
  if (kind == "right") return JoinKind::Right;
  node.Fail("\"inner\", \"left\" or \"right\" is wanted here");
}

SelectStatement::Column ReadQueryColumn(const Node& node) {
  if (!node.IsObject()) return {.expression = node.ToText()};
  node.ExpectMembers({"expression", "as"});
  return {.expression = node.At("expression").ToText(), .alias = node.TextOr("as", "")};
}

SelectStatement::Source ReadSource(const Node& node) {
  if (!node.IsObject()) return {.name = node.ToText()};
  node.ExpectMembers({"table", "as"});
  return {.name = node.At("table").ToText(), .alias = node.TextOr("as", "")};
}

SelectStatement::Join ReadJoin(const Node& node) {
  node.ExpectMembers({"kind", "left", "right", "on"});
  return {.kind = ReadJoinKind(node.At("kind")),
          .left = node.At("left").ToText(),
          .right = node.At("right").ToText(),
          .condition = node.At("on").ToText()};
}

SelectStatement::Order ReadOrder(const Node& node) {
  if (!node.IsObject()) return {.expression = node.ToText()};
  node.ExpectMembers({"expression", "descending"});
  return {.expression = node.At("expression").ToText(),
          .isDescending = node.BoolOr("descending", false)};
}

SelectStatement ReadSelect(const Node& node) {
  node.ExpectMembers({"name", "database", "distinct", "distinctRow", "top", "percent", "columns",
                      "from", "joins", "where", "orderBy"});
  SelectStatement select;
  select.isDistinct = node.BoolOr("distinct", false);
  select.isDistinctRow = node.BoolOr("distinctRow", false);
  select.isTopPercent = node.BoolOr("percent", false);
  if (const std::optional<Node> where = node.Find("where")) {
    select.conditions.push_back(where->ToText());
  }
  if (const std::optional<Node> top = node.Find("top")) {
    select.top =
        static_cast<std::uint32_t>(top->ToInteger(0, std::numeric_limits<std::int32_t>::max()));
  }
  for (const Node& column : node.ElementsOf("columns")) {
    select.columns.push_back(ReadQueryColumn(column));
  }
  for (const Node& source : node.At("from").Elements()) {
    select.sources.push_back(ReadSource(source));
  }
  for (const Node& join : node.ElementsOf("joins"))
    select.joins.push_back(ReadJoin(join));
  for (const Node& order : node.ElementsOf("orderBy"))
    select.order.push_back(ReadOrder(order));
  return select;
}

// Null is written for an empty text.
std::string ReadText(const Node& node, std::string_view name) {
  const std::optional<Node> member = node.Find(name);
  return member && !member->IsNull() ? member->ToText() : "";
}

jet::QueryRow ReadRow(const Node& node) {
  node.ExpectMembers({"attribute", "flag", "name1", "name2", "expression"});
  jet::QueryRow row{.attribute = static_cast<std::uint8_t>(node.At("attribute").ToInteger(0, 255)),
                    .name1 = ReadText(node, "name1"),
                    .name2 = ReadText(node, "name2"),
                    .expression = ReadText(node, "expression")};
  if (const std::optional<Node> flag = node.Find("flag"); flag && !flag->IsNull()) {
    row.flag = static_cast<std::int16_t>(flag->ToInteger(std::numeric_limits<std::int16_t>::min(),
                                                         std::numeric_limits<std::int16_t>::max()));
  }
  return row;
}

}  // namespace

jet::StoredQuery ReadQuery(const std::string& name, const Node& node) {
  if (!node.Has("rows")) return {.name = name, .rows = jetwriter::ToQueryRows(ReadSelect(node))};
  node.ExpectMembers({"name", "database", "kind", "rows"});
  jet::StoredQuery query{.name = name,
                         .flags = static_cast<std::uint32_t>(node.IntegerOr("kind", 0, 0, 0xFF))};
  for (const Node& row : node.ElementsOf("rows"))
    query.rows.push_back(ReadRow(row));
  return query;
}

}  // namespace nimport::mkstore
