// Tables and stored queries in memory, so that a test can state the rows that it is about.
#ifndef NIMPORT_TESTS_JET_MEMORY_CATALOG_H_
#define NIMPORT_TESTS_JET_MEMORY_CATALOG_H_

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "jet/catalog/catalog.h"
#include "jet/query/query.h"
#include "tests/jet/iconv_converter.h"
#include "text/ascii_case.h"

namespace nimport::jet {

class MemoryTable final : public Table {
 public:
  using Cells = std::vector<Value>;

  MemoryTable(std::string name, std::vector<std::pair<std::string, ColumnType>> columns,
              std::vector<Cells> rows)
      : name_(std::move(name)), rows_(std::move(rows)) {
    for (const auto& [columnName, type] : columns) {
      columns_.push_back({.name = columnName, .type = type});
    }
  }

  [[nodiscard]] const std::string& Name() const override { return name_; }
  [[nodiscard]] const std::vector<Column>& Columns() const override { return columns_; }
  [[nodiscard]] std::optional<std::size_t> FindColumn(std::string_view name) const override {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (EqualsIgnoringAsciiCase(columns_[i].name, name)) return i;
    }
    return std::nullopt;
  }

  [[nodiscard]] std::unique_ptr<TableScan> OpenScan() const override {
    return std::make_unique<Scan>(*this);
  }
  [[nodiscard]] std::unique_ptr<Row> ReadRow(RowId id) const override {
    const std::size_t index = ToIndex(id);
    if (index >= rows_.size()) return nullptr;
    ++rowsRead;
    auto row = std::make_unique<Scan>(*this);
    row->index = static_cast<std::ptrdiff_t>(index);
    return row;
  }
  [[nodiscard]] std::span<const IndexEntry> IntegerIndex(std::size_t column) const override {
    auto [found, isNew] = indexes_.try_emplace(column);
    if (isNew) {
      for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (const auto value = ToInteger(rows_[i][column])) {
          found->second.push_back({*value, ToId(i)});
        }
      }
      std::sort(found->second.begin(), found->second.end(),
                [](const IndexEntry& a, const IndexEntry& b) {
                  return a.value != b.value ? a.value < b.value : a.id < b.id;
                });
    }
    return found->second;
  }

  [[nodiscard]] const std::vector<Cells>& Rows() const { return rows_; }

  // What was asked for, building indexes left out.
  mutable std::size_t rowsScanned = 0;
  mutable std::size_t rowsRead = 0;

 private:
  static constexpr std::size_t ROWS_PER_PAGE = 7;
  static RowId ToId(std::size_t index) {
    return {static_cast<std::uint32_t>((index / ROWS_PER_PAGE + 1) << 8 | index % ROWS_PER_PAGE)};
  }
  static std::size_t ToIndex(RowId id) { return (id.Page() - 1) * ROWS_PER_PAGE + id.Slot(); }

  struct Scan final : TableScan {
    explicit Scan(const MemoryTable& scanned) : table(scanned) {}
    bool Next() override {
      ++table.rowsScanned;
      return static_cast<std::size_t>(++index) < table.rows_.size();
    }
    void ContinueAfter(RowId id) override { index = static_cast<std::ptrdiff_t>(ToIndex(id)); }
    [[nodiscard]] RowId Id() const override { return ToId(static_cast<std::size_t>(index)); }
    [[nodiscard]] Value Get(std::size_t column) const override {
      return table.rows_.at(static_cast<std::size_t>(index)).at(column);
    }
    [[nodiscard]] std::optional<std::int32_t> GetInteger(std::size_t column) const override {
      return ToInteger(Get(column));
    }
    const MemoryTable& table;
    std::ptrdiff_t index = -1;
  };

  std::string name_;
  std::vector<Column> columns_;
  std::vector<Cells> rows_;
  mutable std::map<std::size_t, std::vector<IndexEntry>> indexes_;
};

// The rows of a stored query, by clause.
class QueryRows {
 public:
  explicit QueryRows(std::string name, std::uint32_t flags = 0) {
    query_.name = std::move(name);
    query_.flags = flags;
  }

  QueryRows& From(const std::string& source, const std::string& alias = {}) {
    return Add(5, source, alias, {});
  }
  QueryRows& Column(const std::string& expression, const std::string& alias = {}) {
    return Add(6, alias, {}, expression, 0);
  }
  QueryRows& Join(int kind, const std::string& left, const std::string& right,
                  const std::string& condition) {
    return Add(7, left, right, condition, kind);
  }
  QueryRows& Where(const std::string& condition) { return Add(8, {}, {}, condition); }
  QueryRows& OrderBy(const std::string& expression, bool isDescending = false) {
    return Add(11, isDescending ? "D" : "", {}, expression);
  }
  QueryRows& Options(int bits, const std::string& top = {}) { return Add(3, top, {}, {}, bits); }

