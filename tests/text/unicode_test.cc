#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text/modified_utf7.h"
#include "text/utf16.h"
#include "text/utf8.h"

namespace nimport::text {
namespace {

TEST(Utf8, EachCharacterAndEachPieceOfDamageIsTakenOnce) {
  constexpr char32_t D = DAMAGED_UTF8;
  const struct {
    std::string bytes;
    std::vector<char32_t> wanted;
    const char* why;
  } CASES[] = {
      {{"\0a\x7F", 3}, {0, U'a', 0x7F}, "ASCII"},
      {"\u0080\u07FF", {0x80, 0x7FF}, "two bytes"},
      {"\u0800表\uFFFD\uFFFF", {0x800, U'表', 0xFFFD, 0xFFFF}, "three bytes"},
      {"\uD7FF\uE000", {0xD7FF, 0xE000}, "beside the surrogates"},
      {"\U00010000\U0010FFFF", {0x10000, 0x10FFFF}, "four bytes"},
      {"\x80\xBF", {D, D}, "continuation bytes alone"},
      {"\xC0\xAF\xC1\xBF", {D, D, D, D}, "longer than need be"},
      {"\xE0\x9F\xBF", {D, D, D}, "likewise"},
      {"\xF0\x8F\xBF\xBF", {D, D, D, D}, "likewise"},
      {"\xED\xA0\x80", {D, D, D}, "a surrogate"},
      {"\xF4\x90\x80\x80", {D, D, D, D}, "beyond Unicode"},
      {"\xF5\xFE\xFF", {D, D, D}, "bytes that are never used"},
      {"\xE8\xA1", {D}, "cut at the end"},
      {"\xF0\x9F\x98x", {D, U'x'}, "cut before another character"},
      {"\xE8表", {D, U'表'}, "a lead byte before another"},
  };
  for (const auto& row : CASES) {
    std::vector<char32_t> taken;
    for (std::string_view rest = row.bytes; !rest.empty();)
      taken.push_back(TakeUtf8Character(rest));
    EXPECT_EQ(taken, row.wanted) << row.why;
    const bool isSound = std::ranges::find(row.wanted, D) == row.wanted.end();
    EXPECT_EQ(IsUtf8(row.bytes), isSound) << row.why;
    std::string back;
    for (const char32_t character : taken)
      AppendUtf8(character == D ? U'?' : character, back);
    EXPECT_EQ(back == row.bytes, isSound) << row.why;
  }
}

TEST(Utf8, IsCutAtAWholeCharacter) {
  const struct {
    const char* text;
    std::size_t maxBytes;
    const char* wanted;
  } CASES[] = {{"表示", 5, "表"}, {"表示", 6, "表示"}, {"表", 2, ""}, {"ab", 1, "a"}};
  for (const auto& row : CASES)
    EXPECT_EQ(CutUtf8(row.text, row.maxBytes), row.wanted) << row.text;
}

TEST(Utf16, ToUtf8AndBack) {
  EXPECT_EQ(Utf8FromUtf16(u"a表\U00020B9F"), "a表\U00020B9F");
  EXPECT_EQ(Utf16FromUtf8("a表\U00020B9F"), u"a表\U00020B9F");
  EXPECT_EQ(LittleEndianFromUtf16(u"表"), "\x68\x88");
  EXPECT_EQ(Utf16FromLittleEndian("\x68\x88\x41"), u"表");
  for (const std::u16string& lone : {std::u16string{0xD842, u'x'}, std::u16string{0xDF9F, u'x'}}) {
    EXPECT_EQ(Utf8FromUtf16(lone), "?x");
    EXPECT_EQ(Utf8FromUtf16(lone, REPLACEMENT_CHARACTER), "\uFFFDx");
  }
  bool isDamaged = false;
  EXPECT_EQ(Utf16FromUtf8("a\xFF", isDamaged), u"a\uFFFD");
  EXPECT_TRUE(isDamaged);
}

// The first is the example of RFC 3501.
TEST(ModifiedUtf7, NamesOfMailboxes) {
  EXPECT_EQ(ModifiedUtf7FromUtf8("~peter/mail/台北/日本語"), "~peter/mail/&U,BTFw-/&ZeVnLIqe-");
  EXPECT_EQ(ModifiedUtf7FromUtf8("R&D \U0001F600"), "R&-D &2D3eAA-");
}

}  // namespace
}  // namespace nimport::text
