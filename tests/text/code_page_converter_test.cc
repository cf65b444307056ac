#include "text/code_page_converter.h"

#include <string>

#include <gtest/gtest.h>

#include "text/code_page_932.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

const CodePageConverter TEXT;

std::string Hex(std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) {
    constexpr const char* DIGITS = "0123456789ABCDEF";
    hex += DIGITS[static_cast<unsigned char>(byte) >> 4];
    hex += DIGITS[byte & 15];
  }
  return hex;
}

// Characters that Microsoft's code page 932 and JIS's Shift_JIS place differently, or that only
// Microsoft has. From Microsoft's published table of the code page.
TEST(CodePageConverter, CodePage932IsMicrosofts) {
  const struct {
    std::string bytes;
    char16_t unit;
    const char* why;
  } CASES[] = {
      {"\x5C", 0x005C, "no yen sign"},
      {"\x7E", 0x007E, "no overline"},
      {"\x80", 0x0080, "kept"},
      {"\xA0", 0x00A0, "kept"},
      {"\xB1", 0xFF71, "single-byte katakana"},
      {"\xFD", 0xF8F1, "private use"},
      {"\xFE", 0xF8F2, "private use"},
      {"\xFF", 0xF8F3, "private use"},
      {"\x81\x5C", 0x2015, "horizontal bar, not em dash"},
      {"\x81\x5F", 0xFF3C, "full-width reverse solidus"},
      {"\x81\x60", 0xFF5E, "full-width tilde, not wave dash"},
      {"\x81\x61", 0x2225, "parallel to"},
      {"\x81\x7C", 0xFF0D, "full-width minus"},
      {"\x81\x91", 0xFFE0, "cent"},
      {"\x81\x92", 0xFFE1, "pound"},
      {"\x81\xCA", 0xFFE2, "not sign"},
      {"\x81\xE0", 0x2252, "JIS place, not NEC's 8790"},
      {"\x81\xE6", 0x2235, "JIS place, not NEC's 879A or IBM's FA5B"},
      {"\x87\x40", 0x2460, "NEC row 13"},
      {"\x87\x54", 0x2160, "NEC's capital Roman numerals, not IBM's FA4A"},
      {"\x87\x8A", 0x3231, "NEC's, not IBM's FA58"},
      {"\x90\xE0", 0x8AAC, "an ordinary kanji"},
      {"\xF0\x40", 0xE000, "first user-defined character"},
      {"\xF9\xFC", 0xE757, "last user-defined character"},
      {"\xFA\x40", 0x2170, "IBM's small Roman numerals, not NEC's EEEF"},
      {"\xFA\x55", 0xFFE4, "broken bar"},
      {"\xFA\xD0", 0x663B, "IBM's, not NEC's EDB4"},
      {"\xFB\xFC", 0x9AD9, "IBM's, not NEC's EEE0"},
      {"\xFC\x4B", 0x9ED1, "last IBM character"},
  };
  for (const auto& row : CASES) {
    EXPECT_EQ(TEXT.ToUtf16Strict(row.bytes, 932), std::u16string(1, row.unit)) << row.why;
    EXPECT_EQ(Hex(TEXT.FromUtf16({&row.unit, 1}, 932)), Hex(row.bytes)) << row.why;
    EXPECT_EQ(Utf8FromCodePage932(row.bytes), Utf8FromUtf16({&row.unit, 1})) << row.why;
  }
}

TEST(CodePageConverter, EveryDoubleByteCodeSurvivesTheRoundTripButForDuplicates) {
  int defined = 0;
  int duplicates = 0;
  for (unsigned code = 0x8140; code <= 0xFCFC; ++code) {
    const std::string bytes{static_cast<char>(code >> 8), static_cast<char>(code)};
    const auto utf16 = TEXT.ToUtf16Strict(bytes, 932);
    if (!utf16 || utf16->size() != 1) continue;
    ++defined;
    const std::string back = TEXT.FromUtf16(*utf16, 932);
    if (back == bytes) continue;
    ++duplicates;
    EXPECT_EQ(TEXT.ToUtf16Strict(back, 932), utf16) << Hex(bytes);
    const unsigned row = code >> 8;
    EXPECT_TRUE(row == 0x87 || row == 0xED || row == 0xEE || (code >= 0xFA4A && code <= 0xFA5B))
        << Hex(bytes);
  }
  // 7724 characters and 1880 places for user-defined ones; Microsoft counts 398 codes that do not
  // come back.
  EXPECT_EQ(defined, 7724 + 1880);
  EXPECT_EQ(duplicates, 398);
}

