#include "platform/formats/windows_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace nimport::platform {
namespace {

using testing::ElementsAreArray;

TEST(WindowsPathTest, TakesPathsApart) {
  const struct {
    std::string path;
    PathStart start;
    char drive;
    std::vector<std::string> parts;
    const char* why;
  } CASES[] = {
      {"C:\\Mail\\a.mdb", PathStart::Drive, 'C', {"Mail", "a.mdb"}, "plain"},
      {"c:/Mail\\\\a.mdb\\",
       PathStart::Drive,
       'C',
       {"Mail", "a.mdb"},
       "either separator, repeated"},
      {"D:\\", PathStart::Drive, 'D', {}, "a drive's root"},
      {"/srv/mail", PathStart::Root, 0, {"srv", "mail"}, "native"},
      {"\\srv\\mail", PathStart::Root, 0, {"srv", "mail"}, "below the current drive's root"},
      {"out\\m1.eml", PathStart::Relative, 0, {"out", "m1.eml"}, "relative"},
      {"C:\\a\\..\\b\\.\\c", PathStart::Drive, 'C', {"b", "c"}, "dots"},
      {"C:\\\x95\x5C\\\x83\x5C.txt",
       PathStart::Drive,
       'C',
       {"\x95\x5C", "\x83\x5C.txt"},
       "a second byte that looks like a separator"},
      {"C:\\CONTENTS\\com10\\nullify",
       PathStart::Drive,
       'C',
       {"CONTENTS", "com10", "nullify"},
       "begins like a device"},
  };
  for (const auto& row : CASES) {
    const auto path = ParseWindowsPath(row.path);
    ASSERT_TRUE(path) << row.why;
    EXPECT_EQ(path->start, row.start) << row.why;
    EXPECT_EQ(path->drive, row.drive) << row.why;
    EXPECT_THAT(path->parts, ElementsAreArray(row.parts)) << row.why;
  }
  EXPECT_EQ(ParseWindowsPath("..\\..\\a")->levelsUp, 2u);
  const auto network = ParseWindowsPath("\\\\\x83\x5C\\share/a\\..\\b");
  ASSERT_TRUE(network && network->start == PathStart::Network);
  EXPECT_EQ(network->server + '|' + network->share, "\x83\x5C|share");
  EXPECT_THAT(network->parts, testing::ElementsAre("b"));
}

TEST(WindowsPathTest, RefusesWhatMustNotBeOpened) {
  const std::string PATHS[] = {
      "",
      "C:",
      "C:mail",
      "1:\\mail",
      "C:\\..\\etc",
      "C:\\a\\..\\..\\b",
      "/../etc",
      "C:\\a:stream",
      "C:\\a\\b:c\\d",
      std::string("C:\\a\0b", 6),
      "\\\\server",
      "\\\\server\\share\\..\\..\\a",
      "\\\\server\\\\a",
      "\\\\..\\share\\a",
      "\\\\.\\C:\\a",
      "\\\\.\\share\\a",
      "\\\\?\\C:\\a",
      "\\/?/UNC/server/share",
      "C:\\NUL",
      "C:\\con.txt",
      "C:\\Aux .mdb",
      "C:\\com1\\a",
      "C:\\LPT9.log",
  };
  for (const std::string& path : PATHS)
    EXPECT_FALSE(ParseWindowsPath(path)) << path;
}

}  // namespace
}  // namespace nimport::platform
