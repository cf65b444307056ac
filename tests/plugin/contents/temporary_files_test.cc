// Where files are written, and what becomes of it when they cannot be: through the exports, with a
// MIME library that follows a script.
#include "plugin/contents/temporary_files.h"

#include <functional>
#include <set>

#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include "common/file_watch.h"
#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using tests::FileOperation;

json StoredFileOf(const char* path, json columns = json::object()) {
  json mail = MailOf(19, std::move(columns));
  mail["storedFile"] = {{"path", path}, {"contents", "stored"}};
  return mail;
}

json MimeMailOf(const std::string& text) {
  json mail = MailOf(34);
  mail["mime"] = {{"file", "m.eml"}, {"text", text}};
  return mail;
}

// Every place where files could be meant to go: the drive, the current directory, temporary files.
class NamesThatAttack : public MailTest {
 protected:
  NamesThatAttack() : workBefore_(fs::current_path()) {
    fs::create_directories(directory.path() / "home/work");
    directory.Write("home/evil", "untouched");
    directory.Write("evil", "untouched");
    fs::current_path(directory.path() / "home/work");
  }
  ~NamesThatAttack() override { fs::current_path(workBefore_); }

  // What was touched below the test's directory but for temporary files.
  static std::set<std::string> TouchedElsewhere(tests::FileWatch& watch) {
    std::set<std::string> touched = watch.Touched();
    std::erase_if(touched, [](const std::string& name) { return name.starts_with("tmp/"); });
    return touched;
  }

  void ExpectNothingElsewhere(const std::string& what, const std::function<void()>& act) {
    tests::FileWatch watch(directory.path());
    act();
    EXPECT_EQ(TouchedElsewhere(watch), std::set<std::string>()) << what;
  }

 private:
  fs::path workBefore_;
};

TEST_F(NamesThatAttack, AttachmentsStayInTheirPlace) {
  struct Case {
    std::string name;
    ResultCode code;
    const char* extension;  // of the file that is written
  };
  const Case cases[] = {
      {"..\\..\\evil.exe", RESULT_OK, ".exe"},
      {"C:\\evil.txt", RESULT_OK, ".txt"},
      {"/../../evil", RESULT_DATABASE, ""},
      {"x.\\..\\..\\evil", RESULT_DATABASE, ""},
      {"x./../../evil", RESULT_DATABASE, ""},
      {"x.txt:stream", RESULT_DATABASE, ""},
      {"...", RESULT_OK, "."},
      {"..", RESULT_OK, "."},
      {"NUL", RESULT_OK, ".TMP"},
      {"x.NUL", RESULT_OK, ".NUL"},
      {{"x.a\0/../../evil", 16}, RESULT_OK, ".a"},
      {"x.\x83\x5C", RESULT_OK, ".\x83\x5C"},
      {"x.\x83/../evil", RESULT_DATABASE, ""},
      {"x.\x83", RESULT_DATABASE, ""},
      {"x." + std::string(300, 'e'), RESULT_DATABASE, ""},
      {"x." + std::string(510, 'e'), RESULT_INVALID, ""},
      {"x." + std::string(5000, 'e'), RESULT_OK, ".TMP"},
      {"", RESULT_OK, ".TMP"},
  };
  OpenFolder(json::array({MimeMailOf("Content-Type: a/b\r\n\r\n")}));
  for (const Case& c : cases) {
    wexmail->attachments = {{"application/octet-stream", c.name, "attached"},
                            {"application/octet-stream", "y.txt", "next"}};
    OpenFolder();
    ExpectNothingElsewhere(c.name, [&] {
      const TextAnswer path = Attached(0, 0);
      EXPECT_EQ(path.code, c.code) << c.name;
      if (path.code == RESULT_OK) {
        EXPECT_TRUE(path.text.ends_with("\\$$$nim" + std::string(c.extension))) << path;
        EXPECT_EQ(Contents(path), "attached") << c.name;
      }
      // The next file goes where it always goes.
      const TextAnswer next = Attached(0, 1);
      EXPECT_TRUE(next.text.ends_with("\\$$$nim.txt")) << c.name << ": " << next;
      CloseFolder();
    });
  }
}

