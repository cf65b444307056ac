#include "jet/database.h"

#include <algorithm>
#include <random>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/format/jet_layout.h"
#include "tests/jet/generated_database.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::ColumnSpec;
using jetwriter::DatabaseWriter;
using jetwriter::JetVersion;
using jetwriter::WriterOptions;
using Rows = std::vector<std::vector<Value>>;

const text::CodePageConverter CONVERTER;
constexpr JetVersion VERSIONS[] = {JetVersion::Jet3, JetVersion::Jet4};

// `contents` are bytes, or the test's own MemoryFileContents.
template <typename Contents>
std::unique_ptr<Database> Open(Contents contents, const OpenOptions& options = {}) {
  return Database::Open(std::make_unique<MemoryFile>("test.mdb", std::move(contents)), CONVERTER,
                        options);
}

ColumnSpec Column(std::string name, ColumnType type, std::uint16_t size = 0) {
  return {.name = std::move(name), .type = type, .size = size};
}

void ExpectRows(const TableDefinition& table, const Rows& wanted) {
  EXPECT_EQ(table.RecordCount(), wanted.size());
  const auto rows = table.OpenRecordset();
  for (const auto& row : wanted) {
    ASSERT_FALSE(rows->IsEof());
    for (std::size_t column = 0; column < row.size(); ++column) {
      // Not with a macro's message: some values are megabytes.
      if (rows->GetFieldValue(column) == row[column]) continue;
      ADD_FAILURE() << "row " << &row - wanted.data() << ", " << table.Columns()[column].name;
    }
    rows->MoveNext();
  }
  EXPECT_TRUE(rows->IsEof());
}

std::vector<std::byte> MakeEverything(const WriterOptions& options, std::int32_t rows = 120) {
  return MakeDatabase(options, [rows](DatabaseWriter& writer) { AddEverything(writer, rows); });
}

TEST(Database, ReadsEveryTypeInEveryForm) {
  const WriterOptions forms[] = {{},
                                 {.encodingKey = 0x5EC1A110},
                                 {.maxInlineMapBytes = 1},
                                 {.compressText = false, .maxSingleLongValueBytes = 40}};
  Rows wanted;
  for (std::int32_t i = 0; i < 120; ++i)
    wanted.push_back(EverythingRow(i));
  for (WriterOptions options : forms) {
    for (const JetVersion version : VERSIONS) {
      SCOPED_TRACE("key " + std::to_string(options.encodingKey));
      options.version = version;
      const std::vector<std::byte> bytes = MakeEverything(options);
      for (const std::size_t cacheBytes : {std::size_t{1}, OpenOptions().cacheBytes}) {
        const auto database =
            Open(bytes, {.textCodePage = text::CODE_PAGE_UTF8, .cacheBytes = cacheBytes});
        EXPECT_EQ(database->TableNames(), std::vector<std::string>{"Everything"});
        ExpectRows(*database->OpenTable("EVERYTHING"), wanted);
      }
    }
  }
}

// A text that is damaged in its code page is kept as it is.
TEST(Database, NamesAndTextsAreInTheCodePageOfTheDatabase) {
  for (const JetVersion version : VERSIONS) {
    const auto database = Open(MakeDatabase({.version = version}, [](DatabaseWriter& writer) {
      writer.AddTable({.name = "Ab\xE8\xA1\xA8", .columns = EVERYTHING.columns})
          .AddRow(EverythingRow(1));
      writer.AddTable({.name = "T", .columns = {Column("t", ColumnType::Text, 9)}})
          .AddRow(std::vector<Value>{Binary{{std::byte{0x41}, std::byte{0x81}}}});
    }));
    EXPECT_THAT(database->TableNames(), testing::ElementsAre("Ab\x95\x5C", "T"));
    const auto rows = database->OpenTable("aB\x95\x5C")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("\x93\xFA\x95\x74"), Value(Text{"\x95\x5Crow 1"}));
    EXPECT_THROW((void)rows->GetFieldValue("\x93\xFA"), DatabaseError);
    EXPECT_THROW((void)database->OpenTable("Ab"), DatabaseError);
    const Value damaged = database->OpenTable("T")->OpenRecordset()->GetFieldValue("t");
    EXPECT_EQ(damaged, Value(Text{version == JetVersion::Jet3 ? "A\x81" : "?"}));
  }
}

