// Mails that the store keeps in columns, and the files that come with them: bodies, attached files
// and sources through the exports.
#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

using StoredMails = MailTest;

TEST_F(StoredMails, AnswerByKindAndColumns) {
  using namespace std::string_literals;
  const std::string placeholder = "DEFAULT\0"s;
  const struct {
    std::vector<int> kinds;
    json columns;
    std::string body;    // "-2" and the like are codes
    std::string source;  // likewise
    std::int32_t attachedCount = 0;
  } cases[] = {
      {{17, 19, 23, 29, 30}, json::object(), placeholder, "\r\n", 1},
      {{21, 22, 24, 26, 27, 28},
       {{"TextData", "x\ny\r\nz\rw"}},
       "x\r\ny\r\nz\rw\0"s,
       "\r\nx\r\ny\r\nz\rw"},
      {{22}, {{"TextData", ""}}, placeholder, "\r\n"},
      // Without a text, which the table of kind 25 has for none, there is no header block either.
      {{22, 25}, json::object(), placeholder, ""},
      {{38}, {{"TextData", "a\n"}, {"ForwardText", "b\n"}}, "a\r\n\0"s, "a\r\nb\r\n"},
      {{38}, {{"ForwardText", "x\n"}}, placeholder, "\r\nx\r\n"},
      {{38}, {{"TextData", "a"}}, "a\0"s, "-3"},
      {{20}, {{"TextData", "S: x\n\nb"}}, "S: x\r\n\r\nb\0"s, "\r\nS: x\r\n\r\nb"},
      {{20}, {{"EmailMode", 2}, {"TextData", "x"}}, "x\0"s, "\r\nx"},
      // Whole mails.
      {{20}, {{"EmailMode", 1}, {"TextData", "S: x\n\nH\n"}}, "H\r\n", "S: x\r\n\r\nH\r\n"},
      {{20}, {{"EmailMode", 1}, {"TextData", "\n\nH"}}, "\r\nH", "\r\n\r\nH"},
      {{20}, {{"EmailMode", 1}, {"TextData", "S: x\n"}}, "-2", "S: x\r\n"},
      {{20}, {{"EmailMode", 1}, {"TextData", ""}}, "-2", ""},
      {{20}, {{"EmailMode", 1}}, placeholder, ""},
  };
  json mails = json::array();
  for (const auto& c : cases) {
    for (const int kind : c.kinds)
      mails.push_back(MailOf(kind, c.columns));
  }
  OpenFolder(mails);
  std::int32_t mail = 0;
  for (const auto& c : cases) {
    for (const int kind : c.kinds) {
      SCOPED_TRACE(std::to_string(kind) + c.columns.dump());
      EXPECT_EQ(BodyCount(mail), (NumberAnswer{RESULT_OK, 1}));
      for (const std::int32_t body : {0, 5, -1}) {
        const TextAnswer path = Body(mail, body);
        const bool isWritten = path.code == RESULT_OK;
        EXPECT_EQ(isWritten ? Contents(path) : std::to_string(path.code), c.body);
        EXPECT_TRUE(!isWritten || path.text.ends_with("\\$$$nim.txt")) << path;
      }
      EXPECT_EQ(AttachedCount(mail), (NumberAnswer{RESULT_OK, c.attachedCount}));
      EXPECT_EQ(Attached(mail, 0).code, RESULT_INVALID) << "no file is named, or none can be";
      const TextAnswer source = Source(mail);
      EXPECT_EQ(source.code == RESULT_OK ? source.text : std::to_string(source.code), c.source);
      ++mail;
    }
  }
  for (const std::int32_t none : {mail, -1}) {
    EXPECT_EQ(BodyCount(none), (NumberAnswer{RESULT_DATABASE, 77}));
    EXPECT_EQ(AttachedCount(none), (NumberAnswer{RESULT_DATABASE, 77}));
    EXPECT_EQ(Source(none).code, RESULT_DATABASE);
  }
}

