// How hosts end, as processes: nothing crashes, nothing that belongs to a session stays on the
// disk.
#include <chrono>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "command/tool.h"
#include "common/test_directory.h"
#include "mkstore/store_writer.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;

const std::string HOST = NIMPORT_BINARY_DIR "/bin/ending_host";

class HostEnding : public testing::Test {
 protected:
  HostEnding() { fs::create_directory(temporary_); }

  ToolResult Run(const std::string& program, const char* ending) {
    return RunProgram({program, ending}, {{"NIMPORT_REGISTRY", store_.RegistryVariable()},
                                          {"NIMPORT_DRIVES", store_.DrivesVariable()},
                                          {"TMPDIR", temporary_}});
  }

  TestDirectory directory_;
  fs::path temporary_ = directory_.path() / "tmp";
  mkstore::Store store_ = mkstore::MakeStore(
      nlohmann::json::parse(R"({"cabinets": [{"number": 1, "name": "受信", "folders": [
        {"number": 10, "name": "新着", "mails": [{"kind": 34, "columns": {}, "mime":
          {"file": "1.MIM", "text": "Subject: x\r\n\r\n本文\r\n"}}]}]}]})"),
      directory_.path() / "disk");
};

TEST_F(HostEnding, LeavesNothing) {
  for (const char* ending : {"closed", "exit handler", "left open", "fork", "cancel",
                             "destructor of a global", "unloaded"}) {
    const ToolResult result = Run(HOST, ending);
    EXPECT_EQ(result.exitCode, 0) << ending << ": " << result.err;
    EXPECT_TRUE(fs::is_empty(temporary_)) << ending;
  }
}

TEST_F(HostEnding, TheNextProcessRemovesWhatAKilledOneLeft) {
  EXPECT_EQ(Run(HOST, "killed").exitCode, 0);
  ASSERT_FALSE(fs::is_empty(temporary_));
  const fs::path left = fs::directory_iterator(temporary_)->path();
  fs::last_write_time(left / ".nimport-lock",
                      fs::file_time_type::clock::now() - std::chrono::hours(1));
  EXPECT_EQ(Run(HOST, "closed").exitCode, 0);
  EXPECT_TRUE(fs::is_empty(temporary_));
}

// Who starts such a program chooses its variables, but not the files that are read and written with
// the rights of another.
TEST_F(HostEnding, SetUserIdProgramsReadNoVariables) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may make such a program";
  const std::string program = directory_.str() + "/host";
  fs::copy(HOST, program);
  if (chown(program.c_str(), 65534, 65534) != 0 || Run(program, "closed").exitCode != 0 ||
      chmod(program.c_str(), 04755) != 0) {
    GTEST_SKIP() << "the program does not run here";
  }
  const ToolResult result = Run(program, "closed");
  if (result.exitCode == 1) GTEST_SKIP() << "its libraries are not for everybody";
  EXPECT_EQ(result.exitCode, 2) << result.err;
}

}  // namespace
}  // namespace nimport::tests