Binary MakeBinary(std::size_t size, std::size_t seed) {
  Binary value;
  for (std::size_t i = 0; i < size; ++i)
    value.bytes.push_back(static_cast<std::byte>(i * 31 + i / 251 + seed));
  return value;
}

// Long values below, at and above every size at which their form changes, and of megabytes.
Rows MakeLongValues() {
  std::vector<std::size_t> sizes = {0, 1, 16, 31, 32, 33, 63, 64, 65, 70'000, 200'001, 5'000'000};
  for (const std::size_t border : {1700, 2032, 3816, 4072, 2 * 2032, 3 * 4072}) {
    for (std::size_t size = border - 2; size <= border + 2; ++size)
      sizes.push_back(size);
  }
  Rows rows;
  for (const std::size_t size : sizes) {
    std::string text(size, 'a');
    for (std::size_t i = 0; i < size; ++i)
      text[i] = static_cast<char>('a' + i % 26);
    rows.push_back({MakeBinary(size, 7), Text{text}, MakeBinary(size / 3, 1)});
  }
  return rows;
}

// Rows whose variable data crosses 256 bytes once, twice and more, at every slot.
Rows MakeRowsOfEveryLength() {
  std::mt19937 random(1);
  Rows rows;
  for (int length = 200; length < 1100; ++length) {
    std::vector<Value> row = {length};
    int left = length;
    for (int i = 0; i < 30; ++i) {
      const int part = std::min(left, i == 29 ? 90 : static_cast<int>(random() % 70));
      left -= part;
      row.push_back(part == 0 && i % 2 == 0
                        ? Value()
                        : Value(Text{std::string(static_cast<std::size_t>(part), 'x')}));
    }
    rows.push_back(row);
  }
  return rows;
}

std::vector<ColumnSpec> MakeColumns(std::size_t count, ColumnType type, std::uint16_t size = 0) {
  std::vector<ColumnSpec> columns;
  for (std::size_t i = 0; i < count; ++i)
    columns.push_back(Column("a column with a long name, number " + std::to_string(i), type, size));
  return columns;
}

TEST(Database, ReadsEveryFormOfRowsAndDefinitions) {
  const Rows longValues = MakeLongValues();
  const std::vector<ColumnSpec> longColumns = {Column("ole", ColumnType::Ole),
                                               Column("memo", ColumnType::Memo),
                                               Column("o", ColumnType::Ole)};
  std::vector<ColumnSpec> textColumns = MakeColumns(30, ColumnType::Text, 99);
  textColumns.insert(textColumns.begin(), Column("n", ColumnType::Long));
  const struct {
    const char* why;
    WriterOptions options;
    std::vector<ColumnSpec> columns;
    Rows rows;
  } CASES[] = {
      {"long values", {}, longColumns, longValues},
      {"texts of two bytes a character", {.compressText = false}, longColumns, longValues},
      {"chains of one short part, as they occur in real files",
       {.maxInlineLongValueBytes = 1, .maxSingleLongValueBytes = 1},
       longColumns,
       longValues},
      {"rows of every length", {}, textColumns, MakeRowsOfEveryLength()},
      {"a definition over several pages", {}, MakeColumns(250, ColumnType::Boolean), {}},
  };
  for (const auto& row : CASES) {
    for (const JetVersion version : VERSIONS) {
      SCOPED_TRACE(row.why);
      WriterOptions options = row.options;
      options.version = version;
      const auto database = Open(MakeDatabase(options, [&](DatabaseWriter& writer) {
        jetwriter::TableWriter& table = writer.AddTable({.name = "T", .columns = row.columns});
        for (const auto& cells : row.rows)
          table.AddRow(cells);
      }));
      const auto table = database->OpenTable("T");
      EXPECT_TRUE(std::ranges::equal(table->Columns(), row.columns, {}, &ColumnInfo::name,
                                     &ColumnSpec::name));
      ExpectRows(*table, row.rows);
    }
  }
}

