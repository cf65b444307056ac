#include "jetwriter/database_writer.h"

#include <algorithm>
#include <numeric>
#include <random>

#include <gtest/gtest.h>

#include "jetwriter/write_error.h"
#include "tests/tools/engine_reader.h"

namespace nimport::jetwriter {
namespace {

using jet::ColumnType;
using jet::Value;

// What is written is read back with the project's engine, which shares no code with the writer but
// the numbers of the format.
class DatabaseWriterTest : public testing::TestWithParam<JetVersion> {
 protected:
  [[nodiscard]] std::filesystem::path File() const { return folder_.path() / "test.mdb"; }
  [[nodiscard]] static WriterOptions Options() { return {.version = GetParam()}; }

  // Writes one table, "T", and reads it again.
  Rows RoundTrip(const std::vector<ColumnSpec>& columns, const Rows& rows,
                 const WriterOptions& options, const RowOptions& rowOptions = {}) {
    DatabaseWriter writer(File(), options);
    TableWriter& table = writer.AddTable({"T", columns});
    for (const auto& row : rows)
      table.AddRow(row, rowOptions);
    writer.Finish();
    return ReadTable(File(), "T");
  }
  Rows RoundTrip(const std::vector<ColumnSpec>& columns, const Rows& rows) {
    return RoundTrip(columns, rows, Options());
  }

