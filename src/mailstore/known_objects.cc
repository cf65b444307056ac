#include "mailstore/known_objects.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "mailstore/mail_kinds.h"

namespace nimport::mailstore {
namespace {

constexpr const char* MAIL_TABLE = "DataTBL";
constexpr const char* KEY_COLUMN = "DataNo";
// What follows a table's name in that of its query.
constexpr std::string_view QUERY_WORD = "\xB8\xB4\xD8\xB0";

// Those of the kind's columns that stand in its own table.
void AddUsualColumns(const MailKindColumns& kind, std::vector<std::string>& names) {
  for (const std::string_view column :
       {kind.titleColumn, kind.originatorIdColumn, kind.originatorNameColumn, kind.recipientColumn,
        kind.textColumn, kind.sizeColumn, kind.filePathColumn}) {
    const bool isElsewhere = column.empty() || column == "DataTitle";
    if (!isElsewhere && std::ranges::find(names, column) == names.end()) names.emplace_back(column);
  }
}

void AddKind(const MailKindColumns& kind, jet::KnownObjects& known) {
  std::string_view tableName = kind.queryName;
  if (!tableName.ends_with(QUERY_WORD)) return;
  tableName.remove_suffix(QUERY_WORD.size());
  auto table = std::ranges::find(known.tables, tableName, &jet::KnownTable::name);
  if (table == known.tables.end()) {
    known.tables.push_back(
        {.name = std::string(tableName), .columns = {}, .usualColumns = {KEY_COLUMN}});
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
  jet::KnownObjects known;
  known.tables = {
      {.name = "CabinetTBL", .columns = {"CabinetNo", "CabinetName"}, .usualColumns = {}},
      {.name = "FolderTBL", .columns = {"FolderNo", "CabinetNo", "FolderName"}, .usualColumns = {}},
      {.name = MAIL_TABLE, .columns = {KEY_COLUMN, "FolderNo", "DataType"}, .usualColumns = {}}};
  for (const MailKindColumns& kind : AllMailKindColumns())
    AddKind(kind, known);
  return known;
}

}  // namespace nimport::mailstore
