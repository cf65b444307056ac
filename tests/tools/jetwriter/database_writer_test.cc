#include "jetwriter/database_writer.h"

#include <gtest/gtest.h>

#include "jetwriter/write_error.h"
#include "tests/common/test_directory.h"

// What the engine reads of the files is tested with the engine.
namespace nimport::jetwriter {
namespace {

using jet::ColumnType;
using jet::Value;

constexpr JetVersion VERSIONS[] = {JetVersion::Jet3, JetVersion::Jet4};

// Writes a table "T" of one column with so many rows; returns the file's bytes.
std::string Write(const WriterOptions& options, const ColumnSpec& column, const Value& value,
                  int rows = 1) {
  const tests::TestDirectory directory;
  DatabaseWriter writer(directory.path() / "test.mdb", options);
  TableWriter& table = writer.AddTable({"T", {column}});
  for (int i = 0; i < rows; ++i)
    table.AddRow(std::vector<Value>{value});
  writer.Finish();
  return directory.Read("test.mdb");
}

TEST(DatabaseWriter, SaysWhatDoesNotFit) {
  const struct {
    ColumnSpec column;
    Value value;
    const char* wanted;
  } CASES[] = {
      {{"a", ColumnType::Text, 5}, jet::Text{"sixsix"}, "column \"a\": a value of"},
      {{"a", ColumnType::Byte}, 256, "256 is out of the column's range"},
      {{"a", ColumnType::Integer}, 32768, "out of the column's range"},
      {{"a", ColumnType::Long}, jet::Text{"1"}, "no whole number"},
      {{"a", ColumnType::Text, 5}, 1, "no text"},
      {{"a", ColumnType::Text, 5}, jet::Text{"\xFF"}, "no UTF-8 at its byte 0"},
      {{"a", ColumnType::Boolean}, 1, "neither true nor false"},
      {{"a", ColumnType::Binary, 4090},
       jet::Binary{std::vector<std::byte>(4090)},
       "longer than the"},
  };
  const auto expectError = [](const std::string& wanted, const auto& write) {
    try {
      write();
      ADD_FAILURE() << wanted;
    } catch (const WriteError& error) {
      EXPECT_NE(std::string(error.what()).find(wanted), std::string::npos) << error.what();
      EXPECT_NE(std::string(error.what()).find("table \"T\", row "), std::string::npos);
    }
  };
  for (const JetVersion version : VERSIONS) {
    for (const auto& row : CASES)
      expectError(row.wanted, [&] { (void)Write({.version = version}, row.column, row.value); });
    expectError("larger than 1 MiB", [&] {
      (void)Write({.version = version, .maxFileBytes = 1 << 20}, {"a", ColumnType::Long}, 1,
                  200'000);
    });
  }
  expectError("\"ï\" has no place", [] {
    (void)Write({}, {"a", ColumnType::Text, 9}, jet::Text{"naïve"});
  });
}

// Page 0 of a Jet 3 file names its code page, masked with a fixed key stream: a reader without it
// shows Japanese text as garbage. The pages after it are encoded.
TEST(DatabaseWriter, HeaderAndEncodedPages) {
  for (const JetVersion version : VERSIONS) {
    const ColumnSpec column{"a", ColumnType::Text, 20};
    const std::string plain = Write({.version = version}, column, jet::Text{"text"}, 500);
    EXPECT_EQ(Write({.version = version}, column, jet::Text{"text"}, 500), plain)
        << "the same calls give the same bytes";
    const std::string encoded =
        Write({.version = version, .encodingKey = 0x8F3A5C01}, column, jet::Text{"text"}, 500);
    ASSERT_EQ(encoded.size(), plain.size());
    std::size_t equalBytes = 0;
    for (std::size_t i = 4096; i < plain.size(); ++i)
      equalBytes += plain[i] == encoded[i] ? 1 : 0;
    EXPECT_LT(equalBytes, plain.size() / 50);
    const auto unmasked = [&](std::size_t at, unsigned mask) {
      return static_cast<unsigned char>(plain[at]) ^ mask;
    };
    EXPECT_EQ(unmasked(0x3C, 0x7B) | unmasked(0x3D, 0x42) << 8, 932U);
  }
}

}  // namespace
}  // namespace nimport::jetwriter
