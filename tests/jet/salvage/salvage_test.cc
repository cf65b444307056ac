// What still comes out of damaged files while somebody listens to the damage: everything that does
// not lie on the damaged place itself.
#include <algorithm>
#include <functional>
#include <string>
#include <tuple>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/database.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/format/system_layout.h"
#include "tests/jet/generated_database.h"
#include "tests/jet/samples.h"
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
constexpr std::int32_t MAILS = 60;
constexpr std::size_t LONG_BYTES = 20'000;

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
    jetwriter::SelectSpec select;
    select.columns = {{.expression = "Mails.No", .alias = ""},
                      {.expression = "Texts.Body", .alias = ""}};
    select.sources = {{.table = "Mails", .alias = ""}, {.table = "Texts", .alias = ""}};
    select.joins = {{.left = "Mails", .right = "Texts", .condition = "Mails.No = Texts.No"}};
    writer.AddQuery({.name = "MailQuery", .rows = jetwriter::ToQueryRows(select)});
  });
}

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
  const auto database =
      Database::Open(std::make_unique<MemoryFile>("test.mdb", victim.bytes), CONVERTER,
                     {.textCodePage = text::CODE_PAGE_UTF8,
                      .damageListener = isListening ? &damage : nullptr,
                      .known = KNOWN});
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

constexpr JetVersion VERSIONS[] = {JetVersion::Jet3, JetVersion::Jet4};

TEST(Salvage, SoundFilesAreReadWithoutAWord) {
  for (const JetVersion version : VERSIONS) {
    const Salvaged result = Salvage(Victim(MakeWhole(version)));
    EXPECT_THAT(result.mails, ElementsAreArray(AllMails()));
    EXPECT_THAT(result.queryMails, ElementsAreArray(AllMails()));
    EXPECT_EQ(result.longBytes, LONG_BYTES);
    EXPECT_THAT(result.damage, IsEmpty());
  }
}

struct Case {
  const char* why;
  std::function<void(Victim&)> harm;
  const char* named;  // in one of the reports
};

// Structures that can be done without.
const Case NOTHING_LOST[] = {
    {"the pages that hold usage maps",
     [](Victim& v) {
       for (const std::uint32_t page : v.PagesOf(OWNER_USAGE_MAPS))
         v.Zero(page);
     },
     "not a data page"},
    {"a table's usage map without any page",
     [](Victim& v) {
       const std::uint32_t map =
           ByteReader(v.bytes).U32(v.At(v.Definition(0), v.layout.definition.ownedPagesMap));
       const std::size_t slot =
           v.At(map >> 8, v.layout.slotTableOffset + (map & 0xFF) * SLOT_BYTES);
       const std::size_t row = v.At(map >> 8, ByteReader(v.bytes).U16(slot) & SLOT_OFFSET_MASK);
       std::fill_n(v.bytes.begin() + static_cast<std::ptrdiff_t>(row + INLINE_MAP_BITS_OFFSET), 64,
                   std::byte{0});
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
     "claims 2 slots"},
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
      EXPECT_THAT(result.damage, testing::Contains(HasSubstr(damaged.named)));
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
    EXPECT_THAT(result.damage, Not(IsEmpty()));
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

// Free pages keep what they held when they belonged to a table.
TEST(Salvage, FreePagesAreNotRead) {
  for (const JetVersion version : VERSIONS) {
    Victim victim(MakeWhole(version));
    const auto page =
        static_cast<std::ptrdiff_t>(victim.At(victim.PagesOf(victim.Definition(0))[0]));
    const std::vector<std::byte> old(victim.bytes.begin() + page,
                                     victim.bytes.begin() + page + victim.layout.pageSize);
    victim.bytes.insert(victim.bytes.end(), old.begin(), old.end());
    const Salvaged result = Salvage(victim);
    EXPECT_THAT(result.mails, ElementsAreArray(AllMails()));
    EXPECT_THAT(result.damage, IsEmpty());
  }
}

// What Access wrote is sound, and must not be taken for damaged.
TEST(Salvage, NoFalseAlarmInFilesThatAccessWrote) {
  int files = 0;
  for (const char* name :
       {"testV1997", "test2V1997", "queryTestV1997", "queryTestV2000", "overflowTestV1997",
        "overflowTestV2000", "delTestV1997", "delColTestV2003", "testUnicodeCompV2003", "testV2000",
        "../demo-jet4/c/NIFTY/Data/Cabdata", "../demo-jet4/c/NIFTY/Data/Abook"}) {
    auto bytes = ReadWholeFile(SamplesFolder() + "/jet-public/" + name + ".mdb");
    if (bytes.empty()) continue;
    ++files;
    DamageList damage;
    const auto database =
        Database::Open(std::make_unique<MemoryFile>(name, std::move(bytes)), CONVERTER,
                       {.textCodePage = text::CODE_PAGE_UTF8, .damageListener = &damage});
    for (const std::string& table : database->TableNames()) {
      const auto definition = database->OpenTable(table);
      const auto rows = definition->OpenRecordset();
      for (; !rows->IsEof(); rows->MoveNext()) {
        for (std::size_t i = 0; i < definition->Columns().size(); ++i)
          (void)rows->GetFieldValue(i);
      }
    }
    for (const DatabaseError& error : damage.all)
      ADD_FAILURE() << error.what();
  }
  if (files == 0) GTEST_SKIP() << "no sample files";
}

}  // namespace
}  // namespace nimport::jet