TEST(Database, ColumnsThatCameAndWent) {
  std::vector<ColumnSpec> columns = {
      Column("dead1", ColumnType::Long),     Column("a", ColumnType::Long),
      Column("dead2", ColumnType::Text, 20), Column("b", ColumnType::Text, 20),
      Column("dead3", ColumnType::Memo),     Column("late1", ColumnType::Integer),
      Column("late2", ColumnType::Text, 20), Column("late3", ColumnType::Boolean)};
  columns[0].isDeleted = columns[2].isDeleted = columns[4].isDeleted = true;
  const Text dead{"dead"};
  for (const JetVersion version : VERSIONS) {
    const auto database = Open(MakeDatabase({.version = version}, [&](DatabaseWriter& writer) {
      auto& table = writer.AddTable({"T", columns});
      table.AddRow(std::vector<Value>{99, 1, dead, Text{"old"}, dead}, {.columnCount = 5});
      table.AddRow(
          std::vector<Value>{99, 2, dead, Text{"new"}, dead, std::int16_t{5}, Text{"late"}, true});
    }));
    const auto table = database->OpenTable("T");
    ExpectRows(*table, {{1, Text{"old"}, Value(), Value(), false},
                        {2, Text{"new"}, std::int16_t{5}, Text{"late"}, true}});
    EXPECT_THROW((void)table->OpenRecordset()->GetFieldValue("dead2"), DatabaseError);
  }
}

