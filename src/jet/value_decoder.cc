#include "jet/value_decoder.h"

#include <algorithm>
#include <array>
#include <string>

#include "jet/byte_reader.h"
#include "jet/database_error.h"
#include "jet/jet_layout.h"
#include "jet/long_value.h"

namespace nimport::jet {
namespace {

// A number's bytes in the width of its type.
class NumberBytes {
 public:
  NumberBytes(std::span<const std::byte> stored, ColumnType type) {
    const std::size_t width = FixedWidth(type);
    if (stored.size() > width) {
      throw DatabaseError({}, "a value of " + std::to_string(stored.size()) +
                                  " bytes where the type has " + std::to_string(width));
    }
    if (stored.size() == width) {
      reader_ = ByteReader(stored);
      return;
    }
    // In a variable slot the high bytes of a number may have been left away.
    std::copy(stored.begin(), stored.end(), bytes_.begin());
    reader_ = ByteReader(std::span(bytes_).first(width));
  }
  NumberBytes(const NumberBytes&) = delete;
  NumberBytes& operator=(const NumberBytes&) = delete;

  const ByteReader* operator->() const { return &reader_; }

 private:
  std::array<std::byte, NUMERIC_BYTES> bytes_{};
  ByteReader reader_;
};

Decimal DecodeNumeric(const ByteReader& stored, std::uint8_t scale) {
  if (scale > MAX_NUMERIC_SCALE) {
    throw DatabaseError({}, "a numeric column has the scale " + std::to_string(scale));
  }
  Decimal value;
  value.scale = scale;
  value.isNegative = (stored.U8(0) & NUMERIC_NEGATIVE) != 0;
  for (std::size_t i = 0; i < value.magnitude.size(); ++i) {
    value.magnitude[i] = stored.U32(1 + 4 * i);
  }
  return value;
}

Guid DecodeGuid(std::span<const std::byte> stored) {
  Guid value;
  if (stored.size() != value.bytes.size()) {
    throw DatabaseError({}, "a GUID of " + std::to_string(stored.size()) + " bytes");
  }
  std::copy(stored.begin(), stored.end(), value.bytes.begin());
  return value;
}

Binary ToBinary(std::span<const std::byte> stored) {
  return Binary{.bytes = {stored.begin(), stored.end()}};
}

}  // namespace

std::optional<std::span<const std::byte>> FindBytes(const RowView& row, const Column& column) {
  if (!row.IsPresent(column.id)) return std::nullopt;
  if (!column.isFixed) return row.VariableBytes(column.variableSlot);
  const std::size_t width = FixedWidth(column.type);
  return row.FixedBytes(column.fixedOffset, width != 0 ? width : column.sizeBytes);
}

Value DecodeValue(const RowView& row, const Column& column, PageFile& file,
                  const TextDecoder& texts) {
  // A boolean is never null; in a row that is older than its column it is false.
  if (column.type == ColumnType::Boolean) return row.IsPresent(column.id);
  const auto stored = FindBytes(row, column);
  if (!stored) return std::monostate{};
  const auto number = [&] { return NumberBytes(*stored, column.type); };
  switch (column.type) {
    case ColumnType::Byte:
      return number()->U8(0);
    case ColumnType::Integer:
      return number()->I16(0);
    case ColumnType::Long:
      return number()->I32(0);
    case ColumnType::Currency:
      return Currency{.tenThousandths = number()->I64(0)};
    case ColumnType::Single:
      return number()->F32(0);
    case ColumnType::Double:
      return number()->F64(0);
    case ColumnType::DateTime:
      return Date{.days = number()->F64(0)};
    case ColumnType::Numeric:
      return DecodeNumeric(ByteReader(*stored), column.scale);
    case ColumnType::Guid:
      return DecodeGuid(*stored);
    case ColumnType::Text:
      return Text{.bytes = texts.Decode(*stored)};
    case ColumnType::Memo:
      return Text{.bytes = texts.Decode(LongValue(file, *stored).Bytes())};
    case ColumnType::Ole:
      return ToBinary(LongValue(file, *stored).Bytes());
    case ColumnType::Binary:
    case ColumnType::Boolean:
      break;
  }
  return ToBinary(*stored);
}

}  // namespace nimport::jet
