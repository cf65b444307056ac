// The libraries export the functions that they declare, and nothing else.
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <regex>
#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

// What the first group of `expression` matches in a text.
std::set<std::string> Matches(const std::string& text, const std::string& expression) {
  const std::regex regex(expression);
  std::set<std::string> names;
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
    names.insert((*match)[1]);
  return names;
}

// The names of the functions that a source file marks with `mark`.
std::set<std::string> NamesIn(const std::string& path, const std::string& mark) {
  std::ifstream file(NIMPORT_SOURCE_DIR "/" + path);
  return Matches({std::istreambuf_iterator<char>(file), {}}, mark + R"(\s+(\w+)\()");
}

// What a command prints.
std::string OutputOf(const std::string& command) {
  const auto close = [](std::FILE* pipe) { pclose(pipe); };
  const std::unique_ptr<std::FILE, decltype(close)> pipe(popen(command.c_str(), "r"), close);
  std::string output;
  std::array<char, 1024> piece{};
  while (std::fgets(piece.data(), piece.size(), pipe.get()) != nullptr)
    output += piece.data();
  return output;
}

// Names of dynamic symbols of a library, as nm tells them with such an option.
std::set<std::string> NamesInLibrary(const std::string& library, const std::string& option) {
  return Matches(
      OutputOf("nm -D -f posix " + option + " " NIMPORT_BINARY_DIR "/lib/" + library) + '\n',
      R"((\w+)(?:@\S+)? [^\n]*\n)");
}

TEST(ExportedNames, AreThoseDeclared) {
  const std::set<std::string> functions = NamesIn("include/nimport/nimport.h", "NIMPORT_CALL");
  EXPECT_EQ(functions.size(), 60u);
  EXPECT_EQ(NamesInLibrary("libnimport.so", "--defined-only"), functions);
  const std::set<std::string> entryPoints = NamesIn("src/wexmail/exports.cc", "NIMPORT_MIME_CALL");
  EXPECT_EQ(entryPoints.size(), 14u);
  EXPECT_EQ(NamesInLibrary("libwexmail.so", "--defined-only"), entryPoints);
}

// A static object with a destructor would be gone before a host's exit handlers run.
TEST(ExportedNames, NothingIsDestroyedBeforeTheProcessEnds) {
  for (const char* library : {"libnimport.so", "libwexmail.so"}) {
    const std::set<std::string> used = NamesInLibrary(library, "--undefined-only");
    EXPECT_GT(used.size(), 10u) << library;
    EXPECT_FALSE(used.contains("__cxa_atexit") || used.contains("__cxa_thread_atexit")) << library;
  }
}

TEST(BuiltFiles, NeedTheLibrariesOfCAndCppAlone) {
  // Of the last three, only builds with sanitizers have any.
  const std::set<std::string> known = {"libc",    "libm",     "libstdc", "libgcc_s",
                                       "libasan", "libubsan", "libtsan"};
  for (const char* file :
       {"lib/libnimport.so", "lib/libwexmail.so", "bin/nimport", "bin/mkstore", "bin/jetdump"}) {
    const std::set<std::string> names =
        Matches(OutputOf(std::string("readelf -d " NIMPORT_BINARY_DIR "/") + file),
                R"(\(NEEDED\).*\[(lib\w+).*\])");
    EXPECT_TRUE(names.contains("libc")) << file;
    for (const std::string& name : names)
      EXPECT_TRUE(known.contains(name)) << file << " needs " << name;
  }
}

}  // namespace
