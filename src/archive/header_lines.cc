#include "archive/header_lines.h"

#include "mime/header_block.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

std::string Unfold(std::string_view value) {
  std::string unfolded(value);
  std::erase_if(unfolded, [](char byte) { return byte == '\r' || byte == '\n'; });
  return std::string(text::Trim(unfolded));
}

}  // namespace

std::string HeaderField::Value() const {
  return Unfold(raw.substr(raw.find(':') + 1));
}

std::string HeaderField::Lawful() const {
  return std::string(name).append(raw.substr(raw.find(':')));
}

HeaderBlock SplitHeader(std::string_view mail) {
  const auto read = mime::HeaderBlock::Read(mail, mime::HeaderPlace::Mail);
  HeaderBlock block;
  std::size_t sizeOfFields = 0;
  std::string_view rest = read.lines();
  while (const auto field = read.TakeField(rest)) {
    if (!block.fields.empty()) {
      std::string_view& before = block.fields.back().raw;
      before = {before.data(), static_cast<std::size_t>(field->whole.data() - before.data())};
    }
    block.fields.push_back({.name = field->name, .raw = field->whole});
    sizeOfFields += field->whole.size();
  }
  block.body = mail.substr(read.contentStart());
  const std::string_view lines = read.lines();
  const bool isFieldsOnly = lines.data() == mail.data() && sizeOfFields == lines.size();
  const std::string_view end =
      isFieldsOnly ? mail.substr(lines.size(), read.contentStart() - lines.size()) : "";
  const bool isMailsEnd = end.empty() && block.body.empty();
  block.isWellFormed = isFieldsOnly && (isMailsEnd || end == "\r\n" || end == "\n");
  return block;
}

std::vector<HeaderField> ReadFields(std::string_view lines) {
  const auto block = mime::HeaderBlock::OfLines(lines);
  std::vector<HeaderField> fields;
  std::string_view rest = block.lines();
  while (const auto field = block.TakeField(rest))
    fields.push_back({.name = field->name, .raw = field->whole});
  return fields;
}

bool IsSameName(std::string_view a, std::string_view b) {
  return text::EqualsIgnoringCase(a, b);
}

std::string FindHeaderValue(std::string_view mail, std::string_view name) {
  const auto value = mime::HeaderBlock::Read(mail, mime::HeaderPlace::Mail).Find(name);
  return Unfold(value.value_or(""));
}

}  // namespace nimport::archive
