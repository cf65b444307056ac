// Where files are written, and what becomes of it when they cannot be: through the exports, with a
// MIME library that follows a script.
#include "plugin/contents/temporary_files.h"

#include <functional>
#include <set>

#include <sys/resource.h>

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

enum class NameOf { Attachment, MainPart, RelatedPart, StoredFile };

struct AttackCase {
  NameOf what;
  std::string name;  // a file's name, a content type or a stored path
  ResultCode code;
  const char* extension = "";  // of an attachment's file that is written
  std::u16string hostName = u"";
};

const AttackCase ATTACKS[] = {
    {NameOf::Attachment, "..\\..\\evil.exe", RESULT_OK, ".exe"},
    {NameOf::Attachment, "C:\\evil.txt", RESULT_OK, ".txt"},
    {NameOf::Attachment, "x.\\..\\..\\evil", RESULT_DATABASE},
    {NameOf::Attachment, "x./../../evil", RESULT_DATABASE},
    {NameOf::Attachment, "x.txt:stream", RESULT_DATABASE},
    {NameOf::Attachment, "...", RESULT_OK, "."},
    {NameOf::Attachment, "NUL", RESULT_OK, ".TMP"},
    {NameOf::Attachment, "x.NUL", RESULT_OK, ".NUL"},
    {NameOf::Attachment, {"x.a\0/../../evil", 16}, RESULT_OK, ".a"},
    {NameOf::Attachment, "x.\x83\x5C", RESULT_OK, ".\x83\x5C"},
    {NameOf::Attachment, "x.\x83/../evil", RESULT_DATABASE},
    {NameOf::Attachment, "x." + std::string(300, 'e'), RESULT_DATABASE},
    {NameOf::Attachment, "x." + std::string(510, 'e'), RESULT_INVALID},
    {NameOf::Attachment, "x." + std::string(5000, 'e'), RESULT_OK, ".TMP"},
    {NameOf::Attachment, "", RESULT_OK, ".TMP"},
    {NameOf::MainPart, "text/../../../evil", RESULT_DATABASE},
    {NameOf::MainPart, "text/x\\..\\..\\..\\evil", RESULT_DATABASE},
    {NameOf::MainPart, "text/x:y", RESULT_DATABASE},
    {NameOf::MainPart, "text/..", RESULT_OK},
    {NameOf::MainPart, "text/NUL", RESULT_OK},
    {NameOf::MainPart, {"text/x\0/../../evil", 18}, RESULT_OK},
    {NameOf::MainPart, "text/" + std::string(258, 'x'), RESULT_DATABASE},
    {NameOf::MainPart, "text/" + std::string(259, 'x'), RESULT_INVALID},
    {NameOf::MainPart, "no slash", RESULT_INVALID},
    {NameOf::RelatedPart, "image/bmp/../../../evil", RESULT_DATABASE},
    {NameOf::StoredFile, "C:\\OLD.DIR\\FILE", RESULT_DATABASE},
    // The copy would be the file itself, and be deleted at the end.
    {NameOf::StoredFile, "C:\\OLD.DIR\\FILE", RESULT_DATABASE, "", u"C:\\OLD.eml"},
    {NameOf::StoredFile, "C:\\OLD.DIR\\..\\OLD.DIR\\FILE", RESULT_DATABASE},
    {NameOf::StoredFile, "C:\\..\\home\\evil", RESULT_INVALID},
    {NameOf::StoredFile, "C:evil", RESULT_INVALID},
    {NameOf::StoredFile, "NUL", RESULT_INVALID},
    {NameOf::StoredFile, "\\\\server\\share\\evil", RESULT_INVALID},
    {NameOf::StoredFile, "C:\\OLD.DIR", RESULT_DATABASE},
    {NameOf::StoredFile, "..", RESULT_INVALID},
    {NameOf::StoredFile, "", RESULT_INVALID},
};

