// The numbers of the Jet file format, for the reader, the writer of test stores and the tests.
//
// Integers in a file are little-endian. Sizes and offsets are in bytes; an offset counts from the
// start of the thing that its comment or its struct names.
//
// Two kinds of pointers occur: a page number, u32; and a row pointer, u32, which is
// page number << 8 | slot. Zero stands for none.
//
// Where the facts come from. Its makers have not described the format; what other readers of it
// have found was measured again, unless a group of constants says otherwise, on 14 Jet 3 and 46 Jet
// 4 files that Access 97 to 2003 wrote: the public test databases of such readers. What only the
// writer uses was checked by three of them, which read the files that it makes.
#ifndef NIMPORT_JET_FORMAT_JET_LAYOUT_H_
#define NIMPORT_JET_FORMAT_JET_LAYOUT_H_

#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "jet/value.h"

namespace nimport::jet {

// ---- Pages ----------------------------------------------------------------------------------

// Byte 0 of a page.
enum class PageType : std::uint8_t {
  FileHeader = 0x00,  // page 0; also pages that were never written
  Data = 0x01,        // rows of a table, rows of usage maps, or long values
  TableDefinition = 0x02,
  IndexNode = 0x03,
  IndexLeaf = 0x04,
  UsageBitmap = 0x05,
  ReleasedDefinition = 0x08,
  ReleasedData = 0x09,
};

inline constexpr std::size_t PAGE_TYPE_OFFSET = 0x00;
inline constexpr std::size_t PAGE_MARK_OFFSET = 0x01;
inline constexpr std::uint8_t PAGE_MARK = 0x01;  // byte 1 of every page but page 0

// A data page: type, mark, u16 free bytes, u32 owner, in Jet 4 four more bytes, u16 number of
// slots, then the slot table of u16 entries. See JetLayout for what differs.
inline constexpr std::size_t DATA_PAGE_FREE_BYTES_OFFSET = 0x02;
inline constexpr std::size_t DATA_PAGE_OWNER_OFFSET = 0x04;  // u32, page of a table definition
inline constexpr std::size_t SLOT_BYTES = 2;
inline constexpr std::uint32_t OWNER_USAGE_MAPS = 0;
inline constexpr std::uint32_t OWNER_GLOBAL_MAP = 1;
inline constexpr std::uint32_t OWNER_LONG_VALUES = 0x4C41564C;  // the letters LVAL

// A slot: where its row begins in the page, and what kind of row it is. The row ends where the row
// of the slot before it begins, the first one at the end of the page.
inline constexpr std::uint16_t SLOT_OFFSET_MASK = 0x1FFF;
inline constexpr std::uint16_t SLOT_FLAGS_MASK = 0xC000;
inline constexpr std::uint16_t SLOT_LIVE = 0x0000;
inline constexpr std::uint16_t SLOT_MOVED = 0x4000;   // holds a row pointer to where the row went
inline constexpr std::uint16_t SLOT_TARGET = 0x8000;  // a row that another slot points to
inline constexpr std::uint16_t SLOT_DELETED = 0xC000;
// Row pointers have eight bits for the slot.
inline constexpr std::size_t MAX_SLOTS_PER_PAGE = 256;
inline constexpr std::size_t ROW_POINTER_BYTES = 4;

// A row pointer: which page a row lies on, and which of its slots is the row's. Ascending ids are
// the file's order.
struct RowId {
  std::uint32_t packed = 0;  // page number << 8 | slot; 0: none