TEST_F(NamesThatAttack, ContentTypesStayInTheirPlace) {
  const std::pair<std::string, ResultCode> cases[] = {
      {"text/../../../evil", RESULT_DATABASE},
      {"text/x\\..\\..\\..\\evil", RESULT_DATABASE},
      {"text/x:y", RESULT_DATABASE},
      {"text/..", RESULT_OK},
      {"text/NUL", RESULT_OK},
      {{"text/x\0/../../evil", 18}, RESULT_OK},
      {"text/" + std::string(258, 'x'), RESULT_DATABASE},
      {"text/" + std::string(259, 'x'), RESULT_INVALID},
      {"no slash", RESULT_INVALID},
  };
  OpenFolder(json::array({MimeMailOf("x")}));
  for (const auto& [type, code] : cases) {
    wexmail->mains = {{type, "", "body"}};
    OpenFolder();
    ASSERT_EQ(Number(ML_GetMailBodyCount, 0).value, 1);
    ExpectNothingElsewhere(type, [&] {
      EXPECT_EQ(Body(0, 0).code, code) << type;
      CloseFolder();
    });
  }
  const std::string bitmap = "image/bmp/../../../evil";
  OpenFolder(json::array(
      {MimeMailOf("Content-Type: multipart/related; boundary=\"b\"\r\n\r\n--b\r\nContent-Type: " +
                  bitmap + "\r\n\r\nx\r\n--b--\r\n")}));
  wexmail->mains.clear();
  wexmail->parts = {{bitmap, "", "picture"}};
  EXPECT_EQ(Number(ML_GetMailBodyCount, 0), (NumberAnswer{RESULT_OK, 1}));
  ExpectNothingElsewhere(bitmap, [&] {
    EXPECT_EQ(Body(0, 0).code, RESULT_DATABASE);
    CloseFolder();
  });
}

TEST_F(NamesThatAttack, StoredPathsAreReadAndNotWritten) {
  struct Case {
    std::string path;
    std::u16string hostName;  // empty for none
    ResultCode code;
  };
  const Case cases[] = {
      {"C:\\OLD.DIR\\FILE", u"", RESULT_DATABASE},
      // The copy would be the file itself, and be deleted at the end.
      {"C:\\OLD.DIR\\FILE", u"C:\\OLD.eml", RESULT_DATABASE},
      {"C:\\OLD.DIR\\..\\OLD.DIR\\FILE", u"", RESULT_DATABASE},
      {"C:\\..\\home\\evil", u"", RESULT_INVALID},
      {"C:evil", u"", RESULT_INVALID},
      {"NUL", u"", RESULT_INVALID},
      {"\\\\server\\share\\evil", u"", RESULT_INVALID},
      {"C:\\OLD.DIR", u"", RESULT_DATABASE},
      {"..", u"", RESULT_INVALID},
      {"", u"", RESULT_INVALID},
  };
  for (const Case& c : cases) {
    json mail = MailOf(19, {{"RcvFilePath", c.path}});
    json description = json::array({mail, StoredFileOf("C:\\OLD.DIR\\FILE")});
    OpenFolder(std::move(description));
    ExpectNothingElsewhere(c.path, [&] {
      if (!c.hostName.empty()) {
        EXPECT_EQ(NameNextFile(c.hostName), RESULT_OK);
      }
      EXPECT_EQ(Attached(0, 0).code, c.code) << c.path;
      CloseFolder();
    });
  }
}

