// Paths that stand in a store, as they are followed on a system's own platform, which is the
// plug-in's, and by the command: what lies elsewhere on this machine never gets into a mail.
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "command/tool.h"
#include "common/process_environment.h"
#include "store/store.h"

namespace nimport::command {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::ScopedVariable;
using tests::TestDirectory;

// What a file of this machine holds that no mail may hold.
constexpr const char* SECRET = "of this machine";
constexpr const char* OWN = "of the disk";

struct Row {
  std::string path;
  const char* plugIn;   // contents, or what the reason has in it
  const char* wine;     // the same with a Wine prefix, whose drive Z is the root of the machine
  const char* command;  // of the command with that prefix
  bool isMime = false;  // `path` is the name of a MIME file
};

class StoredPaths : public testing::Test {
 protected:
  StoredPaths() {
    directory_.Write("disk/DATA/own.txt", OWN);
    directory_.Write("disk/secret.txt", OWN);
    directory_.Write("machine/secret.txt", SECRET);
    fs::create_directories(directory_.path() / "disk/LINKS/into");
    const fs::path disk = directory_.path() / "disk";
    const fs::path machine = directory_.path() / "machine";
    fs::create_symlink("../DATA/own.txt", disk / "LINKS/inside");
    fs::create_symlink(disk / "DATA/own.txt", disk / "LINKS/absolute");
    fs::create_symlink(disk / "DATA", disk / "LINKS/directory");
    fs::create_symlink("../../machine/secret.txt", disk / "LINKS/outside");
    fs::create_symlink(machine, disk / "LINKS/machine");
    fs::create_symlink("ring", disk / "LINKS/ring");
    EXPECT_EQ(mkfifo((disk / "LINKS/fifo").c_str(), 0600), 0);
    // The directory that stands for a drive may be a link itself.
    fs::create_symlink(disk, directory_.path() / "mounted");
    fs::create_directories(directory_.path() / "prefix/dosdevices");
    fs::create_symlink("/", directory_.path() / "prefix/dosdevices/z:");
    fs::create_symlink(machine, directory_.path() / "prefix/dosdevices/d:");
  }

  // The description of a store with one mail per row.
  static json Describe(const std::vector<Row>& rows) {
    json mails = json::array();
    for (const Row& row : rows) {
      if (row.isMime) {
        mails.push_back(
            {{"kind", 34}, {"columns", json::object()}, {"mime", {{"file", row.path}}}});
      } else {
        mails.push_back({{"kind", 19},
                         {"title", std::to_string(mails.size())},
                         {"columns", {{"RcvFilePath", row.path}}}});
      }
    }
    return {{"cabinets",
             {{{"number", 1},
               {"name", "C"},
               {"folders", {{{"number", 1}, {"name", "F"}, {"mails", mails}}}}}}}};
  }

  static std::string Ask(store::Store& store, const store::MailRecord& record) {
    try {
      return record.content == store::MailContent::MimeFile ? store.ReadMimeFile(record)
                                                            : store.ReadStoredFile(record).bytes;
    } catch (const store::Error& error) {
      return error.reason();
    }
  }

