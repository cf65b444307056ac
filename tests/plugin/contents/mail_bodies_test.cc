// Bodies through the exports, with a MIME library that follows a script.
#include "plugin/contents/mail_bodies.h"

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using nlohmann::json;

const std::string PLACEHOLDER("DEFAULT\0", 8);

// A mail with two pictures and a drawing beside its page.
const std::string RELATED =
    "Content-Type: multipart/related; boundary=\"b1\"\r\n\r\n--b1\r\nContent-Type: "
    "text/html\r\n\r\n"
    "--b1\r\nContent-Type: image/gif; name=x\r\n\r\n1\r\n--b1\r\nContent-Type: "
    "image/gif\r\n\r\n2\r\n"
    "--b1\r\nContent-Type: image/bmp\r\n\r\n3\r\n--b1--\r\n";

class MailBodies : public MailTest {
 protected:
  NumberAnswer Count(std::int32_t mail) { return Number(ML_GetMailBodyCount, mail); }
  TextAnswer Type(std::int32_t mail, std::int32_t body) {
    return Text(ML_GetMailContentType, mail, body);
  }
};

TEST_F(MailBodies, OfStoredTexts) {
  struct Case {
    int kind;
    json columns;
    ResultCode code;
    std::string contents;
  };
  const Case cases[] = {
      {17, {}, RESULT_OK, PLACEHOLDER},
      {19, {}, RESULT_OK, PLACEHOLDER},
      {22, {{"TextData", "a\nb"}}, RESULT_OK, {"a\r\nb\0", 5}},
      {22, {{"TextData", "a\r\nb\rc"}}, RESULT_OK, {"a\r\nb\rc\0", 7}},
      {22, {{"TextData", ""}}, RESULT_OK, PLACEHOLDER},
      {22, {{"TextData", nullptr}}, RESULT_OK, PLACEHOLDER},
      {38, {{"TextData", "own"}, {"ForwardText", "other"}}, RESULT_OK, {"own\0", 4}},
      {20, {{"TextData", "Subject: x\n\nb"}}, RESULT_OK, {"Subject: x\r\n\r\nb\0", 16}},
      {20, {{"EmailMode", 1}, {"TextData", "Subject: x\n\nHello\n"}}, RESULT_OK, "Hello\r\n"},
      {20, {{"EmailMode", 1}, {"TextData", "\n\nHello"}}, RESULT_OK, "\r\nHello"},
      {20, {{"EmailMode", 1}, {"TextData", "Subject: x\n"}}, RESULT_DATABASE, ""},
      {20, {{"EmailMode", 1}, {"TextData", ""}}, RESULT_DATABASE, ""},
      {20, {{"EmailMode", 1}}, RESULT_OK, PLACEHOLDER},
      {20, {{"EmailMode", 2}, {"TextData", "x"}}, RESULT_OK, {"x\0", 2}},
  };
  json mails = json::array();
  for (const Case& c : cases)
    mails.push_back(MailOf(c.kind, c.columns.is_null() ? json::object() : c.columns));
  OpenFolder(std::move(mails));
  std::int32_t mail = 0;
  for (const Case& c : cases) {
    EXPECT_EQ(Count(mail), (NumberAnswer{RESULT_OK, 1}));
    for (const std::int32_t body : {0, 5, -1}) {
      const TextAnswer path = Body(mail, body);
      EXPECT_EQ(path.code, c.code) << mail;
      if (path.code != RESULT_OK) continue;
      EXPECT_TRUE(path.text.ends_with("\\$$$nim.txt")) << path;
      EXPECT_EQ(Contents(path), c.contents) << mail;
    }
    ++mail;
  }
  EXPECT_EQ(Count(mail), (NumberAnswer{RESULT_DATABASE, 77}));
}

// Mails of which nothing is known are counted without a look at the database.
TEST_F(MailBodies, AreCountedWithoutTheirRowUnlessTheyAreMimeParts) {
  json mails = json::array();
  for (const int kind : {24, 32, 33, 34, 39}) {
    mails.push_back(MailOf(kind));
    mails.back()["noFamilyRow"] = true;
  }
  OpenFolder(std::move(mails));
  for (std::int32_t mail = 0; mail < 5; ++mail) {
    EXPECT_EQ(Count(mail).code, mail < 3 ? RESULT_OK : RESULT_INVALID) << mail;
    EXPECT_EQ(Body(mail, 0).code, RESULT_INVALID) << mail;
  }
}

