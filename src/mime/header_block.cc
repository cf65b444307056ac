#include "mime/header_block.h"

#include <algorithm>

#include "text/ascii.h"
#include "text/utf8.h"

namespace nimport::mime {
namespace {

bool IsEmptyLine(std::string_view line) {
  return line == "\r\n" || line == "\n" || line == "\r";
}

bool IsContinuation(std::string_view line) {
  return !line.empty() && (line.front() == ' ' || line.front() == '\t');
}

bool IsBlankLine(std::string_view line) {
  return IsContinuation(line) && std::ranges::all_of(line, text::IsBlank);
}

// `line` as the first line of a field; empty when it is none.
std::optional<HeaderField> ParseField(std::string_view line) {
  std::size_t nameSize = 0;
  while (nameSize < line.size() && line[nameSize] > ' ' && line[nameSize] < '\x7F' &&
         line[nameSize] != ':') {
    ++nameSize;
  }
  std::size_t colon = nameSize;
  while (colon < line.size() && (line[colon] == ' ' || line[colon] == '\t'))
    ++colon;
  if (nameSize == 0 || colon >= line.size() || line[colon] != ':') return std::nullopt;
  return HeaderField{line.substr(0, nameSize), line.substr(colon + 1), line};
}

bool IsMboxSeparator(std::string_view line) {
  return line.starts_with("From ") || line.starts_with(">From ");
}

// A header has them once; what repeats one is a mail that the text quotes.
bool IsSingleField(std::string_view name) {
  static constexpr std::string_view NAMES[] = {"From", "To",         "Cc",     "Subject",
                                               "Date", "Message-ID", "Sender", "Reply-To"};
  return std::ranges::any_of(
      NAMES, [&](std::string_view known) { return text::EqualsIgnoringCase(known, name); });
}

// Whether it is the name of a field that mails have.
bool IsKnownField(std::string_view name) {
  static constexpr std::string_view BEGINNINGS[] = {
      "X-",         "Content-",     "MIME-",          "Resent-",     "List-",
      "Received",   "Return-",      "Message-",       "In-Reply-To", "References",
      "Bcc",        "Delivered-",   "Errors-To",      "Organi",      "Precedence",
      "Importance", "Priority",     "User-Agent",     "Newsgroups",  "Followup-",
      "DKIM-",      "Disposition-", "Authentication-"};
  return IsSingleField(name) || std::ranges::any_of(BEGINNINGS, [&](std::string_view beginning) {
           return text::StartsWithIgnoringCase(name, beginning);
         });
}

// Whether the header of which `read` was read goes on in `rest`, although its last line is no field
// or blank: within a few lines a known field follows, which the header has not had yet.
bool GoesOn(std::string_view read, std::string_view rest, char lineEnd) {
  constexpr int MAX_STRAY_LINES = 4;
  for (int i = 0; i < MAX_STRAY_LINES && !rest.empty(); ++i) {
    const std::string_view line = TakeLine(rest, lineEnd);
    if (IsEmptyLine(line) || IsBlankLine(line)) return false;
    const std::optional<HeaderField> field = ParseField(line);
    if (!field || !IsKnownField(field->name)) continue;
    return !IsSingleField(field->name) || !HeaderBlock::OfLines(read).Find(field->name);
  }
  return false;
}

// `text` from its first header field on, or as it is when it begins with none.
std::string_view SkipToFirstField(std::string_view text, char lineEnd) {
  std::string_view rest = text;
  if (rest.starts_with(text::UTF8_BYTE_ORDER_MARK))
    rest.remove_prefix(text::UTF8_BYTE_ORDER_MARK.size());
  while (!rest.empty()) {
    std::string_view after = rest;
    const std::string_view line = TakeLine(after, lineEnd);
    if (ParseField(line)) return rest;
    const bool isPassedOver = IsEmptyLine(line) || IsBlankLine(line) || IsMboxSeparator(line);
    // What has NUL bytes is no line that a program wrote before a header.
    const bool isStray = line.find('\0') == std::string_view::npos && GoesOn({}, after, lineEnd);
    if (!isPassedOver && !isStray) return text;
    rest = after;
  }
  return text;
}

}  // namespace

std::string_view TakeLine(std::string_view& text, char lineEnd) {
  const std::size_t end = text.find(lineEnd);
  const std::string_view line =
      text.substr(0, end == std::string_view::npos ? text.size() : end + 1);
  text.remove_prefix(line.size());
  return line;
}

HeaderBlock HeaderBlock::Read(std::string_view text, HeaderPlace place) {
  HeaderBlock block;
  if (text.find('\n') == std::string_view::npos) block.lineEnd_ = '\r';
  const std::string_view all =
      place == HeaderPlace::Mail ? SkipToFirstField(text, block.lineEnd_) : text;
  std::string_view rest = all;
  std::size_t size = 0;
  while (!rest.empty()) {
    std::string_view after = rest;
    const std::string_view line = TakeLine(after, block.lineEnd_);
    const std::string_view read = all.substr(0, size);
    const bool isField = IsContinuation(line) ? size > 0 : ParseField(line).has_value();
    if (IsEmptyLine(line) || (IsBlankLine(line) && !GoesOn(read, after, block.lineEnd_))) {
      rest = after;
      break;
    }
    if (!isField && (size == 0 || !GoesOn(read, after, block.lineEnd_))) break;
    size += line.size();
    rest = after;
  }
  block.lines_ = all.substr(0, size);
  block.contentStart_ = text.size() - rest.size();
  return block;
}

HeaderBlock HeaderBlock::OfLines(std::string_view lines) {
  HeaderBlock block;
  if (lines.find('\n') == std::string_view::npos) block.lineEnd_ = '\r';
  block.lines_ = lines;
  block.contentStart_ = lines.size();
  return block;
}

std::optional<std::string_view> HeaderBlock::Find(std::string_view name) const {
  std::string_view rest = lines_;
  while (!rest.empty()) {
    const std::string_view from = rest;
    const std::string_view line = TakeLine(rest, lineEnd_);
    if (!text::StartsWithIgnoringCase(line, name)) continue;
    const std::optional<HeaderField> field = ParseField(line);
    if (!field || field->name.size() != name.size()) continue;
    rest = from;
    return TakeField(rest)->value;
  }
  return std::nullopt;
}

std::optional<HeaderField> HeaderBlock::TakeField(std::string_view& lines) const {
  while (!lines.empty()) {
    const std::string_view line = TakeLine(lines, lineEnd_);
    std::optional<HeaderField> field = ParseField(line);
    if (!field) continue;
    // The value reaches to the first line that does not continue it.
    while (IsContinuation(lines))
      (void)TakeLine(lines, lineEnd_);
    const auto reach = [&](std::string_view from) {
      return std::string_view(from.data(), static_cast<std::size_t>(lines.data() - from.data()));
    };
    return HeaderField{field->name, reach(field->value), reach(line)};
  }
  return std::nullopt;
}

}  // namespace nimport::mime
