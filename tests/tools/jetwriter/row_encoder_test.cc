#include "jetwriter/row_encoder.h"

#include <gtest/gtest.h>

#include "jetwriter/text_encoder.h"

namespace nimport::jetwriter {
namespace {

std::string ToHex(std::string_view bytes) {
  std::string hex;
  for (const char byte : bytes) {
    hex += "0123456789ABCDEF"[static_cast<unsigned char>(byte) >> 4];
    hex += "0123456789ABCDEF"[static_cast<unsigned char>(byte) & 0xF];
  }
  return hex;
}

// The row of a table that Access 97 made: eight columns, a boolean, two texts.
TEST(EncodeRow, AsAccessWroteIt) {
  using jet::ColumnType;
  std::vector<ColumnSpec> columns = {{.name = "A", .type = ColumnType::Text, .size = 50},
                                     {.name = "B", .type = ColumnType::Text, .size = 50},
                                     {.name = "C", .type = ColumnType::Byte},
                                     {.name = "D", .type = ColumnType::Integer},
                                     {.name = "E", .type = ColumnType::Long},
                                     {.name = "F", .type = ColumnType::Double},
                                     {.name = "G", .type = ColumnType::DateTime},
                                     {.name = "H", .type = ColumnType::Currency},
                                     {.name = "I", .type = ColumnType::Boolean}};
  const std::vector<std::optional<std::string>> values = {
      "abcdefg",
      "hijklmnop",
      "\x02",
      std::string("\xDE\x00", 2),
      "\x55\x43\xDE\x13",
      "\x7B\x14\xAE\x47\xE1\xC8\x7B\x40",
      std::string("\x00\x00\x00\x00\x40\xA7\xDA\x40", 8),
      std::string("\xB8\x88\x00\x00\x00\x00\x00\x00", 8),
      ""};
  EXPECT_EQ(ToHex(EncodeRow(jet::JET3, PlaceColumns(columns), values)),
            "0902DE005543DE137B14AE47E1C87B400000000040A7DA40B888000000000000"
            "6162636465666768696A6B6C6D6E6F7030272002FF01");
}

// Forty texts; the value of slot 18 is the first to begin after byte 255, that of slot 34 the
// first after byte 511, and the values end at 590.
TEST(EncodeRow, JumpTableOfJet3) {
  std::vector<ColumnSpec> columns;
  std::vector<std::optional<std::string>> values;
  for (int i = 0; i < 40; ++i) {
    columns.push_back({.name = std::to_string(i), .type = jet::ColumnType::Text, .size = 50});
    const int length = i < 10 ? 14 : i < 18 ? 15 : i < 34 ? 16 : i < 39 ? 12 : 13;
    values.emplace_back(std::string(static_cast<std::size_t>(length), 'x'));
  }
  const std::string row = EncodeRow(jet::JET3, PlaceColumns(columns), values);
  EXPECT_EQ(row.size(), 639U);
  EXPECT_EQ(ToHex(row.substr(590, 1)), "4E") << "the low byte of 590";
  EXPECT_EQ(ToHex(row.substr(639 - 5 - 3)), "221228FFFFFFFFFF");
}

TEST(EncodeRow, WithoutVariableColumnsThereIsNoTrailer) {
  const std::vector<ColumnSpec> columns = {{.name = "a", .type = jet::ColumnType::Integer}};
  EXPECT_EQ(ToHex(EncodeRow(jet::JET3, PlaceColumns(columns), {{{"\x05\x06"}}})), "01050601");
  EXPECT_EQ(ToHex(EncodeRow(jet::JET4, PlaceColumns(columns), {{{"\x05\x06"}}})), "0100050601");
}

TEST(TextEncoder, CompressesWhereThatSavesSpace) {
  const TextEncoder encoder = TextEncoder::ForUtf16();
  const struct {
    const char* text;
    const char* wanted;  // nothing: stays as it is
    const char* why;
  } cases[] = {
      {"abc", "FFFE616263", "three characters are enough"},
      {"ab", "", "the mark takes what two characters save"},
      {"caf\u00E9\u4E2D", "FFFE636166E9002D4E", "a zero byte switches to two bytes a character"},
      {"\u4E2D\u6587", "", "nothing to save"},
      {"abcdef\u4E00", "", "a low byte of zero would switch"},
      {"\u4E2Dabcdef", "FFFE002D4E00616263646566", "and back"},
      {"\uFEFFx", "FFFE00FFFE7800", "or readers would take it for compressed"},
      {"", "", "empty"},
  };
  for (const auto& row : cases) {
    EXPECT_EQ(ToHex(encoder.Compress(encoder.Encode(row.text)).value_or("")), row.wanted)
        << row.why;
  }
}

// Microsoft's mapping, where others differ.
TEST(TextEncoder, CodePage932) {
  const TextEncoder encoder = TextEncoder::ForCodePage(932);
  EXPECT_EQ(ToHex(encoder.Encode("①Ⅲ㈱")), "87408756878A");
  EXPECT_EQ(ToHex(encoder.Encode("髙﨑")), "FBFCFAB1");
  EXPECT_EQ(ToHex(encoder.Encode("ｱ表\\~～")), "B1955C5C7E8160");
}

}  // namespace
}  // namespace nimport::jetwriter
