// Attached files through the exports, with a MIME library that follows a script.
#include "plugin/contents/attached_mails.h"

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

class AttachedMails : public MailTest {
 protected:
  NumberAnswer Count(std::int32_t mail) { return Number(ML_GetAttachedMailCount, mail); }
};

TEST_F(AttachedMails, DependOnTheKind) {
  json mails = json::array();
  for (const int kind : {17, 19, 23, 29, 30, 20, 21, 22, 24, 25, 26, 27, 28, 38})
    mails.push_back(MailOf(kind));
  mails.push_back(MailOf(19));
  mails.back()["noFamilyRow"] = true;
  OpenFolder(mails);
  for (std::int32_t mail = 0; mail < 14; ++mail) {
    EXPECT_EQ(Count(mail), (NumberAnswer{RESULT_OK, mail < 5 ? 1 : 0})) << mails[mail]["kind"];
    // No file is named, or none can be.
    EXPECT_EQ(Attached(mail, 0).code, RESULT_INVALID) << mails[mail]["kind"];
  }
  EXPECT_EQ(Count(14), (NumberAnswer{RESULT_INVALID, 77})) << "a mail without a row";
  EXPECT_EQ(Attached(14, 0).code, RESULT_INVALID);
  EXPECT_EQ(Count(15), (NumberAnswer{RESULT_DATABASE, 77}));
}

TEST_F(AttachedMails, CopyStoredFiles) {
  struct Case {
    const char* path;
    const char* contents;  // null for a missing file
    std::int32_t index;
    ResultCode code;
    const char* extension;
  };
  const Case cases[] = {
      {"C:\\DATA\\REPORT.LZH", "abc", 0, RESULT_OK, ".LZH"},
      {"C:\\DATA\\REPORT.LZH", "abc", -1, RESULT_OK, ".LZH"},
      {"C:\\DATA\\REPORT.LZH", "abc", 1, RESULT_INVALID, ""},
      {"C:\\DATA\\noextension", "abc", 0, RESULT_OK, ".TMP"},
      {"C:\\DATA\\empty.txt", "", 0, RESULT_DATABASE, ""},
      {"C:\\DATA\\lost.txt", nullptr, 0, RESULT_INVALID, ""},
  };
  for (const Case& c : cases) {
    for (const int kind : {19, 23, 29, 30}) {
      json mail = MailOf(kind);
      mail["storedFile"] = {{"path", c.path}};
      if (c.contents != nullptr) mail["storedFile"]["contents"] = c.contents;
      OpenFolder(json::array({mail}));
      const TextAnswer path = Attached(0, c.index);
      EXPECT_EQ(path.code, c.code) << c.path;
      if (path.code != RESULT_OK) continue;
      EXPECT_TRUE(path.text.ends_with("\\$$$nim" + std::string(c.extension))) << path;
      EXPECT_EQ(Contents(path), c.contents);
    }
  }
}

TEST_F(AttachedMails, ReadFaultsAreTheFilesFault) {
  json mail = MailOf(19);
  mail["storedFile"] = {{"path", "C:\\f.txt"}, {"contents", "x"}};
  OpenFolder(json::array({mail}));
  EXPECT_EQ(Attached(0, 0).code, RESULT_OK);
  for (const auto operation : {tests::FileOperation::OpenForReading, tests::FileOperation::Read}) {
    platform.faultyFiles.faults.FailNth(operation, 1);
    EXPECT_EQ(Attached(0, 0).code, RESULT_DATABASE);
    platform.faultyFiles.faults.Clear();
  }
}

TEST_F(AttachedMails, OfForwardedMailsAreTheFirstReceivedFileWithTheirNumber) {
  const auto received = [](const char* mailId, const char* path) {
    json mail = MailOf(19, {{"MailID", mailId}});
    mail["storedFile"] = {{"path", path}, {"contents", path}};
    return mail;
  };
  const auto forwarded = [](json mailId) { return MailOf(17, {{"MailID", std::move(mailId)}}); };
  json store = StoreWithMails({forwarded("AB12"), forwarded("AB"), forwarded("AB123"),
                               forwarded(""), forwarded("B"), forwarded("ab12"), forwarded(nullptr),
                               received("XAB12", "C:\\0.a"), received("AB12-7", "C:\\1.b"),
                               received("AB12", "C:\\2.c"), received("AB123", "C:\\3.d")});
  const std::pair<ResultCode, const char*> wanted[] = {
      {RESULT_OK, "C:\\1.b"}, {RESULT_OK, "C:\\1.b"}, {RESULT_OK, "C:\\3.d"},
      {RESULT_OK, "C:\\0.a"}, {RESULT_INVALID, ""},   {RESULT_INVALID, ""},
      {RESULT_INVALID, ""}};
  // No more columns are needed than these.
  const json fewColumns = {{"columns", {"EmRcvBin.MailID", "EmRcvBin.RcvFilePath"}},
                           {"from", {"EmRcvBin"}}};
  for (const bool hasAllColumns : {true, false}) {
    if (!hasAllColumns) store["queries"]["EmRcvBinｸｴﾘｰ"] = fewColumns;
    store_ = UseStore(store);
    OpenFolder();
    // The second time an index knows.
    for (int round = 0; round < 2; ++round) {
      for (std::int32_t mail = 0; mail < 7; ++mail) {
        const TextAnswer path = Attached(mail, 0);
        EXPECT_EQ(path.code, wanted[mail].first) << mail << LastReason();
        if (path.code == RESULT_OK) {
          EXPECT_EQ(Contents(path), wanted[mail].second) << mail;
        }
      }
    }
    EXPECT_EQ(Attached(0, 1).code, RESULT_INVALID);
  }
}

