// Databases that are written for a test, in memory.
#ifndef NIMPORT_TESTS_JET_GENERATED_DATABASE_H_
#define NIMPORT_TESTS_JET_GENERATED_DATABASE_H_

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "jetwriter/database_writer.h"
#include "tests/common/memory_file.h"
#include "tests/common/test_directory.h"

namespace nimport::jet {

// The bytes of the database that `fill` puts together.
inline std::vector<std::byte> MakeDatabase(
    const jetwriter::WriterOptions& options,
    const std::function<void(jetwriter::DatabaseWriter&)>& fill) {
  const tests::TestDirectory directory;
  const std::filesystem::path path = directory.path() / "generated.mdb";
  jetwriter::DatabaseWriter writer(path, options);
  fill(writer);
  writer.Finish();
  std::vector<std::byte> bytes(static_cast<std::size_t>(std::filesystem::file_size(path)));
  std::ifstream(path, std::ios::binary)
      .read(reinterpret_cast<char*>(bytes.data()), std::ssize(bytes));
  return bytes;
}

// A table with a column of every type, and rows of every kind between ordinary ones.
inline const jetwriter::TableSpec EVERYTHING{
    .name = "Everything",
    .columns = {{.name = "Number", .type = ColumnType::Long},
                {.name = "Flag", .type = ColumnType::Boolean},
                {.name = "Small", .type = ColumnType::Byte},
                {.name = "Short", .type = ColumnType::Integer},
                {.name = "Money", .type = ColumnType::Currency},
                {.name = "Single", .type = ColumnType::Single},
                {.name = "Double", .type = ColumnType::Double},
                {.name = "When", .type = ColumnType::DateTime},
                {.name = "Bytes", .type = ColumnType::Binary, .size = 20},
                {.name = "Name", .type = ColumnType::Text, .size = 60},
                {.name = "Object", .type = ColumnType::Ole},
                {.name = "Note", .type = ColumnType::Memo},
                {.name = "Key", .type = ColumnType::Guid},
                {.name = "Stored", .type = ColumnType::Long, .isStoredVariable = true},
                {.name = "\xE6\x97\xA5\xE4\xBB\x98", .type = ColumnType::Text, .size = 60}}};

// Its row number `i`, UTF-8. Long values grow with `i` from nothing over several pages.
inline std::vector<Value> EverythingRow(std::int32_t i) {
  const std::string text = "row " + std::to_string(i);
  Binary bytes;
  for (int k = 0; k < i % 20; ++k)
    bytes.bytes.push_back(static_cast<std::byte>(i + k));
  Guid guid;
  guid.bytes.fill(static_cast<std::byte>(i));
  Binary object;
  object.bytes.assign(static_cast<std::size_t>(i) * 97, static_cast<std::byte>(i));
  std::vector<Value> row = {i,
                            i % 2 == 0,
                            static_cast<std::uint8_t>(200 + i % 50),
                            static_cast<std::int16_t>(-i),
                            Currency{.tenThousandths = -12345LL * i},
                            0.5F * static_cast<float>(i),
                            0.1 * i,
                            Date{.days = 36000.25 + i},
                            bytes,
                            Text{text},
                            object,
                            Text{std::string(static_cast<std::size_t>(i) * 131, 'm')},
                            guid,
                            i * 1000,
                            Text{"\xE8\xA1\xA8" + text}};
  // Every tenth row has nothing but its number and its boolean, which cannot be null.
  for (std::size_t column = 2; i % 10 == 9 && column < row.size(); ++column) {
    row[column] = std::monostate{};
  }
  return row;
}

inline void AddEverything(jetwriter::DatabaseWriter& writer, std::int32_t rowCount) {
  jetwriter::TableWriter& table = writer.AddTable(EVERYTHING);
  for (std::int32_t i = 0; i < rowCount; ++i) {
    const bool isMoved = i % 7 == 3;
    table.AddRow(EverythingRow(i),
                 {.form = isMoved ? jetwriter::RowForm::Moved : jetwriter::RowForm::Live});
    if (i % 5 == 1) table.AddRow(EverythingRow(1), {.form = jetwriter::RowForm::Deleted});
    if (i % 5 == 2) table.AddRow(EverythingRow(1), {.form = jetwriter::RowForm::DeletedWithBytes});
  }
}

}  // namespace nimport::jet

#endif  // NIMPORT_TESTS_JET_GENERATED_DATABASE_H_
