#include "store/mails/mail_text.h"

#include <vector>

#include <gtest/gtest.h>

#include "common/failure.h"
#include "store/folder_name.h"

namespace nimport::store {
namespace {

std::vector<std::string> ReadAllLines(std::string_view text) {
  std::vector<std::string> lines;
  std::size_t position = 0;
  while (const auto line = text::ReadTextLine(text, position))
    lines.emplace_back(*line);
  EXPECT_EQ(position, text.size());
  return lines;
}

std::string Bytes(std::size_t count) {
  return std::string(count, 'x');
}

TEST(ReadTextLine, SplitsTexts) {
  using std::string_literals::operator""s;
  struct Case {
    std::string text;
    std::vector<std::string> wanted;
    const char* why;
  };
  const Case cases[] = {
      {"", {}, "nothing to read"},
      {"x\r\ny", {"x", "y"}, "the last line needs no end"},
      {"x\ny\n", {"x", "y"}, "bare LF"},
      {"\r\n\r\n", {"", ""}, "empty lines"},
      {"x\ry\r\r\nz", {"x\ry\r", "z"}, "only the CR before the LF belongs to the end"},
      {"x\r", {"x\r"}, "a CR without LF is part of the line"},
      {"x\x1Ay", {"x", "y"}, "0x1A ends a line"},
      {"x\r\x1Ay\x1A\n", {"x\r", "y", ""}, "0x1A takes no CR or LF with it"},
      {"a\0b\nc"s, {"a", "c"}, "NUL hides the rest of its line"},
      {Bytes(4094) + "\r\ny", {Bytes(4094), "y"}, "fits with its CR"},
      {Bytes(4095) + "\ny", {Bytes(4095), "y"}, "just fits"},
      {Bytes(4095), {Bytes(4095)}, "just fits, without an end"},
      {Bytes(4096) + "\ny", {Bytes(4095), "x", "y"}, "one byte too long"},
      {Bytes(5000), {Bytes(4095), Bytes(905)}, "cut, without an end"},
      {Bytes(4095) + "\x1A" + "y", {Bytes(4095), "y"}, "just fits before 0x1A"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(ReadAllLines(c.text), c.wanted) << c.why;
  std::size_t position = 7;
  EXPECT_FALSE(text::ReadTextLine("abc", position)) << "beyond the text";
  EXPECT_EQ(position, 7U);
}

TEST(FindHeaderLine, FindsTheFirstLineOfTheField) {
  struct Case {
    FieldSelector selector;
    std::string_view text;
    std::optional<std::string_view> wanted;
    const char* why;
  };
  const std::optional<std::string_view> none;
  const Case cases[] = {
      {FieldSelector::Subject, "subject: Hi", " Hi", "letter case, and the blank stays"},
      {FieldSelector::Subject, "Subject : Hi\r\n", none, "blank before the colon"},
      {FieldSelector::Subject, " Subject: Hi\r\n", none, "blank before the name"},
      {FieldSelector::Subject, "X-Subject: Hi\r\n", none, "only the end of a name"},
      {FieldSelector::Subject, "Subject\r\n: Hi\r\n", none, "no colon on the line"},
      {FieldSelector::Subject, "Subject:", "", "nothing after the colon"},
      {FieldSelector::Subject, "Subject: a\r\n b\r\nSubject: c\r\n", " a", "first one, unfolded"},
      {FieldSelector::To, "From: y\r\n\r\nTo: x\r\n", " x", "body lines count"},
      {FieldSelector::To, "From: y\x1ATo: x\x1A", " x", "0x1A ends lines"},
      {FieldSelector::From, "Subject: From: x\nFROM:a:b\n", "a:b", "the first colon"},
      {FieldSelector::MessageId, "Message-ID: <1@a>\n", " <1@a>", "letter case"},
      {FieldSelector::Date, "date:x", "x", "date"},
      {FieldSelector::ContentType, "Content-type: a/b; c\r\n", " a/b; c", "content type"},
      {static_cast<FieldSelector>(5), ": x\nSubject: y\n", none, "no such field"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(FindHeaderLine(c.text, c.selector), c.wanted) << c.why;
  const std::string cut = "X-Filler: " + Bytes(text::MAX_LINE_BYTES - 10) + "To: hidden\r\n";
  EXPECT_EQ(FindHeaderLine(cut, FieldSelector::To), " hidden") << "the rest of a cut line is one";
}

TEST(GetHeaderLine, TellsAnEmptyTextFromOneWithoutTheField) {
  const std::pair<const char*, ResultCode> cases[] = {{"", RESULT_DATABASE},
                                                      {"From: x\r\n", RESULT_INVALID}};
  for (const auto& [text, code] : cases) {
    try {
      ADD_FAILURE() << GetHeaderLine(text, FieldSelector::Subject);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), code) << text;
    }
  }
  EXPECT_EQ(GetHeaderLine("Subject: x\r\n", FieldSelector::Subject), " x");
}

TEST(NormalizeLineEnds, WritesCrBeforeEachBareLf) {
  using std::string_literals::operator""s;
  struct Case {
    std::string text;
    std::string wanted;
  };
  const Case cases[] = {
      {"", ""},
      {"abc", "abc"},
      {"\n", "\r\n"},
      {"a\nb", "a\r\nb"},
      {"a\r\nb\n", "a\r\nb\r\n"},
      {"x\ny\r\nz", "x\r\ny\r\nz"},
      {"\n\n\r\n\n", "\r\n\r\n\r\n\r\n"},
      {"a\rb\r", "a\rb\r"},
      {"a\r\r\n", "a\r\r\n"},
      {"a\0\nb"s, "a\0\r\nb"s},
      {"a\x1A\n", "a\x1A\r\n"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(NormalizeLineEnds(c.text), c.wanted) << c.wanted;
}

TEST(EscapeFolderName, EscapesThreeCharactersAndCuts) {
  const auto repeat = [](const std::string& text, int count) {
    std::string repeated;
    for (int i = 0; i < count; ++i)
      repeated += text;
    return repeated;
  };
  const std::string kanji = "\x95\x5C";
  const struct {
    std::string name;
    std::string wanted;
    const char* why;
  } cases[] = {
      {"", "", "empty"},
      {"plain 100%", "plain 100%", "the escape character is not escaped"},
      {"a/b#1", "a%2fb%231", "two of them"},
      {"\\\\", "%5c%5c", "backslashes"},
      {"\x83\x5C\x83\x74\x83\x67", "\x83\x5C\x83\x74\x83\x67", "second byte 5C"},
      {"\x95\x5C/\x95\x5C\\", "\x95\x5C%2f\x95\x5C%5c", "second bytes and real ones"},
      {"\xB1/\xDF\\", "\xB1%2f\xDF%5c", "half-width katakana are one byte"},
      {"\xFC#/", "\xFC#%2f", "the last lead byte takes what follows it"},
      {"a\x81", "a\x81", "a lead byte at the end"},
      {std::string(259, '#'), repeat("%23", 173), "519 bytes"},
      {"ab" + std::string(257, '/'), "ab" + repeat("%2f", 172), "cut at a whole escape"},
      {std::string(172, '#') + repeat(kanji, 43), repeat("%23", 172) + kanji, "or character"},
  };
  for (const auto& c : cases)
    EXPECT_EQ(EscapeFolderName(c.name), c.wanted) << c.why;
}

}  // namespace
}  // namespace nimport::store
