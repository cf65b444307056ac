// Which questions read and parse a mail's MIME file, through the exports.
#include "store/mime_file.h"

#include <chrono>
#include <thread>

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

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
