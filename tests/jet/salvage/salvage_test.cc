// What comes out of damaged files: with somebody listening to the damage, everything that does not
// lie on the damaged place itself; without, rows or a DatabaseError.
#include <algorithm>
#include <functional>
#include <initializer_list>
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/database.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/format/system_layout.h"
#include "tests/jet/generated_database.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::DatabaseWriter;
using jetwriter::JetVersion;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

const text::CodePageConverter CONVERTER;
constexpr JetVersion VERSIONS[] = {JetVersion::Jet3, JetVersion::Jet4};
constexpr std::int32_t MAILS = 60;
constexpr std::size_t LONG_BYTES = 20'000;

// Keeps what it was told.
class DamageList final : public DamageListener {
 public:
  void OnDamage(const DatabaseError& damage) override { all.push_back(damage); }
  std::vector<DatabaseError> all;
};

// The bytes of a file with what is needed to find one's way in them.
class Victim {
 public:
  explicit Victim(std::vector<std::byte> whole)
      : bytes(std::move(whole)), layout(bytes[VERSION_OFFSET] == std::byte{0} ? JET3 : JET4) {}

  [[nodiscard]] std::uint32_t PageCount() const {
    return static_cast<std::uint32_t>(bytes.size() / layout.pageSize);
  }
  [[nodiscard]] std::size_t At(std::uint32_t page, std::size_t offset = 0) const {
    return std::size_t{page} * layout.pageSize + offset;
  }
  [[nodiscard]] std::uint32_t Owner(std::uint32_t page) const {
    return ByteReader(bytes).U32(At(page, DATA_PAGE_OWNER_OFFSET));
  }
  // Data pages of an owner, ascending.
  [[nodiscard]] std::vector<std::uint32_t> PagesOf(std::uint32_t owner) const {
    std::vector<std::uint32_t> pages;
    for (std::uint32_t page = 1; page < PageCount(); ++page) {
      if (bytes[At(page)] == std::byte{1} && Owner(page) == owner) pages.push_back(page);
    }
    return pages;
  }
  // Where the bytes of a row begin.
  [[nodiscard]] std::size_t Row(std::uint32_t page, std::uint32_t slot) const {
    const std::size_t entry = At(page, layout.slotTableOffset + slot * SLOT_BYTES);
    return At(page, ByteReader(bytes).U16(entry) & SLOT_OFFSET_MASK);
  }
  // Where the bits of a table's usage map begin.
  [[nodiscard]] std::size_t MapBits(std::size_t table) const {
    const RowId map{ByteReader(bytes).U32(At(Definition(table), layout.definition.ownedPagesMap))};
    return Row(map.Page(), map.Slot()) + INLINE_MAP_BITS_OFFSET;
  }
  // The page of a user table's definition, by the table's number.
  [[nodiscard]] std::uint32_t Definition(std::size_t table) const {
    for (std::uint32_t page = RELATIONSHIPS_PAGE + 1; page < PageCount(); ++page) {
      if (bytes[At(page)] == std::byte{2} && table-- == 0) return page;
    }
    throw std::logic_error("no such table");
  }

  void Zero(std::uint32_t page) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(At(page)), layout.pageSize,
                std::byte{0});
  }
  void Put(std::size_t offset, std::initializer_list<unsigned> values) {
    for (const unsigned value : values)
      bytes[offset++] = static_cast<std::byte>(value);
  }

  std::vector<std::byte> bytes;
  const JetLayout& layout;
};

// Names and texts are UTF-8. Without a listener, damage throws.
std::unique_ptr<Database> Open(std::vector<std::byte> bytes, DamageListener* listener,
                               const KnownObjects& known = {}) {
  return Database::Open(
      std::make_unique<MemoryFile>("test.mdb", std::move(bytes)), CONVERTER,
      {.textCodePage = text::CODE_PAGE_UTF8, .damageListener = listener, .known = known});
}

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
    const auto database = Open(std::move(bytes), isListening ? &damage : nullptr);
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

