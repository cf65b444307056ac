// find, and what is said of drives that were not given.
#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using testing::HasSubstr;

constexpr const char* FILES_ON_DRIVES = R"({"accountId": "QZB00002", "cabinets": [
  {"number": 1, "name": "c", "folders": [{"number": 1, "name": "f", "mails": [
    {"kind": 19, "title": "1", "storedFile": {"path": "C:\\NIFTY\\Get\\十月①.XLS", "contents": "x"}},
    {"kind": 19, "title": "2", "storedFile": {"path": "C:\\NIFTY\\Get\\GONE.XLS"}},
    {"kind": 23, "title": "3", "storedFile": {"path": "D:\\Work\\B.ZIP", "contents": "y"}},
    {"kind": 23, "title": "4", "storedFile": {"path": "E:\\Lost\\C.ZIP"}}]}]}]})";

// Two stores below a mount point, one of them through a link: letter case as a disk has it, drives
// in odd places, links in circles.
class Find : public testing::Test {
 protected:
  Find() {
    const mkstore::Store first = mkstore::MakeStore(json::parse(FILES_ON_DRIVES), mount_ / "a b");
    fs::rename(first.databaseDirectory / "Cabdata.mdb", first.databaseDirectory / "CABDATA.MDB");
    fs::rename(mount_ / "a b/c/NIFTY/Get", mount_ / "a b/c/NIFTY/GET");
    fs::create_directories(mount_ / "x/y");
    fs::rename(mount_ / "a b/d", mount_ / "x/y/second");
    mkstore::MakeStore(json::parse(R"({"accountId": "QZB00003", "template": {
                           "mails": 150, "mimePercent": 0, "kinds": {"19": 1}}})"),
                       directory_.path() / "elsewhere/prefix",
                       {.registry = mkstore::RegistryForm::Wine});
    fs::create_directory_symlink(directory_.path() / "elsewhere", mount_ / "link");
    fs::create_directory_symlink(mount_, mount_ / "x/circle");
    fs::create_directory_symlink("/", mount_ / "x/z:");
  }

  [[nodiscard]] static ToolResult Run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), ToolPath().string());
    return RunProgram(arguments);
  }

  TestDirectory directory_;
  fs::path mount_ = directory_.path() / "mount";
};

TEST_F(Find, NamesStoresWithOptionsThatWork) {
  const ToolResult result = Run({"find", mount_.string(), (mount_ / "x").string(), "--json"});
  ASSERT_EQ(result.exitCode, 0) << result.err;
  const json stores = json::parse(result.out)["stores"];
  ASSERT_EQ(stores.size(), 2U) << result.out;
  const json& drives = stores[0]["drives"];
  ASSERT_EQ(drives.size(), 3U) << drives;
  EXPECT_EQ(drives[0]["directory"], (mount_ / "a b/c").string());
  EXPECT_EQ(drives[1]["directory"], (mount_ / "x/y/second").string());
  EXPECT_FALSE(drives[2].contains("directory"));

  std::vector<std::string> options = stores[0]["options"];
  options.insert(options.begin(), "export");
  options.insert(options.end(), {"--to", (directory_.path() / "out").string(), "--json"});
  const json account = json::parse(Run(options).out);
  EXPECT_EQ(account["written"], 4);
  EXPECT_EQ(account["incomplete"].size(), 2U) << account["incomplete"];
  EXPECT_EQ(account["missingDrives"][0]["drive"], "E");

  const json& many = stores[1]["drives"][0];
  EXPECT_EQ(many["files"], 150);
  EXPECT_EQ(many["found"], many["tried"]) << many;
  EXPECT_EQ(many["directory"], (directory_.path() / "elsewhere/prefix/c").string());
  options = stores[1]["options"];
  options.insert(options.begin(), "tree");
  options.emplace_back("--json");
  EXPECT_EQ(json::parse(Run(options).out)["account"], "QZB00003") << "by Wine's registry";

  EXPECT_THAT(Run({"find", mount_.string()}).out,
              HasSubstr("--drive 'C=" + (mount_ / "a b/c").string() + "' --drive D="));
  EXPECT_EQ(Run({"find", (mount_ / "x/y").string()}).exitCode, 1) << "no store there";
}

TEST_F(Find, ForgottenAndWrongDrivesAreSaid) {
  const std::string data = (mount_ / "a b/c/NIFTY/Data").string();
  const std::string right = "C=" + (mount_ / "a b/c").string();
  const struct {
    std::vector<std::string> options;
    const char* wanted;  // empty: nothing is said of drive C
  } cases[] = {
      {{}, "2 stored files lie on drive C, for which no --drive is given; likely --drive "},
      {{"--drive", "C=" + (mount_ / "x").string()}, "and none where --drive says; likely --drive "},
      {{"--drive", right}, ""},
  };
  for (const auto& c : cases) {
    for (std::vector<std::string> command :
         {std::vector<std::string>{"check"},
          {"export", "--to", (directory_.path() / "out").string()}}) {
      command.insert(command.end(), {"--from", data});
      command.insert(command.end(), c.options.begin(), c.options.end());
      const ToolResult result = Run(command);
      EXPECT_EQ(result.exitCode, 1);
      EXPECT_THAT(result.out, HasSubstr("E, for which no --drive is given\n"));
      EXPECT_EQ(result.out.find("drive C,") != std::string::npos, *c.wanted != '\0') << result.out;
      if (*c.wanted == '\0') continue;
      EXPECT_THAT(result.out, HasSubstr(c.wanted + right + " (1 of 2 "));
    }
  }
}

}  // namespace
}  // namespace nimport::tests
