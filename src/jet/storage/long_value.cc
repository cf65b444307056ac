#include "jet/storage/long_value.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"
#include "jet/format/jet_layout.h"
#include "jet/storage/data_page.h"
#include "jet/storage/page_file.h"

namespace nimport::jet {
namespace {

constexpr std::size_t MAX_RESERVED_BYTES = std::size_t{256} << 10;

std::string PlaceText(RowId pointer) {
  return "page " + std::to_string(pointer.Page()) + " slot " + std::to_string(pointer.Slot());
}

// The row is told by the callers; the part is told in the text.
OrphanRow ReadPart(PageFile& file, RowId pointer) {
  try {
    return ReadOrphanRow(file, pointer, OWNER_LONG_VALUES);
  } catch (const DatabaseError& error) {
    throw DatabaseError({}, "its long value at " + PlaceText(pointer) + ": " + error.reason());
  }
}

// Appends at most `length` bytes to `value`, which keeps what was read before a failure.
void ReadChain(PageFile& file, RowId pointer, std::size_t length, std::vector<std::byte>& value) {
  // The length is a claim; what most long values have is taken at once.
  value.reserve(std::min(length, MAX_RESERVED_BYTES));
  // A ring comes back to a part that was marked once the distance between marks is long enough.
  RowId mark;
  std::uint64_t nextMark = 1;
  for (std::uint64_t parts = 1; value.size() < length && !pointer.IsNone(); ++parts) {
    if (pointer == mark) {
      value.clear();
      throw DatabaseError({}, "its long value is a ring of pages");
    }
    if (parts == nextMark) {
      mark = pointer;
      nextMark *= 2;
    }
    const OrphanRow row = ReadPart(file, pointer);
    const ByteReader part(row.bytes);
    pointer = {part.U32(0)};
    const auto data = part.From(CHAIN_PART_HEADER_BYTES);
    const auto wanted = data.first(std::min(data.size(), length - value.size()));
    value.insert(value.end(), wanted.begin(), wanted.end());
  }
}

}  // namespace

LongValue::LongValue(PageFile& file, std::span<const std::byte> descriptor) {
  try {
    Read(file, descriptor);
  } catch (const DatabaseError& error) {
    damage_ = std::make_unique<DatabaseError>(error);
    bytes_ = collected_;
  }
}

void LongValue::Read(PageFile& file, std::span<const std::byte> descriptor) {
  if (descriptor.empty()) return;
  const ByteReader reader(descriptor);
  const std::uint32_t lengthAndForm = reader.U32(0);
  const std::size_t length = lengthAndForm & LONG_VALUE_LENGTH_MASK;
  if (length > file.SizeBytes()) {
    throw DatabaseError(
        {}, "its long value claims " + std::to_string(length) + " bytes, more than the file has");
  }
  if ((lengthAndForm & LONG_VALUE_INLINE) != 0) {
    bytes_ = reader.Bytes(LONG_VALUE_DESCRIPTOR_BYTES, length);
    return;
  }
  const RowId pointer{reader.U32(LONG_VALUE_POINTER_OFFSET)};
  if (length == 0) return;
  if ((lengthAndForm & LONG_VALUE_SINGLE) != 0) {
    OrphanRow row = ReadPart(file, pointer);
    page_ = std::move(row.page);
    bytes_ = row.bytes.first(std::min(length, row.bytes.size()));
  } else {
    ReadChain(file, pointer, length, collected_);
    bytes_ = collected_;
  }
  if (bytes_.size() < length) {
    throw DatabaseError({}, "its long value ends after " + std::to_string(bytes_.size()) + " of " +
                                std::to_string(length) + " bytes");
  }
}

}  // namespace nimport::jet
