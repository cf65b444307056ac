#include <string>

#include <gtest/gtest.h>

#include "wexmail/library.h"

namespace nimport::mime {
namespace {

struct Case {
  const char* value;   // as the mail has it
  const char* wanted;  // UTF-8
  const char* why;
};

// Encoded words made with Python's email.header, or cut and bent by hand as their comments say.
const Case CASES[] = {
    {"", "", "empty"},
    {"  plain text  ", "plain text", "trimmed"},
    {"one\r\n two\r\n\tthree", "one two three", "folds by blank and by tab"},
    {"a,\r\n        b", "a, b", "an indented fold is one blank"},
    {"=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=", "日本", "base64"},
    {"=?iso-2022-jp?q?=1B$BF|K\\=1B(B?=", "日本", "Q, with a backslash within a character"},
    {"=?UTF-8?Q?a_b=5F?=", "a b_", "underscores"},
    {"=?utf-8?B?5pel?= =?UTF-8?B?5pys?=", "日本", "blanks between words go"},
    {"=?utf-8?B?5pel?=\r\n =?utf-8?Q?=E6=9C=AC?=", "日本", "a fold between words, two encodings"},
    {"=?utf-8?B?5pel5g==?= =?utf-8?B?nKw=?=", "日本", "a character split over two words"},
    {"=?ISO-2022-JP?B?GyRCRnw=?= =?ISO-2022-JP?B?S1wbKEI=?=", "日本", "a state split over words"},
    {"=?utf-8?B?5pel?= =?utf-8?B?5pys?=x y", "日本x y", "blanks between words do not return"},
    {"=?utf-8?B?5pel?= and =?utf-8?B?5pys?=", "日 and 本", "blanks beside text stay"},
    {"=?utf-8?B?5pel?==?shift_jis?B?lns=?=", "日本", "no blank between words, two charsets"},
    {"Re:=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=(x)", "Re:日本(x)", "words within words"},
    {"\"=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=\" <a@b.jp>", "\"日本\" <a@b.jp>", "in quotes"},
    {"a@b.jp (=?ISO-2022-JP?B?GyRCRnxLXBsoQg==?=)", "a@b.jp (日本)", "in a comment"},
    {"=?UTF-8?Q?two words?=", "two words", "raw blanks inside"},
    {"=?utf-8?B?5pel\r\n 5pys?=", "日本", "folded inside"},
    {"=?utf-8?B?5pel5pys", "=?utf-8?B?5pel5pys", "cut off: stays"},
    {"=?utf-8?B?5pel =?utf-8?B?5pys?=", "=?utf-8?B?5pel 本", "cut off before a whole one"},
    {"=?utf-8?X?abc?= =??B?YQ==?=", "=?utf-8?X?abc?= =??B?YQ==?=", "no encoded words"},
    {"=?utf-8?B?5pel5pys=?=", "日本", "a padding too many"},
    {"=?utf-8?B?YWI?=", "ab", "a padding too few"},
    {"=?ISO-2022-JP*ja?B?GyRCRnxLXBsoQg==?=", "日本", "a language after the charset"},
    {"=?koi8-r*ru?B?wQ==?=", "а", "the same for another charset"},
    {"=?x-sjis?B?k/qWew==?=", "日本", "an odd name for code page 932"},
    {"=?cp932?B?h0D7/A==?=", "①髙", "vendor characters"},
    {"=?ISO-2022-JP?B?GyRCLSF8YhsoQg==?=", "①髙", "the same by rows 13 and 92"},
    {"=?x-euc-jp?B?xvzL3K2h?=", "日本①", "EUC with row 13"},
    {"=?iso-8859-1?B?GyRCRnxLXBsoQg==?=", "日本", "a wrong charset against escape sequences"},
    {"=?no-such-set?B?k/qWew==?=", "日本", "an unknown charset: guessed"},
    {"=?us-ascii?B?5pel5pys?=", "日本", "8-bit under ASCII: guessed"},
    {"=?windows-1252?Q?=93x=94?=", "“x”", "a western charset"},
    {"=?koi8-r?B?wQ==?=", "а", "a Russian charset"},
    {"=?utf-8?Q?=F0=9F=98=80=C3=A9?=", "??", "characters that code page 932 lacks"},
    {"=?utf-8?Q?a=0D=0AX:_y?=", "a  X: y", "no line end gets in"},
    {"\x1B$BF|K\\\x1B(B", "日本", "raw ISO-2022-JP"},
    {"\x1B$BF|\r\n K\\\x1B(B", "日 本", "raw ISO-2022-JP folded between characters"},
    {"\xE6\x97\xA5\xE6\x9C\xAC", "日本", "raw UTF-8"},
    {"\x93\xFA\x96\x7B", "日本", "raw code page 932"},
    {"\xC6\xCE\xDD", "ﾆﾎﾝ", "raw single-byte katakana"},
};

TEST(HeaderText, IsDecodedWhateverItsForm) {
  const Library library;
  for (const Case& row : CASES) {
    ASSERT_EQ(1, library.Parse("Subject: " + std::string(row.value) + "\r\nTo: x\r\n\r\nbody\r\n"));
    EXPECT_EQ(Cp932(row.wanted), library.HeaderText(MT_GetSubjectD)) << row.why << row.value;
  }
}

TEST(HeaderText, EachQuestionReadsItsField) {
  const Library library;
  ASSERT_EQ(1, library.Parse(Crlf("message-id:  <1@x> \n"
                                  "DATE: Tue, 13 Jan 1998 10:00:00 +0900 (JST)\n"
                                  "From: a@b\nTo : c@d,\n\te@f\nSubject: one\nSubject: two\n"
                                  "X-Subject: three\n\nFrom: body\n")));
  EXPECT_EQ("<1@x>", library.HeaderText(MT_GetMessageIDD));
  EXPECT_EQ("Tue, 13 Jan 1998 10:00:00 +0900 (JST)", library.HeaderText(MT_GetSendDateD));
  EXPECT_EQ("a@b", library.HeaderText(MT_GetFromD));
  EXPECT_EQ("c@d, e@f", library.HeaderText(MT_GetToD));
  EXPECT_EQ("one", library.HeaderText(MT_GetSubjectD));
}

TEST(HeaderText, AnAbsentFieldIsAnEmptyText) {
  const Library library;
  ASSERT_EQ(1, library.Parse("X: y\r\n\r\nSubject: in the body\r\n"));
  EXPECT_EQ("", library.HeaderText(MT_GetSubjectD));
  ASSERT_EQ(1, library.Parse(""));
  EXPECT_EQ("", library.HeaderText(MT_GetSendDateD));
}

TEST(HeaderText, IsFoundInDamagedHeaders) {
  const Library library;
  const std::pair<const char*, const char*> cases[] = {
      {"From me@x Thu Jan  1 00:00:00 1998\nSubject: s\n\nb", "an mbox line"},
      {"\n\nSubject: s\n\nb", "empty lines first"},
      {"To: a\nno header line\nSubject: s\n\nb", "a line that is no field"},
      {"Subject: s", "nothing after it"},
      {"Subject:s\nSubject: t\n", "no blank after the colon"},
  };
  for (const auto& [mail, why] : cases) {
    ASSERT_EQ(1, library.Parse(Crlf(mail)));
    EXPECT_EQ("s", library.HeaderText(MT_GetSubjectD)) << why;
  }
  ASSERT_EQ(1, library.Parse(std::string("X: \0\r\nSubject: a\0b\r\n\r\nc", 24)));
  EXPECT_EQ(std::string("a\0b", 3), library.HeaderText(MT_GetSubjectD)) << "NUL bytes";
}

}  // namespace
}  // namespace nimport::mime
