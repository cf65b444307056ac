// Header fields and dates through the exports, with a MIME library that follows a script, and which
// questions read and parse a mail's MIME file.
#include <chrono>
#include <thread>

#include "common/utc_clock.h"
#include "plugin/mail_fixture.h"
#include "plugin/mails/header_summary.h"

namespace nimport::test {
namespace {

using nlohmann::json;

class HeaderSummary : public MailTest {};

// The columns of a mail of kind 20 whose text is a whole mail.
json Whole(const char* text) {
  return {{"EmailMode", 1}, {"TextData", text}};
}

TEST_F(HeaderSummary, OfMailsInColumns) {
  const std::string LONGEST(4094, 'x');
  const json names = {{"OriginatorID", "ABC01234"}, {"OriginatorName", "Taro"}};
  const json noName = {{"OriginatorID", "ABC01234"}};
  const json noId = {{"OriginatorName", "Taro"}};
  const json blanks = {{"OriginatorID", " "}, {"OriginatorName", "  "}};
  const struct {
    int kind;
    json columns;
    MailTest::TextExport* get;
    TextAnswer wanted;
  } cases[] = {
      {19, names, ML_GetMailFrom, {RESULT_OK, "ABC01234 Taro"}},
      {21, names, ML_GetMailFrom, {RESULT_OK, "ABC01234 Taro"}},
      {20, names, ML_GetMailFrom, {RESULT_OK, "Taro ABC01234"}},
      {19, noName, ML_GetMailFrom, {RESULT_OK, "ABC01234 "}},
      {20, noName, ML_GetMailFrom, {RESULT_OK, "DEFAULT"}},
      {19, noId, ML_GetMailFrom, {RESULT_OK, "DEFAULT"}},
      {19, blanks, ML_GetMailFrom, {RESULT_INVALID, ""}},
      {19, names, ML_GetMailTo, {RESULT_OK, "DEFAULT"}},
      {22, {{"ToField", "QZB"}}, ML_GetMailTo, {RESULT_OK, "QZB"}},
      {22, {{"ToField", ""}}, ML_GetMailTo, {RESULT_INVALID, ""}},
      {22, {{"ToField", "   "}}, ML_GetMailTo, {RESULT_INVALID, ""}},
      {22, json::object(), ML_GetMailFrom, {RESULT_OK, "DEFAULT"}},
      {22, {{"ToField", LONGEST + "\u65E5"}}, ML_GetMailTo, {RESULT_OK, LONGEST}},
      {17, {{"AdditionalIDList", "A B"}}, ML_GetMailTo, {RESULT_OK, "A B"}},
      {20, Whole("subject: Hi\nSubject : x"), ML_GetMailSubject, {RESULT_OK, " Hi"}},
      {20, Whole("Subject : x\n\nTo:y"), ML_GetMailSubject, {RESULT_INVALID, ""}},
      {20, Whole("X: x\n\nTo:y"), ML_GetMailTo, {RESULT_OK, "y"}},
      {20, Whole("To:\n"), ML_GetMailTo, {RESULT_OK, "DEFAULT"}},
      {20, Whole(""), ML_GetMailTo, {RESULT_DATABASE, ""}},
      {20, {{"EmailMode", 1}}, ML_GetMailTo, {RESULT_INVALID, ""}},
  };
  json mails = json::array();
  for (const auto& c : cases)
    mails.push_back(MailOf(c.kind, c.columns));
  OpenFolder(std::move(mails));
  std::int32_t mail = 0;
  for (const auto& c : cases) {
    EXPECT_EQ(Text(c.get, mail), c.wanted) << mail;
    ++mail;
  }
  EXPECT_EQ(Text(ML_GetMailContentType, 0, 5), (TextAnswer{RESULT_OK, "DEFAULT"}));
}

TEST_F(HeaderSummary, OfMimeMails) {
  OpenMimeMails({"x"}, 32);
  wexmail->headers = {{"MT_GetSubjectD", "s"},
                      {"MT_GetFromD", std::string("f\0g", 3)},
                      {"MT_GetToD", ""},
                      {"MT_GetMessageIDD", std::string(4094, 'm') + "\x93\xFA"}};
  EXPECT_EQ(Text(ML_GetMailSubject, 0), (TextAnswer{RESULT_OK, "s"}));
  EXPECT_EQ(Text(ML_GetMailFrom, 0), (TextAnswer{RESULT_OK, "f"}));
  EXPECT_EQ(Text(ML_GetMailTo, 0), (TextAnswer{RESULT_OK, "DEFAULT"}));
  EXPECT_EQ(Text(ML_GetMailMessageID, 0).text, std::string(4094, 'm'));
  wexmail->getResult = 2;
  EXPECT_EQ(Text(ML_GetMailSubject, 0).code, RESULT_INVALID);
  wexmail->getResult = 1;
  for (const std::int32_t parsed : {0, 2, -1}) {
    OpenMimeMails({"x"}, 32);
    wexmail->parseResult = parsed;
    EXPECT_EQ(Text(ML_GetMailSubject, 0).code, RESULT_INVALID) << parsed;
    EXPECT_EQ(Text(ML_GetMailContentType, 0, 0).code, RESULT_INVALID) << parsed;
  }
}

TEST_F(HeaderSummary, DatesComeFromTheColumnOrTheText) {
  const auto dated = [](int kind, json date, json columns = json::object()) {
    json mail = MailOf(kind, std::move(columns));
    mail["date"] = std::move(date);
    return mail;
  };
  const auto wholeMail = [&](const char* text) {
    return dated(20, "1998-01-13T01:00:00", Whole(text));
  };
  struct Case {
    json mail;
    NumberAnswer wanted;
  };
  json mime = dated(34, "1998-01-13T01:00:00");
  mime["mime"] = {{"file", "m"}, {"text", "x"}};
  json mimeByColumn = mime;
  mimeByColumn["kind"] = 32;
  const Case cases[] = {
      {dated(19, "1998-01-13T01:00:00"), {RESULT_OK, 884653200}},
      {dated(22, "1970-01-01T00:00:00"), {RESULT_OK, 0}},
      {dated(22, "2029-12-31T23:59:59"), {RESULT_OK, 1893455999}},
      {dated(19, "2030-01-01T00:00:00"), {RESULT_INVALID, 77}},
      {dated(19, "1969-12-31T23:59:59"), {RESULT_INVALID, 77}},
      {dated(19, nullptr), {RESULT_INVALID, 77}},
      {wholeMail("Date: Tue, 13 Jan 1998 10:00:00 +0900\n"), {RESULT_OK, 884653200}},
      {wholeMail("Date: no date\n"), {RESULT_INVALID, -1}},
      {wholeMail("X: y\n"), {RESULT_INVALID, 77}},
      {wholeMail(""), {RESULT_DATABASE, 77}},
      {mime, {RESULT_OK, 884649600}},
      {mimeByColumn, {RESULT_OK, 884653200}},
  };
  json mails = json::array();
  for (const Case& c : cases)
    mails.push_back(c.mail);
  const tests::UtcClock utc;
  platform.clockPart = &utc;
  OpenFolder(std::move(mails));
  wexmail->headers = {{"MT_GetSendDateD", "Tue, 13 Jan 1998 09:00:00 JST"}};
  std::int32_t mail = 0;
  for (const Case& c : cases) {
    EXPECT_EQ(Number(ML_GetMailDate, mail), c.wanted) << mail;
    EXPECT_EQ(Number(ML_GetMailTimeStamp, mail), c.wanted) << mail;
    ++mail;
  }
  // The fallback of the message ID is made of the date, and fails as that does.
  EXPECT_EQ(Text(ML_GetMailMessageID, 0),
            (TextAnswer{RESULT_OK, "DEFAULTTue Jan 13 01:00:00 1998"}));
  EXPECT_EQ(Text(ML_GetMailMessageID, 10),
            (TextAnswer{RESULT_OK, "DEFAULTTue Jan 13 00:00:00 1998"}));
  EXPECT_EQ(Text(ML_GetMailMessageID, 3).code, RESULT_INVALID);
  // Without a current mail the date is told and the call fails all the same.
  HandleNode* cabinet = session_->Child(session_->User(), 0);
  ASSERT_EQ(ML_OpenMailDataFile(session_->get(), cabinet), RESULT_OK);
  ASSERT_EQ(ML_CloseMailDataFile(session_->get(), cabinet), RESULT_OK);
  EXPECT_EQ(Number(ML_GetMailDate, 0), (NumberAnswer{RESULT_INVALID, 884653200}));
  EXPECT_EQ(Number(ML_GetMailDate, 11), (NumberAnswer{RESULT_OK, 884653200})) << "a MIME mail";
  EXPECT_EQ(Number(ML_GetMailDate, 6), (NumberAnswer{RESULT_OK, 884653200})) << "a whole mail";
  platform.clockPart = &platform.system().clock();
}

namespace fs = std::filesystem;

// Files that changed just now are read again, as their time stamps may not show the next change.
void LetFilesSettle() {
  std::this_thread::sleep_for(std::chrono::milliseconds(60));
}

class MimeFile : public MailTest {
 protected:
  // Asks everything about a mail, and returns how often its file was opened.
  int OpensForAllQuestions(std::int32_t mail) {
    const int before = platform.faultyFiles.faults.Count(tests::FileOperation::OpenForReading);
    for (const auto get :
         {ML_GetMailSubject, ML_GetMailFrom, ML_GetMailTo, ML_GetMailMessageID, ML_GetMailSource}) {
      EXPECT_EQ(Text(get, mail).code, RESULT_OK) << LastReason();
    }
    EXPECT_EQ(Number(ML_GetMailDate, mail).code, RESULT_OK);
    EXPECT_EQ(Number(ML_GetMailBodyCount, mail).code, RESULT_OK);
    EXPECT_EQ(Text(ML_GetMailContentType, mail, 0).code, RESULT_OK);
    EXPECT_EQ(Body(mail, 0).code, RESULT_OK);
    EXPECT_EQ(Number(ML_GetAttachedMailCount, mail).code, RESULT_OK);
    EXPECT_EQ(Attached(mail, 0).code, RESULT_OK);
    return platform.faultyFiles.faults.Count(tests::FileOperation::OpenForReading) - before;
  }
};

TEST_F(MimeFile, IsReadAndParsedOnceForAllQuestions) {
  OpenMimeMails({"Content-Type: text/plain\n\none", "Content-Type: text/plain\n\ntwo"});
  wexmail->headers = {{"MT_GetSendDateD", "13 Jan 1998 10:00"}};
  wexmail->mains = {{"text/plain", "", "x"}};
  wexmail->attachments = {{"a/b", "f.x", "y"}};
  LetFilesSettle();
  EXPECT_EQ(OpensForAllQuestions(0), 1);
  EXPECT_EQ(OpensForAllQuestions(0), 0);
  EXPECT_EQ(wexmail->parseCalls, 1);
  EXPECT_EQ(OpensForAllQuestions(1), 1);
  EXPECT_EQ(OpensForAllQuestions(0), 1);
  EXPECT_EQ(wexmail->parseCalls, 3);
}

TEST_F(MimeFile, IsReadAgainWhenItMayHaveChanged) {
  OpenMimeMails({"one"});
  LetFilesSettle();
  const auto source = [&] { return Text(ML_GetMailSource, 0); };
  EXPECT_EQ(source().text, "one");
  const auto time = fs::last_write_time(MimePath(0));
  WriteMime(0, "two");
  EXPECT_EQ(source().text, "two") << "of the same size";
  LetFilesSettle();
  EXPECT_EQ(source().text, "two");
  WriteMime(0, "six");
  fs::last_write_time(MimePath(0), time);
  EXPECT_EQ(source().text, "six") << "its time set back";
  fs::remove(MimePath(0));
  EXPECT_EQ(source().code, RESULT_INVALID) << "gone";
  WriteMime(0, "new");
  LetFilesSettle();
  EXPECT_EQ(source().text, "new");
  const std::string other = directory.Write("other", "old");
  LetFilesSettle();
  fs::rename(other, MimePath(0));
  EXPECT_EQ(source().text, "old") << "another in its place";
}

TEST_F(MimeFile, IsParsedAgainAfterAFailure) {
  OpenMimeMails({"one", "two"});
  wexmail->headers = {{"MT_GetSubjectD", "s"}};
  LetFilesSettle();
  EXPECT_EQ(Text(ML_GetMailSubject, 0).code, RESULT_OK);
  wexmail->parseResult = 0;
  EXPECT_EQ(Text(ML_GetMailSubject, 1).code, RESULT_INVALID);
  wexmail->parseResult = 1;
  EXPECT_EQ(Text(ML_GetMailSubject, 1).code, RESULT_OK);
  EXPECT_EQ(Text(ML_GetMailSubject, 0).code, RESULT_OK);
  EXPECT_EQ(wexmail->parseCalls, 4);
  EXPECT_EQ(wexmail->parsedText, std::string("one\0", 4));
  platform.faultyFiles.faults.FailNth(tests::FileOperation::Read, 1);
  EXPECT_EQ(Text(ML_GetMailSubject, 1).code, RESULT_DATABASE);
  EXPECT_EQ(Text(ML_GetMailSubject, 1).code, RESULT_OK);
}

}  // namespace
}  // namespace nimport::test
