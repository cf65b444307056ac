#include "mkstore/store_table.h"

#include <algorithm>
#include <limits>

#include "common/utf8_path.h"
#include "jetwriter/write_error.h"
#include "mkstore/default_schema.h"
#include "mkstore/query_description.h"

namespace nimport::mkstore {
namespace {

using jet::ColumnType;
using jetwriter::RowForm;

constexpr const char* MAIL_DATABASE = "Cabdata.mdb";

// What the rows hold in a column that was deleted: something, so that a reader that takes it for a
// living column shows it.
jet::Value MakeDeadValue(const jetwriter::ColumnSpec& column) {
  switch (column.type) {
    case ColumnType::Boolean:
      return true;
    case ColumnType::Byte:
    case ColumnType::Integer:
    case ColumnType::Long:
    case ColumnType::Single:
    case ColumnType::Double:
      return std::int32_t{99};
    case ColumnType::DateTime:
      return jet::Date{1.5};
    case ColumnType::Text:
    case ColumnType::Memo:
      return jet::Text{"(deleted)"};
    default:
      return {};
  }
}

// A number as a value of that type.
jet::Value ToNumberValue(ColumnType type, std::int64_t number) {
  const auto fit = [number]<typename T>(T) {
    return static_cast<T>(std::clamp<std::int64_t>(number, std::numeric_limits<T>::min(),
                                                   std::numeric_limits<T>::max()));
  };
  switch (type) {
    case ColumnType::Byte:
      return fit(std::uint8_t{});
    case ColumnType::Integer:
      return fit(std::int16_t{});
    case ColumnType::Text:
    case ColumnType::Memo:
      return jet::Text{std::to_string(number)};
    default:
      return fit(std::int32_t{});
  }
}

std::size_t ReadEvery(const Node& changes, std::string_view member) {
  return static_cast<std::size_t>(changes.IntegerOr(member, 0, 0, 1'000'000'000));
}

TableHistory ReadHistory(const Node& changes, std::size_t columnCount) {
  TableHistory history;
  history.movedEvery = ReadEvery(changes, "movedEvery");
  history.deletedEvery = ReadEvery(changes, "deletedEvery");
  history.deletedKeepBytes = changes.BoolOr("deletedKeepBytes", false);
  if (const std::optional<Node> added = changes.Find("addedColumns")) {
    added->ExpectMembers({"count", "afterRows"});
    history.addedColumns = static_cast<std::size_t>(
        added->At("count").ToInteger(1, static_cast<std::int64_t>(columnCount) - 1));
    history.addedAfterRows = ReadEvery(*added, "afterRows");
  }
  return history;
}

void InsertDeletedColumns(const Node& changes, std::vector<jetwriter::ColumnSpec>& columns) {
  for (const Node& deleted : changes.ElementsOf("deletedColumns")) {
    deleted.ExpectMembers({"column", "before"});
    jetwriter::ColumnSpec column = ReadColumn(deleted.At("column"));
    column.isDeleted = true;
    const std::string before = deleted.At("before").ToText();
    const auto place = std::ranges::find(columns, before, &jetwriter::ColumnSpec::name);
    if (place == columns.end()) deleted.At("before").Fail("the table has no such column");
    columns.insert(place, column);
  }
}

}  // namespace

std::optional<std::size_t> StoreTable::FindColumn(std::string_view name) const {
  for (std::size_t id = 0; id < Columns().size(); ++id) {
    if (!Columns()[id].isDeleted && Columns()[id].name == name) return id;
  }
  return std::nullopt;
}

void StoreTable::AddRow(std::vector<jet::Value> values, const Node& place) {
  try {
    Write(std::move(values));
  } catch (const jetwriter::WriteError& error) {
    place.Fail(error.what());
  }
}

void StoreTable::Write(std::vector<jet::Value> values) {
  for (std::size_t id = 0; id < values.size(); ++id) {
    if (Columns()[id].isDeleted) values[id] = MakeDeadValue(Columns()[id]);
  }
  ++rows_;
  jetwriter::RowOptions options;
  if (rows_ <= history_.addedAfterRows) {
    options.columnCount = values.size() - history_.addedColumns;
    for (std::size_t id = options.columnCount; id < values.size(); ++id) {
      if (jet::IsNull(values[id]) || values[id] == jet::Value(false)) continue;
      throw jetwriter::WriteError("table \"" + Name() + "\", column \"" + Columns()[id].name +
                                  "\": the row is older than the column and has no value for it");
    }
    values.resize(options.columnCount);
  }
  if (history_.movedEvery != 0 && rows_ % history_.movedEvery == 0) options.form = RowForm::Moved;
  writer_->AddRow(values, options);
  if (history_.deletedEvery != 0 && rows_ % history_.deletedEvery == 0) {
    options.form = history_.deletedKeepBytes ? RowForm::DeletedWithBytes : RowForm::Deleted;
    writer_->AddRow(values, options);
  }
}

void StoreRow::Set(std::string_view column, jet::Value value) {
  if (const std::optional<std::size_t> id = table_->FindColumn(column)) {
    values_[*id] = std::move(value);
  }
}

bool StoreRow::Read(std::string_view column, const Node& node) {
  const std::optional<std::size_t> id = table_->FindColumn(column);
  if (id) values_[*id] = ReadValue(node, table_->Columns()[*id]);
  return id.has_value();
}

void StoreRow::ReadMember(std::string_view column, const Node& parent, std::string_view member) {
  if (const std::optional<Node> value = parent.Find(member)) Read(column, *value);
}

void StoreRow::ReadAll(const Node& node) {
  for (const auto& [column, value] : node.Members()) {
    if (!Read(column, value)) value.Fail("the table has no such column");
  }
}

void StoreRow::SetNumber(std::string_view column, std::int64_t number) {
  const std::optional<std::size_t> id = table_->FindColumn(column);
  if (id) values_[*id] = ToNumberValue(table_->Columns()[*id].type, number);
}

StoreDatabase::StoreDatabase(const std::string& name, const std::filesystem::path& directory,
                             const jetwriter::WriterOptions& options, const Node& description)
    : name_(name), writer_(directory / PathFromUtf8(name), options) {
  const Node defaults = Node(DefaultSchema(), "").At(name);
  const std::optional<Node> changes = description.Find("tables");
  for (const Node& table : defaults.ElementsOf("tables")) {
    const std::string tableName = table.At("name").ToText();
    AddTable(tableName, table.ElementsOf("columns"),
             changes ? changes->Find(tableName) : std::nullopt);
  }
  for (const Node& table : description.ElementsOf("extraTables")) {
    if (table.TextOr("database", MAIL_DATABASE) != name) continue;
    AddTable(table.At("name").ToText(), table.ElementsOf("columns"), table);
    for (const Node& row : table.ElementsOf("rows")) {
      StoreRow values(tables_.back());
      values.ReadAll(row);
      tables_.back().AddRow(values.Take(), row);
    }
  }
  for (const Node& link : description.ElementsOf("linkedTables")) {
    link.ExpectMembers({"database", "name", "file", "connect", "table"});
    if (link.TextOr("database", MAIL_DATABASE) != name) continue;
    writer_.AddLinkedTable({.name = link.At("name").ToText(),
                            .database = link.TextOr("file", ""),
                            .connect = link.TextOr("connect", ""),
                            .foreignName = link.TextOr("table", "")});
  }
  AddQueries(defaults, description.Find("queries"));
}

void StoreDatabase::AddTable(const std::string& name, const std::vector<Node>& columns,
                             const std::optional<Node>& changes) {
  jetwriter::TableSpec spec{.name = name, .columns = {}};
  TableHistory history;
  const bool isReplaced = changes && changes->Has("columns");
  for (const Node& column : isReplaced ? changes->ElementsOf("columns") : columns) {
    spec.columns.push_back(ReadColumn(column));
  }
  if (changes) {
    changes->ExpectMembers({"database", "name", "columns", "rows", "movedEvery", "deletedEvery",
                            "deletedKeepBytes", "deletedColumns", "addedColumns"});
    history = ReadHistory(*changes, spec.columns.size());
    InsertDeletedColumns(*changes, spec.columns);
  }
  tables_.emplace_back(writer_.AddTable(spec), history);
}

void StoreDatabase::AddQueries(const Node& defaults, const std::optional<Node>& changes) {
  const std::vector<Node> usual = defaults.ElementsOf("queries");
  for (const Node& query : usual) {
    const std::string queryName = query.At("name").ToText();
    const std::optional<Node> change = changes ? changes->Find(queryName) : std::nullopt;
    if (change && change->IsNull()) continue;
    writer_.AddQuery(ReadQuery(queryName, change ? *change : query));
  }
  if (!changes) return;
  for (const auto& [queryName, query] : changes->Members()) {
    const bool isUsual = std::ranges::any_of(
        usual, [&](const Node& node) { return node.At("name").ToText() == queryName; });
    if (isUsual || query.IsNull() || query.TextOr("database", MAIL_DATABASE) != name_) continue;
    writer_.AddQuery(ReadQuery(queryName, query));
  }
}

StoreTable* StoreDatabase::FindTable(std::string_view name) {
  const auto table = std::ranges::find(tables_, name, &StoreTable::Name);
  return table == tables_.end() ? nullptr : &*table;
}

StoreTable& StoreDatabase::Table(std::string_view name, const Node& place) {
  StoreTable* table = FindTable(name);
  if (table == nullptr) place.Fail("there is no table \"" + std::string(name) + "\"");
  return *table;
}

}  // namespace nimport::mkstore
