#include "store/known_objects.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "store/mails/mail_kinds.h"

namespace nimport::store {
namespace {

constexpr const char* MAIL_TABLE = "DataTBL";
constexpr const char* KEY_COLUMN = "DataNo";
// What follows a table's name in that of its query.
constexpr std::string_view QUERY_WORD = "\xB8\xB4\xD8\xB0";

// Those of the kind's columns that stand in its own table.
void AddUsualColumns(const MailKindColumns& kind, std::vector<jet::KnownColumn>& known) {
  using jet::ColumnUse;
  // The size column of one kind is a text.
  const ColumnUse size =
      kind.sizeColumn == kind.filePathColumn ? ColumnUse::Text : ColumnUse::Number;
  const std::pair<std::string_view, ColumnUse> columns[] = {
      {kind.titleColumn, ColumnUse::Text},          {kind.originatorIdColumn, ColumnUse::Text},
      {kind.originatorNameColumn, ColumnUse::Text}, {kind.recipientColumn, ColumnUse::Text},
      {kind.textColumn, ColumnUse::Text},           {kind.sizeColumn, size},
      {kind.filePathColumn, ColumnUse::Text}};
  for (const auto& [name, use] : columns) {
    const bool isElsewhere = name.empty() || name == "DataTitle";
    if (!isElsewhere && std::ranges::find(known, name, &jet::KnownColumn::name) == known.end()) {
      known.emplace_back(std::string(name), use);
    }
  }
}

void AddKind(const MailKindColumns& kind, jet::KnownObjects& known) {
  std::string_view tableName = kind.queryName;
  if (!tableName.ends_with(QUERY_WORD)) return;
  tableName.remove_suffix(QUERY_WORD.size());
  auto table = std::ranges::find(known.tables, tableName, &jet::KnownTable::name);
  if (table == known.tables.end()) {
    known.tables.push_back({.name = std::string(tableName),
                            .columns = {},
                            .usualColumns = {{KEY_COLUMN, jet::ColumnUse::Number}}});
    table = std::prev(known.tables.end());
    known.queries.push_back({.name = std::string(kind.queryName),
                             .table = std::string(tableName),
                             .joined = MAIL_TABLE,
                             .key = KEY_COLUMN});
  }
  AddUsualColumns(kind, table->usualColumns);
}

}  // namespace

jet::KnownObjects KnownMailObjects() {
  using jet::ColumnUse;
  jet::KnownObjects known;
  known.tables = {
      {.name = "CabinetTBL",
       .columns = {{"CabinetNo", ColumnUse::Number}, {"CabinetName", ColumnUse::Text}},
       .usualColumns = {}},
      {.name = "FolderTBL",
       .columns = {{"FolderNo", ColumnUse::Number},
                   {"CabinetNo", ColumnUse::Number},
                   {"FolderName", ColumnUse::Text}},
       .usualColumns = {}},
      {.name = MAIL_TABLE,
       .columns = {{KEY_COLUMN, ColumnUse::Number},
                   {"FolderNo", ColumnUse::Number},
                   {"DataType", ColumnUse::Number}},
       .usualColumns = {},
       .otherColumns = {{"DataTitle", ColumnUse::Text}, {"DataTime", ColumnUse::Date}}}};
  for (const MailKindColumns& kind : AllMailKindColumns())
    AddKind(kind, known);
  const std::pair<const char*, jet::KnownColumn> others[] = {
      {"EmRcvText", {"EmailMode", ColumnUse::Number}},
      {"EmSMail", {"ForwardText", ColumnUse::Text}},
      {"EmRcvBin", {"MailID", ColumnUse::Text}}};
  for (const auto& [tableName, column] : others) {
    const auto table = std::ranges::find(known.tables, tableName, &jet::KnownTable::name);
    if (table != known.tables.end()) table->otherColumns.push_back(column);
  }
  return known;
}

jet::KnownObjects KnownMailObjects(const text::CodePageConverter& text, unsigned codePage) {
  jet::KnownObjects known = KnownMailObjects();
  // All names are ASCII but those of the queries.
  for (jet::KnownQuery& query : known.queries)
    query.name = text.FromUtf16(text.ToUtf16(query.name, text::CODE_PAGE_JAPANESE), codePage);
  return known;
}

}  // namespace nimport::store
