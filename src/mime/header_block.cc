#include "mime/header_block.h"

#include "text/ascii.h"

namespace nimport::mime {
namespace {

bool IsEmptyLine(std::string_view line) {
  return line == "\r\n" || line == "\n" || line == "\r";
}

bool IsContinuation(std::string_view line) {
  return !line.empty() && (line.front() == ' ' || line.front() == '\t');
}

struct Field {
  std::string_view name, value;
};

// `line` as the first line of a field; empty when it is none.
std::optional<Field> ParseField(std::string_view line) {
  std::size_t nameSize = 0;
  while (nameSize < line.size() && line[nameSize] > ' ' && line[nameSize] < '\x7F' &&
         line[nameSize] != ':') {
    ++nameSize;
  }
  std::size_t colon = nameSize;
  while (colon < line.size() && (line[colon] == ' ' || line[colon] == '\t'))
    ++colon;
  if (nameSize == 0 || colon >= line.size() || line[colon] != ':') return std::nullopt;
  return Field{line.substr(0, nameSize), line.substr(colon + 1)};
}

bool IsMboxSeparator(std::string_view line) {
  return line.starts_with("From ") || line.starts_with(">From ");
}

// `text` from its first header field on, or as it is when it begins with none.
std::string_view SkipToFirstField(std::string_view text) {
  std::string_view rest = text;
  while (!rest.empty()) {
    std::string_view after = rest;
    const std::string_view line = TakeLine(after);
    if (ParseField(line)) return rest;
    if (!IsEmptyLine(line) && !IsMboxSeparator(line)) return text;
    rest = after;
  }
  return text;
}

}  // namespace

std::string_view TakeLine(std::string_view& text) {
  const std::size_t end = text.find('\n');
  const std::string_view line =
      text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
  text.remove_prefix(line.size());
  return line;
}

HeaderBlock HeaderBlock::Read(std::string_view text, HeaderPlace place) {
  HeaderBlock block;
  std::string_view rest = place == HeaderPlace::Mail ? SkipToFirstField(text) : text;
  const char* const start = rest.data();
  std::string_view peek = rest;
  const std::string_view firstLine = TakeLine(peek);
  if (!IsEmptyLine(firstLine) && !ParseField(firstLine)) return block;
  std::size_t size = 0;
  while (!rest.empty()) {
    const std::string_view line = TakeLine(rest);
    if (IsEmptyLine(line)) break;
    size += line.size();
  }
  block.lines_ = {start, size};
  block.contentStart_ = text.size() - rest.size();
  return block;
}

std::optional<std::string_view> HeaderBlock::Find(std::string_view name) const {
  std::string_view rest = lines_;
  while (!rest.empty()) {
    const std::optional<Field> field = ParseField(TakeLine(rest));
    if (!field || !text::EqualsIgnoringCase(field->name, name)) continue;
    // The value reaches to the first line that does not continue it.
    const char* const start = field->value.data();
    while (IsContinuation(rest))
      (void)TakeLine(rest);
    return std::string_view(start, static_cast<std::size_t>(rest.data() - start));
  }
  return std::nullopt;
}

}  // namespace nimport::mime
