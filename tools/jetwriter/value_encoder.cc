#include "jetwriter/value_encoder.h"

#include <limits>
#include <optional>
#include <string_view>
#include <type_traits>

#include "jetwriter/byte_writer.h"
#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

using jet::ColumnType;
using jet::Value;

std::string_view ToView(const jet::Binary& value) {
  return {reinterpret_cast<const char*>(value.bytes.data()), value.bytes.size()};
}

std::optional<std::int64_t> ToWholeNumber(const Value& value) {
  return std::visit(
      [](const auto& alternative) -> std::optional<std::int64_t> {
        using T = std::decay_t<decltype(alternative)>;
        if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) return alternative;
        return std::nullopt;
      },
      value);
}

template <typename T>
T Expect(const Value& value, std::string_view wanted) {
  if (const T* found = std::get_if<T>(&value)) return *found;
  throw WriteError("the value is no " + std::string(wanted));
}

template <typename T>
std::string EncodeInteger(const Value& value) {
  const std::optional<std::int64_t> number = ToWholeNumber(value);
  if (!number) throw WriteError("the value is no whole number");
  if (*number < std::numeric_limits<T>::min() || *number > std::numeric_limits<T>::max()) {
    throw WriteError(std::to_string(*number) + " is out of the column's range");
  }
  ByteWriter bytes;
  bytes.Number(static_cast<std::uint64_t>(*number), sizeof(T));
  return bytes.Take();
}

template <typename T>
std::string EncodeFloat(const Value& value) {
  double number = 0;
  if (const std::optional<std::int64_t> whole = ToWholeNumber(value)) {
    number = static_cast<double>(*whole);
  } else if (const float* single = std::get_if<float>(&value)) {
    number = *single;
  } else {
    number = Expect<double>(value, "number");
  }
  ByteWriter bytes;
  if constexpr (std::is_same_v<T, float>) {
    bytes.F32(static_cast<float>(number));
  } else {
    bytes.F64(number);
  }
  return bytes.Take();
}

std::string EncodeNumeric(const ColumnSpec& column, const Value& value) {
  const auto number = Expect<jet::Decimal>(value, "decimal number");
  if (number.scale != column.scale) throw WriteError("the number's scale is not the column's");
  ByteWriter bytes;
  bytes.U8(number.isNegative ? jet::NUMERIC_NEGATIVE : 0);
  for (const std::uint32_t word : number.magnitude)
    bytes.U32(word);
  return bytes.Take();
}

void CheckSize(const WriterContext& context, const ColumnSpec& column, std::string_view bytes) {
  const std::size_t maxBytes = SizeBytes(context.layout, column);
  if (bytes.size() <= maxBytes) return;
  throw WriteError("a value of " + std::to_string(bytes.size()) +
                   " bytes is longer than the column's " + std::to_string(maxBytes));
}

// Text as it stands in the file, before any compression.
std::string EncodePlainText(const WriterContext& context, const Value& value) {
  if (const auto* raw = std::get_if<jet::Binary>(&value)) return std::string(ToView(*raw));
  return context.text.Encode(Expect<jet::Text>(value, "text").bytes);
}

// `plain` in its final form. A compressed text must not take more than `maxCompressedBytes`: what
// does not fit one page is never compressed.
std::string CompressText(const WriterContext& context, const Value& value, std::string plain,
                         std::size_t maxCompressedBytes) {
  if (std::holds_alternative<jet::Binary>(value)) return plain;
  const bool mustCompress = context.text.LooksCompressed(plain);
  if (!context.options.compressText && !mustCompress) return plain;
  std::optional<std::string> compressed = context.text.Compress(plain);
  if (compressed && (compressed->size() <= maxCompressedBytes || mustCompress)) {
    return std::move(*compressed);
  }
  if (mustCompress) throw WriteError("a text that begins with U+FEFF cannot be stored here");
  return plain;
}

std::string EncodeText(const WriterContext& context, const ColumnSpec& column, const Value& value) {
  std::string plain = EncodePlainText(context, value);
  // The size of a column counts characters, compressed or not.
  CheckSize(context, column, plain);
  return CompressText(context, value, std::move(plain), context.layout.maxRowBytes);
}

std::string EncodeMemo(const WriterContext& context, const Value& value) {
  return CompressText(context, value, EncodePlainText(context, value),
                      context.options.maxSingleLongValueBytes);
}

std::string EncodeBinary(const Value& value) {
  return std::string(ToView(Expect<jet::Binary>(value, "binary value")));
}

std::string EncodeGuid(const Value& value) {
  const auto guid = Expect<jet::Guid>(value, "GUID");
  return {reinterpret_cast<const char*>(guid.bytes.data()), guid.bytes.size()};
}

std::string EncodeCurrency(const Value& value) {
  ByteWriter bytes;
  bytes.U64(
      static_cast<std::uint64_t>(Expect<jet::Currency>(value, "amount of money").tenThousandths));
  return bytes.Take();
}

std::string EncodeDate(const Value& value) {
  ByteWriter bytes;
  bytes.F64(Expect<jet::Date>(value, "date").days);
  return bytes.Take();
}

}  // namespace

std::size_t SizeBytes(const jet::JetLayout& layout, const ColumnSpec& column) {
  switch (column.type) {
    case ColumnType::Boolean:
      return 1;
    case ColumnType::Text:
      return layout.text == jet::TextForm::Utf16Le ? std::size_t{2} * column.size : column.size;
    case ColumnType::Binary:
      return column.size;
    default:
      return jet::FixedWidth(column.type);
  }
}

std::string EncodeValue(const WriterContext& context, const ColumnSpec& column,
                        const Value& value) {
  switch (column.type) {
    case ColumnType::Boolean:
      return {};  // its value is a bit of the null mask
    case ColumnType::Byte:
      return EncodeInteger<std::uint8_t>(value);
    case ColumnType::Integer:
      return EncodeInteger<std::int16_t>(value);
    case ColumnType::Long:
      return EncodeInteger<std::int32_t>(value);
    case ColumnType::Currency:
      return EncodeCurrency(value);
    case ColumnType::Single:
      return EncodeFloat<float>(value);
    case ColumnType::Double:
      return EncodeFloat<double>(value);
    case ColumnType::DateTime:
      return EncodeDate(value);
    case ColumnType::Numeric:
      return EncodeNumeric(column, value);
    case ColumnType::Guid:
      return EncodeGuid(value);
    case ColumnType::Text:
      return EncodeText(context, column, value);
    case ColumnType::Memo:
      return EncodeMemo(context, value);
    case ColumnType::Binary:
      CheckSize(context, column, ToView(Expect<jet::Binary>(value, "binary value")));
      return EncodeBinary(value);
    case ColumnType::Ole:
      return EncodeBinary(value);
  }
  throw WriteError("there are no columns of type " +
                   std::to_string(static_cast<unsigned>(column.type)));
}

}  // namespace nimport::jetwriter
