#include "mailstore/mail_text.h"

#include <algorithm>

#include "common/failure.h"

namespace nimport::mailstore {
namespace {

constexpr char CR = '\r';
constexpr char LF = '\n';
constexpr char END_OF_TEXT = '\x1A';  // Ctrl-Z, with which old programs end a text file

constexpr std::string_view HeaderName(FieldSelector selector) {
  switch (selector) {
    case FieldSelector::Subject:
      return "subject";
    case FieldSelector::From:
      return "from";
    case FieldSelector::To:
      return "to";
    case FieldSelector::MessageId:
      return "message-id";
    case FieldSelector::Date:
      return "date";
    case FieldSelector::ContentType:
      return "content-type";
  }
  return {};
}

constexpr char ToLower(char byte) {
  return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
}

// `name` is in lower case.
bool HasHeaderName(std::string_view line, std::string_view name) {
  if (line.size() <= name.size() || line[name.size()] != ':') return false;
  return std::ranges::equal(line.substr(0, name.size()), name, {}, ToLower);
}

// The place of the first LF at or after `from` that does not follow a CR; npos when there is none.
std::size_t FindBareLineFeed(std::string_view text, std::size_t from) {
  std::size_t found = text.find(LF, from);
  while (found != std::string_view::npos && found > 0 && text[found - 1] == CR) {
    found = text.find(LF, found + 1);
  }
  return found;
}

std::size_t CountBareLineFeeds(std::string_view text) {
  std::size_t count = 0;
  char before = '\0';
  for (const char byte : text) {
    count += static_cast<std::size_t>((byte == LF) & (before != CR));
    before = byte;
  }
  return count;
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

std::optional<std::string_view> FindHeaderLine(std::string_view text, FieldSelector selector) {
  const std::string_view name = HeaderName(selector);
  if (name.empty()) return std::nullopt;
  std::size_t position = 0;
  while (const auto line = ReadTextLine(text, position)) {
    if (HasHeaderName(*line, name)) return line->substr(name.size() + 1);
  }
  return std::nullopt;
}

std::string_view GetHeaderLine(std::string_view text, FieldSelector selector) {
  if (text.empty()) FailDatabase("the mail's text is empty");
  const auto value = FindHeaderLine(text, selector);
  if (!value) FailInvalid("the mail has no header line " + std::string(HeaderName(selector)));
  return *value;
}

std::string NormalizeLineEnds(std::string text) {
  const std::size_t added = CountBareLineFeeds(text);
  if (added == 0) return text;

  std::string result;
  result.reserve(text.size() + added);
  std::size_t copied = 0;
  for (std::size_t bare = FindBareLineFeed(text, 0); bare != std::string::npos;
       bare = FindBareLineFeed(text, bare + 1)) {
    result.append(text, copied, bare - copied).push_back(CR);
    copied = bare;
  }
  return result.append(text, copied);
}

}  // namespace nimport::mailstore