TEST_F(AttachedMails, OfMimeMailsAreCountedByTheLibraryAndByTheTopContentType) {
  struct Case {
    const char* text;
    NumberAnswer wanted;
    const char* why;
  };
  const Case cases[] = {
      {"Content-Type: text/plain\r\n\r\nx", {RESULT_OK, 0}, "none"},
      {"Subject: x\r\n\r\nno type", {RESULT_INVALID, 77}, "no content type at all"},
      {"", {RESULT_INVALID, 77}, "an empty file"},
      {"Content-Type: application/pkcs7-mime; name=\"s.p7m\"\r\n\r\nx",
       {RESULT_OK, 1},
       "container"},
      {"content-type:application/x-pkcs7-mime\n\nx", {RESULT_OK, 1}, "letter case of the name"},
      {"Content-Type: application/pkcs10\r\n\r\nx", {RESULT_OK, 1}, "certificate request"},
      {"Content-Type: Application/PKCS7-MIME\r\n\r\nx", {RESULT_OK, 0}, "letter case of the type"},
      {"Content-Type:\r\n application/pkcs7-mime\r\n\r\nx", {RESULT_OK, 0}, "folded"},
      {"X: y\r\n\r\nContent-Type: application/pkcs7-mime", {RESULT_OK, 1}, "in the body"},
      {"Content-Type : application/pkcs10\r\n\r\nx", {RESULT_INVALID, 77}, "a blank too many"},
  };
  for (const Case& c : cases) {
    for (const int kind : {32, 33, 34, 39}) {
      OpenMimeMails({c.text}, kind);
      EXPECT_EQ(Count(0), c.wanted) << c.why;
    }
  }
  OpenMimeMails({"no type"});
  wexmail->attachments = {{"a/b", "", ""}, {"a/b", "", ""}};
  EXPECT_EQ(Count(0), (NumberAnswer{RESULT_OK, 2})) << "nothing else is looked at";
  for (const auto& [parsed, wanted] :
       {std::pair(0, NumberAnswer{RESULT_OK, 77}), std::pair(-5, NumberAnswer{-5, 77}),
        std::pair(2, NumberAnswer{2, 77})}) {
    OpenMimeMails({"x"});
    wexmail->parseResult = parsed;
    EXPECT_EQ(Count(0), wanted);
    EXPECT_EQ(Attached(0, 0).code, RESULT_INVALID);
  }
}

TEST_F(AttachedMails, ContainersAreEmptyFilesWithAnExtension) {
  struct Case {
    const char* lines;  // after the type
    ResultCode code;
    const char* extension;
  };
  const Case cases[] = {
      {"; name=\"smime.p7m\"\r\n\r\nx", RESULT_OK, ".p7m"},
      {";\r\n\tname=\"smime.p7m\"\r\n\r\nx", RESULT_OK, ".p7m"},
      {"; name=\"a.b.c\"\r\n\r\n", RESULT_OK, ".b.c"},
      {"; name=x.y; filename=\"z\"\r\n", RESULT_OK, ".y; filename="},
      {"; name=smime.p7m\r\n\r\n\"x", RESULT_INVALID, ""},
      {"; name=\"smime\"\r\n\r\nno dot", RESULT_INVALID, ""},
      {"; name=smime.p7m", RESULT_INVALID, ""},
      {"\r\n\r\nx", RESULT_INVALID, ""},
      {"; name=\"x./../../evil\"\r\n", RESULT_DATABASE, ""},
  };
  for (const Case& c : cases) {
    OpenMimeMails({"Content-Type: application/pkcs7-mime" + std::string(c.lines)});
    wexmail->parseResult = 0;  // is not asked
    for (const std::int32_t index : {0, 7, -1}) {
      const TextAnswer path = Attached(0, index);
      EXPECT_EQ(path.code, c.code) << c.lines;
      if (path.code != RESULT_OK) continue;
      EXPECT_TRUE(path.text.ends_with(c.extension)) << path;
      EXPECT_EQ(Contents(path), "");
    }
    EXPECT_EQ(wexmail->parseCalls, 0);
  }
}

TEST_F(AttachedMails, AreTakenFromTheLibraryOneByOne) {
  OpenMimeMails({"Content-Type: a/b\r\n\r\n", "no content type"});
  wexmail->attachments = {{"application/pdf", "report.pdf", std::string("a\0b", 3)},
                          {"image/gif", "logo.gif", "GIF"},
                          {"application/pkcs7-signature; name=x", "smime.p7s", "secret"},
                          {"application/PKCS7-signature", "y.p7s", "not one"},
                          {"text/plain", "empty.txt", ""},
                          {"text/plain", "no extension", "x"}};
  const std::pair<const char*, std::string> wanted[] = {{".pdf", {"a\0b", 3}}, {".gif", "GIF"},
                                                        {".p7s", ""},          {".p7s", "not one"},
                                                        {".txt", ""},          {".TMP", "x"}};
  for (std::int32_t i = 0; i < 6; ++i) {
    const TextAnswer path = Attached(0, i);
    EXPECT_TRUE(path.text.ends_with(wanted[i].first)) << i << path;
    EXPECT_EQ(Contents(path), wanted[i].second) << i;
  }
  EXPECT_EQ(Attached(0, 6).code, RESULT_DATABASE);
  EXPECT_EQ(Attached(0, -1).code, RESULT_DATABASE);
  EXPECT_EQ(Attached(1, 0).code, RESULT_INVALID) << "the text must have a content type";
  wexmail->claimedCount = 0;
  EXPECT_EQ(Attached(0, 0).code, RESULT_DATABASE);
  wexmail->claimedCount = -3;
  EXPECT_EQ(Attached(0, 0).code, RESULT_DATABASE);
}

}  // namespace
}  // namespace nimport::test
