// The library exports the functions that its header declares, and nothing else.
#include <array>
#include <cstdio>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

namespace {

std::set<std::string> NamesInHeader() {
  std::ifstream file(NIMPORT_SOURCE_DIR "/include/nimport/nimport.h");
  std::stringstream text;
  text << file.rdbuf();
  const std::string header = text.str();
  const std::regex declaration(R"(NIMPORT_CALL\s+(\w+)\()");
  std::set<std::string> names;
  for (std::sregex_iterator match(header.begin(), header.end(), declaration), end; match != end;
       ++match) {
    names.insert((*match)[1]);
  }
  return names;
}

// Names of the defined dynamic symbols, as nm tells them.
std::set<std::string> NamesInLibrary() {
  const auto close = [](std::FILE* pipe) { pclose(pipe); };
  const std::unique_ptr<std::FILE, decltype(close)> pipe(
      popen("nm -D --defined-only " NIMPORT_BINARY_DIR "/lib/libnimport.so", "r"), close);
  std::set<std::string> names;
  std::array<char, 1024> line{};
  while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    std::istringstream words{std::string(line.data())};
    std::string address;
    std::string type;
    std::string name;
    words >> address >> type >> name;
    names.insert(name);
  }
  return names;
}

TEST(ExportedNames, AreThoseOfTheHeader) {
  const std::set<std::string> names = NamesInHeader();
  EXPECT_EQ(names.size(), 60u);
  EXPECT_EQ(NamesInLibrary(), names);
}

}  // namespace
