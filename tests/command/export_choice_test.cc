#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* DESCRIPTION = R"({"cabinets": [{"number": 1, "name": "c", "folders": [
      {"number": 1, "name": "f", "mails": [
        {"kind": 20, "title": "1", "date": "1998-12-31T23:59:59", "columns": {"TextData": "1"}},
        {"kind": 20, "title": "2", "date": "1999-01-01T00:00:00", "columns": {"TextData": "2"}},
        {"kind": 20, "title": "none", "date": null, "columns": {"TextData": "3"}}]},
      {"number": 2, "name": "g", "mails": [
        {"kind": 20, "title": "4", "date": "1999-02-28T12:00:00", "columns": {"TextData": "4"}}]},
      {"number": 3, "name": "g", "mails": []}]}]})";

TEST(ExportChoice, OnlyWhatIsAskedFor) {
  const TestStore store(DESCRIPTION);
  const struct {
    std::vector<std::string> arguments;
    int found;
    int written;
  } cases[] = {
      {{"--folder", "c/f"}, 3, 3},
      {{"--folder", "1"}, 1, 1},
      {{"--folder", "c/f", "--folder", "1"}, 4, 4},
      {{"--since", "1999-01-01"}, 4, 3},
      {{"--since", "1999-02"}, 4, 2},
      {{"--until", "1998"}, 4, 2},
      {{"--until", "1999-02-28"}, 4, 4},
      {{"--since", "1999", "--until", "1999-01", "--folder", "0"}, 3, 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    fs::remove_all(store.Target());
    std::vector<std::string> arguments = {"--to", store.Target(), "--dry-run"};
    arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
    const json dry = store.Ask("export", arguments);
    EXPECT_FALSE(fs::exists(store.Target())) << "a dry run";
    arguments.erase(arguments.begin() + 2);
    json account = store.Ask("export", arguments);
    EXPECT_EQ(account["found"], c.found);
    EXPECT_EQ(account["written"], c.written);
    EXPECT_EQ(account.value("notChosen", 0), c.found - c.written);
    account["dryRun"] = true;
    EXPECT_EQ(dry, account);
  }
  for (const char* wrong : {"1999-1", "yesterday", "1999/01/01"})
    EXPECT_EQ(store.Run("export", {"--to", store.Target(), "--since", wrong}).exitCode, 2);
  // Whether there is anything beside the folders is known at the end.
  const json nothing =
      store.Ask("export", {"--to", store.Target("none"), "--folder", "(not listed)/9"}, 1);
  EXPECT_EQ(nothing["failures"][0]["folder"], "(not listed)/9");
  for (const char* wrong : {"c/h", "9", "c/g"})
    EXPECT_EQ(store.Run("export", {"--to", store.Target("no"), "--folder", wrong}).exitCode, 2);
  EXPECT_FALSE(fs::exists(store.Target("no")));
}

// Against what is there, in every format.
TEST(ExportChoice, DryRunSeesWhatIsThere) {
  const TestStore store(DESCRIPTION);
  for (const std::string format : {"maildir", "mbox", "eml"}) {
    const std::string target = store.Target(format);
    store.Ask("export", {"--to", target, "--format", format, "--until", "1998"});
    const Files before = ReadTree(target);
    const json dry = store.Ask("export", {"--to", target, "--format", format, "--dry-run"});
    EXPECT_EQ(dry["alreadyThere"], 2);
    EXPECT_EQ(dry["written"], 2);
    EXPECT_EQ(ReadTree(target), before);
  }
}

TEST(ExportChoice, QuietSaysNothingButFaults) {
  const TestStore store(DESCRIPTION);
  const auto run = [&] { return store.Run("export", {"--to", store.Target(), "--quiet"}); };
  const ToolResult sound = run();
  EXPECT_EQ(sound.out + sound.err, "");
  fs::remove_all(store.Target() / "c" / "f");
  fs::create_symlink("/dev/null", store.Target() / "c" / "f");
  EXPECT_THAT(run().out, testing::HasSubstr("failed:"));
}

// Mails, index and account, of a sound store and of one with a page of NUL bytes here and there.
TEST(Jobs, AnyNumberOfThreadsGivesTheSameBytes) {
  const TestStore store(R"({"template": {"mails": 400, "cabinets": 1, "folders": 2}})");
  for (const bool isDamaged : {false, true}) {
    if (isDamaged) {
      const fs::path database = store.Database("Cabdata.mdb");
      constexpr std::streamoff PAGE = 2048;
      const auto pages = static_cast<std::streamoff>(fs::file_size(database)) / PAGE;
      std::fstream file(database, std::ios::in | std::ios::out | std::ios::binary);
      for (std::streamoff page = pages / 3; page < pages; page += pages / 7)
        file.seekp(page * PAGE).write(std::string(PAGE, '\0').data(), PAGE);
    }
    Files wanted;
    for (const std::string jobs : {"1", "3"}) {
      fs::remove_all(store.Target());
      EXPECT_EQ(store.Run("export", {"--to", store.Target(), "-j", jobs}).exitCode,
                isDamaged ? 1 : 0);
      Files files = ReadTree(store.Target());
      if (jobs == "1") wanted = files;
      EXPECT_GT(files.size(), 300U);
      EXPECT_TRUE(files == wanted);
      EXPECT_EQ(files["account.json"], wanted["account.json"]);
    }
  }
}

}  // namespace
}  // namespace nimport::tests