TEST_F(MailBodies, OfMimeMailsAreNumberedByTheLastCount) {
  OpenMimeMails({RELATED, "plain"});
  wexmail->mains = {{"text/plain", "", "one"}, {"text/html; charset=x", "", "two"}};
  wexmail->parts = {{"image/gif", "Content-Disposition: attachment\r\n", "saved"},
                    {"image/gif", "", "first"},
                    {"image/gif", "content-disposition: attachment", "second"},
                    {"image/bmp", "", "drawing"}};
  EXPECT_EQ(Body(0, 0).code, RESULT_INVALID) << "before any count";
  EXPECT_EQ(Type(0, 0).code, RESULT_INVALID);
  EXPECT_EQ(Count(0), (NumberAnswer{RESULT_OK, 5}));
  struct Case {
    const char *type, *extension, *contents;
  };
  const Case cases[] = {{"text/plain", ".txt", "one"},
                        {"text/html; charset=x", ".html", "two"},
                        {"image/gif", ".TMP", "first"},
                        {"image/gif", ".TMP", "second"},
                        {"image/bmp", ".bmp", "drawing"}};
  for (std::int32_t body = 0; body < 5; ++body) {
    EXPECT_EQ(Type(0, body), (TextAnswer{RESULT_OK, cases[body].type}));
    const TextAnswer path = Body(0, body);
    EXPECT_TRUE(path.text.ends_with(cases[body].extension)) << path;
    EXPECT_EQ(Contents(path), cases[body].contents);
  }
  for (const std::int32_t body : {5, -1}) {
    EXPECT_EQ(Body(0, body).code, RESULT_INVALID) << body;
    EXPECT_EQ(Type(0, body).code, RESULT_INVALID) << body;
  }
  // The numbers are those of the mail that was counted, whichever mail is asked about.
  EXPECT_EQ(Type(1, 4), (TextAnswer{RESULT_OK, "image/bmp"}));
  wexmail->mains.pop_back();
  EXPECT_EQ(Body(0, 1).code, RESULT_INVALID) << "fewer parts than were counted";
  EXPECT_EQ(Type(0, 1).code, RESULT_INVALID);
  EXPECT_EQ(Count(1), (NumberAnswer{RESULT_OK, 1}));
  EXPECT_EQ(Type(0, 1).code, RESULT_INVALID);
}

TEST_F(MailBodies, CountsOfOtherKindsLeaveTheRelatedParts) {
  json mails = json::array();
  for (const int kind : {34, 32, 33, 22, 19}) {
    mails.push_back(MailOf(kind));
    if (kind >= 32) mails.back()["mime"] = {{"file", "m"}, {"text", RELATED}};
  }
  OpenFolder(std::move(mails));
  wexmail->mains = {{"text/plain", "", "x"}, {"text/html", "", "y"}};
  const auto firstRelated = [&] {
    std::int32_t body = 0;
    while (Type(0, body).text != "image/gif" && body < 9)
      ++body;
    return body;
  };
  EXPECT_EQ(Count(0).value, 5);
  EXPECT_EQ(firstRelated(), 2);
  for (const auto& [mail, wanted] :
       {std::pair(3, 2), std::pair(4, 2), std::pair(1, 1), std::pair(0, 2), std::pair(2, 1)}) {
    EXPECT_EQ(Count(mail).value, mail == 0 ? 5 : 1);
    EXPECT_EQ(firstRelated(), wanted) << mail;
  }
  EXPECT_EQ(Contents(Body(1, 0)), "x");
}

