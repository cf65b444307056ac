// Real databases against what other readers read from them.
#include "tests/jet/samples.h"

#include <cstdio>
#include <fstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

using Json = nlohmann::json;

std::string Hexadecimal(const Binary& binary) {
  std::string text;
  for (const std::byte byte : binary.bytes) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", std::to_integer<unsigned>(byte));
    text += digits;
  }
  return text;
}

std::string DateText(Date date) {
  const auto fields = ToCalendarDate(date);
  if (!fields) return "no date";
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", fields->year, fields->month,
                fields->day, fields->hour, fields->minute, fields->second);
  return text;
}

// A value in the form that the reference files use.
Json ToReference(const Value& value) {
  if (const auto* held = std::get_if<bool>(&value)) return *held;
  if (const auto* held = std::get_if<float>(&value)) return *held;
  if (const auto* held = std::get_if<double>(&value)) return *held;
  if (const auto* held = std::get_if<Text>(&value)) return held->bytes;
  if (const auto* held = std::get_if<Date>(&value)) return DateText(*held);
  if (const auto* held = std::get_if<Binary>(&value)) return Hexadecimal(*held);
  if (const auto* held = std::get_if<Guid>(&value)) return ToString(*held);
  if (const auto* held = std::get_if<Decimal>(&value)) return ToString(*held);
  if (const auto* held = std::get_if<Currency>(&value)) {
    return static_cast<double>(held->tenThousandths) / 10'000;
  }
  if (const auto number = ToInteger(value)) return *number;
  return nullptr;
}

bool IsEqual(const Json& wanted, const Json& got) {
  if (!wanted.is_string() || !got.is_string()) return wanted == got;
  // The other reader took Jet 3 text for UTF-8; the one byte that is none is a pound sign.
  if (wanted == "\xEF\xBF\xBD") return got == "\xC2\xA3";
  // The letter case of hexadecimal digits does not matter.
  return wanted == got || std::ranges::equal(wanted.get<std::string>(), got.get<std::string>(),
                                             [](unsigned char a, unsigned char b) {
                                               return std::tolower(a) == std::tolower(b);
                                             });
}

void ExpectRows(const TableDefinition& table, const Json& wantedRows) {
  EXPECT_EQ(table.RecordCount(), wantedRows.size());
  const auto rows = table.OpenRecordset();
  for (const Json& wanted : wantedRows) {
    ASSERT_FALSE(rows->IsEof());
    if (wanted.contains("#")) {
      EXPECT_EQ(rows->GetBookmark().position >> 8, wanted["#"][0]);
      EXPECT_EQ(rows->GetBookmark().position & 0xFF, wanted["#"][1]);
    }
    for (const ColumnInfo& column : table.Columns()) {
      const Json got = ToReference(rows->GetFieldValue(column.name));
      EXPECT_TRUE(IsEqual(wanted[column.name], got))
          << column.name << ": wanted " << wanted[column.name] << ", got " << got;
    }
    rows->MoveNext();
  }
  EXPECT_TRUE(rows->IsEof());
}

void ExpectTables(const std::string& path, const Json& tables) {
  const text::CodePageConverter converter;
  const auto database = Database::Open(std::make_unique<MemoryFile>(path, ReadWholeFile(path)),
                                       converter, {.textCodePage = text::CODE_PAGE_UTF8});
  EXPECT_EQ(database->TableNames().size(), tables.size());
  for (const auto& [name, wanted] : tables.items()) {
    SCOPED_TRACE(name);
    const auto table = database->OpenTable(name);
    ASSERT_EQ(table->Columns().size(), wanted["columns"].size());
    for (const Json& column : wanted["columns"]) {
      EXPECT_NE(
          std::ranges::find(table->Columns(), column["name"].get<std::string>(), &ColumnInfo::name),
          table->Columns().end())
          << column["name"];
    }
    ExpectRows(*table, wanted["rows"]);
  }
}

TEST(Samples, PublicDatabasesReadAsOtherReadersReadThem) {
  if (!HaveSamples()) GTEST_SKIP();
  for (const std::string& path : DatabasesIn(SamplesFolder() + "/jet-public")) {
    SCOPED_TRACE(path);
    const Json reference = Json::parse(std::ifstream(path.substr(0, path.size() - 3) + "json"));
    ExpectTables(path, reference["tables"]);
    const text::CodePageConverter converter;
    const auto database =
        Database::Open(std::make_unique<MemoryFile>(path, ReadWholeFile(path)), converter);
    EXPECT_EQ(database->QueryNames().size(), reference["queries"].size());
  }
}

TEST(Samples, DemoStoreHoldsItsTables) {
  if (!HaveSamples()) GTEST_SKIP();
  const std::string store = SamplesFolder() + "/demo-jet4";
  const Json expected = Json::parse(std::ifstream(store + "/expected.json"));
  for (const auto& [file, database] : expected["databases"].items()) {
    SCOPED_TRACE(file);
    ExpectTables(store + "/c/NIFTY/Data/" + file, database["tables"]);
  }
}

}  // namespace
}  // namespace nimport::jet
