// docs/attackers.md names a test for what it says; each of them is there.
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

TEST(AttackersPage, NamesTestsThatExist) {
  const std::set<std::string> tests = TestsOfTheProject();
  const std::string page = ReadFile(NIMPORT_SOURCE_DIR "/docs/attackers.md");
  const std::regex name(R"(`([A-Z]\w+\.[A-Z]\w+)`)");
  std::size_t count = 0;
  for (std::sregex_iterator match(page.begin(), page.end(), name), end; match != end; ++match) {
    ++count;
    EXPECT_TRUE(tests.contains((*match)[1])) << (*match)[1];
  }
  EXPECT_GT(count, 20U);
}

}  // namespace
}  // namespace nimport::tests