void ExpectOneDamage(const std::vector<DatabaseError>& damage, std::optional<std::uint32_t> page,
                     std::optional<std::uint32_t> slot, const std::string& column = {}) {
  ASSERT_EQ(damage.size(), 1U);
  const ErrorPlace& place = damage[0].place();
  EXPECT_EQ(place.column, column);
  if (!page) return;
  EXPECT_EQ(place.page, page);
  EXPECT_EQ(place.slot, slot);
}

std::vector<std::byte> MakeSmall(JetVersion version, std::int32_t rows = 16) {
  return MakeDatabase({.version = version}, [rows](DatabaseWriter& writer) {
    AddEverything(writer, rows);
    SelectStatement select;
    select.columns.push_back({.expression = "Everything.Number"});
    select.sources.push_back({.name = "Everything"});
    select.conditions.push_back("Everything.Number > 3");
    writer.AddQuery({.name = "Query", .rows = jetwriter::ToQueryRows(select)});
  });
}

// Empty where there is none.
std::vector<std::byte> ReadSample(const std::string& name) {
  return ReadWholeFile(NIMPORT_SHARED_SAMPLES "/jet-public/" + name + ".mdb");
}

// Generated files of both versions, and small ones that Access wrote where there are any.
std::vector<Victim> Victims() {
  std::vector<Victim> files;
  for (const JetVersion version : VERSIONS)
    files.emplace_back(MakeSmall(version));
  for (const char* name : {"overflowTestV1997", "queryTestV2000"}) {
    auto bytes = ReadSample(name);
    if (!bytes.empty()) files.emplace_back(std::move(bytes));
  }
  return files;
}

TEST(Damage, EveryPageCutOffZeroedOrBent) {
  for (const Victim& whole : Victims()) {
    for (std::uint32_t page = 0; page < whole.PageCount(); ++page) {
      Victim zeroed = whole;
      zeroed.Zero(page);
      ReadBothWays(zeroed.bytes);

      std::vector<std::byte> cut = whole.bytes;
      cut.resize(whole.At(page));
      EXPECT_TRUE(page >= 3 || !ReadEverything(cut, false).errors.empty());
      (void)ReadEverything(cut, true);
      cut.resize(cut.size() + 100, std::byte{0x01});
      ReadBothWays(cut);

      // Definitions are all header.
      const std::size_t headerBytes = whole.bytes[whole.At(page)] == std::byte{0x02} ? 160 : 24;
      for (std::size_t offset = 0; offset < headerBytes; ++offset) {
        std::vector<std::byte> bytes = whole.bytes;
        bytes[whole.At(page, offset)] ^= std::byte{0xFF};
        (void)ReadEverything(bytes, true);
        bytes[whole.At(page, offset)] ^= std::byte{0xFE};  // now only the lowest bit differs
        (void)ReadEverything(bytes, false);
      }
    }
  }
}

// In the rows of small tables, catalog and usage maps included.
TEST(Damage, BytesOfRowsFlipped) {
  for (const JetVersion version : VERSIONS) {
    const Victim whole(MakeSmall(version, 8));
    for (std::size_t offset = whole.At(1); offset < whole.bytes.size(); ++offset) {
      if (offset % (whole.bytes[offset] == std::byte{0} ? 16 : 3) != 0) continue;
      std::vector<std::byte> bytes = whole.bytes;
      bytes[offset] ^= std::byte{0xFF};
      (void)ReadEverything(bytes, true);
    }
  }
}

TEST(Damage, OneBadRowLeavesItsNeighbours) {
  Victim victim(MakeSmall(JetVersion::Jet4));
  const std::size_t wholeCount = ReadEverything(victim.bytes, false).numbers.size();
  const std::uint32_t page = victim.PagesOf(victim.Definition(0))[0];
  victim.Put(victim.Row(page, 0), {0xFF, 0xFF});  // its number of columns
  const Outcome outcome = ReadEverything(victim.bytes, true);
  EXPECT_EQ(outcome.numbers.size(), wholeCount - 1);
  ExpectOneDamage(outcome.damage, page, 0U);
}

