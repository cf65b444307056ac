#include "jet/storage/value_decoder.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/format/text_decoder.h"
#include "jet/storage/long_value.h"
#include "jet/storage/row_view.h"

namespace nimport::jet {
namespace {

// The stored bytes of a column's value, which the row has; empty when it is null all the same.
std::optional<std::span<const std::byte>> FindBytes(const RowView& row, const Column& column) {
  if (!column.isFixed) return row.VariableBytes(column.variableSlot);
  const std::size_t width = FixedWidth(column.type);
  return row.FixedBytes(column.fixedOffset, width != 0 ? width : column.sizeBytes);
}

[[noreturn]] void FailWidth(std::size_t stored, std::size_t width) {
  throw DatabaseError({}, "a value of " + std::to_string(stored) + " bytes where the type has " +
                              std::to_string(width));
}

// In a variable slot the high bytes of a number may have been left away.
template <typename T>
T DecodeNumber(std::span<const std::byte> stored) {
  if (stored.size() == sizeof(T)) return ByteReader(stored).Load<T>(0);
  if (stored.size() > sizeof(T)) FailWidth(stored.size(), sizeof(T));
  std::array<std::byte, sizeof(T)> whole{};
  std::copy(stored.begin(), stored.end(), whole.begin());
  return ByteReader(whole).Load<T>(0);
}

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

// Becomes the text where the value keeps it: moving one costs about as much as decoding a short
// one.
struct TextInPlace {
  std::span<const std::byte> stored;
  const TextDecoder& texts;
  operator Text() const { return Text{.bytes = texts.Decode(stored)}; }
};

Value MakeText(std::span<const std::byte> stored, const TextDecoder& texts) {
  return Value(std::in_place_type<Text>, TextInPlace{stored, texts});
}

Value DecodeBytes(std::span<const std::byte> stored, const Column& column, PageFile& file,
                  const TextDecoder& texts, std::unique_ptr<DatabaseError>& cut) {
  switch (column.type) {
    case ColumnType::Byte:
      return DecodeNumber<std::uint8_t>(stored);
    case ColumnType::Integer:
      return DecodeNumber<std::int16_t>(stored);
    case ColumnType::Long:
      return DecodeNumber<std::int32_t>(stored);
    case ColumnType::Currency:
      return Currency{.tenThousandths = DecodeNumber<std::int64_t>(stored)};
    case ColumnType::Single:
      return DecodeNumber<float>(stored);
    case ColumnType::Double:
      return DecodeNumber<double>(stored);
    case ColumnType::DateTime:
      return Date{.days = DecodeNumber<double>(stored)};
    case ColumnType::Text:
      return MakeText(stored, texts);
    case ColumnType::Memo:
    case ColumnType::Ole: {
      LongValue value(file, stored);
      cut = value.TakeDamage();
      if (cut && value.Bytes().empty()) return std::monostate{};
      if (column.type == ColumnType::Ole) return ToBinary(value.Bytes());
      return MakeText(value.Bytes(), texts);
    }
    case ColumnType::Numeric:
      return DecodeNumeric(ByteReader(stored), column.scale);
    case ColumnType::Guid:
      return DecodeGuid(stored);
    default:
      return ToBinary(stored);
  }
}

template <typename T>
T LoadFixed(const RowView& row, const Column& column) {
  return ByteReader(row.FixedBytes(column.fixedOffset, sizeof(T))).Load<T>(0);
}

}  // namespace

Value DecodePlain(const RowView& row, const Column& column) {
  const bool isPresent = row.IsPresent(column.id);
  // A boolean is never null; in a row that is older than its column it is false.
  if (column.type == ColumnType::Boolean) return isPresent;
  if (!isPresent) return std::monostate{};
  switch (column.type) {
    case ColumnType::Byte:
      return LoadFixed<std::uint8_t>(row, column);
    case ColumnType::Integer:
      return LoadFixed<std::int16_t>(row, column);
    case ColumnType::Long:
      return LoadFixed<std::int32_t>(row, column);
    case ColumnType::Currency:
      return Currency{.tenThousandths = LoadFixed<std::int64_t>(row, column)};
    case ColumnType::Single:
      return LoadFixed<float>(row, column);
    case ColumnType::Double:
      return LoadFixed<double>(row, column);
    default:
      return Date{.days = LoadFixed<double>(row, column)};
  }
}

Value DecodeValue(const RowView& row, const Column& column, PageFile& file,
                  const TextDecoder& texts, std::unique_ptr<DatabaseError>& cut) {
  if (IsPlain(column)) return DecodePlain(row, column);
  if (!row.IsPresent(column.id)) return std::monostate{};
  const auto stored = FindBytes(row, column);
  if (!stored) return std::monostate{};
  return DecodeBytes(*stored, column, file, texts, cut);
}

}  // namespace nimport::jet
