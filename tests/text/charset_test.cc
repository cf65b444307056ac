#include "text/charset.h"

#include <string>

#include <gtest/gtest.h>

#include "text/code_page_converter.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

using namespace std::string_literals;

struct Case {
  const char* charset;
  std::string bytes;
  const char* wanted;  // UTF-8
  const char* why;
};

// Bytes by Python's codecs iso2022_jp_ext, iso2022_jp_1, euc_jp, euc_jis_2004 and cp932; vendor
// rows by hand from the code charts.
const Case CASES[] = {
    {"iso-2022-jp", "\x1B$BI=<(\x1B(B ok", "表示 ok", "JIS X 0208"},
    {"ISO-2022-JP", "\x1B$@I=<(\x1B(J\\~", "表示\\~", "the 1978 set and JIS Roman"},
    {"iso-2022-jp", "\x1B$(BI=\x1B&@\x1B$BI=\x1B(B", "表表", "four-byte and 1990 designations"},
    {"iso-2022-jp", "\x1B$B-!-5-j\x1B(B", "①Ⅰ㈱", "NEC row 13"},
    {"iso-2022-jp", "\x1B$By!|b|~\x1B(B", "纊髙＂", "NEC's selection, rows 89 to 92"},
    {"iso-2022-jp", "\x1B$B\x93\x21\x96\x7E\x1B(B", "ⅰ髙", "IBM's rows 115 to 119"},
    {"iso-2022-jp", "\x1B$B)!\x1B(B", "?", "a row without characters"},
    {"iso-2022-jp", "\x1B(I1_\x1B(B", "ｱﾟ", "single-byte katakana by escape"},
    {"iso-2022-jp", "\x0E\x31\x0F\x31", "ｱ1", "single-byte katakana by SO and SI"},
    {"iso-2022-jp", "\x1B$BI=\x1B(B\xB1\xB2", "表ｱｲ", "eight-bit katakana beside escapes"},
    {"iso-2022-jp", "\xB1\xB2", "ｱｲ", "eight-bit katakana alone"},
    {"iso-2022-jp-1", "\x1B$(D0H\x1B(B\x1B$(D0!\x1B(B", "仡?", "JIS X 0212 as far as it goes"},
    {"iso-2022-jp", "\x1B$BI=\r\nabc", "表\r\nabc", "a line end returns to ASCII"},
    {"iso-2022-jp", "\x1B$BI=<", "表?", "cut within a character"},
    {"iso-2022-jp", "\x1B$BI\x1B(Bx", "?x", "an escape within a character"},
    {"iso-2022-jp", "a\x1B[0mb", "a\x1B[0mb", "an escape of another kind"},
    {"iso-2022-jp-ms", "\x1B$B\x7F!\x1B(B", "\uE000", "the first user-defined character"},
    {"cp50221", "\x1B$B!A!]!B\x1B(B", "～－∥",
     "wave dash, minus and parallel as Microsoft has them"},
    {"csISO2022JP", "\x1B$BI=\x1B(B", "表", "an alias"},
    {"shift_jis", "\x87\x40\xFB\xFC\x95\x5C\xB1", "①髙表ｱ", "code page 932 as it is"},
    {"Windows-31J", "\x87\x40", "①", "an alias"},
    {"euc-jp", "\xC9\xBD\xAD\xA1\x8E\xB1\x8F\xB0\xC8", "表①ｱ仡", "EUC, row 13, katakana, 0212"},
    {"euc-jp", "\xC9\xBD\xC9", "表?", "EUC cut within a character"},
    {"EUC-JP", "\xA1\xC1\xA1\xDD\xF5\xA1", "～－?", "EUC wave dash and minus"},
    {"utf-8", "\xEF\xBB\xBF表①～〜−‖—¢£¬"s, "表①～～－∥―￠￡￢", "twins that JIS tables yield"},
    {"utf-8", "か\xE3\x82\x99ハ\xE3\x82\x9Aウ\xE3\x82\x99", "がパヴ", "decomposed kana"},
    {"utf-8", "a\xE3\x81 b\xFF\xFE\xC0\xAF", "a? b?", "damage: one mark for each run"},
    {"utf-8", "髙纊∵∪", "髙纊∵∪", "what the code page holds twice"},
    {"iso-8859-1", "\x93q\x94 \xA9", "“q” ?", "Latin-1 with Microsoft's quotes"},
    {"iso-8859-1", "\x1B$BI=\x1B(B", "表", "escape sequences against the label"},
    {"big5", "\xA4\xE9\xA5\xBB", "日本", "a Chinese charset"},
    {"gb2312", "\xC8\xD5\xB1\xBE", "日本", "another"},
    {"utf-16le", "\xE5\x65\x2C\x67"s, "日本", "two-byte units"},
    {"us-ascii", "\xE8\xA1\xA8", "表", "UTF-8 under ASCII"},
    {"latin1", "\x93q\x94", "“q”", "another name of it"},
    {"ISO8859_2", "\xB1", "?", "a letter that the code page lacks"},
    {"x-windows-1251", "\xC0", "А", "a private name of a code page"},
    {"koi8-r", "\xC1", "а", "Cyrillic"},
    {"ks_c_5601-1987", "\xC0\xCF", "?", "a Korean charset"},
    {"big5", "\xA4\xE9\xFF\xA5\xBB", "日?本", "a byte that the charset does not explain"},
    {"", "\xE8\xA1\xA8", "表", "UTF-8 without a label"},
    {"", "\x95\x5C\x8E\xA6", "表示", "code page 932 without a label"},
    {"", "\x1B$BI=\x1B(B", "表", "ISO-2022-JP without a label"},
    {"x-unknown", "\x95\x5C", "表", "unknown"},
    {"//IGNORE/../x", "\x95\x5C", "表", "a name that must not reach the system"},
    {"", "\xA4\xAB\xA4\xCA", "かな", "EUC-JP without a label"},
    {"shift_jis", "\xB1\xB2\xA4\xB3", "ｱｲ､ｳ", "katakana and a comma, which may be EUC-JP's"},
    {"iso-8859-1", "it\x92s\x97so", "it’s―so", "western signs, which may be lead bytes"},
    {"windows-1251", "\xEF\xF0\xE8\xE2\xE5\xF2", "привет", "letters, which may be kanji"},
    {"big5", "\xA4\xA4\xA4\xDF", "中心", "hanzi, which may be kana"},
    {"utf-8", "日\xE6\x9C", "日?", "a character cut"},
    {"", "日本\xE6\x9C", "日本?", "the same without a label"},
    {"", "\xEA\x8E\x93\x63", "齊田", "kanji, which may be a character of UTF-8"},
    {"", "日本\xE6.xls", "日本?.xls", "a name cut before its ending"},
    {"", "it\xE2\x80\x99s", "it’s", "a character of UTF-8, which may be kanji"},
    {"koi8_r", "\xC1", "а", "an underscore in the name"},
    {"utf-8", "a\0b"s, "a\0b", "NUL is kept"},
};

