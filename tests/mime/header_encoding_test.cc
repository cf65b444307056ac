#include "mime/header_encoding.h"

#include <string>

#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include "mime/text_part.h"

namespace nimport::mime {
namespace {

std::string Repeat(const std::string& text, int times) {
  std::string out;
  for (int i = 0; i < times; ++i)
    out += text;
  return out;
}

std::string Unfold(std::string text) {
  for (std::size_t at; (at = text.find("\r\n")) != std::string::npos;)
    text.erase(at, 2);
  return text;
}

std::size_t LongestLine(const std::string& text, std::size_t column) {
  std::size_t longest = 0;
  std::size_t length = column;
  for (const char character : text) {
    if (character == '\n') length = 0;
    if (character != '\r' && character != '\n') longest = std::max(longest, ++length);
  }
  return longest;
}

std::string DecodeHeader(const std::string& text) {
  g_mime_init();
  gchar* const decoded = g_mime_utils_header_decode_text(nullptr, Unfold(text).c_str());
  std::string out = decoded;
  g_free(decoded);
  return out;
}

TEST(EncodeHeaderText, ReadersSeeTheVeryText) {
  const std::string texts[] = {
      "",
      "plain",
      "Re: plain (text); with, specials",
      Repeat("words and ", 50) + "end",
      Repeat("x", 2000),
      "例会",
      Repeat("能登十景①", 60),
      Repeat("a表", 200),
      "=?UTF-8?B?looks like a word?=",
      "two  blanks  inside",
  };
  for (const std::string& text : texts) {
    const std::string encoded = EncodeHeaderText(text, 9);
    EXPECT_EQ(DecodeHeader(encoded), text);
    const bool hasWords = encoded.find("=?UTF-8") == 0;
    EXPECT_LE(LongestLine(encoded, 9), hasWords ? 76U : 998U) << text;
  }
}

TEST(EncodeHeaderText, NothingCanBeSmuggledIn) {
  EXPECT_EQ(EncodeHeaderText("a\r\nBcc: x", 9), "a  Bcc: x");
  EXPECT_EQ(DecodeHeader(EncodeHeaderText("表\r\nBcc: x", 9)), "表  Bcc: x");
  EXPECT_EQ(EncodePhrase("a\nb", 6), "a b");
}

// Another library reads both forms of a name back.
TEST(EncodeParameter, ReadersSeeTheVeryName) {
  g_mime_init();
  const std::string names[] = {
      "README",
      "a b.txt",
      "say \"no\" \\.txt",
      "十月ソース予定表.XLS",
      "=?UTF-8?B?4Q?=.txt",
      Repeat("報告①", 20) + ".DOC",
      Repeat("100%", 40) + ".DOC",
      Repeat("a", 190) + ".lzh",
  };
  for (const std::string& name : names) {
    const std::string parameter = EncodeParameter("filename", name);
    const std::string words = EncodeWordParameter("name", name);
    EXPECT_LE(LongestLine(parameter, 0), 78U) << parameter;
    GMimeContentDisposition* const disposition =
        g_mime_content_disposition_parse(nullptr, ("attachment" + parameter).c_str());
    EXPECT_EQ(name, g_mime_content_disposition_get_parameter(disposition, "filename")) << parameter;
    g_object_unref(disposition);
    GMimeContentType* const type =
        g_mime_content_type_parse(nullptr, ("application/x-a" + words).c_str());
    EXPECT_EQ(name, g_mime_content_type_get_parameter(type, "name")) << words;
    g_object_unref(type);
  }
}

TEST(EncodeParameters, GivesEachParameterItsForm) {
  const std::string boundary = Repeat("=_x", 23);
  EXPECT_EQ(
      EncodeParameters("multipart/mixed",
                       {{"charset", "utf-8"},
                        {"boundary", boundary},
                        {"na*me", "件"},
                        {"**", "no name"},
                        {"title", "a \"b\"\r\nX: c"},
                        {"format", "flowed"},
                        {"x", ""}},
                       14),
      "multipart/mixed; charset=utf-8;\r\n boundary=\"" + boundary +
          "\";\r\n name*=UTF-8''%E4%BB%B6;\r\n title=\"a \\\"b\\\"  X: c\"; format=flowed;\r\n"
          " x=\"\"");
}

TEST(EncodePhrase, QuotesWhatMustBeQuoted) {
  const struct {
    const char* text;
    const char* phrase;
  } cases[] = {
      {"QZB04567 Taro", "QZB04567 Taro"},
      {"Taro, the first", "\"Taro, the first\""},
      {"a \"b\" \\c", "\"a \\\"b\\\" \\\\c\""},
      {"桐谷", "=?UTF-8?B?5qGQ6LC3?="},
  };
  for (const auto& c : cases)
    EXPECT_EQ(EncodePhrase(c.text, 6), c.phrase);
}

TEST(EncodeTextPart, FormFitsTheText) {
  const struct {
    std::string text;
    const char* transferEncoding;
    const char* why;
  } cases[] = {
      {"a\r\nb", "7bit", "plain"},
      {"", "7bit", "empty"},
      {Repeat("x", 998) + "\r\n" + Repeat("y", 998), "7bit", "the longest lawful lines"},
      {Repeat("x", 999), "quoted-printable", "a line too long"},
      {"a\rb", "quoted-printable", "a CR by itself"},
      {"mostly plain text with one 表 in it, and some more", "quoted-printable", "mostly ASCII"},
      {"例会のお知らせ", "base64", "mostly not"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EncodeTextPart(c.text).transferEncoding, c.transferEncoding) << c.why;
  }
}

}  // namespace
}  // namespace nimport::mime