TEST(CodePageConverter, WhatCodePage932LacksBecomesItsLikenessOrAQuestionMark) {
  const struct {
    std::u16string text;
    std::string bytes;
  } CASES[] = {
      {u"\u301C\u2016\u2212", "\x81\x60\x81\x61\x81\x7C"},
      {u"\u00A2\u00A3\u00AC\u2014", "\x81\x91\x81\x92\x81\xCA\x81\x5C"},
      {u"a\u00E9b", "a?b"},
      {u"a\U0001F600b", "a?b"},
      {std::u16string{u'a', 0xD83D}, "a?"},
      {std::u16string{0xDE00, u'b'}, "?b"},
      {std::u16string{u'\u3042', 0, u'b'}, std::string("\x82\xA0\0b", 4)},
      {u"", ""},
  };
  for (const auto& row : CASES)
    EXPECT_EQ(Hex(TEXT.FromUtf16(row.text, 932)), Hex(row.bytes));
}

TEST(CodePageConverter, DamageIsReplacedAndStrictlyRefused) {
  const struct {
    unsigned codePage;
    std::string bytes;
    std::u16string wanted;
    const char* why;
  } CASES[] = {
      {932, "a\x82", u"a\u30FB", "cut in the middle of a character"},
      {932, "\x82\n\x82\xA0", u"\u30FB\n\u3042", "a line end is never swallowed"},
      {932, std::string("\x82\0x", 3), std::u16string(u"\u30FB\0x", 3), "nor a NUL"},
      {932, "\x85\x40z", u"\u30FBz", "an undefined code is one character"},
      {1253, "\xD2q", u"\uFFFDq", "undefined in the Greek code page"},
      {949, "\xB0", u"\uFFFD", "cut"},
      {65001, "\xE3\x81q", u"\uFFFDq", "the letter after it is kept"},
  };
  for (const auto& row : CASES) {
    EXPECT_EQ(TEXT.ToUtf16(row.bytes, row.codePage), row.wanted) << row.why;
    EXPECT_EQ(TEXT.ToUtf16Strict(row.bytes, row.codePage), std::nullopt) << row.why;
  }
}

// What damage becomes on the way to UTF-8.
TEST(CodePage932, AsUtf8) {
  EXPECT_EQ(Utf8FromCodePage932("\x95\x5C"
                                "a\x81"),
            "\u8868a\uFFFD")
      << "a lead byte at the end";
  EXPECT_EQ(Utf8FromCodePage932("\x81\x20z"), "\uFFFD z") << "without a second one";
  EXPECT_EQ(Utf8FromCodePage932("\x85\x40z"), "\uFFFDz") << "an undefined code";
}

TEST(CodePageConverter, KnowsTheCodePagesOfOldDatabases) {
  const struct {
    unsigned codePage;
    std::string bytes;
    std::u16string text;
  } CASES[] = {
      {437, "\x80", u"\u00C7"},
      {850, "\xD5", u"\u0131"},
      {852, "\xA5", u"\u0105"},
      {866, "\x80", u"\u0410"},
      {874, "\xA1", u"\u0E01"},
      {936, "\xB0\xA1", u"\u554A"},
      {949, "\xB0\xA1", u"\uAC00"},
      {950, "\xA4\x40", u"\u4E00"},
      {1250, "\x9C", u"\u015B"},
      {1251, "\xC0", u"\u0410"},
      {1252, "\x80\xE9", u"\u20AC\u00E9"},
      {1252, "\x81\x8D\x8F\x90\x9D", u"\u0081\u008D\u008F\u0090\u009D"},
      {1253, "\xC1", u"\u0391"},
      {1254, "\xFD", u"\u0131"},
      {1255, "\xE0", u"\u05D0"},
      {1256, "\xC7", u"\u0627"},
      {1257, "\xE0", u"\u0105"},
      {1258, "\xFE", u"\u20AB"},
      {65001, "\xE3\x81\x82\xF0\x9F\x98\x80", u"\u3042\U0001F600"},
      {0, "\xE9", u"\u00E9"},
      {54321, "\xE9", u"\u00E9"},
  };
  for (const auto& row : CASES) {
    EXPECT_EQ(TEXT.ToUtf16Strict(row.bytes, row.codePage), row.text) << row.codePage;
    EXPECT_EQ(TEXT.FromUtf16(row.text, row.codePage), row.bytes) << row.codePage;
  }
}

}  // namespace
}  // namespace nimport::text
