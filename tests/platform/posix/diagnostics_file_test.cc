#include "platform/posix/diagnostics_file.h"

#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "common/fake_platform.h"
#include "common/test_directory.h"

namespace nimport::platform::posix {
namespace {

using nlohmann::json;

class DiagnosticsFileTest : public testing::Test {
 protected:
  DiagnosticsSink& sink() { return platform_.system().diagnostics(); }
  std::vector<json> Lines() {
    std::vector<json> lines;
    std::istringstream file(directory_.Read("log"));
    for (std::string line; std::getline(file, line);)
      lines.push_back(json::parse(line));
    return lines;
  }

  tests::TestDirectory directory_;
  tests::FakePlatform platform_;
};

TEST_F(DiagnosticsFileTest, IsOffUntilSwitchedOn) {
  EXPECT_FALSE(sink().IsOn());
  sink().Report({.function = "ML_GetMailSubject"});
  platform_.settings["NIMPORT_DIAGNOSTICS"] = directory_.str() + "/log";
  EXPECT_TRUE(sink().IsOn());
  sink().Report({.function = "ML_GetMailSubject",
                 .code = -2,
                 .reason = "broken \"page\"\nin \xFF\x82",
                 .file = "/m/\u30E1.mdb",
                 .page = 7,
                 .table = "DataTBL",
                 .slot = 3,
                 .folder = 0,
                 .mail = 12,
                 .dataNo = -1});
  sink().Report({.function = "AD_OpenAddressBook"});
  EXPECT_EQ(json(Lines()), json::parse(R"([
      {"function": "ML_GetMailSubject", "code": -2, "reason": "broken \"page\"\nin \uFFFD\uFFFD",
       "file": "/m/\u30E1.mdb", "page": 7, "table": "DataTBL", "slot": 3, "folder": 0, "mail": 12,
       "dataNo": -1},
      {"function": "AD_OpenAddressBook", "code": 0, "reason": ""}])"));
  struct stat status {};
  ASSERT_EQ(stat((directory_.str() + "/log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST_F(DiagnosticsFileTest, ThreadsDoNotMixTheirLines) {
  platform_.settings["NIMPORT_DIAGNOSTICS"] = directory_.str() + "/log";
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int n = 0; n < 50; ++n)
        sink().Report({.reason = std::string(3000, 'x')});
    });
  }
  for (std::thread& thread : threads)
    thread.join();
  EXPECT_EQ(Lines().size(), 200u);
}

TEST_F(DiagnosticsFileTest, WritesToADescriptorAndSurvivesItsEnd) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  platform_.settings["NIMPORT_DIAGNOSTICS"] = "fd:" + std::to_string(ends[1]);
  sink().Report({.reason = "one"});
  char buffer[256];
  const ssize_t count = read(ends[0], buffer, sizeof buffer);
  ASSERT_GT(count, 0);
  EXPECT_EQ(json::parse(std::string(buffer, static_cast<std::size_t>(count)))["reason"], "one");
  close(ends[0]);
  sink().Report({.reason = "nobody reads"});  // must not raise SIGPIPE
  close(ends[1]);
  for (const char* target : {"fd:", "fd:x", "fd:999999", "/nowhere/log", "fd:-1"}) {
    platform_.settings["NIMPORT_DIAGNOSTICS"] = target;
    sink().Report({.reason = "lost"});
  }
}

TEST(PosixPlatformTest, ReadsItsNumbersFromTheSettings) {
  tests::FakePlatform platform;
  EXPECT_EQ(platform.system().PlatformId(), 2);
  EXPECT_FALSE(platform.system().IsSalvaging());
  platform.settings = {{"NIMPORT_PLATFORM_ID", "1"}, {"NIMPORT_SALVAGE", "1"}};
  EXPECT_EQ(platform.system().PlatformId(), 1);
  EXPECT_TRUE(platform.system().IsSalvaging());
  for (const char* wrong : {"two", "2x", " 2", "99999999999"}) {
    platform.settings = {{"NIMPORT_PLATFORM_ID", wrong}, {"NIMPORT_SALVAGE", "0"}};
    EXPECT_EQ(platform.system().PlatformId(), std::nullopt) << wrong;
    EXPECT_FALSE(platform.system().IsSalvaging());
  }
}

}  // namespace
}  // namespace nimport::platform::posix
