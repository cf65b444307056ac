#include <string>

#include <gtest/gtest.h>

#include "archive/compose_mail.h"
#include "archive/header_lines.h"
#include "archive/mail_contents.h"

namespace nimport::archive {
namespace {

// Code page 932: 件 is 8C 8F, 本 is 96 7B.
TEST(ConvertWholeMail, BecomesCorrectMime) {
  const struct {
    const char* mail;
    const char* wanted;
    const char* why;
  } cases[] = {
      {"Subject: Hi\r\nDate: 1 Jan 98\r\n\r\nHello\r\n", nullptr, "ASCII stays as it is"},
      {"subject: only a header", nullptr, "a header without a body stays too"},
      {"Subject: \x8C\x8F\r\nX-A: b\r\n\r\nHello\r\n",
       "Subject: =?UTF-8?B?5Lu2?=\r\nX-A: b\r\n\r\nHello\r\n", "only the subject is 8-bit"},
      {"From: \x8C\x8F <a@example.jp>\r\n\r\n", "From: =?UTF-8?B?5Lu2?= <a@example.jp>\r\n\r\n",
       "an address field"},
      {"A: b\r\n\r\n\x96\x7B\r\n",
       "A: b\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\n5pysDQo=\r\n",
       "no charset: UTF-8"},
      {"Content-Type: text/plain; charset=iso-2022-jp\r\nContent-Transfer-Encoding: 7bit\r\n\r\n"
       "\x96\x7B",
       "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
       "Content-Transfer-Encoding: base64\r\n\r\n5pys\r\n",
       "a 7-bit charset that cannot be true"},
      {"Content-Type: text/plain; format=flowed; charset=us-ascii; name=\"\x96\x7B.txt\"\r\n\r\n"
       "\x96\x7B",
       "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8; format=flowed;\r\n"
       " name*=UTF-8''%E6%9C%AC.txt\r\nContent-Transfer-Encoding: base64\r\n\r\n5pys\r\n",
       "other parameters stay"},
      {"Content-Type: multipart/mixed; name=\x96\x7B; boundary=b\r\n"
       "Content-Disposition: attachment; filename=\"\x96\x7B\"\r\n\r\nx\r\n",
       "Content-Type: multipart/mixed;\r\n name*=UTF-8''%E6%9C%AC; boundary=b\r\n"
       "Content-Disposition: attachment;\r\n filename*=UTF-8''%E6%9C%AC\r\n\r\nx\r\n",
       "8-bit parameters"},
      {"Content-Type: text/plain; charset=Shift_JIS\r\n\r\n\x96\x7B", nullptr,
       "a charset that is true"},
      {"Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n\x96\x7B\r\n--b--\r\n",
       "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
       "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n"
       "5pys\r\n--b--\r\n",
       "a part without a header"},
      {"Content-Type: multipart/mixed; boundary=b\r\n\r\nxyz\r\n--b\r\n"
       "Content-Type: multipart/alternative; boundary=bb\r\n\r\n--bb\r\n"
       "X-A: b\r\nContent-Type: text/html; charset=\"iso-2022-jp\"; x=y\r\n"
       "Content-Transfer-Encoding: 7bit\r\n\r\n<b>a rather long line</b>\x96\x7B\r\n\r\n"
       "--bb--\r\n--b\r\n"
       "Content-Type: image/gif; name=\"\x96\x7B\"\r\n\r\n\x96\x7B\r\n--b\r\n"
       "Content-Type: text/plain; charset=Shift_JIS\r\n\r\n\x96\x7B\r\n--b--\r\n",
       "Content-Type: multipart/mixed; boundary=b\r\n\r\nxyz\r\n--b\r\n"
       "Content-Type: multipart/alternative; boundary=bb\r\n\r\n--bb\r\n"
       "X-A: b\r\nContent-Type: text/html; charset=utf-8; x=y\r\n"
       "Content-Transfer-Encoding: quoted-printable\r\n\r\n"
       "<b>a rather long line</b>=E6=9C=AC\r\n\r\n--bb--\r\n--b\r\n"
       "Content-Type: image/gif;\r\n name*=UTF-8''%E6%9C%AC\r\n\r\n\x96\x7B\r\n--b\r\n"
       "Content-Type: text/plain; charset=Shift_JIS\r\n\r\n\x96\x7B\r\n--b--\r\n",
       "parts within parts; a file's bytes and a true charset stay"},
      {"\r\nFrom a@b Thu Jan  1 1998\r\nA: b\r\n\r\nHello\r\n",
       "X-Nimport-From-Line: From a@b Thu Jan  1 1998\r\nA: b\r\n\r\nHello\r\n",
       "lines before the header"},
      {"A: b\r\nno header line\r\nC: d\r\n", "A: b\r\n\r\nno header line\r\nC: d\r\n",
       "the empty line before the body is missing"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ConvertWholeMail(c.mail), c.wanted == nullptr ? c.mail : c.wanted) << c.why;
  }
  EXPECT_EQ(ConvertWholeMail("Subject : Hi\r\nA: b\r\n\r\nText : x\r\n"),
            "Subject: Hi\r\nA: b\r\n\r\nText : x\r\n");
  // Blanks before the colon are not lawful any more; a folded value is unfolded first.
  EXPECT_EQ(ConvertWholeMail("Subject : \x8C\x8F\r\n x\r\n\r\n"),
            "Subject: =?UTF-8?B?5Lu2IHg=?=\r\n\r\n");
}

TEST(SplitHeader, EdgesOfAHeader) {
  EXPECT_EQ(FindHeaderValue("A: 1\r\nb:\r\n two\r\n three\r\n\r\nC: 3", "B"), "two three");
  EXPECT_EQ(FindHeaderValue("A: 1\r\n\r\nC: 3", "C"), "") << "the body is no header";
  EXPECT_EQ(FindHeaderValue(" A: 1", "A"), "") << "a continuation of nothing";
  EXPECT_TRUE(SplitHeader("").isWellFormed);
  EXPECT_TRUE(LooksLikeMail("Subject:x"));
  EXPECT_FALSE(LooksLikeMail("\r\nSubject: x"));
  EXPECT_FALSE(LooksLikeMail("two words: x"));
  EXPECT_FALSE(LooksLikeMail(": x"));
}

}  // namespace
}  // namespace nimport::archive
