// Files that are cut, overwritten or bent: reading must end with rows or with a DatabaseError.
#include "jet/storage/damage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "tests/jet/generated_database.h"
#include "tests/jet/samples.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::DatabaseWriter;
using jetwriter::JetVersion;

const text::CodePageConverter CONVERTER;

// What could be read of a file.
struct Outcome {
  std::vector<Value> numbers;  // column 0 of every row of every table
  std::vector<std::string> errors;
  std::vector<DatabaseError> damage;
};

void ReadRows(const TableDefinition& table, Outcome& outcome) {
  const auto rows = table.OpenRecordset();
  for (; !rows->IsEof(); rows->MoveNext()) {
    for (std::size_t i = 0; i < table.Columns().size(); ++i) {
      Value value = rows->GetFieldValue(i);
      if (i == 0) outcome.numbers.push_back(std::move(value));
    }
  }
  if (!table.Columns().empty()) (void)rows->FindFirst(table.Columns()[0].name, 1);
  (void)table.RecordCount();
}

template <typename Read>
void Guard(Outcome& outcome, const Read& read) {
  try {
    read();
  } catch (const DatabaseError& error) {
    outcome.errors.emplace_back(error.what());
  }
}

Outcome ReadEverything(std::vector<std::byte> bytes, bool isListening) {
  Outcome outcome;
  DamageList damage;
  Guard(outcome, [&] {
    const auto database = Database::Open(
        std::make_unique<MemoryFile>("test.mdb", std::move(bytes)), CONVERTER,
        {.textCodePage = text::CODE_PAGE_UTF8, .damageListener = isListening ? &damage : nullptr});
    for (const std::string& name : database->TableNames()) {
      Guard(outcome, [&] { ReadRows(*database->OpenTable(name), outcome); });
    }
    for (const std::string& name : database->QueryNames()) {
      Guard(outcome, [&] {
        const auto rows = database->OpenQuery(name)->OpenRecordset();
        for (; !rows->IsEof(); rows->MoveNext())
          (void)rows->GetFieldValue(std::size_t{0});
      });
    }
  });
  outcome.damage = std::move(damage.all);
  return outcome;
}

void ReadBothWays(const std::vector<std::byte>& bytes) {
  for (const bool isListening : {false, true})
    (void)ReadEverything(bytes, isListening);
}

std::vector<std::byte> MakeSmall(JetVersion version, std::int32_t rows = 16) {
  return MakeDatabase({.version = version}, [rows](DatabaseWriter& writer) {
    AddEverything(writer, rows);
    jetwriter::SelectSpec select;
    select.columns.push_back({.expression = "Everything.Number", .alias = ""});
    select.sources.push_back({.table = "Everything", .alias = ""});
    select.where = "Everything.Number > 3";
    writer.AddQuery({.name = "Query", .rows = jetwriter::ToQueryRows(select)});
  });
}

const JetLayout& LayoutOf(const std::vector<std::byte>& bytes) {
  return bytes[VERSION_OFFSET] == std::byte{0} ? JET3 : JET4;
}

// Generated files of both versions, and small ones that Access wrote where there are any.
std::vector<std::vector<std::byte>> Victims() {
  std::vector<std::vector<std::byte>> files = {MakeSmall(JetVersion::Jet3),
                                               MakeSmall(JetVersion::Jet4)};
  for (const char* name : {"overflowTestV1997", "queryTestV2000"}) {
    auto bytes = ReadWholeFile(SamplesFolder() + "/jet-public/" + name + ".mdb");
    if (!bytes.empty()) files.push_back(std::move(bytes));
  }
  return files;
}

TEST(Damage, FileCutAtEveryPage) {
  for (const auto& whole : Victims()) {
    const std::size_t pageSize = LayoutOf(whole).pageSize;
    for (std::size_t size = 0; size < whole.size(); size += pageSize) {
      const std::vector<std::byte> cut(whole.begin(), whole.begin() + static_cast<long>(size));
      const Outcome outcome = ReadEverything(cut, false);
      EXPECT_TRUE(size >= 3 * pageSize || !outcome.errors.empty());
      (void)ReadEverything(cut, true);
      std::vector<std::byte> ragged = cut;
      ragged.resize(size + 100, std::byte{0x01});
      ReadBothWays(ragged);
    }
  }
}

TEST(Damage, EveryPageZeroed) {
  for (const auto& whole : Victims()) {
    const std::size_t pageSize = LayoutOf(whole).pageSize;
    for (std::size_t page = 0; page * pageSize < whole.size(); ++page) {
      std::vector<std::byte> bytes = whole;
      std::fill_n(bytes.begin() + static_cast<long>(page * pageSize), pageSize, std::byte{0});
      ReadBothWays(bytes);
    }
  }
}

