#include "text/charset_label.h"

#include <string>

#include <gtest/gtest.h>

namespace nimport::text {
namespace {

// Whether Python's codecs of the same names, in strict mode, read the bytes as they were meant.
TEST(CharsetLabel, LooseAndFalseOnes) {
  constexpr LabelTruth TRUE = LabelTruth::True;
  constexpr LabelTruth LOOSE = LabelTruth::Loose;
  constexpr LabelTruth FALSE = LabelTruth::False;
  const struct {
    const char* charset;
    std::string bytes;
    LabelTruth wanted;
    const char* why;
  } cases[] = {
      {"", "plain", TRUE, "ASCII needs no label"},
      {"x-nonsense", "plain", TRUE, "and is hurt by none"},
      {"", "\x1B[0m", TRUE, "an escape that designates nothing"},
      {"", "\xE8\xA1\xA8", FALSE, "8-bit text without a label"},
      {"us-ascii", "\x1B$BI=\x1B(B", FALSE, "ISO-2022-JP under ASCII"},
      {"ISO-2022-JP", "\x1B$BI=\x1B(B \x1B$@I=\x1B(J", TRUE, "both years' sets"},
      {"iso-2022-jp", "\x1B$B-!\x1B(B", LOOSE, "NEC's circled 1"},
      {"iso-2022-jp", "\x1B$By!\x1B(B", LOOSE, "IBM's kanji where NEC has them"},
      {"iso-2022-jp", "\x1B(I1\x1B(B", LOOSE, "single-byte katakana"},
      {"iso-2022-jp", "\x1B$BI=\r\n", LOOSE, "a line end within the double bytes"},
      {"iso-2022-jp", "\x95\x5C\x8E\xA6", FALSE, "code page 932 under it"},
      {"iso-2022-jp*ja", "\x1B$BI=\x1B(B", TRUE, "with a language"},
      {"iso-2022-jp-1", "\x1B$BI=\x1B(B", LOOSE, "a name that few know"},
      {"Shift_JIS", "\x95\x5C\xB1 \x88\x9F\xEA\xA4\x84\xBE", TRUE, "first and last rows, katakana"},
      {"Shift_JIS", "\x87\x40", LOOSE, "NEC's circled 1"},
      {"Shift_JIS", "\xFB\xFC", LOOSE, "IBM's kanji"},
      {"Shift_JIS", "\x95\x5C\x95", TRUE, "a cut character is garbled by nobody else"},
      {"windows-31j", "\x87\x40\xFB\xFC", TRUE, "Microsoft's own name"},
      {"x-sjis", "\x95\x5C", LOOSE, "a name that few know"},
      {"euc-jp", "\xC9\xBD\x8E\xB1\xC9\xBD\x8F\xB0\xC8\xC9\xBD", TRUE, "katakana and JIS X 0212"},
      {"euc-jp", "\xAD\xA1", LOOSE, "NEC's circled 1"},
      {"utf-8", "\xE8\xA1\xA8", TRUE, "true"},
      {"utf-8", "\x95\x5C\x8E\xA6\x82\xF0", FALSE, "code page 932 under it"},
      {"iso-8859-1", "caf\xE9", TRUE, "Latin-1"},
      {"iso-8859-1", "\x93q\x94", LOOSE, "Microsoft's quotation marks"},
      {"gb2312", "\xC8\xD5\xB1\xBE", TRUE, "Chinese"},
      {"gb2312", "\x81\x40\xC8\xD5\xB1\xBE", LOOSE, "a letter of its superset"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(JudgeLabel(c.bytes, c.charset), c.wanted) << c.charset << ": " << c.why;
}

}  // namespace
}  // namespace nimport::text
