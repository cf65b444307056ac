// Tests and sources that pages name are there.
#include <filesystem>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "command/tool.h"

namespace nimport::tests {
namespace {

namespace fs = std::filesystem;

std::set<std::string> TestsOfTheProject() {
  const std::regex head(R"(\nTEST(?:_F|_P)?\((\w+),\s*(\w+)\))");
  std::set<std::string> names;
  for (const fs::directory_entry& entry :
       fs::recursive_directory_iterator(NIMPORT_SOURCE_DIR "/tests")) {
    if (entry.path().extension() != ".cc") continue;
    const std::string source = ReadFile(entry.path());
    for (std::sregex_iterator match(source.begin(), source.end(), head), end; match != end; ++match)
      names.insert((*match)[1].str() + '.' + (*match)[2].str());
  }
  return names;
}

// What stands between backquotes in a page and looks like `form`.
std::set<std::string> NamesIn(const char* page, const char* form) {
  const std::string text = ReadFile(fs::path(NIMPORT_SOURCE_DIR "/docs") / page);
  const std::regex name(std::string("`(") + form + ")`");
  std::set<std::string> names;
  for (std::sregex_iterator match(text.begin(), text.end(), name), end; match != end; ++match)
    names.insert((*match)[1]);
  EXPECT_GT(names.size(), 20U) << page;
  return names;
}

TEST(AttackersPage, NamesTestsThatExist) {
  const std::set<std::string> tests = TestsOfTheProject();
  for (const std::string& name : NamesIn("attackers.md", R"([A-Z]\w+\.[A-Z]\w+)"))
    EXPECT_TRUE(tests.contains(name)) << name;
}

TEST(ArchitecturePage, NamesSourcesThatExist) {
  const fs::path sources = NIMPORT_SOURCE_DIR "/src";
  for (const std::string& name : NamesIn("architecture.md", R"([a-z_]+/[a-z_/0-9]+\.(?:h|cc))"))
    EXPECT_TRUE(fs::exists(sources / name)) << name;
}

}  // namespace
}  // namespace nimport::tests