TEST(Damage, EveryByteOfEveryPageHeaderFlipped) {
  for (const auto& whole : Victims()) {
    const std::size_t pageSize = LayoutOf(whole).pageSize;
    for (std::size_t offset = 0; offset < whole.size(); ++offset) {
      // Definitions are all header.
      const std::size_t page = offset / pageSize * pageSize;
      const bool isDefinition = whole[page] == std::byte{0x02};
      if (offset - page >= (isDefinition ? 160U : 24U)) continue;
      std::vector<std::byte> bytes = whole;
      bytes[offset] ^= std::byte{0xFF};
      (void)ReadEverything(bytes, true);
      bytes[offset] ^= std::byte{0xFE};  // now only the lowest bit differs
      (void)ReadEverything(bytes, false);
    }
  }
}

// In the rows of small tables, catalog and usage maps included.
TEST(Damage, BytesOfRowsFlipped) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const std::vector<std::byte> whole = MakeSmall(version, 8);
    for (std::size_t offset = LayoutOf(whole).pageSize; offset < whole.size(); ++offset) {
      if (offset % (whole[offset] == std::byte{0} ? 16 : 3) != 0) continue;
      std::vector<std::byte> bytes = whole;
      bytes[offset] ^= std::byte{0xFF};
      (void)ReadEverything(bytes, true);
    }
  }
}

// Puts `value` at `offset`, lowest byte first.
void Poke(std::vector<std::byte>& bytes, std::size_t offset, std::uint32_t value, int width = 4) {
  for (int i = 0; i < width; ++i) {
    bytes[offset + static_cast<std::size_t>(i)] = static_cast<std::byte>(value >> (8 * i));
  }
}

// The first page at or after `page` with this type and owner (or next page).
std::size_t FindPage(const std::vector<std::byte>& bytes, PageType type, std::uint32_t owner,
                     std::size_t page = 1) {
  const JetLayout& layout = LayoutOf(bytes);
  for (; page * layout.pageSize < bytes.size(); ++page) {
    const ByteReader reader(
        std::span<const std::byte>(bytes).subspan(page * layout.pageSize, layout.pageSize));
    if (reader.U8(0) == unsigned(type) && reader.U32(DATA_PAGE_OWNER_OFFSET) == owner) return page;
  }
  ADD_FAILURE() << "no such page";
  return 0;
}

// The page of the definition of the first table that is not the engine's own.
std::uint32_t UserTablePage(const std::vector<std::byte>& bytes) {
  return static_cast<std::uint32_t>(FindPage(bytes, PageType::TableDefinition, 0, 6));
}

TEST(Damage, ListenerGetsThePageAndTheOtherRows) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    std::vector<std::byte> bytes = MakeSmall(version, 40);
    const std::size_t page = FindPage(bytes, PageType::Data, UserTablePage(bytes));
    const std::size_t wholeCount = ReadEverything(bytes, false).numbers.size();
    bytes[page * LayoutOf(bytes).pageSize] = std::byte{0x09};

    const Outcome strict = ReadEverything(bytes, false);
    ASSERT_FALSE(strict.errors.empty());
    EXPECT_THAT(strict.errors[0], testing::AllOf(testing::HasSubstr("test.mdb"),
                                                 testing::HasSubstr("page " + std::to_string(page)),
                                                 testing::HasSubstr("table Everything")));
    const Outcome salvaged = ReadEverything(bytes, true);
    EXPECT_TRUE(salvaged.errors.empty());
    ASSERT_EQ(salvaged.damage.size(), 1U);
    EXPECT_EQ(salvaged.damage[0].place().page, page);
    EXPECT_FALSE(salvaged.damage[0].place().slot);
    EXPECT_LT(salvaged.numbers.size(), wholeCount);
    EXPECT_GT(salvaged.numbers.size(), 0U);
  }
}

TEST(Damage, OneBadRowLeavesItsNeighbours) {
  std::vector<std::byte> bytes = MakeSmall(JetVersion::Jet4);
  const std::size_t wholeCount = ReadEverything(bytes, false).numbers.size();
  const std::size_t page = FindPage(bytes, PageType::Data, UserTablePage(bytes));
  const ByteReader reader(bytes);
  const std::size_t row =
      page * JET4.pageSize + reader.U16(page * JET4.pageSize + JET4.slotTableOffset);
  Poke(bytes, row, 0xFFFF, 2);  // its number of columns
  const Outcome outcome = ReadEverything(bytes, true);
  EXPECT_EQ(outcome.numbers.size(), wholeCount - 1);
  ASSERT_EQ(outcome.damage.size(), 1U);
  EXPECT_EQ(outcome.damage[0].place().page, page);
  EXPECT_EQ(outcome.damage[0].place().slot, 0U);
}

