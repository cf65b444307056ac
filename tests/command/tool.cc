#include "command/tool.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;

void SetEnvironment(const Environment& environment) {
  for (const char* name :
       {"NIMPORT_REGISTRY", "NIMPORT_DRIVES", "NIMPORT_PLATFORM_ID", "NIMPORT_DIAGNOSTICS",
        "NIMPORT_SALVAGE", "NIMPORT_CONFINE", "WINEPREFIX"}) {
    unsetenv(name);
  }
  setenv("TZ", "Asia/Tokyo", 1);
  setenv("HOME", "/nonexistent", 1);
#if defined(__SANITIZE_ADDRESS__)
  // The sanitizer stands between the plug-in and dlopen, which then forgets the plug-in's RUNPATH.
  setenv("LD_LIBRARY_PATH", NIMPORT_BINARY_DIR "/lib", 1);
#endif
  for (const auto& [name, value] : environment)
    setenv(name.c_str(), value.c_str(), 1);
}

void Redirect(const std::string& file, int descriptor) {
  const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  dup2(opened, descriptor);
  close(opened);
}

pid_t Spawn(const std::vector<std::string>& arguments, const Environment& environment,
            const std::string& outFile, const std::string& errFile) {
  const pid_t process = fork();
  if (process != 0) return process;
  SetEnvironment(environment);
  Redirect(outFile, STDOUT_FILENO);
  Redirect(errFile, STDERR_FILENO);
  std::vector<char*> argv;
  for (const std::string& argument : arguments)
    argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execvp(argv[0], argv.data());
  _exit(127);
}

}  // namespace

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

fs::path ToolPath() {
  return fs::path(NIMPORT_BINARY_DIR) / "bin" / "nimport";
}

int Wait(pid_t process) {
  int status = 0;
  waitpid(process, &status, 0);
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

ToolResult RunProgram(const std::vector<std::string>& arguments, const Environment& environment) {
  const TestDirectory directory;
  const std::string out = directory.path() / "out";
  const std::string err = directory.path() / "err";
  ToolResult result;
  result.exitCode = Wait(Spawn(arguments, environment, out, err));
  result.out = ReadFile(out);
  result.err = ReadFile(err);
  return result;
}

pid_t Start(const std::vector<std::string>& arguments, const Environment& environment,
            const std::string& out) {
  return Spawn(arguments, environment, out, "/dev/null");
}

nlohmann::json ReadExport(const std::string& format, const fs::path& directory) {
  const std::string script = std::string(NIMPORT_SOURCE_DIR) + "/tests/opinion/read_mail.py";
  const ToolResult result =
      RunProgram({"python3", script, format, directory.string()}, {{"PYTHONIOENCODING", "utf-8"}});
  if (result.exitCode != 0) throw std::runtime_error("read_mail.py: " + result.err);
  return nlohmann::json::parse(result.out);
}

Files ReadTree(const fs::path& directory) {
  Files files;
  if (!fs::exists(directory)) return files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
    if (!entry.is_regular_file()) continue;
    files[fs::relative(entry.path(), directory).string()] = ReadFile(entry.path());
  }
  return files;
}

TestStore::TestStore(const std::string& description, mkstore::JetVersion format)
    : store_(mkstore::MakeStore(nlohmann::json::parse(description), directory_.path() / "disk",
                                {.format = format})) {}

std::vector<std::string> TestStore::Command(const std::string& subcommand,
                                            const std::vector<std::string>& more) const {
  std::vector<std::string> command = {
      ToolPath().string(),     subcommand, "--from",  store_.databaseDirectory.string(), "--drive",
      store_.DrivesVariable(), "--member", "QZA00123"};
  command.insert(command.end(), more.begin(), more.end());
  return command;
}

nlohmann::json TestStore::Ask(const std::string& subcommand, std::vector<std::string> more,
                              int exitCode) const {
  more.emplace_back("--json");
  const ToolResult result = Run(subcommand, more);
  EXPECT_EQ(result.exitCode, exitCode) << result.out << result.err;
  return nlohmann::json::parse(result.out);
}

Files TestStore::Exported(const std::string& target) const {
  Files files = ReadTree(Target(target));
  for (const char* name : {"account.json", "index.csv", "index.jsonl", ".nimport.json"})
    files.erase(name);
  return files;
}

}  // namespace nimport::tests