TEST_F(NamesThatAttack, HostsNamesLeadWhereTheySayOrNowhere) {
  struct Case {
    std::u16string name;
    ResultCode code;      // of the body's path
    const char* written;  // the file below the test's directory; empty for none
  };
  const std::u16string japanese = u"C:\\NIFTY\\\u30BD\u8868.eml";
  const Case cases[] = {
      {u"C:\\NIFTY\\mine.eml", RESULT_OK, "1/c/NIFTY/mine.txt"},
      {u"C:\\NIFTY\\Data\\..\\mine.eml", RESULT_OK, "1/c/NIFTY/mine.txt"},
      {u"C:\\NIFTY\\Data\\..\\mine", RESULT_OK, "1/c/NIFTY/Data/..txt"},
      {japanese, RESULT_OK, "1/c/NIFTY/\u30BD\u8868.txt"},
      // Letters with their marks apart.
      {u"C:\\NIFTY\\\u304B\u3099\u30CF\u309A\u30A6\u3099A\u030A\u0438\u0306.eml", RESULT_OK,
       "1/c/NIFTY/\u304C\u30D1\u30F4\u212B\u0439.txt"},
      {u"mine", RESULT_OK, "home/work/mine.txt"},
      {u"..", RESULT_OK, "home/work/..txt"},
      {u"C:\\NIFTY\\..", RESULT_OK, "1/c/NIFTY/..txt"},
      {u"C:\\..\\..\\evil.x", RESULT_DATABASE, ""},
      {u"C:mine", RESULT_DATABASE, ""},
      {u"C:\\NIFTY\\a:b", RESULT_DATABASE, ""},
      {u"C:\\NIFTY\\NUL.eml", RESULT_DATABASE, ""},
      {u"com1", RESULT_DATABASE, ""},
      {u"\\\\server\\share\\x", RESULT_DATABASE, ""},
      {u"C:\\missing\\x", RESULT_DATABASE, ""},
      {u"Q:\\x", RESULT_DATABASE, ""},
      {u"C:\\NIFTY", RESULT_OK, "1/c/NIFTY.txt"},
      {u"C:\\NIFTY\\", RESULT_OK, "1/c/NIFTY/.txt"},
      {u"C:\\" + std::u16string(300, u'x'), RESULT_DATABASE, ""},
      {std::u16string(516, u'x'), RESULT_INVALID, ""},
  };
  OpenFolder(json::array({MailOf(22, {{"TextData", "text"}})}));
  for (const Case& c : cases) {
    OpenFolder();
    tests::FileWatch watch(directory.path());
    ASSERT_EQ(NameNextFile(c.name), RESULT_OK);
    const TextAnswer path = Body(0, 0);
    EXPECT_EQ(path.code, c.code) << std::string(c.name.begin(), c.name.end());
    if (path.code == RESULT_OK) {
      EXPECT_EQ(Contents(path), std::string("text\0", 5));
      EXPECT_TRUE(fs::exists(directory.path() / c.written)) << path;
    }
    CloseFolder();
    std::set<std::string> wanted;
    if (*c.written != '\0') wanted.insert(c.written);
    EXPECT_EQ(TouchedElsewhere(watch), wanted) << path;
    EXPECT_FALSE(*c.written != '\0' && fs::exists(directory.path() / c.written)) << path;
  }
  OpenFolder();
  EXPECT_EQ(NameNextFile(u""), RESULT_INVALID);
  EXPECT_EQ(NameNextFile(std::u16string(520, u'x')), RESULT_INVALID);
  EXPECT_EQ(NameNextFile(std::u16string(260, u'\u65E5')), RESULT_INVALID);
}