TEST_F(MailBodies, WrongMimeMailsHaveTheirCodes) {
  struct Case {
    const char* what;
    std::function<void()> prepare;
    NumberAnswer count;
    ResultCode body;
  };
  const std::string unquoted = "multipart/related; boundary=b1\r\n";
  const Case cases[] = {
      {"missing",
       [&] { std::filesystem::remove(MimePath(0)); },
       {RESULT_INVALID, 77},
       RESULT_INVALID},
      {"a directory in its place",
       [&] {
         std::filesystem::remove(MimePath(0));
         std::filesystem::create_directory(MimePath(0));
       },
       {RESULT_DATABASE, 77},
       RESULT_DATABASE},
      {"not parsed, 0", [&] { wexmail->parseResult = 0; }, {RESULT_OK, 0}, RESULT_INVALID},
      {"not parsed, 9", [&] { wexmail->parseResult = 9; }, {9, 77}, RESULT_INVALID},
      {"1000 parts",
       [&] {
         wexmail->mains.assign(1000, {"a/b", "", "x"});
       },
       {RESULT_OK, 1000},
       RESULT_OK},
      {"1001 parts",
       [&] {
         wexmail->mains.assign(1001, {"a/b", "", "x"});
       },
       {RESULT_INVALID, 77},
       RESULT_INVALID},
      {"no parts", [&] { wexmail->mains.clear(); }, {RESULT_OK, 0}, RESULT_INVALID},
      {"boundary without quotes", [&] { WriteMime(0, unquoted); }, {RESULT_INVALID, 77}, RESULT_OK},
      {"an empty part",
       [&] {
         wexmail->mains = {{"text/plain", "", ""}};
       },
       {RESULT_OK, 1},
       RESULT_INVALID},
      {"no subtype",
       [&] {
         wexmail->mains = {{"text", "", "x"}};
       },
       {RESULT_OK, 1},
       RESULT_INVALID},
      {"a content type of 4096 bytes",
       [&] {
         wexmail->mains = {{"text/" + std::string(4091, ';'), "", "x"}};
       },
       {RESULT_OK, 1},
       RESULT_INVALID},
      {"a container",
       [&] {
         wexmail->mains = {{"application/x-pkcs7-mime", "", "x"}};
       },
       {RESULT_OK, 1},
       RESULT_OK},
  };
  for (const Case& c : cases) {
    OpenMimeMails({"Content-Type: text/plain\r\n\r\nx"});
    wexmail->parseResult = 1;
    wexmail->mains = {{"text/plain", "", "x"}};
    c.prepare();
    EXPECT_EQ(Count(0), c.count) << c.what;
    EXPECT_EQ(Body(0, 0).code, c.body) << c.what;
  }
  const TextAnswer placeholder = Body(0, 0);
  EXPECT_TRUE(placeholder.text.ends_with(".TMP"));
  EXPECT_EQ(Contents(placeholder), PLACEHOLDER);
}

TEST_F(MailBodies, RelatedPartsNeedTheirContents) {
  OpenMimeMails({RELATED});
  // What the library gave for a type is kept as long as the mail is asked about.
  const auto openAgain = [&] {
    OpenFolder();
    ASSERT_EQ(Count(0).value, 3);
  };
  openAgain();
  EXPECT_EQ(Body(0, 0).code, RESULT_INVALID) << "the library has no such part";
  wexmail->parts = {{"image/gif", "", ""}};
  openAgain();
  EXPECT_EQ(Body(0, 0).code, RESULT_DATABASE) << "empty";
  EXPECT_EQ(Body(0, 1).code, RESULT_INVALID) << "too few";
  wexmail->getResult = 0;
  openAgain();
  EXPECT_EQ(Body(0, 0).code, RESULT_INVALID);
  wexmail->getResult = 1;
  wexmail->claimedCount = -1;
  EXPECT_EQ(Body(0, 0).code, RESULT_INVALID);
  // A host's own extension is kept, but for bitmaps.
  wexmail->claimedCount.reset();
  wexmail->parts = {{"image/gif", "", "x"}, {"image/bmp", "", "y"}};
  openAgain();
  for (const auto& [body, wanted] : {std::pair(0, "C:\\pic.jpg"), std::pair(2, "C:\\pic.bmp")}) {
    ASSERT_EQ(NameNextFile(u"C:\\pic.jpg"), RESULT_OK);
    EXPECT_EQ(Body(0, body).text, wanted);
  }
}

}  // namespace
}  // namespace nimport::test
