#include "text/text_lines.h"

#include "text/ascii.h"
#include "text/code_page_932.h"

namespace nimport::text {
namespace {

constexpr char CR = '\r';
constexpr char LF = '\n';
constexpr char END_OF_TEXT = '\x1A';  // Ctrl-Z, with which old programs end a text file

bool HasHeaderName(std::string_view line, std::string_view name) {
  if (line.size() <= name.size() || line[name.size()] != ':') return false;
  return StartsWithIgnoringCase(line, name);
}

}  // namespace

std::optional<std::string_view> ReadTextLine(std::string_view text, std::size_t& position) {
  if (position >= text.size()) return std::nullopt;

  // A line end is looked for within this window only, so that a text without any costs no more
  // than its length.
  const std::string_view window = text.substr(position, MAX_LINE_BYTES + 1);
  std::string_view line = window.substr(0, window.find(LF));
  line = line.substr(0, line.find(END_OF_TEXT));
  if (line.size() > MAX_LINE_BYTES) {
    position += MAX_LINE_BYTES;
    return UpToNul(line.substr(0, MAX_LINE_BYTES));
  }

  const bool hasLineEnd = line.size() < window.size();
  position += line.size() + (hasLineEnd ? 1 : 0);
  if (hasLineEnd && window[line.size()] == LF && line.ends_with(CR)) line.remove_suffix(1);
  return UpToNul(line);
}

std::optional<std::string_view> FindFieldLine(std::string_view text, std::string_view lowerName) {
  std::size_t position = 0;
  while (const auto line = ReadTextLine(text, position)) {
    if (HasHeaderName(*line, lowerName)) return line->substr(lowerName.size() + 1);
  }
  return std::nullopt;
}

}  // namespace nimport::text
