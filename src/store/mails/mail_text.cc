#include "store/mails/mail_text.h"

#include "common/failure.h"

namespace nimport::store {
namespace {

constexpr char CR = '\r';
constexpr char LF = '\n';

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
  for (std::size_t bare = FindBareLineFeed(text, 0); bare != std::string_view::npos;
       bare = FindBareLineFeed(text, bare + 1)) {
    ++count;
  }
  return count;
}

}  // namespace

std::string_view NameOf(FieldSelector selector) {
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

std::optional<std::string_view> FindHeaderLine(std::string_view text, FieldSelector selector) {
  const std::string_view name = NameOf(selector);
  if (name.empty()) return std::nullopt;
  return text::FindFieldLine(text, name);
}

std::string_view GetHeaderLine(std::string_view text, FieldSelector selector) {
  if (text.empty()) FailDatabase("the mail's text is empty");
  const auto value = FindHeaderLine(text, selector);
  if (!value) FailInvalid("the mail has no header line " + std::string(NameOf(selector)));
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

}  // namespace nimport::store
