#include "mkstore/encodings.h"

#include <gtest/gtest.h>

#include "jetwriter/write_error.h"

namespace nimport::mkstore {
namespace {

TEST(ToCharset, AsMailSoftwareOfTheTimeMeansThem) {
  const struct {
    const char* charset;
    const char* text;
    const char* wanted;
  } cases[] = {
      {"iso-2022-jp", "A亜B", "A\x1B$B0!\x1B(BB"},
      {"ISO-2022-JP", "①", "\x1B$B-!\x1B(B"},   // row 13
      {"iso-2022-jp", "ｱ", "\x1B(I1\x1B(B"},    // single-byte katakana
      {"iso-2022-jp", "髙", "\x1B$B|b\x1B(B"},  // IBM's, in row 92: cells EE E0
      {"iso-2022-jp", "ⅰ", "\x1B$B|q\x1B(B"},   // EE EF
      {"shift_jis", "髙①", "\xFB\xFC\x87\x40"},
      {"euc-jp", "ｱ①", "\x8E\xB1\xAD\xA1"},
      {"utf-8", "表", "表"},
      {"iso-8859-1", "é", "\xE9"},
  };
  for (const auto& row : cases)
    EXPECT_EQ(ToCharset(row.text, row.charset), row.wanted) << row.text;
  EXPECT_THROW((void)ToCharset("é", "iso-2022-jp"), jetwriter::WriteError);
  EXPECT_THROW((void)ToCharset("x", "no-such-charset"), jetwriter::WriteError);
}

TEST(Encodings, OfMailBodies) {
  EXPECT_EQ(DecodeBase64("YW\r\nI="), "ab");
  EXPECT_EQ(DecodeBase64("Y!"), std::nullopt);
  EXPECT_EQ(DecodeHex("00fF"), std::string("\x00\xFF", 2));
  EXPECT_EQ(DecodeHex("0"), std::nullopt);
  EXPECT_EQ(EncodeQuotedPrintable("a=b \r\n\xE9"), "a=3Db=20\r\n=E9");
  EXPECT_EQ(EncodeQuotedPrintable(std::string(80, 'x')),
            std::string(73, 'x') + "=\r\n" + std::string(7, 'x'));
}

TEST(ToEncodedWords, KeepsWordsWithinTheirLimit) {
  EXPECT_EQ(ToEncodedWords("亜", "iso-2022-jp", 'B'), "=?iso-2022-jp?B?GyRCMCEbKEI=?=");
  EXPECT_EQ(ToEncodedWords("é x", "iso-8859-1", 'Q'), "=?iso-8859-1?Q?=E9_x?=");
  const std::string words =
      ToEncodedWords(std::string(3 * 40, 'a') + "亜亜亜亜亜亜", "iso-2022-jp", 'B');
  for (std::size_t at = 0; at < words.size();) {
    const std::size_t end = std::min(words.find("\r\n ", at), words.size());
    EXPECT_LE(end - at, 75U);
    at = end + 3;
  }
}

}  // namespace
}  // namespace nimport::mkstore