// Usage maps: by reference over several bitmap pages, and beginning after the file's first pages.
TEST(Database, TablesOfAnySize) {
  constexpr std::uint32_t PAGES = 16'700;  // more than one bitmap page of Jet 3 stands for
  for (const JetVersion version : VERSIONS) {
    const std::uint16_t fillsAPage = version == JetVersion::Jet3 ? 1900 : 3900;
    Rows lateRows;
    const auto database = Open(MakeDatabase({.version = version}, [&](DatabaseWriter& writer) {
      auto& large = writer.AddTable({"Large", {Column("b", ColumnType::Binary, fillsAPage)}});
      const std::vector<Value> row{MakeBinary(fillsAPage, 7)};
      for (std::uint32_t i = 0; i < PAGES; ++i)
        large.AddRow(row);
      auto& late = writer.AddTable({"Late", {Column("n", ColumnType::Long)}});
      for (int i = 0; i < 20'000; ++i)
        late.AddRow(lateRows.emplace_back(std::vector<Value>{i}));
    }));
    ExpectRows(*database->OpenTable("Late"), lateRows);
    EXPECT_EQ(database->OpenTable("Large")->RecordCount(), PAGES);
  }
}

// A table whose numbers repeat, in columns of three types.
std::vector<std::byte> MakeNumbers(std::int32_t rowCount) {
  return MakeDatabase({}, [rowCount](DatabaseWriter& writer) {
    auto& table =
        writer.AddTable({.name = "Numbers",
                         .columns = {{.name = "Long", .type = ColumnType::Long},
                                     {.name = "Short", .type = ColumnType::Integer},
                                     {.name = "Text", .type = ColumnType::Text, .size = 8},
                                     {.name = "Row", .type = ColumnType::Long}}});
    for (std::int32_t i = 0; i < rowCount; ++i) {
      const std::int32_t value = i * 37 % 101 - 50;
      table.AddRow(std::vector<Value>{value, std::int16_t(value), Text{std::to_string(value)}, i},
                   {.form = i % 11 == 5 ? jetwriter::RowForm::Moved : jetwriter::RowForm::Live});
    }
  });
}

TEST(Recordset, FindsWhatAWalkFinds) {
  const auto database = Open(MakeNumbers(3000));
  const auto rows = database->OpenTable("Numbers")->OpenRecordset();
  for (const char* column : {"Long", "SHORT", "Text"}) {
    for (std::int32_t value = -52; value <= 52; ++value) {
      std::vector<Value> found;
      for (bool more = rows->FindFirst(column, value); more; more = rows->FindNext()) {
        found.push_back(rows->GetFieldValue("Row"));
      }
      EXPECT_TRUE(rows->IsEof());
      std::vector<Value> wanted;
      for (std::int32_t i = 0; i < 3000; ++i) {
        if (i * 37 % 101 - 50 == value) wanted.push_back(i);
      }
      ASSERT_EQ(found, wanted) << column << " = " << value;
    }
  }
}

TEST(Recordset, GoesOnFromWhereItStands) {
  const auto database = Open(MakeNumbers(3000));
  const auto rows = database->OpenTable("Numbers")->OpenRecordset();
  const auto row = [&] { return ToInteger(rows->GetFieldValue("Row")).value_or(-1); };
  ASSERT_TRUE(rows->FindFirst("Row", 2000));
  rows->MoveNext();
  EXPECT_EQ(row(), 2001);
  const Bookmark bookmark = rows->GetBookmark();
  rows->MoveFirst();
  EXPECT_EQ(row(), 0);
  rows->SetBookmark(bookmark);
  EXPECT_EQ(row(), 2001);
  rows->MoveNext();
  EXPECT_EQ(row(), 2002);
  EXPECT_FALSE(rows->FindFirst("Row", 5000));
  EXPECT_TRUE(rows->IsEof());
  EXPECT_THROW(rows->MoveNext(), DatabaseError);
  EXPECT_THROW((void)rows->GetFieldValue("Row"), DatabaseError);
  const Bookmark end = rows->GetBookmark();
  rows->SetBookmark(bookmark);
  EXPECT_EQ(row(), 2001);
  rows->SetBookmark(end);
  EXPECT_TRUE(rows->IsEof());
}

TEST(Recordset, LookupReadsLittleOfTheFile) {
  const auto contents = std::make_shared<MemoryFileContents>();
  contents->bytes = MakeNumbers(9000);
  const auto database = Open(contents);
  const auto rows = database->OpenTable("Numbers")->OpenRecordset();
  contents->bytesRead = 0;
  rows->SetBookmark({.position = rows->GetBookmark().position + (40 << 8)});
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(contents->bytesRead, JET3.pageSize);
}

TEST(Database, NoticesThatItsFileChanged) {
  const auto contents = std::make_shared<MemoryFileContents>();
  contents->bytes = MakeEverything({.version = JetVersion::Jet3}, 10);
  const auto database = Open(contents);
  const auto table = database->OpenTable("Everything");
  const auto rows = table->OpenRecordset();
  EXPECT_FALSE(rows->FindFirst("Number", 15));

  contents->Replace(MakeEverything({.version = JetVersion::Jet4}, 20));
  EXPECT_TRUE(rows->FindFirst("Number", 15));
  EXPECT_EQ(rows->GetFieldValue("Name"), Value(Text{"row 15"}));
  EXPECT_EQ(table->RecordCount(), 20U);

  contents->Replace(MakeNumbers(10));
  EXPECT_THROW(rows->FindFirst("Number", 15), DatabaseError);
  EXPECT_THROW((void)table->OpenRecordset(), DatabaseError);
  EXPECT_EQ(database->TableNames(), std::vector<std::string>{"Numbers"});

  contents->Replace({});
  EXPECT_THROW((void)database->TableNames(), DatabaseError);
  contents->Replace(MakeEverything({}, 5));
  EXPECT_EQ(table->RecordCount(), 5U);
}

TEST(Database, ReadErrorNamesThePageAndPasses) {
  const auto contents = std::make_shared<MemoryFileContents>();
  contents->bytes = MakeNumbers(9000);
  const auto database = Open(contents);
  const auto rows = database->OpenTable("Numbers")->OpenRecordset();
  contents->failFrom = std::uint64_t{50} * JET3.pageSize;
  try {
    while (!rows->IsEof())
      rows->MoveNext();
    ADD_FAILURE() << "no error";
  } catch (const DatabaseError& error) {
    EXPECT_EQ(error.place().file, "test.mdb");
    EXPECT_EQ(error.place().page, 50U);
    EXPECT_THAT(error.what(), testing::HasSubstr("cannot be read"));
  }
  contents->failFrom = ~std::uint64_t{0};
  rows->MoveFirst();
  int count = 0;
  for (; !rows->IsEof(); rows->MoveNext())
    ++count;
  EXPECT_EQ(count, 9000);
}

}  // namespace
}  // namespace nimport::jet