TEST(Damage, OneBadValueLeavesTheRestOfItsRow) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    std::vector<std::byte> bytes = MakeSmall(version);
    const JetLayout& layout = LayoutOf(bytes);
    const std::size_t page = FindPage(bytes, PageType::Data, UserTablePage(bytes));
    // The first row's number of variable columns, before its null mask at the end of the page.
    const std::size_t maskBytes = (EVERYTHING.columns.size() + 7) / 8;
    Poke(bytes, (page + 1) * layout.pageSize - maskBytes - layout.rowNumberBytes, 0xFE,
         static_cast<int>(layout.rowNumberBytes));
    DamageList damage;
    const auto database = Database::Open(std::make_unique<MemoryFile>("test.mdb", bytes), CONVERTER,
                                         {.damageListener = &damage});
    const auto rows = database->OpenTable("Everything")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("When"), Value(Date{.days = 36000.25}));
    EXPECT_EQ(rows->GetFieldValue("Name"), Value());
    EXPECT_EQ(rows->GetFieldValue("Note"), Value());
    ASSERT_EQ(damage.all.size(), 1U);
    EXPECT_EQ(damage.all[0].place().page, page);
    EXPECT_EQ(damage.all[0].place().slot, 0U);
    EXPECT_EQ(damage.all[0].place().column, "Name");
    rows->MoveNext();
    EXPECT_EQ(rows->GetFieldValue("Name"), Value(Text{"row 1"}));
  }
}

TEST(Damage, RingsEnd) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const std::vector<std::byte> whole = MakeDatabase(
        {.version = version, .maxSingleLongValueBytes = 40}, [](DatabaseWriter& writer) {
          jetwriter::TableSpec wide{.name = "Wide", .columns = {}};
          for (int i = 0; i < 200; ++i) {
            wide.columns.push_back(
                {.name = "Column number " + std::to_string(i), .type = ColumnType::Memo});
          }
          std::vector<Value> row(200);
          row[0] = Text{std::string(30'000, 'x')};
          writer.AddTable(wide).AddRow(row);
        });
    const JetLayout& layout = LayoutOf(whole);

    std::vector<std::byte> definition = whole;
    const std::size_t table = [&] {
      std::size_t page = 6;
      while (whole[page * layout.pageSize] != std::byte{0x02})
        ++page;
      return page;
    }();
    Poke(definition, table * layout.pageSize + DEFINITION_NEXT_PAGE_OFFSET,
         static_cast<std::uint32_t>(table));
    const Outcome ring = ReadEverything(definition, true);
    EXPECT_FALSE(ring.errors.empty());

    std::vector<std::byte> chain = whole;
    const std::size_t part = FindPage(chain, PageType::Data, OWNER_LONG_VALUES);
    const std::size_t second = FindPage(chain, PageType::Data, OWNER_LONG_VALUES, part + 1);
    const std::size_t slot = second * layout.pageSize + layout.slotTableOffset;
    const std::size_t row =
        std::to_integer<unsigned>(chain[slot]) | std::to_integer<unsigned>(chain[slot + 1]) << 8;
    Poke(chain, second * layout.pageSize + row, static_cast<std::uint32_t>(part << 8));
    const Outcome value = ReadEverything(chain, true);
    ASSERT_EQ(value.damage.size(), 1U);
    EXPECT_THAT(value.damage[0].what(), testing::HasSubstr("ring"));
    EXPECT_EQ(value.damage[0].place().column, "Column number 0");
    EXPECT_EQ(value.numbers, std::vector<Value>{Value()});
  }
}

TEST(Damage, MapThatNamesPagesBeyondTheFile) {
  std::vector<std::byte> bytes = MakeSmall(JetVersion::Jet4);
  const std::size_t wholeCount = ReadEverything(bytes, false).numbers.size();
  const std::size_t definition = UserTablePage(bytes) * JET4.pageSize;
  const std::uint32_t pointer = ByteReader(bytes).U32(definition + JET4.definition.ownedPagesMap);
  const std::size_t page = (pointer >> 8) * JET4.pageSize;
  const std::size_t slot = page + JET4.slotTableOffset + (pointer & 0xFF) * SLOT_BYTES;
  const std::size_t map = page + ByteReader(bytes).U16(slot);
  bytes[map + INLINE_MAP_BITS_OFFSET + 60] |= std::byte{0x10};
  EXPECT_EQ(ReadEverything(bytes, false).errors.size(), 2U);  // the table and the query
  const Outcome outcome = ReadEverything(bytes, true);
  EXPECT_EQ(outcome.numbers.size(), wholeCount);
  ASSERT_EQ(outcome.damage.size(), 1U);
  EXPECT_EQ(outcome.damage[0].place().page, 60 * 8 + 4U);
}

}  // namespace
}  // namespace nimport::jet
