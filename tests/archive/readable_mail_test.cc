// What is garbled, and what becomes of it. Whether other programs then show it right is
// tests/second_opinion's.
#include "archive/readable/readable_mail.h"

#include <string>

#include <gtest/gtest.h>

namespace nimport::archive {
namespace {

constexpr const char* UTF8_BODY =
    "MIME-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\n"
    "Content-Transfer-Encoding: base64\r\n\r\n4pGgDQo=\r\n";

// ① is 87 40 in code page 932, row 13 cell 1 in ISO-2022-JP; 表 is 95 5C, I=.
TEST(ReadableMail, OnlyWhatIsGarbledIsMadeAnew) {
  const struct {
    std::string mail;
    std::string wanted;  // empty: is not shown garbled
    const char* why;
  } cases[] = {
      {"Subject: a\r\n\r\nb\r\n", "", "ASCII"},
      {"Subject: =?ISO-2022-JP?B?GyRCST0bKEI=?=\r\nContent-Type: text/plain;\r\n"
       " charset=iso-2022-jp\r\n\r\n\x1B$BI=\x1B(B\r\n",
       "", "what is declared truly"},
      {"X-Odd: \x87\x40\r\nReceived: \x87\x40\r\n\r\nb\r\n", "", "fields that nobody shows"},
      {"A: b\r\n\r\n\x87\x40\r\n", std::string("A: b\r\n") + UTF8_BODY, "no label"},
      {"A: b\n\n\x87\x40\n",
       "A: b\nMIME-Version: 1.0\nContent-Type: text/plain; charset=utf-8\n"
       "Content-Transfer-Encoding: base64\n\n4pGgCg==\n",
       "lines that end with LF"},
      {"From x Thu Jan  1\r\nA: b\r\nContent-Transfer-Encoding: 7bit\r\nMIME-Version: 1.0\r\n"
       "Content-Type: text/html; charset=iso-2022-jp; x=y\r\nContent-Type: text/plain\r\n\r\n"
       "<META http-equiv=x content=\"text/html; charset=iso-2022-jp\">long enough \x1B$B-!\x1B(B",
       "A: b\r\nContent-Transfer-Encoding: quoted-printable\r\nMIME-Version: 1.0\r\n"
       "Content-Type: text/html; charset=utf-8; x=y\r\n\r\n"
       "<META http-equiv=3Dx content=3D\"text/html; charset=3Dutf-8\">long enough =E2=\r\n=91=A0",
       "fields stand where they stood; the page's own charset; the separator goes"},
      {"Content-Type: text/plain; charset=shift_jis\r\nContent-Transfer-Encoding: base64\r\n\r\n"
       "h0ANCg==\r\n",
       "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n"
       "MIME-Version: 1.0\r\n\r\n4pGgDQo=\r\n",
       "text in base64"},
      {"Subject: \x95\x5C\r\n x\r\nDate: \x95\x5C\r\n\r\nb\r\n",
       "Subject: =?UTF-8?B?6KGoIHg=?=\r\nDate: \x95\x5C\r\n\r\nb\r\n", "a raw subject"},
      {"Subject: Re: =?ISO-2022-JP?B?GyRCLSEbKEI=?=\r\n\r\nb\r\n",
       "Subject: =?UTF-8?B?UmU6IOKRoA==?=\r\n\r\nb\r\n", "a letter that the charset lacks"},
      {"Subject: =?UTF-8?B?6KE=?=\r\n =?UTF-8?B?qA==?=\r\n\r\nb\r\n",
       "Subject: =?UTF-8?B?6KGo?=\r\n\r\nb\r\n", "a letter cut between two words"},
      {"Subject: =?ISO-2022-JP?B?GyRCST0=?= =?ISO-2022-JP?B?ST0bKEI=?=\r\n\r\nb\r\n",
       "Subject: =?UTF-8?B?6KGo6KGo?=\r\n\r\nb\r\n", "escapes that reach over two words"},
      {"From: \"\x95\x5C, x\" <a@b>, c@d (\x95\x5C), \"e f g h i j\" <h@i>\r\nTo: \x95\x5C "
       "a@b.jp\r\n\r\nb\r\n",
       "From: =?UTF-8?B?6KGoLCB4?= <a@b>, c@d (=?UTF-8?B?6KGo?=), \"e f g h i j\"\r\n <h@i>\r\n"
       "To: =?UTF-8?B?6KGo?= <a@b.jp>\r\n\r\nb\r\n",
       "names, of which the addresses stay"},
      {"To: \x1B$B\x21\x22\x22\x28\x1B(B <a@b>\r\n\r\nb\r\n",
       "To: =?UTF-8?B?44CB4oC7?= <a@b>\r\n\r\nb\r\n", "bytes of letters that look like marks"},
      {"Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n\r\n\x87\x40\r\n--b\r\n"
       "Content-Type: text/plain; name=\"\x95\x5C\"\r\n\r\n\x87\x40\r\n--b\r\n"
       "Content-Type: message/rfc822\r\nContent-Disposition: attachment\r\n\r\n"
       "Subject: \x95\x5C\r\n\r\n\x95\x5C\r\n--b\r\n"
       "Content-Type: message/rfc822\r\n\r\nSubject: \x95\x5C\r\n\r\nb\r\n--b--\r\nend \x95\x5C",
       "Content-Type: multipart/mixed; boundary=b\r\n\r\n--b\r\n"
       "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: base64\r\n\r\n"
       "4pGg\r\n--b\r\nContent-Type: text/plain;\r\n "
       "name*=UTF-8''%E8%A1%A8\r\n\r\n\x87\x40\r\n--b\r\n"
       "Content-Type: message/rfc822\r\nContent-Disposition: attachment\r\n\r\n"
       "Subject: \x95\x5C\r\n\r\n\x95\x5C\r\n--b\r\n"
       "Content-Type: message/rfc822\r\n\r\nSubject: =?UTF-8?B?6KGo?=\r\n\r\nb\r\n--b--\r\nend "
       "\x95\x5C",
       "texts and names, but no attachment's contents"},
      {"Content-Type: image/gif\r\nContent-Disposition: attachment;\r\n"
       " filename*0*=iso-2022-jp''%1B%24B-;\r\n filename*1*=%21%1B%28B.gif\r\n\r\nx",
       "Content-Type: image/gif\r\n"
       "Content-Disposition: attachment;\r\n filename*=UTF-8''%E2%91%A0.gif\r\n\r\nx",
       "a name of RFC 2231 that is cut within a letter"},
      {"\x87\x40\r\n", std::string(UTF8_BODY), "no header at all"},
      {"Subject: \x95\x5C\r\nContent-Type: multipart/signed; "
       "boundary=b\r\n\r\n--b\r\n\r\nx\r\n--b--",
       "", "signed"},
      {"Subject: \x95\x5C\r\nContent-Type: application/pkcs7-mime\r\n\r\nx", "", "encrypted"},
      {"Subject: \x95\x5C\r\nContent-Transfer-Encoding: base64\r\n\r\n"
       "LS0tLS1CRUdJTiBQR1AgU0lHTkVEIE1FU1NBR0UtLS0tLQ==",
       "", "signed within the text"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(IsShownGarbled(mime::Mail(c.mail)), !c.wanted.empty()) << c.why;
    if (c.wanted.empty()) continue;
    EXPECT_EQ(MakeReadable(c.mail), c.wanted) << c.why;
    EXPECT_FALSE(IsShownGarbled(mime::Mail(MakeReadable(c.mail)))) << c.why;
  }
}

TEST(ReadableMail, TheOriginalIsASecondPart) {
  EXPECT_EQ(MakeReadableWithOriginal("Subject: a\r\nMIME-Version: 1.0\r\n"
                                     "Content-Type: text/plain; x=y\r\nTo: b\r\n\r\n\x87\x40\r\n",
                                     "KEY"),
            "Subject: a\r\nTo: b\r\nMIME-Version: 1.0\r\n"
            "Content-Type: multipart/mixed; boundary=\"=_KEY\"\r\n\r\n--=_KEY\r\n"
            "Content-Type: text/plain; charset=utf-8; x=y\r\n"
            "Content-Transfer-Encoding: base64\r\n\r\n4pGgDQo=\r\n\r\n--=_KEY\r\n"
            "Content-Type: application/octet-stream; name=original.eml\r\n"
            "Content-Disposition: attachment; filename=original.eml\r\n"
            "Content-Description: the mail as it was\r\n"
            "Content-Transfer-Encoding: base64\r\n\r\n"
            "U3ViamVjdDogYQ0KTUlNRS1WZXJzaW9uOiAxLjANCkNvbnRlbnQtVHlwZTogdGV4dC9wbGFpbjsg\r\n"
            "eD15DQpUbzogYg0KDQqHQA0K\r\n--=_KEY--\r\n");
}

}  // namespace
}  // namespace nimport::archive
