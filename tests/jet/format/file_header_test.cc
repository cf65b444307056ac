#include "jet/format/file_header.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "jet/database_error.h"
#include "jet/format/rc4.h"
#include "tests/jet/bytes.h"

namespace nimport::jet {
namespace {

std::string Header(std::string_view engine, char version) {
  std::string header("\x00\x01\x00\x00", 4);
  header += engine;
  header.resize(VERSION_OFFSET, '\0');
  header += version;
  header.resize(FILE_HEADER_BYTES, '\0');
  return header;
}

TEST(FileHeader, RefusesWhatItCannotReadByName) {
  const struct {
    std::string bytes;
    const char* wanted;
  } CASES[] = {
      {"", "empty"},
      {Header(ENGINE_NAME, 0).substr(0, 100), "ends within its header"},
      {std::string(FILE_HEADER_BYTES, '\0'), "zero bytes"},
      {std::string(FILE_HEADER_BYTES, 'P'), "not a Jet database"},
      {Header("Nonstandard DB", 0), "does not name its engine"},
      {Header("Standard Jet DBx", 0), "does not name its engine"},
      {Header(ENGINE_NAME_MSISAM, 1), "MSISAM"},
      {Header(ENGINE_NAME_ACE, 2), "ACE"},
      {Header(ENGINE_NAME, 2), "ACE database (version 2)"},
      {Header(ENGINE_NAME, '\xFF'), "ACE database (version 255)"},
  };
  for (const auto& row : CASES) {
    try {
      (void)ParseFileHeader(AsBytes(row.bytes));
      ADD_FAILURE() << "read: " << row.wanted;
    } catch (const DatabaseError& error) {
      EXPECT_THAT(error.reason(), testing::HasSubstr(row.wanted));
      EXPECT_EQ(error.place().page, 0U);
    }
  }
}

// The cipher against its best known published example, and the mask against the cipher.
TEST(FileHeader, MaskIsAStreamOfTheCipher) {
  std::string text = "pedia";
  ApplyRc4(0x696B6957, std::as_writable_bytes(std::span(text)));  // "Wiki"
  EXPECT_EQ(text, "\x10\x21\xBF\x04\x20");
  std::string stream(HEADER_MASK.size(), '\0');
  ApplyRc4(0x6B39DAC7, std::as_writable_bytes(std::span(stream)));
  EXPECT_EQ(stream, std::string(HEADER_MASK.begin(), HEADER_MASK.end()));
}

}  // namespace
}  // namespace nimport::jet
