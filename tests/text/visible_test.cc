#include "text/visible.h"

#include <gtest/gtest.h>

namespace nimport::text {
namespace {

TEST(Visible, EveryCharacterThatWouldNotBeSeen) {
  const struct {
    std::string_view text;
    const char* line;
    const char* lines;
    const char* why;
  } cases[] = {
      {{"\0\x1B\x7F", 3}, "␀␛␡", "␀␛␡", "control characters"},
      {"a\r\nb\tc\rd\n", "a␍␊b␉c␍d␊", "a\nb\tc␍d\n", "line ends and tabs"},
      {"\u0080\u009B2m\u009F", "<U+0080><U+009B>2m<U+009F>", "<U+0080><U+009B>2m<U+009F>", "C1"},
      {"\u202Efwp.exe\u2066\u2069\u2028", "<U+202E>fwp.exe<U+2066><U+2069><U+2028>",
       "<U+202E>fwp.exe<U+2066><U+2069><U+2028>", "the direction of writing"},
      {"あ\u00A0é\U0001F600\u2027\u206A", "あ\u00A0é\U0001F600\u2027\u206A",
       "あ\u00A0é\U0001F600\u2027\u206A", "all others stay"},
      {"\x9B\xC2", "\uFFFD\uFFFD", "\uFFFD\uFFFD", "bytes that a terminal may take for C1"},
      {"\xC0\x9B\xE0\x82\x9B", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD", "\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD",
       "forms that are too long"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Visible(c.text), c.line) << c.why;
    EXPECT_EQ(VisibleLines(c.text), c.lines) << c.why;
  }
  EXPECT_EQ(VisibleJson("{\n\"a\": \"\u009B\x7F\u202E\u00A0\"}"),
            "{\n\"a\": \"\\u009b\\u007f\\u202e\u00A0\"}");
}

TEST(CutToColumns, TextsThatDoAndDoNotFit) {
  const struct {
    const char* text;
    std::size_t columns;
    const char* wanted;
  } cases[] = {{"", 0, ""},
               {"abcd", 4, "abcd"},
               {"abcde", 4, "a..."},
               {"あいう", 6, "あいう"},
               {"あいう", 5, "あ..."},
               {"aあいう", 6, "aあ..."},
               {"あいう", 4, "..."},
               {"abcd", 2, ".."},
               {"éééé", 4, "éééé"},
               {"␛␛", 3, "..."},
               {"abc", 0, ""}};
  for (const auto& c : cases)
    EXPECT_EQ(CutToColumns(c.text, c.columns), c.wanted) << c.text << c.columns;
}

}  // namespace
}  // namespace nimport::text
