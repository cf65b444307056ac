// Bodies, attached files and sources of MIME mails through the exports, with a MIME library that
// follows a script.
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

class MimeMails : public MailTest {
 protected:
  TextAnswer Type(std::int32_t mail, std::int32_t body) {
    return Text(ML_GetMailContentType, mail, body);
  }
};

TEST_F(MimeMails, BodiesAreNumberedByTheLastCount) {
  OpenMimeMails({RELATED, "plain"});
  wexmail->mains = {{"text/plain", "", "one"}, {"text/html; charset=x", "", "two"}};
  wexmail->parts = {{"image/gif", "Content-Disposition: attachment\r\n", "saved"},
                    {"image/gif", "", "first"},
                    {"image/gif", "content-disposition: attachment", "second"},
                    {"image/bmp", "", "drawing"}};
  EXPECT_EQ(Body(0, 0).code, RESULT_INVALID) << "before any count";
  EXPECT_EQ(Type(0, 0).code, RESULT_INVALID);
  EXPECT_EQ(BodyCount(0), (NumberAnswer{RESULT_OK, 5}));
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
  EXPECT_EQ(BodyCount(1), (NumberAnswer{RESULT_OK, 1}));
  EXPECT_EQ(Type(0, 1).code, RESULT_INVALID);
}

TEST_F(MimeMails, CountsOfOtherKindsLeaveTheRelatedParts) {
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
  EXPECT_EQ(BodyCount(0).value, 5);
  EXPECT_EQ(firstRelated(), 2);
  for (const auto& [mail, wanted] :
       {std::pair(3, 2), std::pair(4, 2), std::pair(1, 1), std::pair(0, 2), std::pair(2, 1)}) {
    EXPECT_EQ(BodyCount(mail).value, mail == 0 ? 5 : 1);
    EXPECT_EQ(firstRelated(), wanted) << mail;
  }
  EXPECT_EQ(Contents(Body(1, 0)), "x");
}

TEST_F(MimeMails, WrongOnesHaveTheirCodes) {
  using Parts = std::vector<tests::ScriptedPart>;
  const NumberAnswer invalid = {RESULT_INVALID, 77};
  const Parts text = {{"text/plain", "", "x"}};
  const tests::ScriptedPart part = {"a/b", "", "x"};
  const struct {
    const char* what;
    std::int32_t parsed;
    Parts mains;
    NumberAnswer count;
    ResultCode body;
  } cases[] = {
      {"not parsed, 0", 0, text, {RESULT_OK, 0}, RESULT_INVALID},
      {"not parsed, 9", 9, text, {9, 77}, RESULT_INVALID},
      {"1000 parts", 1, Parts(1000, part), {RESULT_OK, 1000}, RESULT_OK},
      {"1001 parts", 1, Parts(1001, part), invalid, RESULT_INVALID},
      {"no parts", 1, {}, {RESULT_OK, 0}, RESULT_INVALID},
      {"an empty part", 1, {{"text/plain", "", ""}}, {RESULT_OK, 1}, RESULT_INVALID},
      {"no subtype", 1, {{"text", "", "x"}}, {RESULT_OK, 1}, RESULT_INVALID},
      {"a long type",
       1,
       {{"text/" + std::string(4091, ';'), "", "x"}},
       {RESULT_OK, 1},
       RESULT_INVALID},
      {"a container", 1, {{"application/x-pkcs7-mime", "", "x"}}, {RESULT_OK, 1}, RESULT_OK},
  };
  for (const auto& c : cases) {
    OpenMimeMails({"Content-Type: text/plain\r\n\r\nx"});
    wexmail->parseResult = c.parsed;
    wexmail->mains = c.mains;
    EXPECT_EQ(BodyCount(0), c.count) << c.what;
    EXPECT_EQ(Body(0, 0).code, c.body) << c.what;
  }
  const TextAnswer placeholder = Body(0, 0);
  EXPECT_TRUE(placeholder.text.ends_with(".TMP"));
  EXPECT_EQ(Contents(placeholder), PLACEHOLDER);

  OpenMimeMails({"multipart/related; boundary=b1\r\n", "missing", "a directory in its place"});
  wexmail->mains = text;
  for (const std::size_t lost : {1, 2})
    std::filesystem::remove(MimePath(lost));
  std::filesystem::create_directory(MimePath(2));
  EXPECT_EQ(BodyCount(0), invalid) << "no quotes around the boundary";
  EXPECT_EQ(Body(0, 0).code, RESULT_OK);
  EXPECT_EQ(BodyCount(1), invalid);
  EXPECT_EQ(Body(1, 0).code, RESULT_INVALID);
  EXPECT_EQ(BodyCount(2), (NumberAnswer{RESULT_DATABASE, 77}));
  EXPECT_EQ(Body(2, 0).code, RESULT_DATABASE);
}

TEST_F(MimeMails, RelatedPartsNeedTheirContents) {
  OpenMimeMails({RELATED});
  // What the library gave for a type is kept as long as the mail is asked about.
  const auto openAgain = [&] {
    OpenFolder();
    ASSERT_EQ(BodyCount(0).value, 3);
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

TEST_F(MimeMails, AttachedFilesAreCountedByTheLibraryAndByTheTopContentType) {
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
      EXPECT_EQ(AttachedCount(0), c.wanted) << c.why;
    }
  }
  OpenMimeMails({"no type"});
  wexmail->attachments = {{"a/b", "", ""}, {"a/b", "", ""}};
  EXPECT_EQ(AttachedCount(0), (NumberAnswer{RESULT_OK, 2})) << "nothing else is looked at";
  for (const auto& [parsed, wanted] :
       {std::pair(0, NumberAnswer{RESULT_OK, 77}), std::pair(-5, NumberAnswer{-5, 77}),
        std::pair(2, NumberAnswer{2, 77})}) {
    OpenMimeMails({"x"});
    wexmail->parseResult = parsed;
    EXPECT_EQ(AttachedCount(0), wanted);
    EXPECT_EQ(Attached(0, 0).code, RESULT_INVALID);
  }
}

TEST_F(MimeMails, ContainersAreEmptyFilesWithAnExtension) {
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

TEST_F(MimeMails, AttachedFilesAreTakenOneByOne) {
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

TEST_F(MimeMails, AreTheirOwnSource) {
  OpenMimeMails({"Subject: x\n\na\r\nb\rc\n", ""});
  EXPECT_EQ(Text(ML_GetMailSubject, 0).text, "DEFAULT");
  EXPECT_EQ(Source(0), (TextAnswer{RESULT_OK, "Subject: x\r\n\r\na\r\nb\rc\r\n"}));
  EXPECT_EQ(Source(1), (TextAnswer{RESULT_OK, ""}));
  std::filesystem::remove(MimePath(0));
  EXPECT_EQ(Source(0).code, RESULT_INVALID);
  std::filesystem::create_directory(MimePath(0));
  EXPECT_EQ(Source(0).code, RESULT_DATABASE);
  OpenFolder(json::array({MailOf(34)}));
  EXPECT_EQ(Source(0).code, RESULT_INVALID) << "no file is named";
}

}  // namespace
}  // namespace nimport::test