  [[nodiscard]] std::uint32_t Page() const { return packed >> 8; }
  [[nodiscard]] std::uint32_t Slot() const { return packed & 0xFF; }
  [[nodiscard]] bool IsNone() const { return packed == 0; }
  friend auto operator<=>(const RowId&, const RowId&) = default;
};

// ---- Page 0 ---------------------------------------------------------------------------------

// Encoded pages were seen in one file of each version. Nothing of a Jet 3 password was seen: its
// bytes were zero in every file. The names of other engines are those that their files begin with.

inline constexpr std::uint32_t FILE_SIGNATURE = 0x00000100;  // u32 at offset 0
inline constexpr std::size_t ENGINE_NAME_OFFSET = 0x04;
inline constexpr std::string_view ENGINE_NAME = "Standard Jet DB";
inline constexpr std::string_view ENGINE_NAME_ACE = "Standard ACE DB";
inline constexpr std::string_view ENGINE_NAME_MSISAM = "MSISAM Database";
inline constexpr std::size_t VERSION_OFFSET = 0x14;  // u8: JetLayout::version

// From here on JetLayout::maskedHeaderBytes bytes are combined with HEADER_MASK by exclusive or.
inline constexpr std::size_t MASKED_HEADER_OFFSET = 0x18;
// Within the masked part; the values are those after unmasking.
inline constexpr std::size_t GLOBAL_MAP_POINTER_OFFSET = 0x18;  // row pointer, page 1 slot 0
inline constexpr std::size_t SECOND_MAP_POINTER_OFFSET = 0x1C;  // row pointer, page 1 slot 1
inline constexpr std::size_t SYSTEM_TABLE_PAGES_OFFSET = 0x20;  // four u32: 2, 3, 4, 5
inline constexpr std::size_t CODE_PAGE_OFFSET = 0x3C;           // u16
inline constexpr std::size_t ENCODING_KEY_OFFSET = 0x3E;        // u32, 0 = pages are plain
inline constexpr std::size_t PASSWORD_OFFSET = 0x42;            // JetLayout::passwordBytes
inline constexpr std::size_t CREATION_DATE_OFFSET_JET4 = 0x72;  // f64, days
inline constexpr std::size_t CONSTANT_OFFSET_JET4 = 0x98;       // u32, after the masked part
inline constexpr std::uint32_t CONSTANT_JET4 = 1620;
inline constexpr std::size_t VERSION_TEXT_OFFSET_JET4 = 0x9C;  // VERSION_TEXT_JET4 with NUL
inline constexpr std::string_view VERSION_TEXT_JET4 = "4.0";
// The last bytes of page 0 are a table of 2-byte entries; these are the bytes of an idle one.
inline constexpr std::size_t COMMIT_TABLE_BYTES = 512;
inline constexpr std::array<std::uint8_t, 2> COMMIT_IDLE = {0x00, 0x01};

// The first bytes of the RC4 stream of the key C7 DA 39 6B, the same in every file.
inline constexpr std::array<std::uint8_t, 128> HEADER_MASK = {
    0xB5, 0x6F, 0x03, 0x62, 0x61, 0x08, 0xC2, 0x55, 0xEB, 0xA9, 0x67, 0x72, 0x43, 0x3F, 0x00, 0x9C,
    0x7A, 0x9F, 0x90, 0xFF, 0x80, 0x9A, 0x31, 0xC5, 0x79, 0xBA, 0xED, 0x30, 0xBC, 0xDF, 0xCC, 0x9D,
    0x63, 0xD9, 0xE4, 0xC3, 0x7B, 0x42, 0xFB, 0x8A, 0xBC, 0x4E, 0x86, 0xFB, 0xEC, 0x37, 0x5D, 0x44,
    0x9C, 0xFA, 0xC6, 0x5E, 0x28, 0xE6, 0x13, 0xB6, 0x8A, 0x60, 0x54, 0x94, 0x7B, 0x36, 0xF5, 0x72,
    0xDF, 0xB1, 0x77, 0xF4, 0x13, 0x43, 0xCF, 0xAF, 0xB1, 0x33, 0x34, 0x61, 0x79, 0x5B, 0x92, 0xB5,
    0x7C, 0x2A, 0x05, 0xF1, 0x7C, 0x99, 0x01, 0x1B, 0x98, 0xFD, 0x12, 0x4F, 0x4A, 0x94, 0x6C, 0x3E,
    0x60, 0x26, 0x5F, 0x95, 0xF8, 0xD0, 0x89, 0x24, 0x85, 0x67, 0xC6, 0x1F, 0x27, 0x44, 0xD2, 0xEE,
    0xCF, 0x65, 0xED, 0xFF, 0x07, 0xC7, 0x46, 0xA1, 0x78, 0x16, 0x0C, 0xED, 0xE9, 0x2D, 0x62, 0xD4,
};

// ---- Usage maps -----------------------------------------------------------------------------

// A usage map is a row of a data page. Its first byte is its form.
enum class UsageMapForm : std::uint8_t {
  Inline = 0x00,     // u32 first page, then one bit for each page from there on
  Reference = 0x01,  // u32 page numbers of bitmap pages, 0 where a range has none
};
// Slot 0 of this page is the map of the free pages of the file.
inline constexpr std::uint32_t GLOBAL_MAP_PAGE = 1;
inline constexpr std::size_t INLINE_MAP_FIRST_PAGE_OFFSET = 1;
inline constexpr std::size_t INLINE_MAP_BITS_OFFSET = 5;
inline constexpr std::size_t REFERENCE_MAP_PAGES_OFFSET = 1;
inline constexpr std::size_t BITMAP_PAGE_BITS_OFFSET = 4;  // the rest of the page is bits

// ---- Table definitions ----------------------------------------------------------------------

// Measured on 590 definitions, those of the engine's own tables among them. What the numbers
// called constants mean is not known: every file has them, and readers overlook them.

// Each page of a definition begins so; the definition goes on after it. On the bytes in between
// readers do not look: Jet 3 has the letters VC there, Jet 4 the number of free bytes.
inline constexpr std::uint16_t DEFINITION_MARK_JET3 = 0x4356;
inline constexpr std::size_t DEFINITION_NEXT_PAGE_OFFSET = 0x04;  // u32
inline constexpr std::size_t DEFINITION_PAGE_HEADER_BYTES = 8;
// In the joined definition, whose first byte is the first page's first byte: u32, all of it with
// this first page header and the end mark, without the headers of later pages.
inline constexpr std::size_t DEFINITION_LENGTH_OFFSET = 0x08;

inline constexpr std::uint8_t TABLE_TYPE_USER = 0x4E;
inline constexpr std::uint8_t TABLE_TYPE_SYSTEM = 0x53;
inline constexpr std::uint32_t DEFINITION_CONSTANT_JET4 = 1625;  // in headers, columns, indexes
// After the last index name: one record for each memo and OLE column, u16 column id and two row
// pointers (owned pages, free space), then this id as the end.
inline constexpr std::size_t LONG_VALUE_MAPS_BYTES = 10;
inline constexpr std::uint16_t LONG_VALUE_MAPS_END = 0xFFFF;
// A real index: up to ten key columns, u16 column id and u8 direction each.
inline constexpr std::size_t MAX_KEY_COLUMNS = 10;
inline constexpr std::size_t INDEX_KEY_BYTES = 3;
inline constexpr std::uint16_t NO_KEY_COLUMN = 0xFFFF;

inline constexpr std::size_t MAX_COLUMNS = 255;
inline constexpr std::size_t MAX_NAME_CHARACTERS = 64;

// A type of column beside those of ColumnType: bytes, in a table of Access's own.
inline constexpr std::uint8_t COLUMN_TYPE_OWN_BINARY = 0x11;

// Flags of a column record.
inline constexpr std::uint8_t COLUMN_FIXED = 0x01;  // the value lies in the row's fixed area
inline constexpr std::uint8_t COLUMN_UPDATABLE = 0x02;
inline constexpr std::uint8_t COLUMN_AUTONUMBER = 0x04;
inline constexpr std::uint8_t COLUMN_SYSTEM = 0x10;  // on every column of a system table
// Further flags, Jet 4 only.
inline constexpr std::uint8_t COLUMN_COMPRESSIBLE = 0x01;

inline constexpr std::uint16_t SORT_ORDER_GENERAL = 0x0409;

// The offsets of the fields of a table definition's fixed part. All u32 unless said otherwise.
struct DefinitionLayout {
  std::size_t rowCount;
  std::size_t lastAutonumber;
  std::size_t tableType;        // u8
  std::size_t columnHighWater;  // u16, the next column id
  std::size_t variableColumns;  // u16, deleted ones included
  std::size_t columnCount;      // u16, number of column records
  std::size_t logicalIndexCount;
  std::size_t realIndexCount;
  std::size_t ownedPagesMap;  // row pointer
  std::size_t freeSpaceMap;   // row pointer
  std::size_t fixedPartBytes;
  // What follows, one block after the other. A name is its length in bytes, then its bytes.
  std::size_t indexCounterBytes;
  std::size_t columnRecordBytes;
  std::size_t nameLengthBytes;
  std::size_t realIndexBytes;
  std::size_t logicalIndexBytes;
  // In a real index.
  std::size_t indexKeys;
  std::size_t indexPagesMap;  // row pointer
};

// The offsets of the fields of a column record. All u16 unless said otherwise.
struct ColumnRecordLayout {
  std::size_t type;  // u8
  std::size_t id;
  std::size_t variableSlot;
  std::size_t ordinal;
  std::size_t sortOrder;     // after it in Jet 3 the code page, u16
  std::size_t precision;     // u8; numeric columns of Jet 4 only, as the next
  std::size_t scale;         // u8
  std::size_t flags;         // u8
  std::size_t furtherFlags;  // u8, Jet 4 only
  std::size_t fixedOffset;   // garbage on variable columns
  std::size_t sizeBytes;     // 0 for memo and OLE, 1 for boolean
};

// ---- Rows -----------------------------------------------------------------------------------

// Measured on 18,000 rows. A jump table with more than one jump has been seen only in rows that the
// writer made, which other readers read.

// A row: number of columns, fixed area, variable data, trailer, null mask. The trailer holds, in
// this order, the end of the variable data, the offsets of the variable values with the last slot
// first, in Jet 3 a jump table, and the number of variable slots; a row of a table that had no
// variable column when the row was written has none. In the null mask the bit of column id c is
// bit c % 8 of byte c / 8; a set bit means a value that is not null, for a boolean true.

// How a version writes text.
enum class TextForm : std::uint8_t {
  CodePage,  // bytes in the file's code page
  Utf16Le,   // or, after COMPRESSION_MARK, compressed
};
// The rest is one byte a character (U+0001 to U+00FF); a zero byte switches to two bytes a
// character and back.
inline constexpr std::array<std::uint8_t, 2> COMPRESSION_MARK = {0xFF, 0xFE};

// A numeric value: u8 sign, then four u32 words, the most significant word first.
inline constexpr std::size_t NUMERIC_BYTES = 17;
inline constexpr std::uint8_t NUMERIC_NEGATIVE = 0x80;
inline constexpr std::uint8_t MAX_NUMERIC_SCALE = 28;
inline constexpr std::size_t GUID_BYTES = 16;

// ---- Long values ----------------------------------------------------------------------------

// All three forms were seen in files of both versions. That the engine refuses a chain whose stamps
// differ is what others report.

// What a row holds for a memo or OLE value: u32 length and form, row pointer, u32 stamp; then,
// inline, the value itself. The stamp, which readers ignore, stands again on the first page of a
// chain of Jet 4, at byte 8; the writer has 0 at both places.
inline constexpr std::size_t LONG_VALUE_POINTER_OFFSET = 4;
inline constexpr std::size_t LONG_VALUE_DESCRIPTOR_BYTES = 12;
inline constexpr std::uint32_t LONG_VALUE_LENGTH_MASK = 0x3FFFFFFF;
inline constexpr std::uint32_t LONG_VALUE_INLINE = 0x80000000;
inline constexpr std::uint32_t LONG_VALUE_SINGLE = 0x40000000;  // the row pointed to is the value
// Neither bit: the row pointed to is the first of a chain. Each part begins with the row pointer of
// the next one.
inline constexpr std::size_t CHAIN_PART_HEADER_BYTES = ROW_POINTER_BYTES;

// ---- What differs between the versions ------------------------------------------------------

struct JetLayout {
  std::uint8_t version;  // byte at VERSION_OFFSET
  TextForm text;
  std::uint32_t pageSize;
  std::size_t maskedHeaderBytes;
  std::size_t passwordBytes;

