#include "store/folder_name.h"

#include <gtest/gtest.h>

namespace nimport::mailstore {
namespace {

std::string Repeated(const std::string& text, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i)
    result += text;
  return result;
}

TEST(EscapeFolderName, EscapesThreeCharacters) {
  struct Case {
    std::string name;
    std::string wanted;
    const char* why;
  };
  const Case cases[] = {
      {"", "", "empty"},
      {"plain 100%", "plain 100%", "the escape character is not escaped"},
      {"a/b#1", "a%2fb%231", "two of them"},
      {"\\\\", "%5c%5c", "backslashes"},
      {"\x83\x5C\x83\x74\x83\x67", "\x83\x5C\x83\x74\x83\x67", "second byte 5C"},
      {"\x95\x5C/\x95\x5C\\", "\x95\x5C%2f\x95\x5C%5c", "second bytes and real ones"},
      {"\xB1/\xDF\\", "\xB1%2f\xDF%5c", "half-width katakana are one byte"},
      {"\xFC#/", "\xFC#%2f", "the last lead byte takes what follows it"},
      {"a\x81", "a\x81", "a lead byte at the end"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(EscapeFolderName(c.name), c.wanted) << c.why;
}

TEST(EscapeFolderName, CutsAtAWholeEscapeOrCharacter) {
  EXPECT_EQ(EscapeFolderName(std::string(259, '#')), Repeated("%23", 173)) << "519 bytes";
  EXPECT_EQ(EscapeFolderName("ab" + std::string(257, '/')), "ab" + Repeated("%2f", 172));
  const std::string kanji = "\x95\x5C";
  EXPECT_EQ(EscapeFolderName(std::string(172, '#') + Repeated(kanji, 43)),
            Repeated("%23", 172) + kanji);
}

}  // namespace
}  // namespace nimport::mailstore
