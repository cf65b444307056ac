#include "platform/registry_files.h"

#include <gtest/gtest.h>

#include "common/fake_platform.h"
#include "common/test_directory.h"

namespace nimport::platform::posix {
namespace {

std::string Export(const std::string& key, const std::string& value) {
  return "REGEDIT4\n\n[HKEY_LOCAL_MACHINE\\" + key + "]\n\"BinDir\"=\"" + value + "\"\n";
}

class RegistryFilesTest : public testing::Test {
 protected:
  std::optional<std::string> Read(std::string_view key = "Software\\NIFTY",
                                  RegistryHive hive = RegistryHive::LocalMachine) {
    return platform_.system().registry().ReadString(hive, key, "BinDir");
  }

  tests::TestDirectory directory_;
  tests::FakePlatform platform_;
};

TEST_F(RegistryFilesTest, FirstFileThatHasTheValueWins) {
  const std::string broken = directory_.Write("broken.reg", "REGEDIT4\n[HKEY_LOCAL_MACH");
  const std::string other = directory_.Write("other.reg", Export("Software\\Other", "o"));
  const std::string first = directory_.Write("first.reg", Export("SOFTWARE\\Nifty", "1"));
  const std::string second = directory_.Write("second.reg", Export("Software\\NIFTY", "2"));
  platform_.settings["NIMPORT_REGISTRY"] = directory_.str() + "/missing.reg::" + broken + ":" +
                                           directory_.str() + ":" + other + ":" + first + ":" +
                                           second;
  EXPECT_EQ(Read(), "1");
  EXPECT_EQ(Read("Software\\Other"), "o");
  EXPECT_EQ(Read("Software\\Absent"), std::nullopt);
  // Files are read at each use.
  directory_.Write("first.reg", "");
  EXPECT_EQ(Read(), "2");
}

TEST_F(RegistryFilesTest, LooksFor32BitProgramsLast) {
  const std::string narrow =
      directory_.Write("32.reg", Export("SOFTWARE\\Wow6432Node\\NIFTY", "32"));
  const std::string wide = directory_.Write("64.reg", Export("Software\\NIFTY", "64"));
  platform_.settings["NIMPORT_REGISTRY"] = narrow;
  EXPECT_EQ(Read("SOFTWARE\\NIFTY"), "32");
  EXPECT_EQ(Read("NIFTY"), std::nullopt);
  platform_.settings["NIMPORT_REGISTRY"] = narrow + ":" + wide;
  EXPECT_EQ(Read(), "64");
}

TEST_F(RegistryFilesTest, UsesTheWinePrefixUnlessTold) {
  const auto wineFile = [](const std::string& root, const std::string& value) {
    return "WINE REGISTRY Version 2\n;; All keys relative to \\\\" + root +
           "\n\n[Software\\\\NIFTY] 1\n\"BinDir\"=\"" + value + "\"\n";
  };
  directory_.Write(".wine/system.reg", wineFile("Machine", "machine"));
  directory_.Write(".wine/user.reg", wineFile("User\\\\S-1-5-21", "user"));
  directory_.Write("prefix/system.reg", wineFile("Machine", "prefix"));
  EXPECT_EQ(Read(), std::nullopt);
  platform_.settings["HOME"] = directory_.str();
  EXPECT_EQ(Read(), "machine");
  EXPECT_EQ(Read("Software\\NIFTY", RegistryHive::CurrentUser), "user");
  platform_.settings["WINEPREFIX"] = directory_.str() + "/prefix";
  EXPECT_EQ(Read(), "prefix");
  platform_.settings["NIMPORT_REGISTRY"] =
      directory_.Write("a.reg", Export("Software\\NIFTY", "a"));
  EXPECT_EQ(Read(), "a");
}

}  // namespace
}  // namespace nimport::platform::posix