TEST_F(NamesThatAttack, StayInTheirPlace) {
  for (const AttackCase& c : ATTACKS) {
    json mails = json::array({MimeMailOf(
        "Content-Type: multipart/related; boundary=\"b\"\r\n\r\n--b\r\n"
        "Content-Type: " +
        (c.what == NameOf::RelatedPart ? c.name : "text/html") + "\r\n\r\nx\r\n--b--\r\n")});
    if (c.what == NameOf::StoredFile) {
      mails =
          json::array({MailOf(19, {{"RcvFilePath", c.name}}), StoredFileOf("C:\\OLD.DIR\\FILE")});
    }
    wexmail->attachments = {{"application/octet-stream", c.name, "attached"},
                            {"application/octet-stream", "y.txt", "next"}};
    wexmail->parts = {{c.name, "", "picture"}};
    wexmail->mains.clear();
    if (c.what == NameOf::MainPart) wexmail->mains = {{c.name, "", "body"}};
    OpenFolder(std::move(mails));
    const bool isBody = c.what == NameOf::MainPart || c.what == NameOf::RelatedPart;
    if (isBody) {
      EXPECT_EQ(BodyCount(0), (NumberAnswer{RESULT_OK, 1}));
    }
    ExpectNothingElsewhere(c.name, [&] {
      if (!c.hostName.empty()) {
        EXPECT_EQ(NameNextFile(c.hostName), RESULT_OK);
      }
      const TextAnswer path = isBody ? Body(0, 0) : Attached(0, 0);
      EXPECT_EQ(path.code, c.code) << c.name;
      if (c.what == NameOf::Attachment) {
        EXPECT_TRUE(path.code != RESULT_OK ||
                    path.text.ends_with("\\$$$nim" + std::string(c.extension)))
            << path;
        // The next file goes where it always goes.
        const TextAnswer next = Attached(0, 1);
        EXPECT_TRUE(next.text.ends_with("\\$$$nim.txt")) << c.name << ": " << next;
      }
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
    ASSERT_EQ(BodyCount(6), (NumberAnswer{RESULT_OK, 3}));
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

TEST_F(Writers, AnswerTheirCodesForEveryFault) {
  tests::FileFaults& faults = platform.faultyFiles.faults;
  const auto clear = [&] { faults.Clear(); };
  const auto always = [&](FileOperation operation) {
    return [&faults, operation] { faults.FailAlways(operation); };
  };
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const fs::path place = fs::path(NativePath(Body(2, 0).text)).parent_path();
  const fs::path aside = directory.path() / "aside";
  const auto takeAway = [&] { fs::rename(place, aside); };
  const auto putBack = [&] { fs::rename(aside, place); };
  ExpectFailures(RESULT_DATABASE, always(FileOperation::OpenForWriting), clear);
  ExpectFailures(std::nullopt, always(FileOperation::Write), clear);
  ExpectFailures(std::nullopt, always(FileOperation::Close), clear);
  ExpectFailures(
      std::nullopt,
      [&] {
        const rlimit small{.rlim_cur = 4, .rlim_max = before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
      },
      [&] { setrlimit(RLIMIT_FSIZE, &before); });
  ExpectFailures(RESULT_DATABASE, takeAway, putBack);
  ExpectFailures(
      RESULT_DATABASE,
      [&] {
        takeAway();
        directory.Write(fs::relative(place, directory.path()), "a file in its place");
      },
      [&] {
        fs::remove(place);
        putBack();
      });
}

TEST_F(Writers, CannotOpenFilesWithoutADirectory) {
  OpenFolder();
  platform.faultyFiles.faults.FailAlways(FileOperation::Temporary);
  EXPECT_EQ(Body(2, 0).code, RESULT_DATABASE);
  EXPECT_NE(LastReason().find("temporary directory: injected"), std::string::npos);
  platform.faultyFiles.faults.Clear();
  EXPECT_TRUE(fs::is_empty(directory.path() / "tmp")) << "none was needed before";
  EXPECT_EQ(Body(2, 0).code, RESULT_OK);
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