  // Data pages.
  std::size_t slotCountOffset;  // u16
  std::size_t slotTableOffset;

  // Rows. Both the number of columns and all numbers of the trailer have this width, 1 or 2.
  std::size_t rowNumberBytes;
  bool hasJumpTable;  // offsets in the trailer are low bytes only
  // A longer row is refused by the engine that made the format, others report; none was seen.
  std::size_t maxRowBytes;

  // Sizes that a writer chooses. Of long values, Jet 3 files have 32 and 1731 bytes at most in the
  // first two forms, Jet 4 files 52 and 3618; others report 64 and 3816 as the limits of Jet 4.
  std::size_t maxInlineLongValueBytes;
  std::size_t maxSingleLongValueBytes;
  std::size_t chainPartDataBytes;
  std::size_t usageMapStartBytes;  // of the bits of an inline map

  DefinitionLayout definition;
  ColumnRecordLayout column;

  // Pages that the bits of one bitmap page stand for.
  [[nodiscard]] constexpr std::uint32_t PagesPerBitmapPage() const {
    return (pageSize - std::uint32_t{BITMAP_PAGE_BITS_OFFSET}) * 8;
  }
};

inline constexpr JetLayout JET3{
    .version = 0x00,
    .text = TextForm::CodePage,
    .pageSize = 2048,
    .maskedHeaderBytes = 126,
    .passwordBytes = 20,
    .slotCountOffset = 0x08,
    .slotTableOffset = 0x0A,
    .rowNumberBytes = 1,
    .hasJumpTable = true,
    .maxRowBytes = 2012,
    .maxInlineLongValueBytes = 32,
    .maxSingleLongValueBytes = 1700,
    .chainPartDataBytes = 2032,
    .usageMapStartBytes = 128,
    .definition = {.rowCount = 0x0C,
                   .lastAutonumber = 0x10,
                   .tableType = 0x14,
                   .columnHighWater = 0x15,
                   .variableColumns = 0x17,
                   .columnCount = 0x19,
                   .logicalIndexCount = 0x1B,
                   .realIndexCount = 0x1F,
                   .ownedPagesMap = 0x23,
                   .freeSpaceMap = 0x27,
                   .fixedPartBytes = 0x2B,
                   .indexCounterBytes = 8,
                   .columnRecordBytes = 18,
                   .nameLengthBytes = 1,
                   .realIndexBytes = 39,
                   .logicalIndexBytes = 20,
                   .indexKeys = 0,
                   .indexPagesMap = 30},
    .column = {.type = 0,
               .id = 1,
               .variableSlot = 3,
               .ordinal = 5,
               .sortOrder = 9,
               .precision = 0,
               .scale = 0,
               .flags = 13,
               .furtherFlags = 0,
               .fixedOffset = 14,
               .sizeBytes = 16},
};

inline constexpr JetLayout JET4{
    .version = 0x01,
    .text = TextForm::Utf16Le,
    .pageSize = 4096,
    .maskedHeaderBytes = 128,
    .passwordBytes = 40,
    .slotCountOffset = 0x0C,
    .slotTableOffset = 0x0E,
    .rowNumberBytes = 2,
    .hasJumpTable = false,
    .maxRowBytes = 4060,
    .maxInlineLongValueBytes = 64,
    .maxSingleLongValueBytes = 3816,
    .chainPartDataBytes = 4072,
    .usageMapStartBytes = 64,
    .definition = {.rowCount = 0x10,
                   .lastAutonumber = 0x14,
                   .tableType = 0x28,
                   .columnHighWater = 0x29,
                   .variableColumns = 0x2B,
                   .columnCount = 0x2D,
                   .logicalIndexCount = 0x2F,
                   .realIndexCount = 0x33,
                   .ownedPagesMap = 0x37,
                   .freeSpaceMap = 0x3B,
                   .fixedPartBytes = 0x3F,
                   .indexCounterBytes = 12,
                   .columnRecordBytes = 25,
                   .nameLengthBytes = 2,
                   .realIndexBytes = 52,
                   .logicalIndexBytes = 28,
                   .indexKeys = 4,
                   .indexPagesMap = 34},
    .column = {.type = 0,
               .id = 5,
               .variableSlot = 7,
               .ordinal = 9,
               .sortOrder = 11,
               .precision = 11,
               .scale = 12,
               .flags = 15,
               .furtherFlags = 16,
               .fixedOffset = 21,
               .sizeBytes = 23},
};

// In Jet 4 constants that no reader needs stand in the definition's fixed part and in each column
// record.
inline constexpr std::size_t DEFINITION_CONSTANT_OFFSET_JET4 = 0x0C;  // DEFINITION_CONSTANT_JET4
inline constexpr std::size_t AUTONUMBER_STEP_OFFSET_JET4 = 0x18;      // u32, 1
inline constexpr std::size_t COLUMN_CONSTANT_OFFSET_JET4 = 1;         // DEFINITION_CONSTANT_JET4
inline constexpr std::size_t DEFAULT_SORT_ORDER_OFFSET_JET3 = 0x3A;   // u16 in page 0, masked
inline constexpr std::size_t DEFAULT_SORT_ORDER_OFFSET_JET4 = 0x6E;   // u32 in page 0, masked
inline constexpr std::size_t COLUMN_CODE_PAGE_OFFSET_JET3 = 11;       // u16 in a column record

// The bytes of a fixed value; 0 for a boolean, which has none, and for what is as long as it is.
[[nodiscard]] constexpr std::size_t FixedWidth(ColumnType type) {
  switch (type) {
    case ColumnType::Byte:
      return 1;
    case ColumnType::Integer:
      return 2;
    case ColumnType::Long:
    case ColumnType::Single:
      return 4;
    case ColumnType::Currency:
    case ColumnType::Double:
    case ColumnType::DateTime:
      return 8;
    case ColumnType::Guid:
      return GUID_BYTES;
    case ColumnType::Numeric:
      return NUMERIC_BYTES;
    case ColumnType::Boolean:
    case ColumnType::Binary:
    case ColumnType::Text:
    case ColumnType::Ole:
    case ColumnType::Memo:
      break;
  }
  return 0;
}

}  // namespace nimport::jet

#endif  // NIMPORT_JET_FORMAT_JET_LAYOUT_H_
