// The C programs of the documentation do what the pages say, as they stand there.
#include <algorithm>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "common/test_directory.h"
#include "host/tool.h"
#include "mkstore/store_writer.h"

namespace nimport::tests {
namespace {

// One mail of each source of text, and groups in groups.
constexpr const char* DESCRIPTION = R"({
  "cabinets": [{"number": 1, "name": "受信", "folders": [
    {"number": 10, "name": "新着/1", "mails": [
      {"kind": 20, "title": "例会①", "date": "1998-09-21T20:15:42",
       "columns": {"OriginatorName": "佐倉", "OriginatorID": "QZB04567", "TextData": "来週です。"}},
      {"kind": 34, "columns": {}, "mime": {"file": "1.MIM", "text":
       "Date: Thu, 3 Jun 1999 12:15:42 GMT\r\nFrom: a@example.jp\r\nSubject: two\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: text/plain\r\n\r\nbody\r\n--b\r\nContent-Type: image/gif\r\nContent-Disposition: attachment; filename=\"x.gif\"\r\n\r\nGIF\r\n--b--\r\n"}},
      {"kind": 34, "columns": {}, "mime": {"file": "GONE.MIM"}}]},
    {"number": 11, "name": "空"}]}],
  "addressBook": [
    {"name": "友だち", "members": [
      {"name": "白石 千夏", "userId": "QZH02214", "comment": "一行目\r\n二行目"},
      {"name": "写真部", "members": [{"name": null, "userId": "m@example.com"}]}]},
    {"name": "仕事"}]})";

std::string ReadWhole(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The one block of C in a page.
std::string ProgramIn(const std::string& page) {
  const std::string text = ReadWhole(NIMPORT_SOURCE_DIR "/" + page);
  const std::string fence = "```c\n";
  const std::size_t begin = text.find(fence);
  if (begin == std::string::npos) return {};
  const std::size_t end = text.find("\n```\n", begin);
  return text.substr(begin + fence.size(), end + 1 - begin - fence.size());
}

class CPrograms : public testing::Test {
 protected:
  // What the program prints about the store.
  std::string OutputOf(const std::string& page) {
    const std::string source = directory_.Write("program.c", ProgramIn(page));
    const std::string program = directory_.path() / "program";
    const std::string library = NIMPORT_BINARY_DIR "/lib";
    std::vector<std::string> command = {NIMPORT_C_COMPILER,
                                        "-std=c99",
                                        "-Wall",
                                        "-Wextra",
                                        "-Wpedantic",
                                        "-Werror",
                                        "-I" NIMPORT_SOURCE_DIR "/include",
                                        source,
                                        "-o",
                                        program,
                                        "-L" + library,
                                        "-lnimport",
                                        "-Wl,-rpath," + library};
    const std::string sanitizers = NIMPORT_SANITIZE;
    if (!sanitizers.empty()) command.push_back("-fsanitize=" + sanitizers);
    const ToolResult compiled = RunProgram(command);
    EXPECT_EQ(compiled.exitCode, 0) << compiled.err;
    const ToolResult result =
        RunProgram({program}, {{"NIMPORT_REGISTRY", store_.RegistryVariable()},
                               {"NIMPORT_DRIVES", store_.DrivesVariable()}});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  }

  TestDirectory directory_;
  mkstore::Store store_ =
      mkstore::MakeStore(nlohmann::json::parse(DESCRIPTION), directory_.path() / "disk");
};

TEST_F(CPrograms, HostAuthorsPageWalksThroughBothSides) {
  EXPECT_EQ(OutputOf("docs/host-authors.md"),
            "受信\n"
            "  新着%2f1\n"
            "    0 例会① | 佐倉 QZB04567 | 1998-09-21 | body of 11 bytes\n"
            "    1 two | a@example.jp | 1999-06-03 | body of 4 bytes | 1 attached\n"
            "    2 (failed: -3) | (failed: -3)\n"
            "  空\n"
            "2 addresses\n"
            "友だち\n"
            "  - 白石 千夏 | QZH02214 | 一行目  二行目\n"
            "  写真部\n"
            "    -  | m@example.com | \n"
            "仕事\n");
  const std::string program = ProgramIn("docs/host-authors.md");
  EXPECT_LT(std::count(program.begin(), program.end(), '\n'), 150);
}

TEST_F(CPrograms, ReadmeListsTheCabinets) {
  EXPECT_EQ(OutputOf("README.md"), "\x8E\xF3\x90\x4D\n") << "in code page 932";
}

}  // namespace
}  // namespace nimport::tests
