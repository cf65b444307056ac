#include "jet/format/file_header.h"

#include <algorithm>
#include <array>
#include <string>

#include "jet/database_error.h"
#include "jet/format/byte_reader.h"

namespace nimport::jet {
namespace {

[[noreturn]] void Refuse(const std::string& reason) {
  throw DatabaseError({.page = 0}, reason);
}

bool HasEngineName(const ByteReader& header, std::string_view name) {
  const auto stored = header.Bytes(ENGINE_NAME_OFFSET, name.size() + 1);
  return std::equal(name.begin(), name.end(), stored.begin(),
                    [](char a, std::byte b) { return static_cast<std::byte>(a) == b; }) &&
         stored.back() == std::byte{0};
}

const JetLayout& FindLayout(const ByteReader& header) {
  if (HasEngineName(header, ENGINE_NAME_MSISAM)) {
    Refuse("the file is an MSISAM (Money) database, which is not read");
  }
  const unsigned version = header.U8(VERSION_OFFSET);
  if (HasEngineName(header, ENGINE_NAME_ACE)) {
    Refuse("the file is an ACE database (Access 2007 or later, version " + std::to_string(version) +
           "), which is not read");
  }
  if (!HasEngineName(header, ENGINE_NAME)) {
    Refuse("the file is not a Jet database: it does not name its engine");
  }
  for (const JetLayout* layout : {&JET3, &JET4}) {
    if (layout->version == version) return *layout;
  }
  Refuse("the file is an ACE database (version " + std::to_string(version) +
         "), which is not read");
}

std::array<std::byte, FILE_HEADER_BYTES> Unmask(std::span<const std::byte> bytes,
                                                const JetLayout& layout) {
  std::array<std::byte, FILE_HEADER_BYTES> plain{};
  std::copy(bytes.begin(), bytes.end(), plain.begin());
  for (std::size_t i = 0; i < layout.maskedHeaderBytes; ++i) {
    plain[MASKED_HEADER_OFFSET + i] ^= static_cast<std::byte>(HEADER_MASK[i]);
  }
  return plain;
}

}  // namespace

FileHeader ParseFileHeader(std::span<const std::byte> bytes) {
  if (bytes.empty()) Refuse("the file is empty");
  if (bytes.size() < FILE_HEADER_BYTES) Refuse("the file ends within its header");
  bytes = bytes.first(FILE_HEADER_BYTES);
  if (std::all_of(bytes.begin(), bytes.end(), [](std::byte b) { return b == std::byte{0}; })) {
    Refuse("the file begins with nothing but zero bytes");
  }
  const ByteReader header(bytes);
  if (header.U32(0) != FILE_SIGNATURE) Refuse("the file is not a Jet database");

  FileHeader result{.layout = &FindLayout(header)};
  const auto plain = Unmask(bytes, *result.layout);
  const ByteReader reader(plain);
  if (const unsigned codePage = reader.U16(CODE_PAGE_OFFSET); codePage != 0) {
    result.codePage = codePage;
  }
  result.encodingKey = reader.U32(ENCODING_KEY_OFFSET);
  return result;
}

}  // namespace nimport::jet
