#include "jet/query/expression/sql_text.h"

#include <cstddef>

namespace nimport::jet {
namespace {

constexpr std::size_t MAX_QUOTED_BYTES = 200;

bool IsUtf8Continuation(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

}  // namespace

std::string Quote(std::string_view text) {
  if (text.size() <= MAX_QUOTED_BYTES) return '"' + std::string(text) + '"';
  std::size_t size = MAX_QUOTED_BYTES;
  while (size > 0 && IsUtf8Continuation(text[size]))
    --size;
  return '"' + std::string(text.substr(0, size)) + "...\"";
}

}  // namespace nimport::jet
