// Files of a store that change while sessions on it are open.
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "plugin/demo_fixture.h"

namespace nimport::test {
namespace {

namespace fs = std::filesystem;

struct Change {
  const char* name;
  void (*make)(const fs::path& file);
};

constexpr Change CHANGES[] = {
    {"shrinks", [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) / 2); }},
    {"is empty", [](const fs::path& file) { fs::resize_file(file, 0); }},
    {"grows",
     [](const fs::path& file) {
       std::ofstream(file, std::ios::binary | std::ios::app) << std::string(10'000, '\xE5');
     }},
    {"vanishes", [](const fs::path& file) { fs::remove(file); }},
    {"is another",
     [](const fs::path& file) {
       const std::uintmax_t size = fs::file_size(file);
       fs::remove(file);
       std::ofstream(file, std::ios::binary) << std::string(size, '\0');
     }},
};

class ChangingFiles : public DemoTest {
 protected:
  ChangingFiles() : store_(UseSample("demo-ja.json")) {
    platform.filesPart = &platform.system().files();
  }

  // The database of mails, that of addresses, or every other file of the drive.
  void UseFiles(const std::string& which) {
    files_.clear();
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(store_.driveC)) {
      if (!entry.is_regular_file()) continue;
      const std::string name = entry.path().filename().string();
      const std::string group = name == "Cabdata.mdb" || name == "Abook.mdb" ? name : "others";
      if (group == which) files_[entry.path()] = ReadFile(entry.path());
    }
    ASSERT_FALSE(files_.empty()) << which;
  }

  // Asks with the files as they were, with the files changed, and with them as they were again.
  void AskThrice(const std::vector<ExportCall>& calls, const Change& change, bool isDatabase) {
    // Some answers depend on what was asked before, so all is asked once before it counts.
    for (const ExportCall& call : calls)
      static_cast<void>(call.make());
    std::vector<TextAnswer> wanted;
    for (const ExportCall& call : calls)
      wanted.push_back(call.make());
    for (const auto& [path, bytes] : files_)
      change.make(path);
    for (std::size_t i = 0; i < calls.size(); ++i) {
      const TextAnswer answer = calls[i].make();
      EXPECT_LE(answer.code, RESULT_OK) << calls[i].name;
      // A cut mail is another mail; a cut database is no other store.
      if (isDatabase && answer.code == RESULT_OK) {
        EXPECT_EQ(answer, wanted[i]) << calls[i].name;
      }
      isNoticed_ |= answer != wanted[i];
    }
    for (const auto& [path, bytes] : files_)
      std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    for (std::size_t i = 0; i < calls.size(); ++i)
      EXPECT_EQ(calls[i].make(), wanted[i]) << calls[i].name;
  }

  void AskEverything(const Change& change, bool isDatabase) {
    FaultGate noFaults;
    OpenedStore store(noFaults);
    ASSERT_EQ(store.Open(), RESULT_OK);
    EXPECT_EQ(store.VisitCalls([&](const std::vector<ExportCall>& calls) {
      AskThrice(calls, change, isDatabase);
    }),
              RESULT_OK);
  }

  bool isNoticed_ = false;

 private:
  const mkstore::Store store_;
  std::map<fs::path, std::string> files_;
};

TEST_F(ChangingFiles, MakeCallsFailUntilTheyAreBack) {
  // The address book is in memory once it is open, and an open file outlives its name.
  const std::set<std::string> noticed = {
      "Cabdata.mdb shrinks", "Cabdata.mdb is empty", "others shrinks",   "others is empty",
      "others grows",        "others vanishes",      "others is another"};
  for (const std::string which : {"Cabdata.mdb", "Abook.mdb", "others"}) {
    UseFiles(which);
    for (const Change& change : CHANGES) {
      const std::string name = which + ' ' + change.name;
      SCOPED_TRACE(name);
      isNoticed_ = false;
      AskEverything(change, which != "others");
      EXPECT_EQ(isNoticed_, noticed.contains(name));
    }
  }
}

}  // namespace
}  // namespace nimport::test