 private:
  TemporaryFolder folder_;
};

INSTANTIATE_TEST_SUITE_P(, DatabaseWriterTest, testing::Values(JetVersion::Jet3, JetVersion::Jet4),
                         [](const auto& version) {
                           return version.param == JetVersion::Jet3 ? "Jet3" : "Jet4";
                         });

jet::Binary MakeBinary(std::size_t size, unsigned seed = 7) {
  jet::Binary value;
  for (std::size_t i = 0; i < size; ++i) {
    value.bytes.push_back(static_cast<std::byte>((i * 31 + i / 251 + seed) & 0xFF));
  }
  return value;
}

ColumnSpec Column(const std::string& name, ColumnType type, std::uint16_t size = 0) {
  return {.name = name, .type = type, .size = size};
}

// Rows of one LONG and one TEXT that are told apart easily.
const std::vector<ColumnSpec> PLAIN_COLUMNS = {Column("No", ColumnType::Long),
                                               Column("名前", ColumnType::Text, 40)};
Rows MakePlainRows(int count) {
  Rows rows;
  for (int i = 0; i < count; ++i)
    rows.push_back({i, jet::Text{"行 " + std::to_string(i)}});
  return rows;
}

TEST_P(DatabaseWriterTest, ValuesOfEveryTypeComeBack) {
  const std::vector<ColumnSpec> columns = {
      Column("bool", ColumnType::Boolean),   Column("byte", ColumnType::Byte),
      Column("int", ColumnType::Integer),    Column("long", ColumnType::Long),
      Column("cur", ColumnType::Currency),   Column("single", ColumnType::Single),
      Column("double", ColumnType::Double),  Column("date", ColumnType::DateTime),
      Column("bin", ColumnType::Binary, 20), Column("text", ColumnType::Text, 30),
      Column("ole", ColumnType::Ole),        Column("memo", ColumnType::Memo),
      Column("guid", ColumnType::Guid)};
  jet::Guid guid;
  for (std::size_t i = 0; i < guid.bytes.size(); ++i)
    guid.bytes[i] = static_cast<std::byte>(i);
  const Rows rows = {
      {true, std::uint8_t{255}, std::int16_t{-32768}, std::int32_t{-2147483647 - 1},
       jet::Currency{-35001}, 0.5F, -1.25e300, jet::Date{36251.75}, MakeBinary(20),
       jet::Text{"能登①髙ｱ～\\"}, MakeBinary(5), jet::Text{"メモ"}, guid},
      {false, Value(), Value(), Value(), Value(), Value(), Value(), Value(), Value(), Value(),
       Value(), Value(), Value()},
      {false, std::uint8_t{0}, std::int16_t{0}, std::int32_t{0}, jet::Currency{0}, 0.0F, 0.0,
       jet::Date{0}, jet::Binary{}, jet::Text{}, jet::Binary{}, jet::Text{}, jet::Guid{}}};
  EXPECT_EQ(RoundTrip(columns, rows), rows);
}

TEST_P(DatabaseWriterTest, FixedTypesAmongTheVariableColumns) {
  std::vector<ColumnSpec> columns = {Column("a", ColumnType::Long),
                                     Column("b", ColumnType::Text, 9),
                                     Column("c", ColumnType::DateTime)};
  columns[0].isStoredVariable = columns[2].isStoredVariable = true;
  const Rows rows = {{7, jet::Text{"x"}, jet::Date{1.5}}, {Value(), Value(), jet::Date{-3.25}}};
  EXPECT_EQ(RoundTrip(columns, rows), rows);
}

TEST_P(DatabaseWriterTest, LongValuesAtAllBorders) {
  std::vector<std::size_t> sizes = {0, 1, 16, 31, 32, 33, 63, 64, 65, 70'000, 200'001};
  for (const std::size_t border : {1700UL, 2032UL, 3816UL, 4072UL, 2 * 2032UL, 3 * 4072UL}) {
    for (std::size_t size = border - 2; size <= border + 2; ++size)
      sizes.push_back(size);
  }
  Rows rows;
  for (const std::size_t size : sizes) {
    std::string text(size, 'a');
    for (std::size_t i = 0; i < size; ++i)
      text[i] = static_cast<char>('a' + i % 26);
    rows.push_back({MakeBinary(size), jet::Text{text}, MakeBinary(size / 3, 1)});
  }
  const std::vector<ColumnSpec> columns = {Column("ole", ColumnType::Ole),
                                           Column("memo", ColumnType::Memo),
                                           Column("other", ColumnType::Ole)};
  EXPECT_EQ(RoundTrip(columns, rows), rows);
  WriterOptions plain = Options();
  plain.compressText = false;
  EXPECT_EQ(RoundTrip(columns, rows, plain), rows);
  WriterOptions chains = Options();  // chains of one short part occur in real files
  chains.maxInlineLongValueBytes = chains.maxSingleLongValueBytes = 1;
  EXPECT_EQ(RoundTrip(columns, rows, chains), rows);
}

// Rows whose variable data crosses 256 bytes once, twice and more, at every slot.
TEST_P(DatabaseWriterTest, RowsOfEveryLength) {
  std::vector<ColumnSpec> columns = {Column("n", ColumnType::Long)};
  for (int i = 0; i < 30; ++i)
    columns.push_back(Column("t" + std::to_string(i), ColumnType::Text, 99));
  std::mt19937 random(1);
  Rows rows;
  for (int length = 200; length < 1100; ++length) {
    std::vector<Value> row = {length};
    int left = length;
    for (int i = 0; i < 30; ++i) {
      const int part =
          i == 29 ? std::min(left, 90) : std::min(left, static_cast<int>(random() % 70));
      left -= part;
      row.push_back(part == 0 && i % 2 == 0
                        ? Value()
                        : Value(jet::Text{std::string(static_cast<std::size_t>(part), 'x')}));
    }
    rows.push_back(row);
  }
  EXPECT_EQ(RoundTrip(columns, rows), rows);
}

TEST_P(DatabaseWriterTest, DefinitionsOverSeveralPages) {
  std::vector<ColumnSpec> columns;
  std::vector<Value> row;
  for (int i = 0; i < 250; ++i) {
    columns.push_back(
        Column("a column with a long name, number " + std::to_string(i), ColumnType::Long));
    row.push_back(i);
  }
  EXPECT_EQ(RoundTrip(columns, {row}), Rows{row});
  EXPECT_EQ(OpenWithEngine(File())->OpenTable("T")->Columns()[249].name, columns[249].name);
}

// Usage maps: growing inline, beginning after the file's first pages, by reference over several
// bitmap pages.
TEST_P(DatabaseWriterTest, TablesOfAnySize) {
  WriterOptions byReference = Options();
  byReference.maxInlineMapBytes = 1;
  const Rows rows = MakePlainRows(20'000);
  EXPECT_EQ(RoundTrip(PLAIN_COLUMNS, rows), rows);
  EXPECT_EQ(RoundTrip(PLAIN_COLUMNS, rows, byReference), rows);

  const auto fillsAPage = static_cast<std::uint16_t>(GetParam() == JetVersion::Jet3 ? 1900 : 3900);
  DatabaseWriter writer(File(), Options());
  TableWriter& large = writer.AddTable({"Large", {Column("b", ColumnType::Binary, fillsAPage)}});
  const jet::Binary value = MakeBinary(fillsAPage);
  constexpr int PAGES = 16'700;  // more than one bitmap page of Jet 3 stands for
  for (int i = 0; i < PAGES; ++i)
    large.AddRow(std::vector<Value>{value});
  TableWriter& late = writer.AddTable({"Late", PLAIN_COLUMNS});
  for (const auto& row : rows)
    late.AddRow(row);
  writer.Finish();
  EXPECT_EQ(ReadTable(File(), "Late"), rows);
  EXPECT_EQ(OpenWithEngine(File())->OpenTable("Large")->RecordCount(), PAGES);
}

TEST_P(DatabaseWriterTest, MovedAndDeletedRows) {
  const Rows rows = MakePlainRows(2000);
  DatabaseWriter writer(File(), Options());
  TableWriter& table = writer.AddTable({"T", PLAIN_COLUMNS});
  constexpr std::array FORMS = {RowForm::Live, RowForm::Deleted, RowForm::Live,
                                RowForm::DeletedWithBytes, RowForm::Moved};
  Rows living;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const RowForm form = FORMS[i % FORMS.size()];
    table.AddRow(rows[i], {.form = form});
    if (form == RowForm::Live || form == RowForm::Moved) living.push_back(rows[i]);
  }
  writer.Finish();
  EXPECT_EQ(table.RowCount(), living.size());
  EXPECT_EQ(ReadTable(File(), "T"), living) << "a moved row stands where its slot stands";
}

TEST_P(DatabaseWriterTest, ColumnsThatCameAndWent) {
  std::vector<ColumnSpec> columns = {
      Column("dead1", ColumnType::Long),     Column("a", ColumnType::Long),
      Column("dead2", ColumnType::Text, 20), Column("b", ColumnType::Text, 20),
      Column("dead3", ColumnType::Memo),     Column("late1", ColumnType::Integer),
      Column("late2", ColumnType::Text, 20), Column("late3", ColumnType::Boolean)};
  columns[0].isDeleted = columns[2].isDeleted = columns[4].isDeleted = true;
  DatabaseWriter writer(File(), Options());
  TableWriter& table = writer.AddTable({"T", columns});
  const jet::Text dead{"dead"};
  table.AddRow(std::vector<Value>{99, 1, dead, jet::Text{"old"}, dead}, {.columnCount = 5});
  table.AddRow(std::vector<Value>{99, 2, dead, jet::Text{"new"}, dead, std::int16_t{5},
                                  jet::Text{"late"}, true});
  writer.Finish();
  EXPECT_EQ(ReadTable(File(), "T"),
            (Rows{{1, jet::Text{"old"}, Value(), Value(), false},
                  {2, jet::Text{"new"}, std::int16_t{5}, jet::Text{"late"}, true}}));
}

TEST_P(DatabaseWriterTest, EncodedPages) {
  const Rows rows = MakePlainRows(500);
  EXPECT_EQ(RoundTrip(PLAIN_COLUMNS, rows), rows);
  const std::string plain = ReadWholeFile(File());
  WriterOptions options = Options();
  options.encodingKey = 0x8F3A5C01;
  EXPECT_EQ(RoundTrip(PLAIN_COLUMNS, rows, options), rows);
  const std::string encoded = ReadWholeFile(File());
  ASSERT_EQ(encoded.size(), plain.size());
  std::size_t equalBytes = 0;
  for (std::size_t i = 4096; i < plain.size(); ++i)
    equalBytes += plain[i] == encoded[i] ? 1 : 0;
  EXPECT_LT(equalBytes, plain.size() / 50);
}

TEST_P(DatabaseWriterTest, StoredQueriesAreEvaluated) {
  DatabaseWriter writer(File(), Options());
  TableWriter& table = writer.AddTable({"表", PLAIN_COLUMNS});
  for (const auto& row : MakePlainRows(10))
    table.AddRow(row);
  SelectSpec select;
  select.columns = {{"X.No", "番号"}};
  select.sources = {{"表", "X"}};
  select.where = "((X.No)>6)";
  select.orderBy = {{"X.No", true}};
  writer.AddQuery({.name = "一覧ｸｴﾘｰ", .kind = 0, .rows = ToQueryRows(select)});
  writer.Finish();
  const auto database = OpenWithEngine(File());
  const auto query = database->OpenQuery("一覧ｸｴﾘｰ");
  EXPECT_EQ(query->Columns()[0].name, "番号");
  EXPECT_EQ(ReadRows(*query), (Rows{{9}, {8}, {7}}));
}

TEST_P(DatabaseWriterTest, DamagedTextIsStoredAsItIs) {
  const jet::Binary damaged{{std::byte{0x41}, std::byte{0x81}}};  // half a character at the end
  DatabaseWriter writer(File(), Options());
  writer.AddTable({"T", {Column("t", ColumnType::Text, 20)}}).AddRow(std::vector<Value>{damaged});
  writer.Finish();
  const std::string file = ReadWholeFile(File());
  EXPECT_NE(file.find("\x41\x81"), std::string::npos);
}

TEST_P(DatabaseWriterTest, TheSameCallsGiveTheSameBytes) {
  (void)RoundTrip(PLAIN_COLUMNS, MakePlainRows(100));
  const std::string first = ReadWholeFile(File());
  (void)RoundTrip(PLAIN_COLUMNS, MakePlainRows(100));
  EXPECT_EQ(ReadWholeFile(File()), first);
}

TEST_P(DatabaseWriterTest, SaysWhatDoesNotFit) {
  struct Case {
    std::vector<ColumnSpec> columns;
    Value value;
    const char* wanted;
  };
  const std::vector<Case> cases = {
      {{Column("a", ColumnType::Text, 5)}, jet::Text{"sixsix"}, "column \"a\": a value of"},
      {{Column("a", ColumnType::Byte)}, 256, "256 is out of the column's range"},
      {{Column("a", ColumnType::Integer)}, 32768, "out of the column's range"},
      {{Column("a", ColumnType::Long)}, jet::Text{"1"}, "no whole number"},
      {{Column("a", ColumnType::Text, 5)}, 1, "no text"},
      {{Column("a", ColumnType::Text, 5)}, jet::Text{"\xFF"}, "no UTF-8 at its byte 0"},
      {{Column("a", ColumnType::Boolean)}, 1, "neither true nor false"},
      {{Column("a", ColumnType::Binary, 4090)}, MakeBinary(4090), "longer than the"},
  };
  for (const Case& row : cases) {
    try {
      (void)RoundTrip(row.columns, {{row.value}});
      ADD_FAILURE() << row.wanted;
    } catch (const WriteError& error) {
      EXPECT_NE(std::string(error.what()).find(row.wanted), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("table \"T\", row 1"), std::string::npos);
    }
  }
}

TEST_P(DatabaseWriterTest, EndsAtTheLargestFile) {
  WriterOptions options = Options();
  options.maxFileBytes = 1 << 20;
  try {
    (void)RoundTrip(PLAIN_COLUMNS, MakePlainRows(100'000), options);
    ADD_FAILURE();
  } catch (const WriteError& error) {
    EXPECT_NE(std::string(error.what()).find("larger than 1 MiB"), std::string::npos);
  }
  EXPECT_LE(std::filesystem::file_size(File()), options.maxFileBytes);
}

TEST(Jet3Writer, NamesACharacterOutsideTheCodePage) {
  const TemporaryFolder folder;
  DatabaseWriter writer(folder.path() / "x.mdb");
  TableWriter& table = writer.AddTable({"T", PLAIN_COLUMNS});
  try {
    table.AddRow(std::vector<Value>{1, jet::Text{"naïve"}});
    ADD_FAILURE();
  } catch (const WriteError& error) {
    EXPECT_NE(std::string(error.what()).find("\"ï\" has no place"), std::string::npos);
  }
}

// The page 0 of a Jet 3 file tells its code page, masked with a fixed key stream; a reader without
// it shows Japanese text as garbage.
TEST(Jet3Writer, HeaderNamesTheCodePage) {
  const TemporaryFolder folder;
  DatabaseWriter writer(folder.path() / "x.mdb");
  writer.Finish();
  const std::string file = ReadWholeFile(folder.path() / "x.mdb");
  const auto unmasked = [&](std::size_t at, unsigned mask) {
    return static_cast<unsigned char>(file[at]) ^ mask;
  };
  EXPECT_EQ(unmasked(0x3C, 0x7B) | unmasked(0x3D, 0x42) << 8, 932U);
  EXPECT_EQ(file.size() % 2048, 0U);
}

}  // namespace
}  // namespace nimport::jetwriter
