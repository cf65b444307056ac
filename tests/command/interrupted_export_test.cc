#include <chrono>
#include <csignal>
#include <fstream>
#include <map>
#include <random>
#include <regex>
#include <span>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;

// Whether a file is where it stays, not what an interrupted run left under another name.
bool IsFinished(const fs::path& path) {
  return !path.filename().string().starts_with('.') && path.parent_path().filename() != "tmp";
}

class InterruptedExport : public testing::TestWithParam<const char*> {
 protected:
  [[nodiscard]] std::vector<std::string> Command(const std::string& target) const {
    return store_.Command("export", {"--to", store_.Target(target), "--format", GetParam()});
  }
  void Export() { EXPECT_EQ(RunProgram(Command("out")).exitCode, 0); }

  // What an interrupted run says to have written is there. Returns how many mails it names.
  [[nodiscard]] std::size_t CheckIndex() const {
    std::ifstream index(store_.Target() / "index.jsonl");
    std::map<std::string, std::size_t> counts;
    std::size_t lines = 0;
    for (std::string line; std::getline(index, line); ++lines)
      ++counts[nlohmann::json::parse(line).at("path").get<std::string>()];
    Files files = store_.Exported();
    for (const auto& [path, count] : counts) {
      const std::string contents = "\n\n" + files[path];
      std::size_t mails = 0;
      for (auto at = contents.find("\n\nFrom "); at != contents.npos;
           at = contents.find("\n\nFrom ", at + 1)) {
        ++mails;
      }
      EXPECT_LE(count, IsMbox() ? mails : contents.size() > 2 ? 1 : 0) << path;
    }
    return lines;
  }

  [[nodiscard]] static bool IsMbox() { return std::string(GetParam()) == "mbox"; }

  // Two folders; each mail is flushed to the disk, so that even these take a while.
  TestStore store_{R"({"template": {"mails": 60, "cabinets": 1, "folders": 2}})"};
};

// A hundred times over the formats, at moments spread over the whole run.
TEST_P(InterruptedExport, EndsAsIfItHadNeverBeenKilled) {
  constexpr int TIMES = 34;
  const Files store = ReadTree(store_.store().root);
  const auto begin = std::chrono::steady_clock::now();
  ASSERT_EQ(RunProgram(Command("whole")).exitCode, 0);
  std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
  const Files whole = store_.Exported("whole");
  std::mt19937 random(20);
  std::size_t indexed = 0;
  for (int killed = 0; killed < TIMES;) {
    // Killed programs leave their temporary directories behind.
    const pid_t process = Start(Command("out"), {{"TMPDIR", store_.directory().str()}});
    const double place = static_cast<double>(random()) / std::mt19937::max();
    const auto moment = duration * ((killed + place) / TIMES);
    std::this_thread::sleep_for(moment);
    const bool isAsked = killed % 4 == 3;
    kill(process, isAsked ? SIGINT : SIGKILL);
    if (Wait(process) != 0) {
      ++killed;
      if (isAsked) indexed += CheckIndex();
    } else {
      duration *= 0.9;  // the run to measure it was a slow one
    }
    SCOPED_TRACE(moment.count());
    for (const auto& [name, contents] : store_.Exported()) {
      if (!IsFinished(name)) continue;
      ASSERT_TRUE(whole.contains(name)) << name;
      // A folder in one file grows by whole mails.
      EXPECT_TRUE(whole.at(name) == contents || (IsMbox() && whole.at(name).starts_with(contents)))
          << name;
    }
    if (killed % 2 != 0) continue;  // the next run goes on, and is killed too
    Export();
    ASSERT_EQ(store_.Exported(), whole);
    fs::remove_all(store_.Target());
  }
  EXPECT_GT(indexed, 0);
  EXPECT_EQ(ReadTree(store_.store().root), store);
}

// What a loss of power leaves where a file system knows a file's name before its contents.
struct Damage {
  const char* name;
  void (*damage)(std::string& contents);
};

void CutTo(std::string& contents, std::size_t size) {
  contents.resize(size);
}

// Of a file with one mail.
constexpr Damage DAMAGES_OF_MAILS[] = {
    {"empty", [](std::string& contents) { contents.clear(); }},
    {"cut short", [](std::string& contents) { CutTo(contents, contents.size() / 2); }},
    {"without its last byte", [](std::string& contents) { contents.pop_back(); }},
    {"NUL bytes", [](std::string& contents) { contents.assign(contents.size(), '\0'); }},
    {"the beginning of it as NUL bytes", [](std::string& contents) { contents.assign(9, '\0'); }},
};