  TestDirectory directory_;
};

TEST_F(StoredPaths, LeadNowhereButToTheStoresDrives) {
  const std::string machine = directory_.str() + "/machine/secret.txt";
  std::string onZ = "Z:" + machine;
  std::ranges::replace(onZ, '/', '\\');
  const std::string up = "..\\..\\..\\";  // from the directory of MIME files to the drive's root
  const std::vector<Row> rows = {
      {"C:\\DATA\\OWN.TXT", OWN, OWN, OWN},
      {"C:\\LINKS\\inside", OWN, OWN, OWN},
      {"C:\\LINKS\\absolute", OWN, OWN, OWN},
      {"C:\\LINKS\\Directory\\own.txt", OWN, OWN, OWN},
      {"C:\\LINKS\\machine\\..\\..\\DATA\\own.txt", OWN, OWN, OWN},
      {"\\DATA\\own.txt", OWN, OWN, OWN},
      {"/secret.txt", OWN, OWN, OWN},
      {onZ, "drive Z", SECRET, "drive Z"},
      {"D:\\secret.txt", "drive D", SECRET, "drive D"},
      {machine, "secret.txt", "secret.txt", "secret.txt"},
      {"..\\..\\machine\\secret.txt", "no drive", "no drive", "no drive"},
      {"C:\\..\\machine\\secret.txt", "no path", "no path", "no path"},
      {"C:\\LINKS\\outside", SECRET, SECRET, "link leads out"},
      {"C:\\LINKS\\MACHINE\\SECRET.TXT", SECRET, SECRET, "link leads out"},
      {"C:\\LINKS\\ring", "ring", "ring", "ring"},
      {"C:\\LINKS\\fifo", "not a regular", "not a regular", "not a regular"},
      {"C:\\LINKS", "not a regular", "not a regular", "not a regular"},
      {"C:\\NUL", "no path", "no path", "no path"},
      {"C:\\DATA\\own.txt:stream", "no path", "no path", "no path"},
      {"\\\\server\\share\\own.txt", "network share", "network share", "network share"},
      {"\\\\.\\C:\\own.txt", "no path", "no path", "no path"},
      {up + "DATA\\own.txt", OWN, OWN, OWN, true},
      {up + "LINKS\\outside", SECRET, SECRET, "link leads out", true},
      {up + "..\\machine\\secret.txt", "no path", "no path", "no path", true},
  };
  const mkstore::Store store = mkstore::MakeStore(Describe(rows), directory_.path() / "made");
  // The store's own files join those of the disk.
  fs::copy(store.driveC, directory_.path() / "disk", fs::copy_options::recursive);
  const std::string drives = "C=" + directory_.str() + "/mounted";
  const std::string prefix = directory_.str() + "/prefix";

  const ScopedVariable registry("NIMPORT_REGISTRY", store.RegistryVariable().c_str());
  const ScopedVariable drivesVariable("NIMPORT_DRIVES", drives.c_str());
  for (const bool hasWine : {false, true}) {
    const ScopedVariable wine("WINEPREFIX", hasWine ? prefix.c_str() : "/nonexistent");
    store::Store opened(platform::SystemPlatform());
    const store::OpenFolder folder = opened.Open(opened.cabinets()[0].folders[0]);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::string wanted = hasWine ? rows[i].wine : rows[i].plugIn;
      const std::string answer = Ask(opened, folder.Read(i));
      EXPECT_THAT(answer, testing::HasSubstr(wanted)) << rows[i].path << hasWine;
    }
  }

  // Once by drives and registry, once by the directory of the databases alone.
  const std::vector<std::vector<std::string>> WAYS = {
      {"--registry", store.RegistryVariable(), "--drive", drives},
      {"--from", directory_.str() + "/mounted/NIFTY/Data", "--drive", drives}};
  for (const std::vector<std::string>& way : WAYS) {
    const fs::path target = directory_.path() / ("out" + way[0]);
    std::vector<std::string> command = {
        tests::ToolPath().string(), "export", "--format", "eml", "--json", "--to", target.string()};
    command.insert(command.end(), way.begin(), way.end());
    const tests::ToolResult result = tests::RunProgram(command, {{"WINEPREFIX", prefix}});
    ASSERT_EQ(result.exitCode, 1) << result.err;
    for (const auto& [name, contents] : tests::ReadTree(target)) {
      EXPECT_THAT(contents, testing::Not(testing::HasSubstr(SECRET))) << name;
      EXPECT_THAT(contents, testing::Not(testing::HasSubstr("b2YgdGhpcyBtYWNoaW5l"))) << name;
    }
    const json account = json::parse(result.out);
    std::map<std::size_t, std::string> reasons;
    for (const char* list : {"incomplete", "failures"}) {
      for (const json& mail : account[list])
        reasons[mail["position"].get<std::size_t>()] = mail["reason"];
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
      // By the directory alone, nothing tells where in its drive it lies.
      if (way[0] == "--from" && rows[i].path.find(':') == std::string::npos) continue;
      const bool isWhole = rows[i].command == std::string(OWN);
      EXPECT_EQ(reasons.contains(i), !isWhole) << way[0] << ' ' << rows[i].path << reasons[i];
      if (!isWhole) {
        EXPECT_THAT(reasons[i], testing::HasSubstr(rows[i].command)) << way[0] << rows[i].path;
      }
    }
  }
}

}  // namespace
}  // namespace nimport::command
