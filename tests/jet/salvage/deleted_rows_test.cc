// What is found of rows that were deleted, and what is not taken for it.
#include "jet/salvage/deleted_rows.h"

#include <functional>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/database.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jetwriter/row_deleter.h"
#include "tests/jet/generated_database.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using jetwriter::DatabaseWriter;
using jetwriter::DeletedBytes;
using jetwriter::JetVersion;
using jetwriter::RowForm;
using testing::IsEmpty;

const text::CodePageConverter CONVERTER;
const jetwriter::TableSpec NOTES{.name = "Notes",
                                 .columns = {{.name = "Number", .type = ColumnType::Long},
                                             {.name = "Name", .type = ColumnType::Text, .size = 60},
                                             {.name = "Note", .type = ColumnType::Memo}}};
constexpr std::int32_t ROWS = 90;

using Bytes = std::vector<std::byte>;
using Numbers = std::set<std::int32_t>;

// Within the row, on a page with others, and on pages of its own. Jet 4 stores its Latin letters
// compressed, except in chains.
std::string NoteOf(std::int32_t i) {
  const std::size_t sizes[] = {10, 700, 9000};
  return "note " + std::to_string(i) + std::string(sizes[i % 3], static_cast<char>('a' + i % 26));
}

std::vector<Value> RowOf(std::int32_t i) {
  return {i, Text{"name " + std::to_string(i)}, Text{NoteOf(i)}};
}

Bytes MakeNotes(JetVersion version) {
  return MakeDatabase({.version = version, .encodingKey = 7}, [](DatabaseWriter& writer) {
    jetwriter::TableWriter& table = writer.AddTable(NOTES);
    // Of the same shape, so that only the owner of a page tells whose rows they are.
    jetwriter::TableSpec twin = NOTES;
    twin.name = "Others";
    jetwriter::TableWriter& others = writer.AddTable(twin);
    for (std::int32_t i = 0; i < ROWS; ++i) {
      table.AddRow(RowOf(i), {.form = i % 8 == 5 ? RowForm::Moved : RowForm::Live});
      others.AddRow(RowOf(1000 + i));
    }
  });
}

void Delete(Bytes& file, const std::function<bool(std::int32_t)>& isMeant, DeletedBytes bytes,
            const std::string& table = "Notes") {
  ASSERT_GT(jetwriter::DeleteRows(
                file, {.table = table, .column = "Number", .isMeant = isMeant, .bytes = bytes}),
            0U);
}

// The rows that were found, by their numbers.
struct Found {
  Numbers whole;
  Numbers partial;
  std::map<DeletedPlace, Numbers> byPlace;
  std::map<std::int32_t, std::string> notes;  // what is there of them
  std::map<std::int32_t, std::string> lost;
  std::uint64_t emptySlots = 0;
};

Found Find(const Bytes& file) {
  const auto database = Database::Open(std::make_unique<MemoryFile>("d.mdb", file), CONVERTER,
                                       {.textCodePage = text::CODE_PAGE_UTF8});
  const auto data = database->OpenDeleted();
  const DeletedRows* rows = data->FindRows("notes");
  Found found;
  found.emptySlots = rows->EmptySlots();
  for (std::size_t row = 0; row < rows->Count(); ++row) {
    const std::int32_t number = ToInteger(rows->Get(row, 0).value).value_or(-1);
    EXPECT_EQ(rows->Get(row, 1).value, RowOf(number)[1]);
    const DeletedValue note = rows->Get(row, 2);
    (note.lost.empty() ? found.whole : found.partial).insert(number);
    found.byPlace[rows->PlaceOf(row)].insert(number);
    found.notes[number] = ToText(note.value).value_or("");
    if (!note.lost.empty()) found.lost[number] = note.lost;
    // Never anything but the beginning of its own.
    EXPECT_TRUE(NoteOf(number).starts_with(found.notes[number])) << number;
  }
  return found;
}

Numbers NumbersOf(const std::function<bool(std::int32_t)>& isMeant) {
  Numbers numbers;
  for (std::int32_t i = 0; i < ROWS; ++i) {
    if (isMeant(i)) numbers.insert(i);
  }
  return numbers;
}

