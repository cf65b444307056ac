#include "jet/format/byte_reader.h"

#include <string>

#include "jet/database_error.h"

namespace nimport::jet {

void ByteReader::FailOverrun(std::size_t offset, std::size_t length, std::size_t size) {
  throw DatabaseError({}, std::to_string(length) + " bytes at byte " + std::to_string(offset) +
                              " lead beyond the end of " + std::to_string(size) + " bytes");
}

}  // namespace nimport::jet
