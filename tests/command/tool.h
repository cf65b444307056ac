// Runs the programs under test as a user would, and reads what they made.
#ifndef NIMPORT_TESTS_COMMAND_TOOL_H_
#define NIMPORT_TESTS_COMMAND_TOOL_H_

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>
#include <sys/types.h>

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

// The mails of an export, read with Python's mail modules; see read_mail.py.
[[nodiscard]] nlohmann::json ReadExport(const std::string& format,
                                        const std::filesystem::path& directory);

// Every file beneath a directory with its contents; none where there is no such directory.
[[nodiscard]] std::map<std::string, std::string> ReadTree(const std::filesystem::path& directory);

}  // namespace nimport::tests

#endif  // NIMPORT_TESTS_COMMAND_TOOL_H_
