// Tables and stored queries that a test states row by row.
#ifndef NIMPORT_TESTS_JET_TEST_CATALOG_H_
#define NIMPORT_TESTS_JET_TEST_CATALOG_H_

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "jet/catalog/jet_catalog.h"
#include "jet/format/name_text.h"
#include "jet/query/query_recordset.h"
#include "jet/storage/stored_table.h"
#include "tests/jet/generated_database.h"
#include "text/ascii.h"
#include "text/code_page_converter.h"

namespace nimport::jet {

using Cells = std::vector<Value>;
using ColumnTypes = std::vector<std::pair<std::string, ColumnType>>;

// The rows of a stored query, by clause.
class QueryRows {
 public:
  explicit QueryRows(std::string name, std::uint32_t flags = 0) {
    query_.name = std::move(name);
    query_.flags = flags;
  }

  // Lists as SQL has them: "Orders o, Goods"; "o.No, Price*2 AS Twice".
  QueryRows& Select(const std::string& sources, const std::string& columns = {}) {
    for (const auto& [source, alias] : Split(sources, " "))
      From(source, alias);
    for (const auto& [expression, alias] : Split(columns, " AS "))
      Column(expression, alias);
    return *this;
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
  static std::vector<std::pair<std::string, std::string>> Split(std::string list,
                                                                const std::string& mark) {
    std::vector<std::pair<std::string, std::string>> parts;
    for (std::size_t end = 0; !list.empty(); list.erase(0, end + 2)) {
      end = std::min(list.find(", "), list.size());
      const std::string part = list.substr(0, end);
      const std::size_t at = part.find(mark);
      parts.emplace_back(part.substr(0, at), at == part.npos ? "" : part.substr(at + mark.size()));
    }
    return parts;
  }

  StoredQuery query_;
};

// Tables of a database that is written for the test, and stored queries that need none.
class TestCatalog final : public Catalog {
 public:
  void AddTable(std::string name, ColumnTypes columns, std::vector<Cells> rows) {
    tables_.push_back({std::move(name), std::move(columns), std::move(rows)});
    isWritten_ = false;
  }
  void AddQuery(const QueryRows& rows) {
    const StoredQuery query = rows.Make();
    queries_[text::AsciiLower(query.name)] = std::make_shared<StoredQuery>(query);
  }

  // Those of a file of hardly any size.
  QueryLimits limits = QueryLimits::ForFile(0);

  [[nodiscard]] std::shared_ptr<const StoredTable> FindTable(std::string_view name) override {
    return Written().FindTable(name);
  }
  [[nodiscard]] std::shared_ptr<const StoredQuery> FindQuery(std::string_view name) override {
    const auto found = queries_.find(text::AsciiLower(name));
    return found == queries_.end() ? nullptr : found->second;
  }
  [[nodiscard]] std::uint64_t Generation() override { return 1; }
  [[nodiscard]] QueryLimits Limits() const override { return limits; }
  [[nodiscard]] const std::string& FileName() const override { return fileName_; }
  [[nodiscard]] unsigned TextCodePage() const override { return text::CODE_PAGE_JAPANESE; }
  [[nodiscard]] const text::CodePageConverter& Converter() const override { return converter_; }

  // How many pages the tables were asked for.
  [[nodiscard]] std::uint64_t PagesRead() { return Written().File().PagesRead(); }

 private:
  struct TableRows {
    std::string name;
    ColumnTypes columns;
    std::vector<Cells> rows;
  };

  // Earlier ones stay: queries may still read their tables.
  JetCatalog& Written() {
    if (!isWritten_) {
      written_.push_back(std::make_unique<JetCatalog>(
          std::make_unique<MemoryFile>(fileName_, MakeDatabase({},
                                                               [this](auto& writer) {
                                                                 for (const TableRows& table :
                                                                      tables_)
                                                                   Write(table, writer);
                                                               })),
          converter_, OpenOptions{}));
      isWritten_ = true;
    }
    return *written_.back();
  }

  void Write(const TableRows& table, jetwriter::DatabaseWriter& writer) const {
    constexpr std::uint16_t TEXT_SIZE = 255;
    jetwriter::TableSpec spec{.name = table.name, .columns = {}};
    for (const auto& [name, type] : table.columns) {
      jetwriter::ColumnSpec& column = spec.columns.emplace_back();
      column.name = name;
      column.type = type;
      if (type == ColumnType::Text) column.size = TEXT_SIZE;
    }
    jetwriter::TableWriter& target = writer.AddTable(spec);
    for (Cells row : table.rows) {
      for (Value& cell : row) {
        if (auto* text = std::get_if<Text>(&cell)) {
          text->bytes = ToUtf8(text->bytes, text::CODE_PAGE_JAPANESE, converter_);
        }
      }
      target.AddRow(row);
    }
  }

  std::string fileName_ = "memory.mdb";
  text::CodePageConverter converter_;
  std::vector<TableRows> tables_;
  std::vector<std::unique_ptr<JetCatalog>> written_;
  bool isWritten_ = false;
  std::map<std::string, std::shared_ptr<const StoredQuery>> queries_;
};

// A text cell; `utf8` becomes code page 932.
inline Value Cell(const std::string& utf8) {
  const text::CodePageConverter converter;
  return Text{
      converter.FromUtf16(converter.ToUtf16(utf8, text::CODE_PAGE_UTF8), text::CODE_PAGE_JAPANESE)};
}

// "1 | 東京 | - | 2.5": a value for messages and comparisons, in UTF-8; a hyphen is null.
inline std::string Show(const Value& value) {
  if (IsNull(value)) return "-";
  if (const auto text = ToText(value)) {
    if (std::all_of(text->begin(), text->end(), [](char c) { return c > 0; })) {
      return std::string(*text);
    }
    const text::CodePageConverter converter;
    return converter.FromUtf16(converter.ToUtf16(*text, text::CODE_PAGE_JAPANESE),
                               text::CODE_PAGE_UTF8);
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

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_TEST_CATALOG_H_