class Deleted : public testing::TestWithParam<JetVersion> {
 protected:
  Bytes file_ = MakeNotes(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Versions, Deleted, testing::Values(JetVersion::Jet3, JetVersion::Jet4),
                         [](const auto& instance) {
                           return instance.param == JetVersion::Jet3 ? "Jet3" : "Jet4";
                         });

TEST_P(Deleted, NothingIsFoundWhereNothingWas) {
  const Found found = Find(file_);
  EXPECT_THAT(found.notes, IsEmpty());
  EXPECT_EQ(found.emptySlots, 0U);
}

TEST_P(Deleted, RowsWhoseBytesStayComeBackWhole) {
  const auto isMeant = [](std::int32_t i) { return i % 3 == 1 || i % 8 == 5 || i % 9 == 2; };
  Delete(file_, isMeant, DeletedBytes::Stay);
  const Found found = Find(file_);
  EXPECT_EQ(found.whole, NumbersOf(isMeant));
  EXPECT_THAT(found.partial, IsEmpty());
}

// Most rows lie under others then. What is found beside the last ones are copies of rows that live
// or that are found elsewhere.
TEST_P(Deleted, OfRowsThatGoUnderTheLastOnesOfAPageAreLeft) {
  const auto isMeant = [](std::int32_t i) { return i >= ROWS - 12; };
  Delete(file_, isMeant, DeletedBytes::GoUnder);
  const Found found = Find(file_);
  EXPECT_GT(found.emptySlots, 0U);
  EXPECT_TRUE(found.byPlace.at(DeletedPlace::FreeRoom).contains(ROWS - 1));
  // Its long value had pages for itself.
  EXPECT_TRUE(found.whole.contains(ROWS - 1)) << found.lost.at(ROWS - 1);
}

TEST_P(Deleted, PagesThatWereGivenBackAreLookedAt) {
  Delete(
      file_, [](std::int32_t) { return true; }, DeletedBytes::Stay);
  const Found found = Find(file_);
  EXPECT_EQ(found.whole, NumbersOf([](std::int32_t) { return true; }));
  EXPECT_EQ(found.byPlace.at(DeletedPlace::FreedPage).size(), ROWS);
}

TEST_P(Deleted, PagesThatAnotherTableHasNowAreItsOwn) {
  const auto isMeant = [](std::int32_t i) { return i < 1050; };
  Delete(file_, isMeant, DeletedBytes::Stay, "Others");
  EXPECT_THAT(Find(file_).notes, IsEmpty());
}

// A page of deleted rows' long values is written over, in every way in which that happens.
TEST(DeletedLongValues, WhatWasWrittenOverIsToldAndNeverTakenForTheRows) {
  struct Case {
    const char* name;
    std::function<void(std::span<std::byte> page, const JetLayout& layout)> change;
  };
  const Case cases[] = {
      {"zeroed", [](auto page, auto&) { std::ranges::fill(page, std::byte{0}); }},
      {"another type", [](auto page, auto&) { page[0] = std::byte{4}; }},
      {"another owner", [](auto page, auto&) { page[DATA_PAGE_OWNER_OFFSET] ^= std::byte{1}; }},
      {"live again",
       [](auto page, const JetLayout& layout) {
         page[layout.slotTableOffset + 1] &= std::byte{0x3F};
       }},
      {"no slots",
       [](auto page, const JetLayout& layout) { page[layout.slotCountOffset] = std::byte{0}; }},
      {"another end",
       [](auto page, const JetLayout& layout) {
         const auto rows = page.subspan(layout.slotTableOffset + 2);
         std::ranges::rotate(rows, rows.begin() + 20);
       }},
      {"cleared in part",
       [](auto page, auto&) { std::ranges::fill(page.last(400), std::byte{0}); }}};
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const JetLayout& layout = version == JetVersion::Jet3 ? JET3 : JET4;
    // The value has one page, or several of which the last says that it is.
    for (const std::int32_t number : {1, 2}) {
      Bytes file = MakeDatabase({.version = version}, [&](DatabaseWriter& writer) {
        jetwriter::TableWriter& table = writer.AddTable(NOTES);
        for (const std::int32_t i : {0, number})
          table.AddRow(RowOf(i));
      });
      Delete(
          file, [](std::int32_t i) { return i > 0; }, DeletedBytes::GoUnder);
      // Nothing tells in Jet 3 whether a value that had a page for itself is still the same.
      const bool isTold = number == 2 || version == JetVersion::Jet4;
      EXPECT_EQ(Find(file).whole, isTold ? Numbers{number} : Numbers{});
      std::size_t last = 0;
      for (std::size_t at = 0; at < file.size(); at += layout.pageSize) {
        if (ByteReader(file).U32(at + DATA_PAGE_OWNER_OFFSET) == OWNER_LONG_VALUES) last = at;
      }
      for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        Bytes changed = file;
        test.change(std::span(changed).subspan(last, layout.pageSize), layout);
        const Found found = Find(changed);
        EXPECT_EQ(found.partial, Numbers{number});
        EXPECT_LT(found.notes.at(number).size(), NoteOf(number).size());
      }
    }
  }
}

