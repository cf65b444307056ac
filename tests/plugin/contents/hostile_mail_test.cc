// MIME mails that nobody meant well with, through the exports and the real MIME library: what can
// be had comes out, the rest has its code, and nothing takes long.
#include <array>
#include <chrono>

#include "plugin/mail_fixture.h"

namespace nimport::test {
namespace {

using namespace std::string_literals;

std::string Repeat(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i)
    result += text;
  return result;
}

class HostileMail : public MailTest {
 protected:
  HostileMail() { UseRealLibrary(); }

  // What is wanted of a mail; a text of "-3" and the like is a code.
  struct Answers {
    std::string subject = "DEFAULT";
    NumberAnswer bodyCount = {RESULT_OK, 1};
    std::vector<std::string> bodies = {};  // ".txt:contents"
    NumberAnswer attachedCount = {RESULT_OK, 0};
    std::vector<std::string> attached = {};
  };

  std::string ShownFile(const TextAnswer& path) {
    if (path.code != RESULT_OK) return std::to_string(path.code);
    return path.text.substr(path.text.rfind('.')) + ":" + Contents(path);
  }

  void Expect(const Answers& wanted, std::int32_t mail, const char* why) {
    SCOPED_TRACE(why);
    EXPECT_EQ(Text(ML_GetMailSubject, mail), (TextAnswer{RESULT_OK, wanted.subject}));
    EXPECT_EQ(BodyCount(mail), wanted.bodyCount);
    std::int32_t number = 0;
    for (const std::string& body : wanted.bodies)
      EXPECT_EQ(ShownFile(Body(mail, number++)), body);
    EXPECT_EQ(AttachedCount(mail), wanted.attachedCount);
    number = 0;
    for (const std::string& attached : wanted.attached)
      EXPECT_EQ(ShownFile(Attached(mail, number++)), attached);
  }
};

const std::string MIXED = "Content-Type: multipart/mixed; boundary=\"b\"\r\n\r\n";

TEST_F(HostileMail, GivesWhatItHas) {
  const NumberAnswer invalid{RESULT_INVALID, 77};
  const std::string boundary(10000, 'x');
  const std::string longOne = "boundary=\"" + boundary + "\"\r\n\r\n--" + boundary +
                              "\r\n\r\none\r\n--" + boundary + "--\r\n";
  const struct {
    const char* why;
    std::string text;
    Answers wanted;
  } cases[] = {
      {"empty", "", {.bodies = {"-3"}, .attachedCount = invalid, .attached = {"-3"}}},
      {"a single line feed",
       "\n",
       {.bodies = {"-3"}, .attachedCount = invalid, .attached = {"-3"}}},
      {"bare line feeds",
       "Subject: s\nContent-Type: text/plain\n\na\nb\n",
       {.subject = "s", .bodies = {".txt:a\r\nb\r\n"}}},
      {"NUL bytes",
       "Subject: a\0b\r\nContent-Type: text/plain\r\n\r\nc\0d\r\n\0e"s,
       {.subject = "a", .bodies = {".txt:c\0d\r\n\0e"s}}},
      {"NUL bytes before the header",
       "\0Subject: s\r\nContent-Type: a/b\r\n\r\nx"s,
       {.bodies = {".txt:\0Subject: s\r\nContent-Type: a/b\r\n\r\nx"s}}},
      {"a long header line, cut at a whole character",
       "Subject: x" + Repeat("\x93\xFA", 1 << 19) + "\r\nContent-Type: text/plain\r\n\r\ny",
       {.subject = "x" + Repeat("\x93\xFA", 2047), .bodies = {".txt:y"}}},
      {"no closing delimiter",
       MIXED + "--b\r\n\r\none\r\n--b\r\n\r\ntwo",
       {.bodyCount = {RESULT_OK, 2}, .bodies = {".txt:one", ".txt:two"}}},
      {"a related structure without closing delimiter",
       "Content-Type: multipart/related; boundary=\"b\"\r\n\r\n--b\r\n\r\none",
       {.bodyCount = invalid, .bodies = {".txt:one"}}},
      {"a boundary of 10 kB",
       "Content-Type: multipart/mixed; " + longOne,
       {.bodies = {".txt:one"}}},
      {"a related boundary of 10 kB",
       "Content-Type: multipart/related; " + longOne,
       {.bodyCount = invalid}},
      {"two content types",
       "Content-Type: text/html\r\nContent-Type: image/gif\r\n\r\nx",
       {.bodies = {".html:x"}}},
      {"no content type",
       "Subject: s\r\n\r\nx",
       {.subject = "s", .bodies = {".txt:x"}, .attachedCount = invalid, .attached = {"-3"}}},
      {"base64 with noise",
       "Content-Type: a/bin; name=f.bin\r\nContent-Transfer-Encoding: base64\r\n\r\n S-G*V\0\r\n\r\n\x81s.bG\t8=\r\n"s,
       {.bodies = {".bin:Hello"}, .attachedCount = {RESULT_OK, 1}, .attached = {".bin:Hello"}}},
      {"a container",
       "Content-Type: application/pkcs7-mime; name=\"smime.p7m\"\r\n"
       "Content-Disposition: attachment\r\n\r\nsecret",
       {.bodies = {".TMP:DEFAULT\0"s}, .attachedCount = {RESULT_OK, 1}, .attached = {".p7m:"}}},
      {"a signed mail",
       "Content-Type: multipart/signed; boundary=\"b\"\r\n\r\n--b\r\n\r\none\r\n--b\r\n"
       "Content-Type: application/pkcs7-signature; name=\"smime.p7s\"\r\n\r\nsecret\r\n--b--",
       {.bodies = {".txt:one"}, .attachedCount = {RESULT_OK, 1}, .attached = {".p7s:"}}},
  };
  std::vector<std::string> texts;
  for (const auto& c : cases)
    texts.push_back(c.text);
  OpenMimeMails(texts);
  std::int32_t mail = 0;
  for (const auto& c : cases) {
    Expect(c.wanted, mail, c.why);
    // What else can be asked does no harm.
    for (const auto get : {ML_GetMailFrom, ML_GetMailTo, ML_GetMailMessageID, ML_GetMailSource})
      (void)Text(get, mail);
    (void)Number(ML_GetMailDate, mail);
    (void)Text(ML_GetMailContentType, mail++, 0);
  }
}

// Files without contents, so that the disk costs nothing.
TEST_F(HostileMail, ManyPartsCostNoMoreEachThanFew) {
  constexpr std::int32_t COUNT = 20000;
  const std::string gif = "--b\r\nContent-Type: image/gif\r\n\r\n\r\n";
  const std::string signature = "--b\r\nContent-Type: application/pkcs7-signature\r\n\r\nx\r\n";
  OpenMimeMails(
      {"Content-Type: multipart/related; boundary=\"b\"\r\n\r\n" + Repeat(gif, COUNT) + "--b--\r\n",
       MIXED + Repeat(signature, COUNT) + "--b--\r\n",
       // Nothing that the plug-in takes for a content type, wherever it looks.
       "Content-Type : multipart/mixed; boundary=b\r\n\r\n" +
           Repeat("--b\r\nContent-Disposition: attachment\r\n\r\nx\r\n", COUNT)});
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(BodyCount(0), (NumberAnswer{RESULT_OK, COUNT}));
  EXPECT_EQ(AttachedCount(1), (NumberAnswer{RESULT_OK, COUNT}));
  EXPECT_EQ(AttachedCount(2), (NumberAnswer{RESULT_OK, COUNT}));
  for (std::int32_t mail = 0; mail < 3; ++mail) {
    for (std::int32_t i = 0; i < COUNT; ++i) {
      const TextAnswer path = mail == 0 ? Body(mail, i) : Attached(mail, i);
      ASSERT_EQ(path.code, (std::array{RESULT_DATABASE, RESULT_OK, RESULT_INVALID}[mail]));
    }
  }
  // A second or two; with everything asked for again for each part it takes minutes.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

TEST_F(HostileMail, SourcesEndAtANulUnlessEverythingIsWanted) {
  const std::string text = "Subject: x\nContent-Type: text/plain\n\nbefore\0behind\n"s;
  const std::string whole = "Subject: x\r\nContent-Type: text/plain\r\n\r\nbefore\0behind\r\n"s;
  OpenMimeMails({text});
  EXPECT_EQ(Source(0).text, whole.substr(0, whole.find('\0')));
  platform.isSalvaging = true;
  EXPECT_EQ(Source(0).text, whole);
  ResultString utf16{nullptr, ENCODING_UTF16, 0, nullptr};
  ASSERT_EQ(ML_GetMailSource(session_->get(), folder_, 0, &utf16), RESULT_OK);
  EXPECT_EQ(
      std::u16string(static_cast<char16_t*>(utf16.buffer), static_cast<std::size_t>(utf16.length)),
      std::u16string(whole.begin(), whole.end()));
  utf16.release(utf16.buffer);
}

TEST_F(HostileMail, AHundredMebibytesAreOneMail) {
  const std::string line = std::string(76, 'A') + "\r\n";
  const std::string head = MIXED +
                           "--b\r\n\r\nsee the file\r\n--b\r\n"
                           "Content-Type: a/bin; name=f.bin\r\nContent-Transfer-Encoding: "
                           "base64\r\n\r\n";
  const std::size_t lines = (std::size_t{100} << 20) / line.size();
  const auto start = std::chrono::steady_clock::now();
  OpenMimeMails({"Subject: big\r\n" + head + Repeat(line, lines) + "--b--\r\n"});
  Expect({.subject = "big", .bodies = {".txt:see the file"}, .attachedCount = {RESULT_OK, 1}}, 0,
         "100 MiB");
  const TextAnswer path = Attached(0, 0);
  ASSERT_EQ(path.code, RESULT_OK);
  EXPECT_EQ(std::filesystem::file_size(NativePath(path.text)), lines * 57);
  // A few seconds; the bound leaves room for sanitizers and busy machines.
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}

}  // namespace
}  // namespace nimport::test
