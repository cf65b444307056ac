// Reads databases with the project's own engine, for comparison with what was written.
#ifndef NIMPORT_TESTS_TOOLS_ENGINE_READER_H_
#define NIMPORT_TESTS_TOOLS_ENGINE_READER_H_

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "jet/database.h"
#include "platform/platform.h"
#include "tests/common/test_directory.h"

namespace nimport {

using Rows = std::vector<std::vector<jet::Value>>;

using TemporaryFolder = tests::TestDirectory;

inline std::string ReadWholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Texts come in UTF-8.
inline std::unique_ptr<jet::Database> OpenWithEngine(const std::filesystem::path& path) {
  platform::Platform& platform = platform::SystemPlatform();
  return jet::Database::Open(platform.files().OpenForReading(path.string()), platform.text(),
                             {.textCodePage = text::CODE_PAGE_UTF8});
}

template <typename Definition>
Rows ReadRows(const Definition& definition) {
  Rows rows;
  const auto recordset = definition.OpenRecordset();
  for (; !recordset->IsEof(); recordset->MoveNext()) {
    std::vector<jet::Value> row;
    for (std::size_t i = 0; i < definition.Columns().size(); ++i) {
      row.push_back(recordset->GetFieldValue(i));
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

inline Rows ReadTable(const std::filesystem::path& file, const std::string& table) {
  const auto database = OpenWithEngine(file);
  return ReadRows(*database->OpenTable(table));
}

}  // namespace nimport

#endif  // NIMPORT_TESTS_TOOLS_ENGINE_READER_H_
