#include "jet/query/expression/sql_text.h"

#include <cstddef>

#include "text/utf8.h"

namespace nimport::jet {
namespace {

constexpr std::size_t MAX_QUOTED_BYTES = 200;

}  // namespace

std::string Quote(std::string_view text) {
  if (text.size() <= MAX_QUOTED_BYTES) return '"' + std::string(text) + '"';
  return '"' + std::string(text::CutUtf8(text, MAX_QUOTED_BYTES)) + "...\"";
}

}  // namespace nimport::jet