// One mail for each way to write a file.
class Writers : public MailTest {
 protected:
  struct Case {
    const char* what;
    std::int32_t mail;
    bool isAttached;  // a body otherwise
    std::int32_t index;
    ResultCode incompleteCode;
  };
  static constexpr Case CASES[] = {
      {"placeholder of a stored file", 0, false, 0, RESULT_DATABASE},
      {"copy of a stored file", 0, true, 0, RESULT_DATABASE},
      {"copy of a linked file", 1, true, 0, RESULT_DATABASE},
      {"text", 2, false, 0, RESULT_DATABASE},
      {"placeholder of a missing text", 3, false, 0, RESULT_INVALID},
      {"body of a whole mail", 4, false, 0, RESULT_DATABASE},
      {"placeholder of a missing whole mail", 5, false, 0, RESULT_INVALID},
      {"main part", 6, false, 0, RESULT_INVALID},
      {"placeholder of a container", 6, false, 1, RESULT_DATABASE},
      {"related part", 6, false, 2, RESULT_DATABASE},
      {"attachment", 6, true, 0, RESULT_INVALID},
  };

  void SetUp() override {
    OpenFolder(json::array(
        {StoredFileOf("C:\\NIFTY\\stored.lzh", {{"MailID", "AB1"}}), MailOf(17, {{"MailID", "AB"}}),
         MailOf(22, {{"TextData", "some text"}}), MailOf(22),
         MailOf(20, {{"EmailMode", 1}, {"TextData", "Subject: x\n\nthe body"}}),
         MailOf(20, {{"EmailMode", 1}}),
         MimeMailOf("Content-Type: multipart/related; boundary=\"b\"\r\n\r\n--b\r\n"
                    "Content-Type: image/gif\r\n\r\nx\r\n--b--\r\n")}));
    wexmail->mains = {{"text/html", "", "main part"}, {"application/pkcs7-mime", "", "secret"}};
    wexmail->parts = {{"image/gif", "", "a picture"}};
    wexmail->attachments = {{"image/png", "a.png", "attachment"}};
    ASSERT_EQ(Number(ML_GetMailBodyCount, 6), (NumberAnswer{RESULT_OK, 3}));
  }

  TextAnswer Write(const Case& c) {
    return c.isAttached ? Attached(c.mail, c.index) : Body(c.mail, c.index);
  }

  // Every writer answers `code`, or its own for an incomplete file where there is none, and works
  // again once `repair` has been called; `breakIt` is called before each.
  void ExpectFailures(std::optional<ResultCode> code, const std::function<void()>& breakIt,
                      const std::function<void()>& repair) {
    for (const Case& c : CASES) {
      EXPECT_EQ(Write(c).code, RESULT_OK) << c.what << ": " << LastReason();
      const std::size_t handles = CountHandles();
      const int allocations = wexmail->liveAllocations;
      breakIt();
      const TextAnswer answer = Write(c);
      repair();
      EXPECT_EQ(answer.code, code.value_or(c.incompleteCode)) << c.what << ": " << LastReason();
      EXPECT_EQ(CountHandles(), handles) << c.what;
      EXPECT_EQ(wexmail->liveAllocations, allocations) << c.what;
    }
  }
};

TEST_F(Writers, AnswerTheirCodesForInjectedFaults) {
  tests::FileFaults& faults = platform.faultyFiles.faults;
  const auto repair = [&] { faults.Clear(); };
  ExpectFailures(
      RESULT_DATABASE, [&] { faults.FailAlways(FileOperation::OpenForWriting); }, repair);
  ExpectFailures(
      std::nullopt, [&] { faults.FailAlways(FileOperation::Write); }, repair);
  ExpectFailures(
      std::nullopt, [&] { faults.FailAlways(FileOperation::Close); }, repair);
}

