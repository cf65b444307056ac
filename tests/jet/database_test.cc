#include "jet/database.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/format/jet_layout.h"
#include "tests/jet/generated_database.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::DatabaseWriter;
using jetwriter::JetVersion;
using jetwriter::WriterOptions;

const text::CodePageConverter CONVERTER;

std::unique_ptr<Database> Open(std::vector<std::byte> bytes, const OpenOptions& options = {}) {
  return Database::Open(std::make_unique<MemoryFile>("test.mdb", std::move(bytes)), CONVERTER,
                        options);
}

// Every way in which the same rows can lie in a file.
std::vector<WriterOptions> EveryForm() {
  std::vector<WriterOptions> forms;
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    forms.push_back({.version = version});
    forms.push_back({.version = version, .encodingKey = 0x5EC1A110});
    forms.push_back({.version = version, .maxInlineMapBytes = 1});
    forms.push_back({.version = version, .compressText = false, .maxSingleLongValueBytes = 40});
  }
  return forms;
}

std::vector<std::byte> MakeEverything(const WriterOptions& options, std::int32_t rows = 120) {
  return MakeDatabase(options, [rows](DatabaseWriter& writer) { AddEverything(writer, rows); });
}

TEST(Database, ReadsEveryTypeInEveryForm) {
  for (const WriterOptions& options : EveryForm()) {
    SCOPED_TRACE("version " + std::to_string(int(options.version)) + ", key " +
                 std::to_string(options.encodingKey));
    const auto database = Open(MakeEverything(options), {.textCodePage = text::CODE_PAGE_UTF8});
    EXPECT_EQ(database->TableNames(), std::vector<std::string>{"Everything"});
    const auto table = database->OpenTable("EVERYTHING");
    EXPECT_EQ(table->RecordCount(), 120U);
    const auto rows = table->OpenRecordset();
    for (std::int32_t i = 0; i < 120; ++i, rows->MoveNext()) {
      ASSERT_FALSE(rows->IsEof());
      const std::vector<Value> wanted = EverythingRow(i);
      for (std::size_t column = 0; column < wanted.size(); ++column) {
        EXPECT_EQ(rows->GetFieldValue(column), wanted[column])
            << "row " << i << " column " << table->Columns()[column].name;
      }
    }
    EXPECT_TRUE(rows->IsEof());
  }
}

TEST(Database, NamesAndTextsAreInTheCodePageOfTheDatabase) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const auto database = Open(MakeDatabase({.version = version}, [](DatabaseWriter& writer) {
      writer.AddTable({.name = "Ab\xE8\xA1\xA8", .columns = EVERYTHING.columns})
          .AddRow(EverythingRow(1));
    }));
    EXPECT_EQ(database->TableNames(), std::vector<std::string>{"Ab\x95\x5C"});
    const auto rows = database->OpenTable("aB\x95\x5C")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("\x93\xFA\x95\x74"), Value(Text{"\x95\x5Crow 1"}));
    EXPECT_THROW((void)rows->GetFieldValue("\x93\xFA"), DatabaseError);
    EXPECT_THROW((void)database->OpenTable("Ab"), DatabaseError);
  }
}

TEST(Database, MebibytesOfMemoComeWhole) {
  std::string text;
  for (int i = 0; text.size() < (std::size_t{5} << 20); ++i)
    text += std::to_string(i) + ' ';
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const auto database = Open(MakeDatabase({.version = version}, [&](DatabaseWriter& writer) {
      writer.AddTable({.name = "T", .columns = {{.name = "M", .type = ColumnType::Memo}}})
          .AddRow(std::vector<Value>{Text{text}});
    }));
    const auto rows = database->OpenTable("T")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("M"), Value(Text{text}));
  }
}

TEST(Database, RowsOlderThanAColumnReadAsNull) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const auto database = Open(MakeDatabase({.version = version}, [](DatabaseWriter& writer) {
      auto& table = writer.AddTable(
          {.name = "T",
           .columns = {{.name = "A", .type = ColumnType::Text, .size = 9},
                       {.name = "Gone", .type = ColumnType::Text, .size = 9, .isDeleted = true},
                       {.name = "B", .type = ColumnType::Long},
                       {.name = "C", .type = ColumnType::Boolean}}});
      table.AddRow(std::vector<Value>{Text{"old"}, Text{"x"}}, {.columnCount = 2});
      table.AddRow(std::vector<Value>{Text{"new"}, Text{"y"}, 7, true});
    }));
    const auto rows = database->OpenTable("T")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("A"), Value(Text{"old"}));
    EXPECT_EQ(rows->GetFieldValue("B"), Value());
    EXPECT_EQ(rows->GetFieldValue("C"), Value(false));
    EXPECT_THROW((void)rows->GetFieldValue("Gone"), DatabaseError);
    rows->MoveNext();
    EXPECT_EQ(rows->GetFieldValue("B"), Value(7));
    EXPECT_EQ(rows->GetFieldValue("C"), Value(true));
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
  const auto database =
      Database::Open(std::make_unique<MemoryFile>("test.mdb", contents), CONVERTER);
  const auto rows = database->OpenTable("Numbers")->OpenRecordset();
  contents->bytesRead = 0;
  rows->SetBookmark({.position = rows->GetBookmark().position + (40 << 8)});
  EXPECT_FALSE(rows->IsEof());
  EXPECT_EQ(contents->bytesRead, JET3.pageSize);
}

TEST(Database, SmallCacheGivesTheSameRows) {
  const auto bytes = MakeEverything({}, 400);
  const auto large = Open(bytes);
  const auto small = Open(bytes, {.cacheBytes = 1});
  const auto a = large->OpenTable("Everything")->OpenRecordset();
  const auto b = small->OpenTable("Everything")->OpenRecordset();
  for (; !a->IsEof(); a->MoveNext(), b->MoveNext()) {
    ASSERT_EQ(a->GetFieldValue("Note"), b->GetFieldValue("Note"));
    ASSERT_EQ(a->GetFieldValue("Object"), b->GetFieldValue("Object"));
  }
  EXPECT_TRUE(b->IsEof());
}

TEST(Database, NoticesThatItsFileChanged) {
  const auto contents = std::make_shared<MemoryFileContents>();
  contents->bytes = MakeEverything({.version = JetVersion::Jet3}, 10);
  const auto database =
      Database::Open(std::make_unique<MemoryFile>("test.mdb", contents), CONVERTER);
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
  const auto database =
      Database::Open(std::make_unique<MemoryFile>("test.mdb", contents), CONVERTER);
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