std::size_t BeginOfLastMail(const std::string& mbox) {
  return mbox.rfind("\n\nFrom ") + 2;
}

// Of a file with many.
constexpr Damage DAMAGES_OF_MBOXES[] = {
    {"empty", [](std::string& contents) { contents.clear(); }},
    {"half the first word", [](std::string& contents) { CutTo(contents, 2); }},
    {"half the first line", [](std::string& contents) { CutTo(contents, 20); }},
    {"NUL bytes", [](std::string& contents) { contents.assign(contents.size(), '\0'); }},
    {"without its last mail", [](std::string& c) { CutTo(c, BeginOfLastMail(c)); }},
    {"half a separator", [](std::string& c) { CutTo(c, BeginOfLastMail(c) + 3); }},
    {"half a key", [](std::string& c) { CutTo(c, BeginOfLastMail(c) + 9); }},
    {"half a separator, after the key", [](std::string& c) { CutTo(c, BeginOfLastMail(c) + 40); }},
    {"half a header", [](std::string& c) { CutTo(c, c.find("\nFrom: ", BeginOfLastMail(c)) + 3); }},
    {"half a header, at the end of a line",
     [](std::string& c) { CutTo(c, c.find("\nMIME-Version: ", BeginOfLastMail(c)) + 1); }},
    {"without its final line end", [](std::string& contents) { contents.pop_back(); }},
    {"without its final lines", [](std::string& c) { CutTo(c, c.size() - 2); }},
    {"NUL bytes for half the last mail",
     [](std::string& c) {
       const std::size_t half = (BeginOfLastMail(c) + c.size()) / 2;
       c.replace(half, c.npos, std::string(c.size() - half, '\0'));
     }},
    {"NUL bytes after it", [](std::string& contents) { contents.append(512, '\0'); }},
};

std::string Replaced(const std::string& text, const char* pattern, const char* by) {
  return std::regex_replace(text, std::regex(pattern), by);
}

// A file as version 0.2.0 wrote it, in whichever form it is: all lines of mails end with CR LF, and
// an mbox has no Status.
std::string AsVersion020(const std::string& contents, bool isMbox) {
  std::string former = Replaced(Replaced(contents, "\r\n", "\n"), "\n", "\r\n");
  if (!isMbox) return former;
  former = Replaced(former, "(From \\w+@[^\r]*)\r\n(Status: RO\r\n)?", "$1\n");
  return Replaced(former, "\r\n\r\n(From \\w+@|$)", "\r\n\n$1");
}

TEST_P(InterruptedExport, WritesTornMailsAgain) {
  Export();
  const Files whole = store_.Exported();
  auto mail = std::next(whole.begin(), IsMbox() ? 0 : std::ssize(whole) / 2);
  if (mail->first == "contacts.vcf") ++mail;
  for (const Damage& damage : IsMbox() ? std::span<const Damage>(DAMAGES_OF_MBOXES)
                                       : std::span<const Damage>(DAMAGES_OF_MAILS)) {
    SCOPED_TRACE(mail->first + ", " + damage.name);
    std::string contents = mail->second;
    damage.damage(contents);
    std::ofstream(store_.Target() / mail->first, std::ios::binary) << contents;
    Export();
    EXPECT_TRUE(store_.Exported() == whole);

    contents = AsVersion020(mail->second, IsMbox());
    damage.damage(contents);
    std::ofstream(store_.Target() / mail->first, std::ios::binary) << contents;
    Export();
    const Files again = store_.Exported();
    EXPECT_EQ(again.size(), whole.size());
    EXPECT_TRUE(AsVersion020(again.at(mail->first), IsMbox()) ==
                AsVersion020(mail->second, IsMbox()));
  }
}

// What version 0.2.0 wrote counts as there and stays as it is.
TEST_P(InterruptedExport, KnowsTheMailsOfVersion020) {
  Export();
  Files former = store_.Exported();
  for (auto& [name, contents] : former) {
    contents = AsVersion020(contents, IsMbox());
    std::ofstream(store_.Target() / name, std::ios::binary) << contents;
  }
  Export();
  EXPECT_TRUE(store_.Exported() == former);
}