TEST_F(Writers, AnswerTheirCodesWhenFilesMayNotGrow) {
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  ExpectFailures(
      std::nullopt,
      [&] {
        const rlimit small{.rlim_cur = 4, .rlim_max = before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
      },
      [&] { setrlimit(RLIMIT_FSIZE, &before); });
}

TEST_F(Writers, AnswerTheirCodesWhenTheDiskIsFull) {
  const fs::path disk = directory.path() / "disk";
  fs::create_directory(disk);
  if (mount("none", disk.c_str(), "tmpfs", 0, "size=8k") != 0) GTEST_SKIP() << "cannot mount";
  platform.settings["TMPDIR"] = disk;
  OpenFolder();
  EXPECT_EQ(Number(ML_GetMailBodyCount, 6), (NumberAnswer{RESULT_OK, 3}));
  const std::string filler = disk / "filler";
  ExpectFailures(
      std::nullopt,
      [&] {
        // The files that are there are emptied before they are written: take what they give back.
        for (const auto& entry : fs::recursive_directory_iterator(disk)) {
          if (entry.is_regular_file()) fs::resize_file(entry.path(), 0);
        }
        std::ofstream(filler) << std::string(16384, 'x') << std::flush;
      },
      [&] { fs::remove(filler); });
  CloseFolder();
  EXPECT_EQ(umount(disk.c_str()), 0);
}

TEST_F(Writers, CannotOpenFilesInADirectoryThatIsGone) {
  const TextAnswer path = Body(2, 0);
  const fs::path native = NativePath(path.text);
  const fs::path place = native.parent_path();
  const fs::path aside = directory.path() / "aside";
  ExpectFailures(
      RESULT_DATABASE, [&] { fs::rename(place, aside); }, [&] { fs::rename(aside, place); });
  ExpectFailures(
      RESULT_DATABASE,
      [&] {
        fs::rename(place, aside);
        directory.Write(fs::relative(place, directory.path()), "a file in its place");
      },
      [&] {
        fs::remove(place);
        fs::rename(aside, place);
      });
  if (geteuid() == 0) return;  // who may write everywhere
  fs::remove(native);
  ExpectFailures(
      RESULT_DATABASE,
      [&] {
        for (const auto& entry : fs::directory_iterator(place))
          fs::remove(entry);
        fs::permissions(place, fs::perms::owner_read | fs::perms::owner_exec);
      },
      [&] { fs::permissions(place, fs::perms::owner_all); });
}

TEST_F(Writers, CannotOpenFilesWithoutADirectory) {
  OpenFolder();
  ASSERT_EQ(Number(ML_GetMailBodyCount, 6), (NumberAnswer{RESULT_OK, 3}));
  EXPECT_TRUE(fs::is_empty(directory.path() / "tmp")) << "none is needed yet";
  platform.faultyFiles.faults.FailAlways(FileOperation::Temporary);
  for (const Case& c : CASES) {
    EXPECT_EQ(Write(c).code, RESULT_DATABASE) << c.what;
    EXPECT_NE(LastReason().find("temporary directory: injected"), std::string::npos) << c.what;
  }
  platform.faultyFiles.faults.Clear();
  EXPECT_EQ(Write(CASES[0]).code, RESULT_OK);
}

TEST_F(Writers, RememberFilesThatWereBegunAndDeleteThem) {
  ASSERT_EQ(NameNextFile(u"C:\\NIFTY\\begun.eml"), RESULT_OK);
  platform.faultyFiles.faults.FailNth(FileOperation::Write, 1);
  EXPECT_EQ(Body(2, 0).code, RESULT_DATABASE);
  const fs::path begun = store_.driveC / "NIFTY/begun.txt";
  EXPECT_TRUE(fs::exists(begun));
  EXPECT_EQ(Body(6, 0).text, "C:\\NIFTY\\begun.html") << "its name serves on";
  // A call that fails before it needs a name leaves the name for the next one.
  ASSERT_EQ(NameNextFile(u"C:\\NIFTY\\kept.eml"), RESULT_OK);
  EXPECT_EQ(Attached(2, 0).code, RESULT_INVALID);
  EXPECT_EQ(Body(2, 0).text, "C:\\NIFTY\\kept.txt");
  CloseFolder();
  EXPECT_FALSE(fs::exists(begun));
  EXPECT_FALSE(fs::exists(store_.driveC / "NIFTY/kept.txt"));
}

}  // namespace
}  // namespace nimport::test