TEST(Damage, OneBadValueLeavesTheRestOfItsRow) {
  for (const JetVersion version : VERSIONS) {
    Victim victim(MakeSmall(version));
    const std::uint32_t page = victim.PagesOf(victim.Definition(0))[0];
    // The first row's number of variable columns, before its null mask at the end of the page.
    const std::size_t maskBytes = (EVERYTHING.columns.size() + 7) / 8;
    victim.Put(victim.At(page + 1) - maskBytes - victim.layout.rowNumberBytes, {0xFE});
    DamageList damage;
    const auto database = Open(victim.bytes, &damage);
    const auto rows = database->OpenTable("Everything")->OpenRecordset();
    EXPECT_EQ(rows->GetFieldValue("When"), Value(Date{.days = 36000.25}));
    EXPECT_EQ(rows->GetFieldValue("Name"), Value());
    EXPECT_EQ(rows->GetFieldValue("Note"), Value());
    ExpectOneDamage(damage.all, page, 0U, "Name");
    rows->MoveNext();
    EXPECT_EQ(rows->GetFieldValue("Name"), Value(Text{"row 1"}));
  }
}

TEST(Damage, RingsEnd) {
  jetwriter::TableSpec wide{.name = "Wide", .columns = {}};
  for (int i = 0; i < 200; ++i) {
    wide.columns.push_back(
        {.name = "Column number " + std::to_string(i), .type = ColumnType::Memo});
  }
  std::vector<Value> row(200);
  row[0] = Text{std::string(30'000, 'x')};
  for (const JetVersion version : VERSIONS) {
    const Victim whole(
        MakeDatabase({.version = version, .maxSingleLongValueBytes = 40},
                     [&](DatabaseWriter& writer) { writer.AddTable(wide).AddRow(row); }));
    Victim definition = whole;
    const auto table = static_cast<std::uint8_t>(whole.Definition(0));
    definition.Put(whole.At(table, DEFINITION_NEXT_PAGE_OFFSET), {table, 0, 0, 0});
    EXPECT_FALSE(ReadEverything(definition.bytes, true).errors.empty());

    Victim chain = whole;
    const std::vector<std::uint32_t> parts = whole.PagesOf(OWNER_LONG_VALUES);
    chain.Put(whole.Row(parts[1], 0), {0, parts[0], 0, 0});
    const Outcome value = ReadEverything(chain.bytes, true);
    ExpectOneDamage(value.damage, std::nullopt, std::nullopt, "Column number 0");
    EXPECT_THAT(value.damage[0].what(), testing::HasSubstr("ring"));
    EXPECT_EQ(value.numbers, std::vector<Value>{Value()});
  }
}

// A table of many pages with a long value, a small one, and a query that joins both.
std::vector<std::byte> MakeWhole(JetVersion version, std::uint32_t encodingKey = 0) {
  return MakeDatabase({.version = version, .encodingKey = encodingKey}, [](DatabaseWriter& writer) {
    jetwriter::TableWriter& mails =
        writer.AddTable({.name = "Mails",
                         .columns = {{.name = "No", .type = ColumnType::Long},
                                     {.name = "Title", .type = ColumnType::Text, .size = 200}}});
    jetwriter::TableWriter& texts =
        writer.AddTable({.name = "Texts",
                         .columns = {{.name = "No", .type = ColumnType::Long},
                                     {.name = "Body", .type = ColumnType::Memo}}});
    for (std::int32_t i = 0; i < MAILS; ++i) {
      mails.AddRow(
          std::vector<Value>{i, Text{"title " + std::to_string(i) + std::string(120, 't')}}, {});
      texts.AddRow(std::vector<Value>{i, Text{std::string(i == 7 ? LONG_BYTES : 10, 'b')}}, {});
    }
    SelectStatement select;
    select.columns = {{.expression = "Mails.No"}, {.expression = "Texts.Body"}};
    select.sources = {{.name = "Mails"}, {.name = "Texts"}};
    select.joins = {{.left = "Mails", .right = "Texts", .condition = "Mails.No = Texts.No"}};
    writer.AddQuery({.name = "MailQuery", .rows = jetwriter::ToQueryRows(select)});
  });
}

struct Salvaged {
  std::vector<std::int32_t> mails;       // numbers from the table Mails
  std::vector<std::int32_t> queryMails;  // from the query
  std::size_t longBytes = 0;             // of the long value
  std::string titles;                    // of all mails of the table
  std::vector<std::string> damage;

  [[nodiscard]] auto Contents() const { return std::tie(mails, queryMails, longBytes, titles); }
};

const KnownObjects KNOWN = {
    .tables = {{.name = "Mails",
                .columns = {{"No", ColumnUse::Number}, {"Title", ColumnUse::Text}},
                .usualColumns = {}},
               {.name = "Texts", .columns = {"No"}, .usualColumns = {"Body"}}},
    .queries = {{.name = "MailQuery", .table = "Texts", .joined = "Mails", .key = "No"}}};

// Without a listener, damage throws.
Salvaged Salvage(const Victim& victim, bool isListening = true) {
  DamageList damage;
  Salvaged result;
  const auto database = Open(victim.bytes, isListening ? &damage : nullptr, KNOWN);
  const auto table = database->OpenTable("Mails");
  const auto mails = table->OpenRecordset();
  for (; !mails->IsEof(); mails->MoveNext()) {
    result.mails.push_back(ToInteger(mails->GetFieldValue("No")).value_or(-1));
    const Value title = mails->GetFieldValue("Title");
    result.titles += ToText(title).value_or("");
  }
  const auto query = database->OpenQuery("MailQuery");
  const auto rows = query->OpenRecordset();
  for (; !rows->IsEof(); rows->MoveNext()) {
    result.queryMails.push_back(ToInteger(rows->GetFieldValue("No")).value_or(-1));
    const Value body = rows->GetFieldValue("Body");
    if (const Text* text = std::get_if<Text>(&body)) {
      result.longBytes = std::max(result.longBytes, text->bytes.size());
    }
  }
  for (const DatabaseError& error : damage.all)
    result.damage.emplace_back(error.what());
  return result;
}

std::vector<std::int32_t> AllMails() {
  std::vector<std::int32_t> numbers;
  for (std::int32_t i = 0; i < MAILS; ++i)
    numbers.push_back(i);
  return numbers;
}

struct Case {
  const char* why;
  std::function<void(Victim&)> harm;
  const char* named;  // in one of the reports; null: there is none
  bool failsWithoutListener = true;
};

// Structures that can be done without.
const Case NOTHING_LOST[] = {
    {"nothing", [](Victim&) {}, nullptr},
    {"a free page that keeps what it held when it belonged to a table",
     [](Victim& v) {
       const std::size_t page = v.At(v.PagesOf(v.Definition(0))[0]);
       for (std::size_t i = 0; i < v.layout.pageSize; ++i)
         v.bytes.push_back(v.bytes[page + i]);
     },
     nullptr},
    {"a map that names a page beyond the file",
     [](Victim& v) { v.bytes[v.MapBits(0) + 60] |= std::byte{0x10}; }, "page 484"},
    {"the pages that hold usage maps",
     [](Victim& v) {
       for (const std::uint32_t page : v.PagesOf(OWNER_USAGE_MAPS))
         v.Zero(page);
     },
     "not a data page"},
    {"a table's usage map without any page",
     [](Victim& v) {
       std::fill_n(v.bytes.begin() + static_cast<std::ptrdiff_t>(v.MapBits(0)), 64, std::byte{0});
     },
     "whose map leaves it out"},
    {"a data page's owner",
     [](Victim& v) {
       v.Put(v.At(v.PagesOf(v.Definition(0))[1], DATA_PAGE_OWNER_OFFSET), {0xEE, 0xEE, 0xEE, 0});
     },
     "belongs to page"},
    {"a data page's type", [](Victim& v) { v.Put(v.At(v.PagesOf(v.Definition(0))[1]), {0x41}); },
     "of type 65"},
    {"too few slots",
     [](Victim& v) {
       v.Put(v.At(v.PagesOf(v.Definition(0))[1], v.layout.slotCountOffset), {2, 0});
     },
     "claims 2 slots", false},
    {"too many slots",
     [](Victim& v) {
       v.Put(v.At(v.PagesOf(v.Definition(0))[1], v.layout.slotCountOffset), {0xFF, 0xFF});
     },
     "claims 65535 slots"},
    {"the definition of the list of objects", [](Victim& v) { v.Zero(OBJECTS_PAGE); },
     "MSysObjects"},
    {"the definition of the stored queries", [](Victim& v) { v.Zero(QUERIES_PAGE); },
     "MSysQueries"},
    {"the list of objects",
     [](Victim& v) {
       for (const std::uint32_t page : v.PagesOf(OBJECTS_PAGE))
         v.Zero(page);
     },
     "found by its columns"},
    {"the rows of the stored queries",
     [](Victim& v) {
       for (const std::uint32_t page : v.PagesOf(QUERIES_PAGE))
         v.Zero(page);
     },
     "the stored query is damaged"},
    {"the header", [](Victim& v) { v.Zero(0); }, "the header does not fit"},
    {"the header's version", [](Victim& v) { v.bytes[VERSION_OFFSET] ^= std::byte{1}; },
     "the header does not fit"},
    {"the header's encoding key",
     [](Victim& v) { v.bytes[ENCODING_KEY_OFFSET] ^= std::byte{0x10}; }, "the header does not fit"},
};

TEST(Salvage, NothingIsLostWithWhatCanBeDoneWithout) {
  for (const JetVersion version : VERSIONS) {
    for (const Case& damaged : NOTHING_LOST) {
      SCOPED_TRACE(damaged.why);
      Victim victim(MakeWhole(version));
      damaged.harm(victim);
      const Salvaged result = Salvage(victim);
      EXPECT_THAT(result.mails, ElementsAreArray(AllMails()));
      EXPECT_THAT(result.queryMails, ElementsAreArray(AllMails()));
      EXPECT_EQ(result.longBytes, LONG_BYTES);
      if (damaged.named == nullptr) {
        EXPECT_THAT(result.damage, IsEmpty());
        continue;
      }
      EXPECT_THAT(result.damage, testing::Contains(HasSubstr(damaged.named)));
      if (!damaged.failsWithoutListener) continue;
      EXPECT_THROW((void)Salvage(victim, false), DatabaseError);
    }
  }
}

TEST(Salvage, ADamagedPageCostsItsOwnRows) {
  for (const JetVersion version : VERSIONS) {
    Victim victim(MakeWhole(version));
    const std::uint32_t page = victim.PagesOf(victim.Definition(0))[1];
    const std::size_t rows =
        ByteReader(victim.bytes).U16(victim.At(page, victim.layout.slotCountOffset));
    victim.Zero(page);
    const Salvaged result = Salvage(victim);
    EXPECT_EQ(result.mails.size(), MAILS - rows);
    EXPECT_EQ(result.queryMails, result.mails);
    const std::string place = "test.mdb, page " + std::to_string(page) + ", table Mails: ";
    EXPECT_THAT(result.damage, testing::Contains(HasSubstr(place)));
    try {
      (void)Salvage(victim, false);
      ADD_FAILURE() << "no error without a listener";
    } catch (const DatabaseError& error) {
      EXPECT_THAT(error.what(), HasSubstr(place));
    }
  }
}

TEST(Salvage, ALongValueIsReadUpToTheDamagedPage) {
  for (const JetVersion version : VERSIONS) {
    Victim victim(MakeWhole(version));
    const std::vector<std::uint32_t> parts = victim.PagesOf(OWNER_LONG_VALUES);
    ASSERT_GE(parts.size(), 3U);
    victim.Zero(parts[parts.size() - 2]);
    const Salvaged result = Salvage(victim);
    EXPECT_THAT(result.queryMails, ElementsAreArray(AllMails()));
    EXPECT_GT(result.longBytes, LONG_BYTES / 3);
    EXPECT_LT(result.longBytes, LONG_BYTES);
    EXPECT_THAT(result.damage, testing::Contains(HasSubstr("its long value at page")));
  }
}

// The row is gone without a trace but for the number in the table's definition.
TEST(Salvage, RowsThatTheDefinitionCountsAreMissed) {
  for (const JetVersion version : VERSIONS) {
    Victim victim(MakeWhole(version));
    const std::uint32_t page = victim.PagesOf(victim.Definition(0))[0];
    victim.bytes[victim.At(page, victim.layout.slotTableOffset + 1)] |= std::byte{0xC0};
    const Salvaged result = Salvage(victim);
    EXPECT_EQ(result.mails.size(), MAILS - 1U);
    EXPECT_THAT(result.damage, testing::Contains(HasSubstr("60 rows, of which 59 were found")));
  }
}

// A bit of a definition can make numbers into nothing and texts into each other. It is put right,
// or reported, and fails what nobody listens to.
TEST(Salvage, NoBitOfADefinitionChangesRowsWithoutAWord) {
  for (const JetVersion version : VERSIONS) {
    const Victim whole(MakeWhole(version));
    const Salvaged sound = Salvage(whole);
    const std::size_t begin = whole.At(whole.Definition(0));
    const std::size_t bits = ByteReader(whole.bytes).U32(begin + DEFINITION_LENGTH_OFFSET) * 8;
    std::size_t lossless = 0;
    for (std::size_t bit = 0; bit < bits; ++bit) {
      SCOPED_TRACE("byte " + std::to_string(bit / 8) + " bit " + std::to_string(bit % 8));
      Victim victim = whole;
      victim.bytes[begin + bit / 8] ^= std::byte{1} << bit % 8;
      try {
        const Salvaged salvaged = Salvage(victim);
        const bool isWhole = salvaged.Contents() == sound.Contents();
        EXPECT_TRUE(isWhole || !salvaged.damage.empty());
        if (isWhole) ++lossless;
        EXPECT_EQ(Salvage(victim, false).Contents(), sound.Contents());
      } catch (const DatabaseError& error) {
        EXPECT_THAT(error.what(), HasSubstr("test.mdb"));
      }
    }
    EXPECT_GE(lossless, bits * 98 / 100);
  }
}

// What Access wrote is sound, and must not be taken for damaged.
TEST(Salvage, NoFalseAlarmInFilesThatAccessWrote) {
  int files = 0;
  for (const char* name :
       {"testV1997", "test2V1997", "queryTestV1997", "queryTestV2000", "overflowTestV1997",
        "overflowTestV2000", "delTestV1997", "delColTestV2003", "testUnicodeCompV2003", "testV2000",
        "../demo-jet4/c/NIFTY/Data/Cabdata", "../demo-jet4/c/NIFTY/Data/Abook"}) {
    auto bytes = ReadSample(name);
    if (bytes.empty()) continue;
    ++files;
    for (const DatabaseError& error : ReadEverything(std::move(bytes), true).damage)
      ADD_FAILURE() << name << ": " << error.what();
  }
  if (files == 0) GTEST_SKIP() << "no sample files";
}

}  // namespace
}  // namespace nimport::jet