TEST(Charset, TextComesOutInCodePage932) {
  for (const Case& row : CASES) {
    std::string wanted =
        CodePageConverter().FromUtf16(Utf16FromUtf8(row.wanted), CODE_PAGE_JAPANESE);
    if (row.bytes == "a\0b"s) wanted = row.bytes;  // a C string cannot say it
    EXPECT_EQ(wanted, ToCodePage932(row.bytes, row.charset)) << row.charset << ": " << row.why;
  }
}

// Bytes by Python's codecs iso2022_jp_2, euc_jp and cp1252.
TEST(Charset, EveryLetterComesOutInUtf8) {
  const Case cases[] = {
      {"iso-2022-jp-2", "\x1B$(D+1\x1B(B\x1B$(CGQ\x1B(B\x1B$A<r\x1B(B", "é한简", "é, 한, 简"},
      {"iso-2022-jp-2", "\x1B.AcafN \x1B.F\x1BNa", "cafN α", "single shifts"},
      {"euc-jp", "\x8F\xAB\xB1\x8F\xB0\xA1\xFF", "é丂\uFFFD", "JIS X 0212, damage"},
      {"iso-2022-jp", "\x1B$BI=<", "表\uFFFD", "damage"},
      {"big5", "\xA4\xE9\xFF", "日\uFFFD", "damage for the system"},
      {"", "r\xE9sum\xE9, Verl\xE4sslich", "résumé, Verlässlich", "western letters"},
      {"utf-8", "caf\xE9s", "cafés", "the same under UTF-8"},
      {"", "PC\xC5\xDD", "PCﾅﾝ", "katakana after a word"},
      {"", "\xC6\xFC\xCB\xDC", "ﾆ\uFFFDﾜ", "too few kana for EUC-JP"},
  };
  for (const Case& row : cases)
    EXPECT_EQ(row.wanted, ToUtf8(row.bytes, row.charset)) << row.charset << ": " << row.why;
}

}  // namespace
}  // namespace nimport::text
