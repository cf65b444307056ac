#include <chrono>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

std::string Repeat(const std::string& text, std::size_t count) {
  std::string result;
  result.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i)
    result += text;
  return result;
}

const std::string REAL_MAIL = Crlf(
    "Date: Wed, 09 Jun 1999 19:45:10 +0900\n"
    "From: =?ISO-2022-JP?B?GyRCP0BCZRsoQiAbJEJ0JRsoQg==?= <rin@example.com>\n"
    "Subject: =?ISO-2022-JP?B?GyRCMlYkTjxMPz8bKEI=?= \x95\x5C\n"
    "Content-Type: multipart/mixed; boundary=\"=_m\"\n\n--=_m\n"
    "Content-Type: multipart/related; boundary=\"b1\"; type=\"text/html\"; start=\"<r@x>\"\n\n"
    "--b1\nContent-Type: text/html; charset=iso-2022-jp\nContent-ID: <r@x>\n\n"
    "<p>\x1B$B2V$N<L??\x1B(B \x1B(I1\x1B(B</p>\n\n"
    "--b1\nContent-Type: image/gif\nContent-Transfer-Encoding: base64\n\nR0lGODlhAQABAIAAAMgA\n\n"
    "--b1--\n--=_m\nContent-Type: application/pdf\nContent-Disposition: attachment;\n"
    "\tfilename*0*=utf-8'ja'%E4%BA%88;\n filename*1=\".pdf\"\nContent-Transfer-Encoding: "
    "x-uuencode\n\n"
    "begin 644 a\n%2&5L;&\\`\n`\nend\n\n--=_m\nContent-Type: message/rfc822\n\n"
    "Subject: =?utf-8?Q?=E5=85=83?=\nContent-Type: text/plain; charset=euc-jp\n"
    "Content-Transfer-Encoding: quoted-printable\n\n=C9=BD=8E=B1=8F=B0=C8\n\n--=_m--\n");

std::vector<std::pair<std::string, std::string>> HostileMails() {
  const std::string mixed = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
  std::string nested;
  for (int i = 0; i < 5000; ++i) {
    const std::string boundary = "b" + std::to_string(i);
    nested +=
        "Content-Type: multipart/mixed; boundary=" + boundary + "\r\n\r\n--" + boundary + "\r\n";
  }
  std::string pieces = "Content-Type: a/b";
  for (int i = 0; i < 50000; ++i)
    pieces += "; name*" + std::to_string(i) + "*=x";
  std::string charsets;
  std::string types;
  for (int i = 0; i < 20000; ++i) {
    charsets += "=?x" + std::to_string(i) + "?q?=FF?= ";
    types += "--b\r\nContent-Type: a/" + std::to_string(i) + "\r\n\r\nx\r\n";
  }
  const std::string related = "Content-Type: multipart/related; boundary=\"b\"\r\n\r\n";
  const std::string longBoundary(10000, 'x');
  std::vector<std::pair<std::string, std::string>> mails = {
      {"a long field", "Subject: " + std::string(1 << 20, 'x') + "\r\n\r\n"},
      {"many folds", "Subject: " + Repeat("x\r\n ", 1 << 18) + "\r\n\r\n"},
      {"nested groups", "To: " + Repeat("a:", 1 << 19) + "\r\n\r\n"},
      {"nested comments", "Content-Type: a/b; " + Repeat("(", 1 << 20) + "\r\n\r\n"},
      {"starts of encoded words", "Subject: " + Repeat("=?a?q?", 1 << 17) + "\r\n\r\n"},
      {"words that end far off",
       "To: =?a?q?x?= " + Repeat("=?iso-2022-jp?B?GyRC", 1 << 16) + "?=\r\n\r\n"},
      {"encoded words", "Subject: " + Repeat("=?utf-8?q?=E3=81?= ", 1 << 15) + "\r\n\r\n"},
      {"many fields", Repeat("X: y\r\n", 1 << 17) + "\r\n"},
      {"many pieces of a name", pieces + "\r\n\r\n"},
      {"charsets that nobody knows", "From: " + charsets + "\r\n\r\n"},
      {"parts of as many types", related + types + "--b--"},
      {"many parts", mixed + Repeat("--b\r\n\r\n", 1 << 16)},
      {"deep multiparts", nested + Repeat("--\r\n", 1 << 16)},
      {"deep messages", Repeat("Content-Type: message/rfc822\r\n\r\n", 1 << 15)},
      {"dashes only", mixed + "--b\r\n\r\n" + std::string(1 << 21, '-')},
      {"a long boundary", "Content-Type: multipart/mixed; boundary=\"" + longBoundary +
                              "\"\r\n\r\n" + Repeat("--" + longBoundary + "\r\n\r\nx\r\n", 500)},
      {"escape bytes", "Content-Type: text/plain\r\n\r\n" + std::string(1 << 20, '\x1B')},
      {"escape sequences", "\r\n\r\n" + Repeat("\x1B$B\x1B(B", 1 << 18)},
      {"base64 of nothing", "Content-Transfer-Encoding: base64\r\n\r\n" + Repeat("=\r\n", 1 << 19)},
      {"uuencoding that never begins",
       "Content-Transfer-Encoding: x-uue\r\n\r\n" + Repeat("begi\r\n", 1 << 18)},
  };
  for (std::size_t size = 0; size <= REAL_MAIL.size(); ++size)
    mails.emplace_back("cut at byte " + std::to_string(size), REAL_MAIL.substr(0, size));
  std::mt19937 random(932);
  for (int round = 0; round < 3000; ++round) {
    auto& [name, mail] = mails.emplace_back("turned bytes " + std::to_string(round), REAL_MAIL);
    for (int i = 0; i < 8; ++i)
      mail[random() % mail.size()] = static_cast<char>(random());
  }
  return mails;
}

TEST(HostileMail, IsAnsweredInLinearTime) {
  const Library library;
  for (const auto& [name, mail] : HostileMails()) {
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(1, library.Parse(mail)) << name;
    for (auto* get : {MT_GetSubjectD, MT_GetFromD, MT_GetToD, MT_GetMessageIDD, MT_GetSendDateD})
      ASSERT_TRUE(library.HeaderText(get)) << name;
    (void)library.Mains();
    (void)library.Attachments();
    (void)library.Parts("image/gif");
    (void)library.Parts("text/plain");
    // Each takes well under a second; what is quadratic would take minutes. The bound leaves room
    // for sanitizers and busy machines.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15)) << name;
  }
}

TEST(HostileMail, DeepAndManyPartsStayAsContents) {
  const Library library;
  std::string mail = Repeat("Content-Type: message/rfc822\r\n\r\n", 200) + "\r\nend";
  ASSERT_EQ(1, library.Parse(mail));
  const std::vector<FoundPart> messages = library.Parts("message/rfc822");
  ASSERT_EQ(65u, messages.size());
  EXPECT_TRUE(messages.back().body.ends_with("end"));
  mail = "Content-Type: multipart/mixed; boundary=b\r\n\r\n" + Repeat("--b\r\n\r\nx\r\n", 150000) +
         "--b\r\n\r\nend";
  ASSERT_EQ(1, library.Parse(mail));
  const std::vector<MainPart> mains = library.Mains();
  EXPECT_EQ(99999u, mains.size());
  EXPECT_TRUE(mains.back().contents.ends_with("end"));
}

}  // namespace
}  // namespace nimport::mime
