#include "jet/format/text_decoder.h"

#include <gtest/gtest.h>

#include "jet/database_error.h"
#include "jetwriter/text_encoder.h"
#include "tests/jet/bytes.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

enum class By : std::uint8_t { Writer, Others };

TEST(TextDecoder, Jet4Texts) {
  const struct {
    const char* stored;
    const char* wanted;  // UTF-8
    const char* why;
    By by = By::Writer;  // compresses where that saves space
  } CASES[] = {
      {"", "", "empty"},
      {"FFFE", "", "compressed and empty", By::Others},
      {"61006200", "ab", "the mark takes what two characters save"},
      {"FFFE616263", "abc", "compressed ASCII"},
      {"FFFE6162636465666768696A6B6C6D6E", "abcdefghijklmn", "longer than a machine word"},
      {"4230443057302D4E", "あいし中", "Japanese: nothing to save"},
      {"FFFE636166E9", "caf\u00E9", "Latin-1, one byte a character"},
      {"FFFE636166E9002D4E", "caf\u00E9中", "two bytes a character at the end"},
      {"FFFE002D4E00616263646566", "中abcdef", "and at the beginning"},
      {"FFFE61002D4E0062", "a中b", "there and back", By::Others},
      {"FFFE6100", "a", "a switch at the end", By::Others},
      {"61006200630064006500004E", "abcde一", "a low byte of zero would switch"},
      {"FFFE00FFFE7800", "\uFEFFx", "or readers would take it for compressed"},
      {"3DD800DE", "\U0001F600", "a surrogate pair"},
  };
  const text::CodePageConverter converter;
  const TextDecoder decoder(TextForm::Utf16Le, 1252, text::CODE_PAGE_UTF8, converter);
  const auto encoder = jetwriter::TextEncoder::ForUtf16();
  for (const auto& row : CASES) {
    EXPECT_EQ(decoder.Decode(FromHex(row.stored)), row.wanted) << row.why;
    if (row.by == By::Others) continue;
    const std::string plain = encoder.Encode(row.wanted);
    EXPECT_EQ(encoder.Compress(plain).value_or(plain), FromHexString(row.stored)) << row.why;
  }
}

TEST(TextDecoder, HalfACharacterIsDamage) {
  const text::CodePageConverter converter;
  const TextDecoder decoder(TextForm::Utf16Le, 1252, text::CODE_PAGE_JAPANESE, converter);
  for (const char* stored : {"61", "616263", "FFFE61002D"}) {
    EXPECT_THROW((void)decoder.Decode(FromHex(stored)), DatabaseError) << stored;
  }
}

TEST(TextDecoder, Jet3TextsAreInTheFilesCodePage) {
  const struct {
    unsigned filePage;
    unsigned targetPage;
    const char* stored;
    const char* wanted;  // hexadecimal
  } CASES[] = {
      {932, 932, "82A0FFFE81", "82A0FFFE81"},  // passed through, damage and all
      {932, 65001, "6162", "6162"},
      {932, 65001, "82A0", "E38182"},
      {1252, 65001, "A3", "C2A3"},
      {1252, 932, "8C", "3F"},  // a letter that code page 932 lacks
  };
  const text::CodePageConverter converter;
  for (const auto& row : CASES) {
    const TextDecoder decoder(TextForm::CodePage, row.filePage, row.targetPage, converter);
    EXPECT_EQ(decoder.Decode(FromHex(row.stored)), FromHexString(row.wanted)) << row.stored;
  }
}

// U+1F600 is two units; whatever length a piece has, one of these texts has the pair across its
// end.
TEST(TextDecoder, LongTextsKeepCharactersOfTwoUnitsWhole) {
  const text::CodePageConverter converter;
  const TextDecoder decoder(TextForm::Utf16Le, 1252, 65001, converter);
  for (const std::size_t before : {0, 1}) {
    std::string stored(before, 'x');
    std::string wanted = stored;
    if (before != 0) stored.push_back('\0');
    for (int i = 0; i < 3000; ++i) {
      stored += std::string("\x3D\xD8\x00\xDE", 4);
      wanted += "\xF0\x9F\x98\x80";
    }
    EXPECT_EQ(decoder.Decode(std::as_bytes(std::span(stored))), wanted) << before;
  }
}

}  // namespace
}  // namespace nimport::jet
