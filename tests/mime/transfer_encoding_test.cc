#include "mime/transfer_encoding.h"

#include <array>
#include <random>
#include <string>

#include <gmime/gmime.h>
#include <gtest/gtest.h>

namespace nimport::mime {
namespace {

using namespace std::string_literals;

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

std::size_t LongestLine(const std::string& text) {
  std::size_t longest = 0, size = 0;
  for (const char character : text) {
    size = character == '\n' ? 0 : size + 1;
    longest = std::max(longest, size);
  }
  return longest;
}

// Another library reads what is written here.
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
    ASSERT_LE(LongestLine(lines), 77u) << lines;
    Base64Encoder encoder(bytes);
    ASSERT_EQ(encoder.Size(), lines.size());
    std::string joined;
    std::array<char, Base64Encoder::MIN_ROOM + 1> piece;
    while (const std::size_t size = encoder.Read(piece))
      joined.append(piece.data(), size);
    ASSERT_EQ(joined, lines);
    const std::string quoted = EncodeQuotedPrintable(bytes);
    ASSERT_LE(LongestLine(quoted), 77u) << quoted;
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
