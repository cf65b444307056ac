#include "plugin/contents/temporary_names.h"

#include <chrono>
#include <list>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::plugin {
namespace {

// Names whose directory is already there.
TemporaryNames NamesIn(const std::string& directory) {
  return TemporaryNames([=] { return directory; });
}

// The next path, or the code of the failure.
std::string Next(TemporaryNames& names, const ExtensionRequest& request) {
  try {
    return names.MakeTempName(request);
  } catch (const Failure& failure) {
    return std::to_string(failure.code());
  }
}

const std::string LONGEST(519 - 4, 'n');

struct Case {
  std::string hostName;  // empty: none
  ExtensionRequest request;
  std::string wanted;
  ExtensionRequest nextRequest;
  std::string wantedNext;
};

const Case CASES[] = {
    // The next file is called as the last one, with another extension.
    {"", ".txt", "C:\\T.D\\$$$nim.txt", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"", NO_EXTENSION, "C:\\T.D\\$$$nim.TMP", ".html", "C:\\T.D\\$$$nim.html"},
    {"", KEEP_EXTENSION, "C:\\T.D\\$$$nim.TMP", KEEP_EXTENSION, "C:\\T.D\\$$$nim.TMP"},
    // The host's name is used once.
    {"D:\\out\\m1.eml", ".txt", "D:\\out\\m1.txt", ".txt", "D:\\out\\m1.txt"},
    {"D:\\out\\m1", ".txt", "D:\\out\\m1.txt", ".html", "D:\\out\\m1.html"},
    {"D:\\out\\pic", KEEP_EXTENSION, "D:\\out\\pic.TMP", KEEP_EXTENSION, "D:\\out\\pic.TMP"},
    {"D:\\out\\pic.gif", KEEP_EXTENSION, "D:\\out\\pic.gif", KEEP_EXTENSION, "D:\\out\\pic.TMP"},
    {"D:\\out\\pic.gif", ".bmp", "D:\\out\\pic.bmp", NO_EXTENSION, "D:\\out\\pic.TMP"},
    {"D:\\out\\pic.gif", NO_EXTENSION, "D:\\out\\pic.TMP", ".TMP", "D:\\out\\pic.TMP"},
    {"D:\\out\\pic.GIF", ".gif", "D:\\out\\pic.gif", ".GIF", "D:\\out\\pic.GIF"},
    // The last dot counts even where it is a directory's.
    {"D:\\a.b\\mail", ".txt", "D:\\a.txt", NO_EXTENSION, "D:\\a.TMP"},
    {"D:\\a.b\\mail", KEEP_EXTENSION, "D:\\a.b\\mail", KEEP_EXTENSION, "D:\\a.TMP"},
    // An empty extension leaves a name without any, which then serves for no request.
    {"D:\\out\\m.txt", "", "D:\\out\\m", NO_EXTENSION, "D:\\out\\m"},
    {"D:\\out\\m.txt", ".", "D:\\out\\m.", KEEP_EXTENSION, "D:\\out\\m.TMP"},
    {LONGEST, ".txt", LONGEST + ".txt", ".html", "-3"},
    // A file's own name stays within the directory, and the next file is not called after it.
    {"", FileName{"KOYO01.LZH"}, "C:\\T.D\\KOYO01.LZH", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"", FileName{"README"}, "C:\\T.D\\README", NO_EXTENSION, "C:\\T.D\\$$$nim.TMP"},
    // A character whose second byte is a separator's.
    {"", FileName{"\x83\x5C.XLS"}, "C:\\T.D\\\x83\x5C.XLS", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"", FileName{".."}, "-2", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"", FileName{""}, "-2", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"", FileName{"..\\boot.ini"}, "-2", ".txt", "C:\\T.D\\$$$nim.txt"},
    {"D:\\out\\m.eml", FileName{"KOYO01.LZH"}, "D:\\out\\m.LZH", ".txt", "D:\\out\\m.txt"},
    // A content type or file name comes from a mail, and chooses no directory.
    {"D:\\m.eml", ".x\\..\\..\\boot.ini", "-2", NO_EXTENSION, "D:\\m.TMP"},
    {"D:\\m.eml", "./../../x", "-2", NO_EXTENSION, "D:\\m.TMP"},
    {"D:\\m.eml", ".txt:stream", "-2", NO_EXTENSION, "D:\\m.TMP"},
    {"D:\\m.eml", std::string(".a\0b", 4), "-2", NO_EXTENSION, "D:\\m.TMP"},
    {"D:\\m.eml", "..", "D:\\m..", NO_EXTENSION, "D:\\m..TMP"},
    {"D:\\m.eml", ".\x83\x5C", "D:\\m.\x83\x5C", NO_EXTENSION, "D:\\m.TMP"},
    {"D:\\m.eml", ".\x83/x", "-2", NO_EXTENSION, "D:\\m.TMP"},
    // A refused name is used up: it must not turn up at a file that the host has not named.
    {LONGEST, ".html", "-3", FileName{"next"}, "C:\\T.D\\next"},
    {"D:\\m", "./x", "-2", FileName{"next"}, "C:\\T.D\\next"},
    {"D:\\m", FileName{".."}, "-2", FileName{"next"}, "C:\\T.D\\next"},
};

TEST(TemporaryNames, FollowTheHostAndOneAnother) {
  for (const Case& c : CASES) {
    TemporaryNames names = NamesIn("C:\\T.D");
    if (!c.hostName.empty()) {
      names.SetPendingName("D:\\replaced");
      names.SetPendingName(c.hostName);
    }
    const std::string path = Next(names, c.request);
    EXPECT_EQ(path, c.wanted) << c.hostName;
    EXPECT_EQ(names.tempFiles().size(), path.starts_with('-') ? 0u : 1u) << path;
    EXPECT_EQ(Next(names, c.nextRequest), c.wantedNext) << c.hostName << " after " << path;
  }
}

TEST(TemporaryNames, AreListedOnceInTheOrderOfLastUse) {
  TemporaryNames names = NamesIn("C:");
  for (const char* extension : {".txt", ".txt", ".html", ".gif", ".txt"})
    (void)names.MakeTempName(std::string(extension));
  EXPECT_EQ(names.tempFiles(),
            (std::list<std::string>{"C:\\$$$nim.html", "C:\\$$$nim.gif", "C:\\$$$nim.txt"}));
}

TEST(TemporaryNames, NeverMakeAPathThatIsTooLong) {
  TemporaryNames names = NamesIn(std::string(510, 'd'));
  EXPECT_EQ(Next(names, ".txt"), "-3");
  names.SetPendingName("D:\\m");
  EXPECT_THROW(names.SetPendingName(""), Failure);
  EXPECT_THROW(names.SetPendingName(std::string(520, 'n')), Failure);
  EXPECT_EQ(Next(names, ".txt"), "D:\\m.txt") << "the earlier name";
}

// A directory is made for the first file that needs it; a name of the host's needs none.
TEST(TemporaryNames, NeedADirectoryOnlyForTheirOwnFiles) {
  int made = 0;
  TemporaryNames names([&] {
    if (made++ == 0) throw Failure(RESULT_DATABASE, "no directory");
    return std::string("/tmp/d");
  });
  names.SetPendingName("D:\\m.eml");
  EXPECT_EQ(names.MakeTempName(".txt"), "D:\\m.txt");
  EXPECT_EQ(made, 0);
  names.Forget();
  EXPECT_THROW((void)names.MakeTempName(".txt"), Failure);
  EXPECT_EQ(names.MakeTempName(".txt"), "/tmp/d/$$$nim.txt") << "a path of the system's own";
  EXPECT_EQ(names.MakeTempName(FileName{"a"}), "/tmp/d/a");
  EXPECT_EQ(made, 2);
}

// A session that exports a large store hands out many names; each must stay cheap.
TEST(TemporaryNames, StayQuickWithManyFiles) {
  constexpr int COUNT = 100'000;
  const auto begin = std::chrono::steady_clock::now();
  TemporaryNames names = NamesIn("C:\\TEMP");
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < COUNT; ++i) {
      names.SetPendingName("C:\\out\\mail" + std::to_string(i));
      (void)names.MakeTempName(".txt");
    }
  }
  EXPECT_EQ(names.tempFiles().size(), static_cast<std::size_t>(COUNT));
  EXPECT_EQ(names.tempFiles().front(), "C:\\out\\mail0.txt");
  // Comparing each with all takes minutes.
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20));
}

}  // namespace
}  // namespace nimport::plugin
