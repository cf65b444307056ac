#include "host/text.h"

#include <gtest/gtest.h>

namespace nimport::host {
namespace {

struct TextCase {
  std::string_view bytes;
  const char* utf8;
  const char* why;
};

TEST(Text, CodePage932IsMicrosofts) {
  // Expected values: Microsoft's table cp932.txt.
  const TextCase cases[] = {
      {"", "", "nothing"},
      {"abc\\~", "abc\\~", "the ASCII half is ASCII, no yen and no overline"},
      {"\x81\x60", "\xEF\xBD\x9E", "wave dash is U+FF5E"},
      {"\x81\x7C", "\xEF\xBC\x8D", "minus is U+FF0D"},
      {"\x87\x40", "①", "NEC row 13"},
      {"\xFB\xFC", "髙", "IBM extension"},
      {"\xEE\xE0", "髙", "the same in the NEC selection"},
      {"\xB6\xB7", "ｶｷ", "half-width katakana"},
      {"\x95\x5C\x83\x5C", "表ソ", "second bytes that look like a backslash"},
      {"a\x81", "a\xEF\xBF\xBD", "a lead byte at the end"},
      {"\x81\x20z", "\xEF\xBF\xBD z", "a lead byte without a trail byte"},
      {"\xA0\xFD", "\xC2\xA0\xEF\xA3\xB1", "single bytes that only Microsoft maps"},
  };
  for (const TextCase& c : cases)
    EXPECT_EQ(CodePage932ToUtf8(c.bytes), c.utf8) << c.why;
}

TEST(Text, LongTextIsConvertedWhole) {
  std::string bytes;
  std::string utf8;
  for (int i = 0; i < 10'000; ++i) {
    bytes += "\x95\x5C";
    utf8 += "表";
  }
  EXPECT_EQ(CodePage932ToUtf8(bytes), utf8);
}

TEST(Text, Utf16WithSurrogates) {
  EXPECT_EQ(Utf16ToUtf8(u"a表\U00020B9F"), "a表\U00020B9F");
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xD842}), "\xEF\xBF\xBD");
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xDF9F, u'x'}), "\xEF\xBF\xBDx");
  EXPECT_EQ(Utf8ToUtf16("表\U00020B9F"), u"表\U00020B9F");
  EXPECT_EQ(Utf8ToUtf16("a\xFF"), u"a\uFFFD");
}

TEST(Text, CutKeepsCharactersWhole) {
  EXPECT_EQ(CutUtf8("表示", 5), "表");
  EXPECT_EQ(CutUtf8("表示", 6), "表示");
  EXPECT_EQ(CutUtf8("表", 2), "");
}

}  // namespace
}  // namespace nimport::host
