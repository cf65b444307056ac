#include "platform/formats/windows_path.h"

#include <string>

#include <gtest/gtest.h>

namespace nimport::platform {
namespace {

// Where a path starts and its parts, with bars between them: "C:|Mail|a.mdb". "/" is a root,
// "." the current directory, ".." one above it; "-" what must not be opened.
std::string Show(const std::string& text) {
  const auto path = ParseWindowsPath(text);
  if (!path) return "-";
  std::string shown;
  if (path->start == PathStart::Drive) shown = std::string{path->drive, ':'};
  if (path->start == PathStart::Root) shown = "/";
  if (path->start == PathStart::Network) shown = "\\\\" + path->server + "\\" + path->share;
  if (path->start == PathStart::Relative) shown = path->levelsUp == 0 ? "." : "";
  for (unsigned i = 0; i < path->levelsUp; ++i)
    shown += i == 0 ? ".." : "/..";
  for (const std::string& part : path->parts)
    shown += "|" + part;
  return shown;
}

TEST(WindowsPath, IsTakenApartOrRefused) {
  const struct {
    std::string path;
    const char* wanted;
    const char* why = "";
  } cases[] = {
      {"C:\\Mail\\a.mdb", "C:|Mail|a.mdb", "plain"},
      {"c:/Mail\\\\a.mdb\\", "C:|Mail|a.mdb", "either separator, repeated"},
      {"D:\\", "D:", "a drive's root"},
      {"/srv/mail", "/|srv|mail", "native"},
      {"\\srv\\mail", "/|srv|mail", "below the current drive's root"},
      {"out\\m1.eml", ".|out|m1.eml", "relative"},
      {"..\\..\\a", "../..|a", "above the current directory"},
      {"C:\\a\\..\\b\\.\\c", "C:|b|c", "dots"},
      {"C:\\\x95\x5C\\\x83\x5C.txt", "C:|\x95\x5C|\x83\x5C.txt", "a second byte like a separator"},
      {"C:\\CONTENTS\\com10\\nullify", "C:|CONTENTS|com10|nullify", "begins like a device"},
      {"\\\\\x83\x5C\\share/a\\..\\b", "\\\\\x83\x5C\\share|b", "a network share"},
      {"", "-"},
      {"C:", "-"},
      {"C:mail", "-"},
      {"1:\\mail", "-"},
      {"C:\\..\\etc", "-"},
      {"C:\\a\\..\\..\\b", "-"},
      {"/../etc", "-"},
      {"C:\\:x", "-"},
      {"C:\\a:stream", "-"},
      {"C:\\a::$DATA", "-"},
      {"C:\\a\\b:c\\d", "-"},
      {std::string("C:\\a\0b", 6), "-"},
      {"\\\\server", "-"},
      {"\\\\server\\share\\..\\..\\a", "-"},
      {"\\\\server\\\\a", "-"},
      {"\\\\..\\share\\a", "-"},
      {"\\\\.\\C:\\a", "-"},
      {"\\\\.\\share\\a", "-"},
      {"\\\\?\\C:\\a", "-"},
      {"\\/?/UNC/server/share", "-"},
      {"C:\\NUL", "-"},
      {"C:\\con.txt", "-"},
      {"C:\\Aux .mdb", "-"},
      {"C:\\com1\\a", "-"},
      {"C:\\LPT9.x.log", "-"},
      {"CONIN$", "-"},
      {"conout$", "-"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(Show(c.path), c.wanted) << c.path << c.why;
}

}  // namespace
}  // namespace nimport::platform
