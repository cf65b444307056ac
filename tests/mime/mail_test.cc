#include "mime/mail.h"

#include <string>

#include <gtest/gtest.h>

namespace nimport::mime {
namespace {

// The other tests ask the built library, which gives texts in code page 932.
TEST(Mail, GivesTextsInUnicode) {
  const struct {
    const char* mail;
    const char* subject;
    const char* text;
    const char* why;
  } cases[] = {
      {"Subject: =?UTF-8?B?8J+YgCDDqQ==?=\r\n"
       "Content-Type: text/plain; charset=utf-8\r\n\r\n\xEF\xBB\xBF"
       "😀 é",
       "😀 é", "😀 é", "letters outside code page 932, a byte order mark"},
      {"Subject: =?iso-8859-1?Q?caf=E9_=96?=\r\n"
       "Content-Type: text/plain; charset=latin1\r\n\r\n\xE9",
       "café –", "é", "Latin-1, which means Microsoft's"},
      {"Subject: =?ISO-2022-JP?B?GyRCLSE4fRsoQg==?=\r\n"
       "Content-Type: text/plain; charset=iso-2022-jp\r\n\r\n\x1B$B-!\x1B(I1\x1B(B",
       "①口", "①ｱ", "row 13 and single-byte katakana"},
      {"Subject: \x8C\x8F\x96\xBC\r\n\r\n\x83\x5C\\", "件名", "ソ\\", "undeclared code page 932"},
      {"Subject: =?EUC-JP?B?t++tobDs?=\r\n"
       "Content-Type: text/plain; charset=euc-jp\r\n\r\n\xA1\xC1",
       "件①一", "～", "EUC-JP, the wave dash as Microsoft maps it"},
      {"Subject: x\r\nContent-Type: text/plain; charset=utf-8\r\n\r\na\xFF\xFE"
       "b\xE3\x81",
       "x",
       "a\xEF\xBF\xBD"
       "b\xEF\xBF\xBD",
       "damage"},
      {"Subject: x\r\nContent-Type: text/plain; charset=koi8-r\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\nwQ==",
       "x", "а", "what only the system reads"},
  };
  for (const auto& c : cases) {
    const Mail mail(c.mail);
    EXPECT_EQ(mail.HeaderText("Subject"), c.subject) << c.why;
    EXPECT_EQ(mail.Text(0), c.text) << c.why;
  }
}

TEST(Mail, GivesNamesInUnicode) {
  const Mail mail(
      "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
      "Content-Disposition: attachment; filename*=utf-8''%F0%9F%98%80%5C.txt\r\n\r\n--b\r\n"
      "Content-Disposition: attachment; filename=\"\x83\x5C.txt\"\r\n\r\n--b\r\n"
      "Content-Type: message/rfc822\r\n\r\nSubject: =?UTF-8?B?8J+YgC9h?=\r\n\r\n--b--\r\n");
  ASSERT_EQ(mail.roles().attachments.size(), 3u);
  EXPECT_EQ(mail.SavedName(1), "😀\\.txt");
  EXPECT_EQ(mail.SavedName(2), "ソ.txt");
  EXPECT_EQ(mail.SavedName(3), "😀_a.eml");
}

// A mail is a value: its answers do not hang on where it lies.
TEST(Mail, CanBeCopiedAndMoved) {
  Mail mail("Subject: a\r\nContent-Transfer-Encoding: base64\r\n\r\nQUI=");
  const Mail copy = mail;
  const Mail moved = std::move(mail);
  for (const Mail* other : {&copy, &moved}) {
    EXPECT_EQ(other->HeaderText("Subject"), "a");
    EXPECT_EQ(other->Text(0), "AB");
  }
}

}  // namespace
}  // namespace nimport::mime
