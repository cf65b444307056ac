#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "host/store.h"
#include "host/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::size_t PAGE_BYTES = 2048;  // Jet 3

// Export files by name, without the account.
std::map<std::string, std::string> Mails(const fs::path& directory) {
  auto files = ReadTree(directory);
  files.erase("account.json");
  return files;
}

// Whatever page is lost: what was written is true, and what was not is told.
TEST(DamagedStore, NothingIsLostInSilence) {
  const TestStore store(R"({"template": {"mails": 12, "cabinets": 1, "folders": 2},
    "cabinets": [{"number": 1, "name": "a", "folders": [{"number": 1, "name": "b", "mails": [
      {"kind": 22, "title": "long", "columns": {"TextData": {"repeat": "長い文。\r\n", "times": 900}}}
    ]}]}]})");
  const fs::path database = store.store().databaseDirectory / "Cabdata.mdb";
  const std::string sound = ReadTree(database.parent_path()).at("Cabdata.mdb");
  const fs::path root = store.directory().path();
  const auto exportTo = [&](const std::string& target) {
    return RunProgram(store.Command("export", {"--to", (root / target).string(), "--json"}));
  };
  ASSERT_EQ(exportTo("whole").exitCode, 0);
  const auto whole = Mails(root / "whole");
  ASSERT_EQ(whole.size(), 13U);

  int damagedRuns = 0;
  for (std::size_t page = 1; page * PAGE_BYTES < sound.size(); page += 2) {
    SCOPED_TRACE("page " + std::to_string(page));
    std::string damaged = sound;
    damaged.replace(page * PAGE_BYTES, PAGE_BYTES, PAGE_BYTES, '\0');
    std::ofstream(database, std::ios::binary | std::ios::trunc) << damaged;
    const std::string target = "page" + std::to_string(page);
    const ToolResult result = exportTo(target);
    ASSERT_TRUE(result.exitCode >= 0 && result.exitCode <= 2) << result.err;
    const auto mails = Mails(root / target);
    if (mails != whole) ++damagedRuns;
    if (result.exitCode == 0) {
      EXPECT_EQ(mails, whole) << "a loss that nobody was told of";
    }
    if (result.exitCode == 2) {
      EXPECT_NE(result.err, "");
      continue;
    }
    const json account = json::parse(result.out);
    EXPECT_EQ(account["found"], account["written"].get<int>() + account["skipped"].get<int>() +
                                    account["failed"].get<int>());
  }
  EXPECT_GT(damagedRuns, 0);
}

}  // namespace
}  // namespace nimport::tests
