#include "plugin/contents/temporary_names.h"

#include <chrono>
#include <vector>

#include <gtest/gtest.h>

#include "common/failure.h"

namespace nimport::plugin {
namespace {

std::vector<std::string> Listed(const TemporaryNames& names) {
  return {names.tempFiles().begin(), names.tempFiles().end()};
}

// Names whose directory is already there.
TemporaryNames NamesIn(const std::string& directory) {
  return TemporaryNames([=] { return directory; });
}

std::string Extension(const char* extension) {
  return extension;
}

TEST(TemporaryNames, ChangeOnlyTheirExtension) {
  TemporaryNames names = NamesIn("C:\\TEMP");
  const std::string text = "C:\\TEMP\\$$$nim.txt";
  const std::string html = "C:\\TEMP\\$$$nim.html";
  const std::string tmp = "C:\\TEMP\\$$$nim.TMP";

  EXPECT_EQ(names.MakeTempName(Extension(".txt")), text);
  EXPECT_EQ(names.MakeTempName(Extension(".txt")), text);
  EXPECT_EQ(Listed(names), (std::vector{text}));
  EXPECT_EQ(names.MakeTempName(Extension(".html")), html);
  EXPECT_EQ(Listed(names), (std::vector{text, html}));
  EXPECT_EQ(names.MakeTempName(Extension(".txt")), text);
  EXPECT_EQ(Listed(names), (std::vector{html, text}));
  EXPECT_EQ(names.MakeTempName(NO_EXTENSION), tmp);
  EXPECT_EQ(names.MakeTempName(KEEP_EXTENSION), tmp);
  EXPECT_EQ(Listed(names), (std::vector{html, text, tmp}));
}

TEST(TemporaryNames, BeginWithTheDefaultName) {
  EXPECT_EQ(NamesIn("C:\\TEMP").MakeTempName(NO_EXTENSION), "C:\\TEMP\\$$$nim.TMP");
  EXPECT_EQ(NamesIn("C:\\TEMP").MakeTempName(KEEP_EXTENSION), "C:\\TEMP\\$$$nim.TMP");
}

TEST(TemporaryNames, TakeTheHostsNameOnce) {
  struct Case {
    const char* hostName;
    ExtensionRequest request;
    const char* wanted;
    ExtensionRequest nextRequest;
    const char* wantedNext;
  };
  const Case cases[] = {
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
  };
  for (const Case& c : cases) {
    TemporaryNames names = NamesIn("C:\\TEMP");
    names.SetPendingName("D:\\replaced");
    names.SetPendingName(c.hostName);
    EXPECT_EQ(names.MakeTempName(c.request), c.wanted) << c.hostName;
    EXPECT_EQ(names.MakeTempName(c.nextRequest), c.wantedNext) << c.hostName;
  }
}

TEST(TemporaryNames, NeverMakeAPathThatIsTooLong) {
  TemporaryNames names = NamesIn("C:\\TEMP");
  EXPECT_THROW(names.SetPendingName(""), Failure);
  const std::string longest(519 - 4, 'n');

  names.SetPendingName(longest);
  EXPECT_THROW(names.SetPendingName(std::string(520, 'n')), Failure);
  EXPECT_EQ(names.MakeTempName(".txt"), longest + ".txt") << "the earlier name";
  EXPECT_THROW((void)names.MakeTempName(".html"), Failure);
  EXPECT_EQ(Listed(names), (std::vector{longest + ".txt"}));
  EXPECT_EQ(names.MakeTempName(".gif"), longest + ".gif");

  EXPECT_THROW((void)NamesIn(std::string(510, 'd')).MakeTempName(".txt"), Failure);
}

// Else it would turn up at a later file, which the host has not named.
TEST(TemporaryNames, RefusedNamesAreUsedUp) {
  const std::pair<std::string, ExtensionRequest> cases[] = {
      {std::string(519 - 4, 'n'), ".html"}, {"D:\\m", "./x"}, {"D:\\m", FileName{".."}}};
  for (const auto& [name, request] : cases) {
    TemporaryNames names = NamesIn("C:\\TEMP");
    names.SetPendingName(name);
    EXPECT_THROW((void)names.MakeTempName(request), Failure) << name;
    EXPECT_EQ(names.MakeTempName(FileName{"next"}), "C:\\TEMP\\next") << name;
  }
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

// A content type or file name comes from a mail, and chooses no directory.
TEST(TemporaryNames, RefuseExtensionsThatLeadElsewhere) {
  struct Case {
    std::string extension;
    bool isRefused;
  };
  const Case cases[] = {
      {".x\\..\\..\\..\\boot.ini", true},
      {"./../../x", true},
      {".DIR\\FILE", true},
      {".txt:stream", true},
      {{".a\0b", 4}, true},
      {"..", false},
      {".\x83\x5C", false},  // a character whose second byte is that of a separator
      {".\x83/x", true},     // no character
  };
  for (const Case& c : cases) {
    TemporaryNames names = NamesIn("C:\\TEMP");
    names.SetPendingName("D:\\out\\m.eml");
    try {
      (void)names.MakeTempName(c.extension);
      EXPECT_FALSE(c.isRefused) << c.extension;
    } catch (const Failure& failure) {
      EXPECT_TRUE(c.isRefused) << c.extension;
      EXPECT_EQ(failure.code(), RESULT_DATABASE);
    }
    EXPECT_EQ(names.tempFiles().size(), c.isRefused ? 0u : 1u) << c.extension;
    // Whatever the extension was, the host's name is used up and goes on with another one.
    if (c.isRefused) {
      EXPECT_EQ(names.MakeTempName(NO_EXTENSION), "D:\\out\\m.TMP") << c.extension;
    }
  }
}

// A file's own name stays within the directory, and the next file is not called after it.
TEST(TemporaryNames, OwnNamesStayInTheDirectory) {
  const struct {
    std::string name;
    const char* wanted;  // null: refused
  } cases[] = {
      {"KOYO01.LZH", "C:\\TEMP.D\\KOYO01.LZH"},
      {"README", "C:\\TEMP.D\\README"},
      {"\x83\x5C.XLS",
       "C:\\TEMP.D\\\x83\x5C.XLS"},  // a character whose second byte is a separator's
      {"..", nullptr},
      {"", nullptr},
      {"..\\boot.ini", nullptr},
      {"a/b", nullptr},
      {"C:", nullptr},
      {{"a\0b", 3}, nullptr},
  };
  for (const auto& c : cases) {
    TemporaryNames names = NamesIn("C:\\TEMP.D");
    EXPECT_EQ(names.MakeTempName(".gif"), "C:\\TEMP.D\\$$$nim.gif");
    try {
      EXPECT_EQ(names.MakeTempName(FileName{c.name}), c.wanted == nullptr ? "refused" : c.wanted);
      EXPECT_EQ(names.tempFiles().size(), 2u) << "removed in the end";
    } catch (const Failure& failure) {
      EXPECT_EQ(c.wanted, nullptr) << c.name;
      EXPECT_EQ(failure.code(), RESULT_DATABASE);
    }
    EXPECT_EQ(names.MakeTempName(".txt"), "C:\\TEMP.D\\$$$nim.txt");
  }
  TemporaryNames names = NamesIn("C:\\TEMP");
  names.SetPendingName("D:\\out\\m.eml");
  EXPECT_EQ(names.MakeTempName(FileName{"KOYO01.LZH"}), "D:\\out\\m.LZH")
      << "the host's goes first";
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
