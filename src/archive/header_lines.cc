#include "archive/header_lines.h"

#include <algorithm>

#include "archive/mail_contents.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

// The line at the start of `text` with its line end.
std::string_view FirstLine(std::string_view text) {
  const std::size_t end = text.find('\n');
  return end == std::string_view::npos ? text : text.substr(0, end + 1);
}

bool IsEmptyLine(std::string_view line) {
  return line == "\r\n" || line == "\n";
}

bool IsContinuation(std::string_view line) {
  return line.starts_with(' ') || line.starts_with('\t');
}

std::string_view FieldName(std::string_view line) {
  std::string_view name = line.substr(0, line.find(':'));
  while (name.ends_with(' ') || name.ends_with('\t'))
    name.remove_suffix(1);
  return name;
}

}  // namespace

std::string HeaderField::Value() const {
  std::string value(raw.substr(raw.find(':') + 1));
  std::erase_if(value, [](char byte) { return byte == '\r' || byte == '\n'; });
  return std::string(text::Trim(value));
}

std::string HeaderField::Lawful() const {
  return std::string(name).append(raw.substr(raw.find(':')));
}

HeaderBlock SplitHeader(std::string_view mail) {
  HeaderBlock block;
  std::size_t position = 0;
  while (position < mail.size()) {
    const std::string_view line = FirstLine(mail.substr(position));
    if (IsEmptyLine(line)) {
      block.body = mail.substr(position + line.size());
      block.isWellFormed = true;
      return block;
    }
    if (IsContinuation(line) && !block.fields.empty()) {
      std::string_view& raw = block.fields.back().raw;
      raw = {raw.data(), raw.size() + line.size()};
    } else if (LooksLikeMail(line)) {
      block.fields.push_back({.name = FieldName(line), .raw = line});
    } else {
      block.body = mail.substr(position);
      return block;
    }
    position += line.size();
  }
  block.isWellFormed = true;
  return block;
}

bool IsSameName(std::string_view a, std::string_view b) {
  return text::EqualsIgnoringCase(a, b);
}

std::string FindHeaderValue(std::string_view mail, std::string_view name) {
  for (const HeaderField& field : SplitHeader(mail).fields) {
    if (IsSameName(field.name, name)) return field.Value();
  }
  return {};
}

}  // namespace nimport::archive
