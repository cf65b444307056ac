// Transfer encodings, and header fields and texts as this library writes them. Another library,
// GMime, reads what is written.
#include <algorithm>
#include <array>
#include <random>
#include <string>

#include <gmime/gmime.h>
#include <gtest/gtest.h>

#include "mime/header_encoding.h"
#include "mime/text_part.h"
#include "mime/transfer_encoding.h"

namespace nimport::mime {
namespace {

using namespace std::string_literals;

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

std::size_t LongestLine(const std::string& text, std::size_t column = 0) {
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

constexpr TransferEncoding BASE64 = TransferEncoding::Base64;
constexpr TransferEncoding QUOTED = TransferEncoding::QuotedPrintable;
constexpr TransferEncoding UU = TransferEncoding::Uuencode;

TEST(TransferDecoder, StepsOverDamage) {
  const struct {
    TransferEncoding encoding;
    std::string encoded, wanted;
    const char* why;
  } cases[] = {
      {BASE64, "QUJD\r\nREVG\r\n", "ABCDEF", "line ends"},
      {BASE64, "Q U!J-D", "ABC", "stray characters within a group"},
      {BASE64, "QUJDRA==", "ABCD", "padding"},
      {BASE64, "QUJDRA", "ABCD", "no padding"},
      {BASE64, "QUJDREU=", "ABCDE", "one byte of padding"},
      {BASE64, "QUJDR", "ABC", "a character that is no byte"},
      {BASE64, "QUJDRA==\r\n-- \r\nA list", "ABCD", "text of a mailing list after the padding"},
      {BASE64, "QUJD=REVG", "ABCDEF", "'=' where no padding can be"},
      {QUOTED, "a=E3=81=82=3d", "aあ=", "escapes of either letter case"},
      {QUOTED, "soft=\r\nline=\nends=  \t\r\n.", "softlineends.", "soft line ends"},
      {QUOTED, "blank \r\nstays", "blank \r\nstays", "a blank before a line end"},
      {QUOTED, "a=b==41=4", "a=b=A=4", "'=' that begins no escape"},
      {QUOTED, "a=\rb", "a=\rb", "a bare CR is no line end"},
      {QUOTED, "end=", "end", "a soft line end where the text ends"},
      {QUOTED, "end=  ", "end", "the same with blanks"},
      {UU, "begin 644 a\r\n#0T%4\r\n`\r\nend\r\nmore", "CAT", "what follows the end"},
      {UU, "text\nbegin 644 a\n#0T%4\nend\n", "CAT", "what precedes the beginning, no empty line"},
      {UU, "#0T%4\n", "CAT", "no line that begins it"},
      {UU, "begin 644 a\n&0T%4\n#0T%4x\n", "CAT\0\0\0CAT"s, "a line cut short, one too long"},
      {TransferEncoding::Identity, "=41", "=41", "nothing to decode"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DecodeTransfer(c.encoding, c.encoded), c.wanted) << c.why;
  }
}

// In pieces as in one, and never more than was announced.
TEST(TransferDecoder, PiecesAreTheWhole) {
  std::mt19937 random(7);
  for (int i = 0; i < 2000; ++i) {
    constexpr std::string_view CHARACTERS = "M`AZaz09+/#!= \t\r\n\n";
    std::string encoded = i % 2 == 0 ? "begin 644 a\n" : "";
    for (std::size_t size = random() % 300; size > 0; --size)
      encoded += CHARACTERS[random() % CHARACTERS.size()];
    for (const TransferEncoding encoding : {BASE64, QUOTED, UU, TransferEncoding::Identity}) {
      TransferDecoder decoder(encoding, encoded);
      const std::size_t announced = decoder.MaxSize();
      std::string joined;
      // A room of any size, and a guard after it.
      std::string piece(TransferDecoder::MIN_ROOM + random() % 8, '\0');
      constexpr std::string_view GUARD = "guard";
      const std::size_t room = piece.size();
      piece += GUARD;
      while (const std::size_t size = decoder.Read({piece.data(), room}))
        joined.append(piece.data(), size);
      ASSERT_EQ(piece.substr(room), GUARD) << encoded;
      ASSERT_EQ(joined, DecodeTransfer(encoding, encoded)) << encoded;
      ASSERT_LE(joined.size(), announced) << encoded;
    }
  }
}

std::string DecodeByGMime(GMimeContentEncoding encoding, const std::string& encoded) {
  GMimeEncoding state;
  g_mime_encoding_init_decode(&state, encoding);
  std::string decoded(g_mime_encoding_outlen(&state, encoded.size()), '\0');
  decoded.resize(g_mime_encoding_step(&state, encoded.data(), encoded.size(), decoded.data()));
  return decoded;
}

TEST(EncodeTransfer, ReadersGetTheVeryBytes) {
  std::mt19937 random(7);
  const std::string TEXT = "abc =\t.\r\n\xE3\x81\x82";
  for (int i = 0; i < 2000; ++i) {
    std::string bytes;
    for (std::size_t size = random() % 300; size > 0; --size)
      bytes += i % 2 == 0 ? static_cast<char>(random()) : TEXT[random() % TEXT.size()];
    ASSERT_EQ(DecodeByGMime(GMIME_CONTENT_ENCODING_BASE64, EncodeBase64Line(bytes)), bytes);
    const std::string lines = EncodeBase64Lines(bytes);
    ASSERT_EQ(DecodeByGMime(GMIME_CONTENT_ENCODING_BASE64, lines), bytes);
    ASSERT_LE(LongestLine(lines), 76u) << lines;
    Base64Encoder encoder(bytes);
    ASSERT_EQ(encoder.Size(), lines.size());
    std::string joined;
    std::array<char, Base64Encoder::MIN_ROOM + 1> piece;
    while (const std::size_t size = encoder.Read(piece))
      joined.append(piece.data(), size);
    ASSERT_EQ(joined, lines);
    const std::string quoted = EncodeQuotedPrintable(bytes);
    ASSERT_LE(LongestLine(quoted), 76u) << quoted;
    std::string text;
    for (const char character : bytes) {
      if (character == '\n' && !text.ends_with('\r')) text += '\r';
      text += character;
    }
    ASSERT_EQ(DecodeByGMime(GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE, quoted), text);
  }
}

}  // namespace
}  // namespace nimport::mime