  QueryRows& Add(int attribute, const std::string& name1, const std::string& name2,
                 const std::string& expression, std::optional<int> flag = std::nullopt) {
    QueryRow row;
    row.attribute = static_cast<std::uint8_t>(attribute);
    row.name1 = name1;
    row.name2 = name2;
    row.expression = expression;
    if (flag) row.flag = static_cast<std::int16_t>(*flag);
    query_.rows.push_back(row);
    return *this;
  }

  [[nodiscard]] StoredQuery Make() const {
    StoredQuery query = query_;
    std::stable_sort(
        query.rows.begin(), query.rows.end(),
        [](const QueryRow& a, const QueryRow& b) { return a.attribute < b.attribute; });
    return query;
  }

 private:
  StoredQuery query_;
};

class MemoryCatalog final : public Catalog {
 public:
  MemoryTable& AddTable(std::string name, std::vector<std::pair<std::string, ColumnType>> columns,
                        std::vector<MemoryTable::Cells> rows) {
    auto table = std::make_shared<MemoryTable>(name, std::move(columns), std::move(rows));
    tables_[ToAsciiLower(name)] = table;
    return *table;
  }
  void AddQuery(const QueryRows& rows) {
    const StoredQuery query = rows.Make();
    queries_[ToAsciiLower(query.name)] = std::make_shared<StoredQuery>(query);
  }

  // Those of a file of hardly any size.
  QueryLimits limits = QueryLimits::ForFile(0);

  [[nodiscard]] std::shared_ptr<const Table> FindTable(std::string_view name) override {
    const auto found = tables_.find(ToAsciiLower(name));
    return found == tables_.end() ? nullptr : found->second;
  }
  [[nodiscard]] std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) override {
    const auto found = queries_.find(ToAsciiLower(name));
    return found == queries_.end() ? nullptr : found->second;
  }
  [[nodiscard]] std::uint64_t Generation() override { return 1; }
  [[nodiscard]] QueryLimits Limits() const override { return limits; }
  [[nodiscard]] const std::string& FileName() const override { return fileName_; }
  [[nodiscard]] unsigned TextCodePage() const override { return CODE_PAGE_JAPANESE; }
  [[nodiscard]] const TextConverter& Converter() const override { return converter_; }

 private:
  std::string fileName_ = "memory.mdb";
  IconvConverter converter_;
  std::map<std::string, std::shared_ptr<MemoryTable>> tables_;
  std::map<std::string, std::shared_ptr<const StoredQuery>> queries_;
};

// A text cell; `utf8` becomes code page 932.
inline Value Cell(const std::string& utf8) {
  const IconvConverter converter;
  return Text{converter.FromUtf16(converter.ToUtf16(utf8, CODE_PAGE_UTF8), CODE_PAGE_JAPANESE)};
}

// "1 | 東京 | - | 2.5": a value for messages and comparisons, in UTF-8; a hyphen is null.
inline std::string Show(const Value& value) {
  if (IsNull(value)) return "-";
  if (const auto text = ToText(value)) {
    if (std::all_of(text->begin(), text->end(), [](char c) { return c > 0; })) {
      return std::string(*text);
    }
    const IconvConverter converter;
    return converter.FromUtf16(converter.ToUtf16(*text, CODE_PAGE_JAPANESE), CODE_PAGE_UTF8);
  }
  if (const auto integer = ToInteger(value)) return std::to_string(*integer);
  if (const auto* number = std::get_if<double>(&value)) return std::to_string(*number);
  if (const auto* date = std::get_if<Date>(&value)) return "day " + std::to_string(date->days);
  return "?";
}

inline std::string ShowRow(const Recordset& rows, std::size_t columns) {
  std::string text;
  for (std::size_t i = 0; i < columns; ++i) {
    if (i > 0) text += " | ";
    text += Show(rows.GetFieldValue(i));
  }
  return text;
}

inline std::vector<std::string> ShowRows(Recordset& rows, std::size_t columns) {
  std::vector<std::string> all;
  for (rows.MoveFirst(); !rows.IsEof(); rows.MoveNext())
    all.push_back(ShowRow(rows, columns));
  return all;
}

inline std::vector<std::string> RunQuery(Catalog& catalog, const std::string& name) {
  const auto query = PrepareQuery(catalog, name);
  return ShowRows(*OpenRecordset(query), ColumnsOf(*query).size());
}

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_MEMORY_CATALOG_H_