// The room of a deleted row's long value went to a row that lives, of the very same length.
TEST(DeletedLongValues, WhatALivingRowHasIsNotTaken) {
  for (const JetVersion version : {JetVersion::Jet3, JetVersion::Jet4}) {
    const JetLayout& layout = version == JetVersion::Jet3 ? JET3 : JET4;
    Bytes file = MakeDatabase({.version = version}, [](DatabaseWriter& writer) {
      jetwriter::TableWriter& table = writer.AddTable(NOTES);
      for (const std::int32_t i : {1, 4})
        table.AddRow(RowOf(i));
    });
    Delete(
        file, [](std::int32_t i) { return i == 1; }, DeletedBytes::Stay);
    EXPECT_EQ(Find(file).whole, Numbers{1});
    // Where the rows hold their long values' length, form and row pointer; the lower row is the
    // second one.
    std::vector<std::size_t> descriptors;
    for (std::size_t at = 0; at + LONG_VALUE_DESCRIPTOR_BYTES <= file.size(); ++at) {
      const ByteReader reader(std::span<const std::byte>(file).subspan(at));
      const RowId pointer{reader.U32(LONG_VALUE_POINTER_OFFSET)};
      const std::size_t page = std::size_t{pointer.Page()} * layout.pageSize;
      if (reader.U32(0) >> 30 != 1 || reader.U32(8) != 0 || page == 0) continue;
      if (page + layout.pageSize > file.size() || pointer.Slot() > 1) continue;
      if (ByteReader(file).U32(page + DATA_PAGE_OWNER_OFFSET) != OWNER_LONG_VALUES) continue;
      descriptors.push_back(at + LONG_VALUE_POINTER_OFFSET);
    }
    ASSERT_EQ(descriptors.size(), 2U);
    std::copy_n(file.begin() + static_cast<std::ptrdiff_t>(descriptors[0]), 4,
                file.begin() + static_cast<std::ptrdiff_t>(descriptors[1]));
    EXPECT_EQ(Find(file).partial, Numbers{1});
  }
}

// Whatever byte of the file changes: no crash, and a row is the row or says that it is not.
TEST_P(Deleted, ChangedBytesDoNoHarm) {
  Delete(
      file_, [](std::int32_t i) { return i % 2 == 0; }, DeletedBytes::GoUnder);
  const std::size_t pageSize = GetParam() == JetVersion::Jet3 ? JET3.pageSize : JET4.pageSize;
  std::uint32_t random = 1;
  for (int round = 0; round < 150; ++round) {
    Bytes changed = file_;
    for (int i = 0; i < 200; ++i) {
      random = random * 1664525 + 1013904223;
      changed[pageSize + random % (changed.size() - pageSize)] =
          static_cast<std::byte>(random >> 24);
    }
    try {
      const auto database =
          Database::Open(std::make_unique<MemoryFile>("d.mdb", changed), CONVERTER);
      const auto data = database->OpenDeleted();
      const DeletedRows* rows = data->FindRows("Notes");
      if (rows == nullptr) continue;
      for (std::size_t row = 0; row < rows->Count(); ++row) {
        const DeletedValue note = rows->Get(row, 2);
        EXPECT_LE(ToText(note.value).value_or("").size(), changed.size());
      }
    } catch (const DatabaseError&) {
      // The list of objects is lost.
    }
  }
}

}  // namespace
}  // namespace nimport::jet