// Mails of which nothing is known: bodies are counted without a look at the database.
TEST_F(StoredMails, WithoutARowHaveABodyThatCannotBeHad) {
  json mails = json::array();
  for (const int kind : {19, 24, 32, 33, 34, 39}) {
    mails.push_back(MailOf(kind));
    mails.back()["noFamilyRow"] = true;
  }
  OpenFolder(std::move(mails));
  for (std::int32_t mail = 0; mail < 6; ++mail) {
    EXPECT_EQ(BodyCount(mail).code, mail < 4 ? RESULT_OK : RESULT_INVALID) << mail;
    EXPECT_EQ(Body(mail, 0).code, RESULT_INVALID) << mail;
    EXPECT_EQ(AttachedCount(mail), (NumberAnswer{RESULT_INVALID, 77})) << mail;
    EXPECT_EQ(Attached(mail, 0).code, RESULT_INVALID) << mail;
  }
}

TEST_F(StoredMails, CopyStoredFiles) {
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
      for (const auto fault : {tests::FileOperation::OpenForReading, tests::FileOperation::Read}) {
        platform.faultyFiles.faults.FailNth(fault, 1);
        EXPECT_EQ(Attached(0, c.index).code, RESULT_DATABASE);
        platform.faultyFiles.faults.Clear();
      }
    }
  }
}

TEST_F(StoredMails, ForwardTheFirstReceivedFileWithTheirNumber) {
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
  const char* wanted[] = {"C:\\1.b", "C:\\1.b", "C:\\3.d", "C:\\0.a", "-3", "-3", "-3"};
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
        EXPECT_EQ(path.code == RESULT_OK ? Contents(path) : std::to_string(path.code), wanted[mail])
            << mail << LastReason();
      }
    }
    EXPECT_EQ(Attached(0, 1).code, RESULT_INVALID);
  }
}

TEST_F(StoredMails, HaveTheHeaderThatWasAskedForLast) {
  json received = MailOf(19, {{"OriginatorID", "QZA00001"}, {"OriginatorName", "Rin"}});
  OpenFolder(json::array({received, MailOf(22, {{"ToField", "QZB"}, {"TextData", "text"}}),
                          MailOf(20, {{"EmailMode", 1}, {"TextData", "Subject: other\n\n"}})}));
  for (const auto get : {ML_GetMailTo, ML_GetMailSubject})
    EXPECT_EQ(Text(get, 1).code, RESULT_OK);
  EXPECT_EQ(Text(ML_GetMailFrom, 0), (TextAnswer{RESULT_OK, "QZA00001 Rin"}));
  // Values from elsewhere than columns, and what stands for empty ones, are not remembered.
  EXPECT_EQ(Text(ML_GetMailSubject, 2), (TextAnswer{RESULT_OK, " other"}));
  EXPECT_EQ(Source(1),
            (TextAnswer{RESULT_OK, "From: QZA00001 Rin\r\nTo: QZB\r\nSubject: Title\r\n\r\ntext"}));
  // The message ID's fallback asks for the date, which is.
  const TextAnswer messageId = Text(ML_GetMailMessageID, 1);
  ASSERT_EQ(messageId.code, RESULT_OK);
  const std::string date = messageId.text.substr(std::string("DEFAULT").size());
  EXPECT_EQ(Source(0).text,
            "Date: " + date + "\r\nFrom: QZA00001 Rin\r\nTo: QZB\r\nSubject: Title\r\n\r\n");
  // An empty value takes an older one's place; one of blanks alone does not.
  EXPECT_EQ(Text(ML_GetMailTo, 0), (TextAnswer{RESULT_OK, "DEFAULT"}));
  EXPECT_EQ(Source(0).text, "Date: " + date + "\r\nFrom: QZA00001 Rin\r\nSubject: Title\r\n\r\n");
  CloseFolder();
  OpenFolder();
  EXPECT_EQ(Source(0).text, "\r\n");
}

}  // namespace
}  // namespace nimport::test
