// Runs the programs under test as a user would, and reads what they made.
#ifndef NIMPORT_TESTS_COMMAND_TOOL_H_
#define NIMPORT_TESTS_COMMAND_TOOL_H_

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <sys/types.h>

#include "common/test_directory.h"
#include "mkstore/store_writer.h"

namespace nimport::tests {

struct ToolResult {
  int exitCode = -1;  // 128 and the signal's number after a signal
  std::string out;
  std::string err;
};

using Environment = std::map<std::string, std::string>;

// The built `nimport`.
[[nodiscard]] std::filesystem::path ToolPath();

// Runs a program with TZ=Asia/Tokyo, without any NIMPORT_ variable and with HOME leading nowhere;
// `environment` comes on top.
[[nodiscard]] ToolResult RunProgram(const std::vector<std::string>& arguments,
                                    const Environment& environment = {});

// The same without waiting; what is printed goes to the file `out`, messages nowhere.
[[nodiscard]] pid_t Start(const std::vector<std::string>& arguments,
                          const Environment& environment = {},
                          const std::string& out = "/dev/null");
// The exit code as in ToolResult.
int Wait(pid_t process);

// The mails of an export, read with Python's mail modules; see opinion/read_mail.py.
[[nodiscard]] nlohmann::json ReadExport(const std::string& format,
                                        const std::filesystem::path& directory);

[[nodiscard]] std::string ReadFile(const std::filesystem::path& path);

// Every file beneath a directory with its contents; none where there is no such directory.
using Files = std::map<std::string, std::string>;
[[nodiscard]] Files ReadTree(const std::filesystem::path& directory);

// A store made for a test, with the tool's subcommands on it.
class TestStore {
 public:
  // `description` is JSON.
  explicit TestStore(const std::string& description,
                     mkstore::JetVersion format = mkstore::JetVersion::Jet3);

  [[nodiscard]] const mkstore::Store& store() const { return store_; }
  [[nodiscard]] const TestDirectory& directory() const { return directory_; }
  // Where an export goes.
  [[nodiscard]] std::filesystem::path Target(const std::string& name = "out") const {
    return directory_.path() / name;
  }
  [[nodiscard]] std::filesystem::path Database(const std::string& name) const {
    return store_.databaseDirectory / name;
  }

  // The command line of `nimport SUBCOMMAND` on this store, with `more` after it.
  [[nodiscard]] std::vector<std::string> Command(const std::string& subcommand,
                                                 const std::vector<std::string>& more = {}) const;
  [[nodiscard]] ToolResult Run(const std::string& subcommand,
                               const std::vector<std::string>& more = {}) const {
    return RunProgram(Command(subcommand, more));
  }
  // The answer of a run with --json, which must end so.
  nlohmann::json Ask(const std::string& subcommand, std::vector<std::string> more = {},
                     int exitCode = 0) const;
  // The account of an export to Target(target).
  nlohmann::json Export(const std::string& format = "maildir", const std::string& target = "out",
                        int exitCode = 0) const {
    return Ask("export", {"--to", Target(target).string(), "--format", format}, exitCode);
  }
  // What it wrote, without its account, index and register.
  [[nodiscard]] Files Exported(const std::string& target = "out") const;

 private:
  TestDirectory directory_;
  mkstore::Store store_;
};

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMAND_TOOL_H_
