// The programs of the documentation compile as they stand there and print what the pages say; the
// public header compiles in every language that it promises.
#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "command/tool.h"

namespace nimport::tests {
namespace {

const std::filesystem::path SOURCES = NIMPORT_SOURCE_DIR;

// Block number `index` of a page that is marked with `language`.
std::string BlockIn(const std::string& page, const std::string& language, int index = 0) {
  const std::string text = ReadFile(SOURCES / page);
  const std::string fence = "\n```" + language + "\n";
  std::size_t begin = text.find(fence);
  for (; index > 0 && begin != std::string::npos; --index)
    begin = text.find(fence, begin + 1);
  if (begin == std::string::npos) return {};
  begin += fence.size();
  return text.substr(begin, text.find("\n```\n", begin) + 1 - begin);
}

class CPrograms : public testing::Test {
 protected:
  // Compiles a text, as C or C++ by its standard, and tells what the compiler said against it.
  std::string Compile(const std::string& text, const std::string& compiler,
                      const std::string& standard, const std::vector<std::string>& more) {
    const bool isC = standard.starts_with("-std=c") && !standard.starts_with("-std=c++");
    std::vector<std::string> command = {compiler,
                                        standard,
                                        "-Wall",
                                        "-Wextra",
                                        "-pedantic-errors",
                                        "-Werror",
                                        "-I" NIMPORT_SOURCE_DIR "/include",
                                        directory_.Write(isC ? "p.c" : "p.cc", text)};
    command.insert(command.end(), more.begin(), more.end());
    const ToolResult compiled = RunProgram(command);
    return compiled.exitCode == 0 ? "" : compiler + " " + standard + ": " + compiled.err;
  }

  // What a program prints about a store when the shell runs `commandLine`, in which $P is its path.
  std::string OutputOf(const std::string& text, const std::string& compiler,
                       const std::string& standard, const TestStore& store,
                       const std::string& commandLine) {
    const std::string program = directory_.path() / "program";
    const std::string library = NIMPORT_BINARY_DIR "/lib";
    std::vector<std::string> options = {"-o", program, "-L" + library, "-lnimport",
                                        "-Wl,-rpath," + library};
    const std::string sanitizers = NIMPORT_SANITIZE;
    if (!sanitizers.empty()) options.push_back("-fsanitize=" + sanitizers);
    EXPECT_EQ(Compile(text, compiler, standard, options), "");
    const ToolResult result = RunProgram({"/bin/sh", "-c", commandLine},
                                         {{"NIMPORT_REGISTRY", store.store().RegistryVariable()},
                                          {"NIMPORT_DRIVES", store.store().DrivesVariable()},
                                          {"P", program}});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return result.out;
  }

  TestDirectory directory_;
};

TEST_F(CPrograms, HostAuthorsPageWalksThroughBothSides) {
  const std::string page = "docs/host-authors.md";
  const TestStore store(BlockIn(page, "json"));
  const std::string program = BlockIn(page, "c");
  EXPECT_EQ(OutputOf(program, NIMPORT_C_COMPILER, "-std=c99", store, "$P"), BlockIn(page, "text"));
  EXPECT_LT(std::count(program.begin(), program.end(), '\n'), 150);
}

TEST_F(CPrograms, HostAuthorsPageSavesAttachedFiles) {
  const std::string page = "docs/host-authors.md";
  const TestStore store(BlockIn(page, "json"));
  const auto saved = directory_.path() / "saved";
  std::filesystem::create_directory(saved);
  EXPECT_EQ(OutputOf(BlockIn(page, "cpp"), NIMPORT_CXX_COMPILER, "-std=c++11", store,
                     "$P " + saved.string()),
            BlockIn(page, "text", 1));
  const std::map<std::string, std::string> files = {{"1.gif", "GIF"}, {"2.LZH", "LZH!"}};
  EXPECT_EQ(ReadTree(saved), files);
}

TEST_F(CPrograms, ReadmeListsTheCabinets) {
  const TestStore store(ReadFile(SOURCES / "samples/demo-ja.json"));
  EXPECT_EQ(OutputOf(BlockIn("README.md", "c"), NIMPORT_C_COMPILER, "-std=c99", store,
                     "$P | iconv -f CP932 -t UTF-8"),
            BlockIn("README.md", "text"));
}

TEST_F(CPrograms, HeaderCompilesInEveryLanguageThatItPromises) {
  const std::string program =
      "#include <nimport/nimport.h>\n"
      "int main(void) { HandleNode* s; return ML_Initialize(&s) == RESULT_OK ? 0 : 1; }\n";
  std::stringstream compilers(NIMPORT_ALL_COMPILERS);
  for (std::string compiler; std::getline(compilers, compiler, ':');) {
    if (compiler.ends_with("-NOTFOUND")) continue;
    for (const char* standard : {"-std=c99", "-std=c11", "-std=c17", "-std=c++11", "-std=c++20"})
      EXPECT_EQ(Compile(program, compiler, standard, {"-fsyntax-only"}), "");
  }
}

}  // namespace
}  // namespace nimport::tests
