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

// Names of dynamic symbols of a library, as nm tells them with such an option.
std::set<std::string> NamesInLibrary(const std::string& library, const std::string& option) {
  const auto close = [](std::FILE* pipe) { pclose(pipe); };
  const std::unique_ptr<std::FILE, decltype(close)> pipe(
      popen(("nm -D -f posix " + option + " " NIMPORT_BINARY_DIR "/lib/" + library).c_str(), "r"),
      close);
  std::set<std::string> names;
  std::array<char, 1024> line{};
  while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    std::istringstream words{std::string(line.data())};
    std::string name;
    words >> name;
    names.insert(name.substr(0, name.find('@')));
  }
  return names;
}

TEST(ExportedNames, AreThoseOfTheHeader) {
  const std::set<std::string> names = NamesInHeader();
  EXPECT_EQ(names.size(), 60u);
  EXPECT_EQ(NamesInLibrary("libnimport.so", "--defined-only"), names);
}

// A static object with a destructor would be gone before a host's exit handlers run.
TEST(ExportedNames, NothingIsDestroyedBeforeTheProcessEnds) {
  for (const char* library : {"libnimport.so", "libwexmail.so"}) {
    const std::set<std::string> used = NamesInLibrary(library, "--undefined-only");
    EXPECT_GT(used.size(), 10u) << library;
    EXPECT_FALSE(used.contains("__cxa_atexit") || used.contains("__cxa_thread_atexit")) << library;
  }
}

}  // namespace
