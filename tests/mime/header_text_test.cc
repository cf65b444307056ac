// Header fields, dates and the names of attachments, in whatever form programs wrote them.
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "mime/date.h"
#include "mime/mail.h"
#include "wexmail/library.h"

namespace nimport::mime {
namespace {

struct Case {
  const char* written;
  const char* wanted;  // UTF-8
  const char* why;
};

// Encoded words made with Python's email.header, or cut and bent by hand as their comments say.
const Case TEXTS[] = {
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
    {"=?ISO-2022-JP?B?GyRCRnw=?= =?ISO-2022-JP?B?S1w=?= =?ISO-2022-JP?B?GyRCRnwbKEI=?=", "日K\\日",
     "words without a return to ASCII, the second one ASCII"},
    {"=?iso-2022-jp?B?GyRCRnw=?= =?iso-2022-jp?Q?ok?=", "日ok", "the last one ASCII"},
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
    {"\xC6\xFC\xCB\xDC\xA4\xCE", "日本の", "raw EUC-JP"},
    {"=?iso-8859-1?B?k/qWe4LM?=", "日本の", "code page 932 under Latin-1"},
    {"=?shift_jis?B?5pel5pys?=", "日本", "UTF-8 under Shift_JIS"},
};

TEST(HeaderText, IsDecodedWhateverItsForm) {
  const Library library;
  for (const Case& c : TEXTS) {
    ASSERT_EQ(1, library.Parse("Subject: " + std::string(c.written) + "\r\nTo: x\r\n\r\nbody\r\n"));
    EXPECT_EQ(Cp932(c.wanted), library.HeaderText(MT_GetSubjectD)) << c.why << c.written;
  }
}

TEST(HeaderText, EachQuestionReadsItsField) {
  const Library library;
  ASSERT_EQ(1, library.Parse(
                   Crlf("message-id:  <1@x> \n"
                        "DATE: Tue, 13 Jan 1998 10:00:00 +0900 (JST)\n"
                        "From: a@b\nTo : c@d,\n\te@f\nSubject: one\nTO:\nto: g@h\nSubject: two\n"
                        "X-Subject: three\n\nFrom: body\n")));
  EXPECT_EQ("<1@x>", library.HeaderText(MT_GetMessageIDD));
  EXPECT_EQ("Tue, 13 Jan 1998 10:00:00 +0900 (JST)", library.HeaderText(MT_GetSendDateD));
  EXPECT_EQ("a@b", library.HeaderText(MT_GetFromD));
  EXPECT_EQ("c@d, e@f, g@h", library.HeaderText(MT_GetToD));
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
      {"   \nSubject: s\n\nb", "a line of blanks first"},
      {"\xEF\xBB\xBFSubject: s\n\nb", "a byte order mark"},
      {"junk\nSubject: s\n\nb", "a stray line first"},
      {"To: a,\nb,\nc\nSubject: s\n\nb", "a fold whose blanks were lost"},
      {"To: a\n \nSubject: s\n\nb", "a fold of blanks"},
      {"To: a\rSubject: s\r\rb", "lines that end with CR"},
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

// Parameters of an attachment's disposition, or where a field begins, the header itself.
const Case NAMES[] = {
    {"filename=plan.pdf", "plan.pdf", "plain"},
    {"FileName=\"my plan.pdf\" ; size=1", "my plan.pdf", "quoted"},
    {"filename=my plan.pdf; size=1", "my plan.pdf", "blanks without quotes"},
    {"filename=\"a\\\"b\\\\c;d.txt\"", "a\"b\\c;d.txt", "escapes"},
    {"filename=\"C:\\dir\\a.txt\"", "C:\\dir\\a.txt", "a path as old programs wrote it"},
    {"Content-Type: a/b; name=\"x.lzh\"\nContent-Disposition: attachment", "x.lzh",
     "content type only"},
    {"Content-Type: a/b; name=old.doc\nContent-Disposition: attachment; filename=new.doc",
     "new.doc", "the disposition wins"},
    {"\n\tfilename*=utf-8'ja'%E4%BA%88%E5%AE%9A.pdf", "予定.pdf", "charset and language"},
    {"filename=\"x.pdf\"; filename*=UTF-8''%E4%BA%88.pdf", "予.pdf", "the extended form wins"},
    {"filename*0*=iso-2022-jp''%1B%24BM%3D%1B%28B;\n"
     " filename*1=\"-1.\"; filename*2*=%70df",
     "予-1.pdf", "continued, encoded and plain"},
    {"filename*1*=%88.pdf; filename*0*=utf-8''%E4%BA", "予.pdf", "out of order, a character cut"},
    {"filename*0*=utf-8''%E4%BA%; filename*1*=88.pdf", "予.pdf", "an escape cut"},
    {"filename*0=long-; filename*1=\"name\"; filename*2=.txt", "long-name.txt",
     "continued, no charset"},
    {"filename*=%E4%BA%88.txt", "予.txt", "no charset: guessed"},
    {"filename*=utf-8''100%.txt", "100%.txt", "a lone percent"},
    {"filename=\"=?ISO-2022-JP?B?GyRCTT0bKEIucGRm?=\"", "予.pdf", "an encoded word in quotes"},
    {"filename==?ISO-2022-JP?B?GyRCTT0bKEIucGRm?=", "予.pdf", "and without"},
    {"\n filename=\"=?utf-8?B?5LqI?=\n =?utf-8?Q?.pdf?=\"", "予.pdf", "two encoded words, folded"},
    {"filename=\"\x97\x5C.txt\"", "予.txt", "raw code page 932 with a backslash within"},
    {"filename=\"\x95\x5C\"; x=\"y\"", "表", "the same before the closing quote"},
    {"filename=\"\xE4\xBA\x88.txt\"", "予.txt", "raw UTF-8"},
    {"filename=\"\x1B$BM=\x1B(B.txt\"", "予.txt", "raw ISO-2022-JP"},
    {"filename=\"\x1B$B\"\"\x1B(B.txt\"", "□.txt", "raw ISO-2022-JP that looks like quotes"},
    {"Content-Disposition: attachment (a \\) c); filename=(d) a.txt", "a.txt", "comments"},
    {"filename=\"open.txt", "open.txt", "no closing quote"},
    {"filename=\"\"a.xls\"; size=1", "a.xls", "a quote too many"},
    {"filename=\"a\"b\".xls\"", "a\"b\".xls", "quotes within the name"},
    {"filename=\"a.xls\"size=\"1\"", "a.xls", "no semicolon before the next parameter"},
    {"filename=", "", "no value"},
    {"Content-Disposition: attachment;;; =x; filename; filename=a.b", "a.b", "noise"},
    {"Content-Disposition: attachment", "", "no name"},
    {"Content-Type: application/x-pkcs7-signature", "smime.p7s", "a signature without name"},
    {"Content-Type: message/rfc822\n\nSubject: =?utf-8?B?6KGo?=: a/b\n", "表_ a_b.eml",
     "an enclosed mail's subject"},
    {"Content-Type: message/rfc822\n\nTo: x\n", "message.eml", "or a name of its own"},
    {"Content-Type: message/rfc822; name=m.eml\n\nSubject: s\n", "m.eml", "unless it has one"},
};

TEST(FileName, IsDecodedWhateverItsForm) {
  const Library library;
  for (const Case& c : NAMES) {
    const std::string written = c.written;
    const std::string fields =
        written.starts_with("Content-") ? written : "Content-Disposition: attachment; " + written;
    ASSERT_EQ(1, library.Parse(Crlf("Content-Type: multipart/mixed; boundary=b\n\n--b\n\ntext\n"
                                    "--b\n" +
                                    fields + "\n\ncontents\n--b--\n")));
    const std::vector<Attachment> attachments = library.Attachments();
    ASSERT_EQ(1u, attachments.size()) << c.why;
    EXPECT_EQ(Cp932(c.wanted), attachments[0].fileName) << c.why;
  }
}

// The tests above ask the built library, which gives texts in code page 932.
TEST(Mail, GivesTextsInUnicode) {
  const struct {
    const char* subject;
    const char* type;  // of the contents, and what follows it in the header
    const char* contents;
    const char* wantedSubject;
    const char* wanted;
    const char* why;
  } cases[] = {
      {"=?UTF-8?B?8J+YgCDDqQ==?=", "utf-8", "\xEF\xBB\xBF😀 é", "😀 é", "😀 é", "byte order mark"},
      {"=?iso-8859-1?Q?caf=E9_=96?=", "latin1", "\xE9", "café –", "é", "Microsoft's Latin-1"},
      {"=?ISO-2022-JP?B?GyRCLSE4fRsoQg==?=", "iso-2022-jp", "\x1B$B-!\x1B(I1\x1B(B", "①口", "①ｱ",
       "row 13, katakana"},
      {"\x8C\x8F\x96\xBC", "", "\x83\x5C\\", "件名", "ソ\\", "undeclared code page 932"},
      {"=?EUC-JP?B?t++tobDs?=", "euc-jp", "\xA1\xC1", "件①一", "～", "Microsoft's wave dash"},
      {"x", "utf-8", "a\xFF\xFE-\xE3\x81", "x", "a\uFFFD-\uFFFD", "damage"},
      {"x", "koi8-r\r\nContent-Transfer-Encoding: base64", "wQ==", "x", "а", "read by the system"},
  };
  for (const auto& c : cases) {
    const std::string type = c.type;
    const Mail mail("Subject: " + std::string(c.subject) +
                    (type.empty() ? "" : "\r\nContent-Type: text/plain; charset=") + type +
                    "\r\n\r\n" + c.contents);
    EXPECT_EQ(mail.HeaderText("Subject"), c.wantedSubject) << c.why;
    EXPECT_EQ(mail.Text(0), c.wanted) << c.why;
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

// In seconds since 1970, the zone being the store's where there is none.
std::optional<std::int64_t> ToInstant(const std::optional<Date>& date) {
  constexpr int TOKYO = 540;
  if (!date) return std::nullopt;
  return date->localSeconds - date->zoneMinutes.value_or(TOKYO) * 60;
}

constexpr std::int64_t TEN_IN_TOKYO = 884653200;  // 1998-01-13 01:00:00 UTC
constexpr std::int64_t ONE_IN_TOKYO = TEN_IN_TOKYO - 9 * 3600;
constexpr std::int64_t IN_2000 = 947725200;  // 2000-01-13 01:00:00 UTC

TEST(ParseDate, ReadsWhatMailProgramsWrote) {
  const struct {
    const char* text;
    std::optional<std::int64_t> wanted;
    const char* why;
  } cases[] = {
      {"Tue, 13 Jan 1998 10:00:00 +0900", TEN_IN_TOKYO, "the lawful form"},
      {"Tue, 13 Jan 1998 10:00:00 +0900 (JST)", TEN_IN_TOKYO, "a comment"},
      {"(a (b) 1) Tue,13 Jan 98 10:00+0900", TEN_IN_TOKYO, "nested comment, two digits, no blanks"},
      {"13-Jan-98 10:00:00 JST", TEN_IN_TOKYO, "dashes and a zone's name"},
      {"13-January-1998 10:00:00 +09:00", TEN_IN_TOKYO, "a month in full, a colon in the zone"},
      {"Tue Jan 13 10:00:00 JST 1998", TEN_IN_TOKYO, "the form of Unix"},
      {"1998-01-13T10:00:00.5+09:00", TEN_IN_TOKYO, "ISO 8601"},
      {"19980113T100000+0900", TEN_IN_TOKYO, "ISO 8601 without marks"},
      {"13 Jan 1998 10:00 +900", TEN_IN_TOKYO, "a zone of three digits"},
      {"98/01/13 10:00 +9:00", TEN_IN_TOKYO, "the year first"},
      {"01/13/98 01:00 GMT", TEN_IN_TOKYO, "the month first"},
      {"13/1/1998 1:00Z", TEN_IN_TOKYO, "the day first, where it can be nothing else"},
      {"Mon, 12 Jan 1998 08:00 PM EST", TEN_IN_TOKYO, "half a day"},
      {"Mon, 12 Jan 1998 08:00 p.m. -500", TEN_IN_TOKYO, "half a day with dots, a short zone"},
      {"Tue, 13 Jan 098 01:00:00 A", TEN_IN_TOKYO, "years since 1900, a single letter for a zone"},
      {"Tue, 13 Jan 1998 10:00:00", TEN_IN_TOKYO, "no zone"},
      {"Tue Jan 13 10:00:00 1998", TEN_IN_TOKYO, "C's form, no zone"},
      {"Tuesday, January 13, 1998 10:00 AM", TEN_IN_TOKYO, "names in full"},
      {"Tue, 13 Jan 1998 10.00.00 jst", TEN_IN_TOKYO, "dots in the time, small letters"},
      {"Tue, 13 Jan 1998 10: 0: 0 0900", TEN_IN_TOKYO, "blanks for digits, no sign"},
      {"Tue, 13 Jan 1998 01:00:00 XYZ", TEN_IN_TOKYO, "an unknown zone"},
      {"Tue, 13 Jan 1998 01:00:00 +99999", TEN_IN_TOKYO, "what is no zone"},
      {"Mon, 12 Jan 1998 19:00:00 -600", TEN_IN_TOKYO, "west of Greenwich"},
      {"Mon, 12 Jan 1998 20:00:00 EST5EDT", TEN_IN_TOKYO, "a setting of Unix"},
      {"Tue, 13 Jan 1998 10:00:00 GMT+9", TEN_IN_TOKYO, "beside Greenwich"},
      {"Tue, 13 Jan 1998 03:00:00 MET DST", TEN_IN_TOKYO, "daylight saving apart"},
      {"Tue, 13 Jan 1998 03:00:00 (eet)", TEN_IN_TOKYO, "the zone in a comment alone"},
      {"Tue, 13 Jan 1998 10:00:00 +0900; 5 more, 6", TEN_IN_TOKYO, "more after it"},
      {"Tue, 13 Jan 1998 10(a):  0 : 00 +0900 v=2.40", TEN_IN_TOKYO, "a comment within the time"},
      {"Thu, 13 Jan 100 10:00:00 +0900", IN_2000, "a year since 1900 beyond 99"},
      {"Thu, 13 Jan 0100 10:00:00 +0900", IN_2000, "the same with a zero"},
      {"Thu, 013 Jan 2000 01:00:00 (GMT)", IN_2000, "a day of three digits"},
      {"Wed, 12 Jan 2000 21:00:00 Eastern Daylight Time", IN_2000, "the zone by a long name"},
      {"Thu, 13 Jan 19100 10:00:00 +0900", IN_2000, "the same after a 19"},
      {"13 Jan 1998", TEN_IN_TOKYO - 36000, "no time"},
      {"Tue, 13 Jan 2070 00:00:00 +0000", 3156796800, "beyond 32 bits"},
      {"Thu, 1 Jan 69 00:00 GMT", 3124224000, "two digits end in 2069"},
      {"Tue, 13 Jan 1998 12:00 AM", TEN_IN_TOKYO - 36000, "the twelfth hour before noon"},
      {"29 Feb 1999 00:00", std::nullopt, "no leap year"},
      {"13 Jan 1998 24:00", std::nullopt, "no such hour"},
      {"10:00:00 +0900", std::nullopt, "no date"},
      {"13 1998", std::nullopt, "no month"},
      {"1 2 3 4 Jan", std::nullopt, "too many numbers"},
      {"", std::nullopt, "nothing"},
      {"yesterday", std::nullopt, "a word"},
      {"13 Jan 1998 1:2:3 4:5:6", std::nullopt, "two times"},
      {"99999999999999999999 Jan 1", std::nullopt, "a number without end"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ToInstant(ParseDate(c.text)), c.wanted) << c.text << ": " << c.why;
}

TEST(FindDate, LooksPastWhatIsNoDate) {
  const struct {
    const char* mail;
    std::optional<std::int64_t> wanted;
  } cases[] = {
      {"Subject: a\r\ndate :\r\n 13 Jan 1998\r\n 10:00\r\n\r\n", TEN_IN_TOKYO},
      {"\nFrom a Tue Jan 13 11:00 1998\n\nno field\nDate: 13 Jan 1998 10:00", TEN_IN_TOKYO},
      {"Date: none\rDate: 13 Jan 1998 10:00\rDate: 1 Jan 1998\r\r", TEN_IN_TOKYO},
      {"Received: by a; 13 Jan 1998\n\t10:00\nReceived: by b; 12 Jan 1998 10:00\nDate:\n",
       TEN_IN_TOKYO},
      {"Received: by a\nReceived: by b; 13 Jan 1998 10:00\n\n", TEN_IN_TOKYO},
      {"Received: by a; 13 Jan 1998 10:00\nDate: 13 Jan 1998 01:00\n\n", ONE_IN_TOKYO},
      {"Subject: a\n\nDate: 13 Jan 1998 10:00\n", std::nullopt},
      {"Dated: 13 Jan 1998 10:00\n", std::nullopt},
      {"", std::nullopt},
  };
  for (const auto& c : cases)
    EXPECT_EQ(ToInstant(FindDate(c.mail)), c.wanted) << c.mail;
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
