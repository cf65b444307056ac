#include "jet/format/text_decoder.h"

#include <gtest/gtest.h>

#include "jet/database_error.h"
#include "tests/jet/bytes.h"
#include "text/code_page_converter.h"

namespace nimport::jet {
namespace {

TEST(TextDecoder, Jet4Texts) {
  const struct {
    const char* stored;
    const char* wanted;  // UTF-8
    const char* why;
  } CASES[] = {
      {"", "", "empty"},
      {"FFFE", "", "compressed and empty"},
      {"61006200", "ab", "ASCII in two bytes a character"},
      {"FFFE616263", "abc", "compressed ASCII"},
      {"FFFE6162636465666768696A6B6C6D6E", "abcdefghijklmn", "longer than a machine word"},
      {"4230443057302D4E", "\xE3\x81\x82\xE3\x81\x84\xE3\x81\x97\xE4\xB8\xAD", "Japanese"},
      {"FFFE636166E9", "caf\xC3\xA9", "Latin-1, one byte a character"},
      {"FFFE636166E9002D4E", "caf\xC3\xA9\xE4\xB8\xAD", "two bytes a character at the end"},
      {"FFFE61002D4E0062",
       "a\xE4\xB8\xAD"
       "b",
       "there and back"},
      {"FFFE6100", "a", "a switch at the end"},
      {"3DD800DE", "\xF0\x9F\x98\x80", "a surrogate pair"},
  };
  const text::CodePageConverter converter;
  const TextDecoder decoder(TextForm::Utf16Le, 1252, text::CODE_PAGE_UTF8, converter);
  for (const auto& row : CASES) {
    EXPECT_EQ(decoder.Decode(FromHex(row.stored)), row.wanted) << row.why;
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
