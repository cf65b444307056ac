#include "jet/storage/row_view.h"

#include <string>

#include <gtest/gtest.h>

#include "jet/database_error.h"
#include "jetwriter/row_encoder.h"
#include "tests/jet/bytes.h"

namespace nimport::jet {
namespace {

std::string Variable(const RowView& row, std::size_t slot) {
  const auto bytes = row.VariableBytes(slot);
  return bytes ? ToString(*bytes) : "no such slot";
}

// The row that the writer makes for columns of these types.
std::string Encoded(const JetLayout& layout, const std::vector<ColumnType>& types,
                    const std::vector<std::optional<std::string>>& values) {
  std::vector<jetwriter::ColumnSpec> columns;
  for (const ColumnType type : types)
    columns.push_back({.name = "c", .type = type, .size = 50});
  return EncodeRow(layout, jetwriter::PlaceColumns(columns), values);
}

// Rows as they stand in files that Access wrote.
TEST(RowView, Jet3RowWithTwoTexts) {
  const std::string stored = FromHexString(
      "09 02 DE00 5543DE13 7B14AE47E1C87B40 0000000040A7DA40 B888000000000000"
      "61626364656667 68696A6B6C6D6E6F70 30 27 20 02 FF01");
  using enum ColumnType;
  EXPECT_EQ(Encoded(JET3, {Text, Text, Byte, Integer, Long, Double, DateTime, Currency, Boolean},
                    {"abcdefg", "hijklmnop", FromHexString("02"), FromHexString("DE00"),
                     FromHexString("5543DE13"), FromHexString("7B14AE47E1C87B40"),
                     FromHexString("0000000040A7DA40"), FromHexString("B888000000000000"), ""}),
            stored);
  const RowView row(JET3, AsBytes(stored));
  EXPECT_EQ(Variable(row, 0), "abcdefg");
  EXPECT_EQ(Variable(row, 1), "hijklmnop");
  EXPECT_EQ(Variable(row, 2), "no such slot");
  EXPECT_EQ(ByteReader(row.FixedBytes(3, 4)).I32(0), 333333333);
  EXPECT_EQ(ByteReader(row.FixedBytes(7, 8)).F64(0), 444.555);
  EXPECT_TRUE(row.IsPresent(8));
  EXPECT_FALSE(row.IsPresent(9));
  EXPECT_THROW((void)row.FixedBytes(45, 8), DatabaseError);
}

TEST(RowView, Jet4RowWithPaddingBeforeItsTrailer) {
  const auto bytes = FromHex(
      "0900 02 DE00 5543DE13 7B14AE47E1C87B40 0000000040A7DA40 B888000000000000"
      "FFFE61626364656667 680069006A006B006C006D006E006F007000 0000 3C00 2A00 2100 0200 FF01");
  const RowView row(JET4, bytes);
  EXPECT_EQ(Variable(row, 0),
            "\xFF\xFE"
            "abcdefg");
  EXPECT_EQ(Variable(row, 1).size(), 18U);
}

TEST(RowView, WithoutVariableColumnsThereIsNoTrailer) {
  for (const auto& [layout, stored] : {std::pair(JET3, "01050601"), {JET4, "0100050601"}}) {
    EXPECT_EQ(Encoded(layout, {ColumnType::Integer}, {"\x05\x06"}), FromHexString(stored));
    const auto bytes = FromHex(stored);
    EXPECT_EQ(ByteReader(RowView(layout, bytes).FixedBytes(0, 2)).U16(0), 0x605);
  }
}

TEST(RowView, RowOlderThanItsColumns) {
  const auto bytes =
      FromHex("0300 FFFE726F7731636F6C31 FFFE726F7731636F6C32 1600 1600 0C00 0200 0300 03");
  const RowView row(JET4, bytes);
  EXPECT_EQ(Variable(row, 0), "\xFF\xFErow1col1");
  EXPECT_TRUE(row.IsPresent(1));
  EXPECT_FALSE(row.IsPresent(2));
  EXPECT_FALSE(row.IsPresent(200));
}

// 40 texts; those of slots 18 and 34 begin at bytes 256 and 512 of the row.
TEST(RowView, Jet3JumpTable) {
  std::vector<std::optional<std::string>> values;
  std::string data;
  std::string offsets;  // low bytes, the last one first
  for (std::size_t i = 0; i < 40; ++i) {
    offsets.insert(offsets.begin(), static_cast<char>(1 + data.size()));
    const std::size_t size = i < 17 ? 14 : i == 17 ? 17 : i < 34 ? 16 : 13;
    data += values.emplace_back(std::string(size, static_cast<char>('0' + i))).value();
  }
  offsets.insert(offsets.begin(), static_cast<char>(1 + data.size()));
  const std::string row = '\x28' + data + offsets + "\x22\x12\x28\xFF\xFF\xFF\xFF\xFF";
  EXPECT_EQ(Encoded(JET3, std::vector(40, ColumnType::Text), values), row);
  const RowView view(JET3, AsBytes(row));
  for (std::size_t i = 0; i < 40; ++i)
    EXPECT_EQ(Variable(view, i), values[i]);
}

// The row is longer than 256 bytes, its data is not: the jump is there and stands for nothing.
TEST(RowView, Jet3JumpThatStandsForNothing) {
  std::string row(1, '\x4A');
  row.append(254, 'x');
  row +=
      FromHexString("FF F3F3F3F2F1F0EFDBDBDBDBC7C7B3B3B3B3B2A5A59991 FF 16 EFFF7FA9C9EF38800F02");
  const RowView view(JET3, AsBytes(row));
  EXPECT_EQ(Variable(view, 0).size(), 8U);
  EXPECT_EQ(Variable(view, 21).size(), 12U);
}

TEST(RowView, ClaimsBeyondTheRowAreErrors) {
  const struct {
    const JetLayout& layout;
    const char* bytes;
    const char* why;
  } CASES[] = {
      {JET3, "", "no bytes at all"},
      {JET4, "09", "half a number of columns"},
      {JET3, "FF 00", "no room for the null mask"},
      {JET4, "0001 0000000000000000000000000000000000000000000000000000000000000000000000",
       "more columns than a table can have"},
      {JET3, "01 01", "no trailer"},
      {JET4, "0100 01", "no trailer"},
      {JET3, "01 41 02 01 02 01", "too many variable columns"},
      {JET4, "0100 0200 0200 FFFF 01", "too many variable columns"},
      {JET3, "01 41 02 00 01 01", "a value begins in the number of columns"},
      {JET3, "01 41 03 01 01 01", "the data ends within the trailer"},
      {JET3, "01 41 01 02 01 01", "a value ends before it begins"},
      {JET4, "0100 4142 0400 0500 0100 01", "a value ends before it begins"},
      {JET4, "0100 4142 0500 0200 0100 01", "the data ends within the trailer"},
  };
  for (const auto& row : CASES) {
    const auto bytes = FromHex(row.bytes);
    EXPECT_THROW((void)RowView(row.layout, bytes).VariableBytes(0), DatabaseError) << row.why;
  }
}

}  // namespace
}  // namespace nimport::jet