TEST_P(InterruptedExport, LeavesMailsAloneThatSomebodyChanged) {
  Export();
  Files changed = store_.Exported();
  for (auto& [name, contents] : changed) {
    if (name == "contacts.vcf") continue;
    contents.insert(contents.size() - 4, "X");
    std::ofstream(store_.Target() / name, std::ios::binary) << contents;
  }
  Export();
  EXPECT_EQ(store_.Exported(), changed);
}

// Where the first mail is missing as well, that is found before the end is looked at.
TEST(TornMbox, LosesAndDoublesNothing) {
  const TestStore store(R"({"template": {"mails": 20, "cabinets": 1, "folders": 1}})");
  store.Export("mbox");
  const auto [name, whole] = *store.Exported().rbegin();
  const std::size_t second = whole.find("\n\nFrom ") + 2;
  std::ofstream(store.Target() / name, std::ios::binary)
      << whole.substr(second, BeginOfLastMail(whole) + 50 - second);
  store.Export("mbox");
  const std::size_t last = BeginOfLastMail(whole);
  EXPECT_EQ(store.Exported().at(name),
            whole.substr(second, last - second) + whole.substr(0, second) + whole.substr(last));
}

// A store with a query that takes far longer than anybody waits.
constexpr const char* SLOW_STORE = R"({
  "template": {"mails": 1000, "cabinets": 1, "folders": 5, "kinds": {"20": 1}, "mimePercent": 0},
  "queries": {
    "EmRcvTextｸｴﾘｰ": {
      "columns": ["DataTBL.DataNo", "DataTBL.DataTitle", "DataTBL.DataTime", "EmRcvText.OriginatorID",
                  "EmRcvText.OriginatorName", "EmRcvText.EmailMode", "EmRcvText.TextData",
                  "EmRcvText.DataSize", "EmRcvText.FileLink"],
      "from": ["DataTBL", "EmRcvText", "Slow"],
      "joins": [
        {"kind": "inner", "left": "DataTBL", "right": "EmRcvText", "on": "DataTBL.DataNo = EmRcvText.DataNo"},
        {"kind": "inner", "left": "EmRcvText", "right": "Slow", "on": "EmRcvText.DataNo = Slow.DataNo"}]},
    "Slow": {
      "database": "Cabdata.mdb", "columns": ["A.DataNo"],
      "from": [{"table": "DataTBL", "as": "A"}, {"table": "DataTBL", "as": "B"}, {"table": "DataTBL", "as": "C"}],
      "where": "A.DataNo + B.DataNo + C.DataNo < 0"}}})";

TEST(Interruption, EndsEverySubcommandWithinASecond) {
  const TestStore store(SLOW_STORE);
  const fs::path temporary = store.directory().path() / "tmp";
  const fs::path target = store.Target();
  fs::create_directory(temporary);
  const struct {
    std::vector<std::string> arguments;
    int signal;
    const char* wanted;  // a part of the output
  } cases[] = {
      {{"list"}, SIGTERM, ""},
      {{"show", "0", "0"}, SIGINT, ""},
      {{"check", "--deep"}, SIGINT, "interrupted: not everything was looked at"},
      {{"check", "--deep", "--json"}, SIGTERM, "\"interrupted\": true"},
      {{"export", "--to", target.string()}, SIGINT, "interrupted: run the same command again"},
  };
  for (const auto& c : cases) {
    std::vector<std::string> command = {ToolPath().string(), "--registry",
                                        store.store().registryFile.string(), "--drive",
                                        store.store().DrivesVariable()};
    command.insert(command.end(), c.arguments.begin(), c.arguments.end());
    const std::string out = store.directory().path() / "printed";
    const pid_t process = Start(command, {{"TMPDIR", temporary.string()}}, out);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    const auto begin = std::chrono::steady_clock::now();
    kill(process, c.signal);
    EXPECT_EQ(Wait(process), 1) << c.arguments[0];
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - begin;
    // The rest is for machines that are busy.
    EXPECT_LT(duration.count(), 1.6) << c.arguments[0];
    EXPECT_THAT(ReadFile(out), testing::HasSubstr(c.wanted));
    EXPECT_TRUE(fs::is_empty(temporary)) << c.arguments[0];
  }
  EXPECT_EQ(nlohmann::json::parse(ReadFile(target / "account.json"))["interrupted"], true);
}

INSTANTIATE_TEST_SUITE_P(Formats, InterruptedExport, testing::Values("maildir", "mbox", "eml"),
                         [](const auto& instance) { return std::string(instance.param); });

}  // namespace
}  // namespace nimport::tests
