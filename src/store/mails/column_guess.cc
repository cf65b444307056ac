#include "store/mails/column_guess.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "text/ascii.h"

namespace nimport::store {
namespace {

constexpr std::pair<std::string_view, ColumnRole> KNOWN_NAMES[] = {
    {"DataTitle", ColumnRole::Title},
    {"OriginatorID", ColumnRole::SenderId},
    {"OriginatorName", ColumnRole::SenderName},
    {"ToField", ColumnRole::Recipients},
    {"AdditionalIDList", ColumnRole::Recipients},
    {"RecipientList", ColumnRole::Recipients},
    {"SysopeID", ColumnRole::Recipients},
    {"CenterID", ColumnRole::Recipients},
    {"ShopMasterID", ColumnRole::Recipients},
    {"RespID", ColumnRole::Recipients},
    {"DataTime", ColumnRole::Date},
    {"TextData", ColumnRole::Text},
    {"ForwardText", ColumnRole::ForwardedText},
    {"FileLink", ColumnRole::MimeFile},
    {"RcvFilePath", ColumnRole::StoredFile},
    {"UploadFilePath", ColumnRole::StoredFile},
    {"EmailMode", ColumnRole::Mode},
};

bool ContainsOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(
      words, [text](std::string_view word) { return text.find(word) != text.npos; });
}

// Whether `name` begins or ends with `word`, in capitals or small letters, as a word of its own:
// "CcField", "CC_LIST" and "MailCc", but not "Account" or "CCount".
bool HasWord(std::string_view name, std::string_view word) {
  const auto endsWord = [](char next) { return !(next >= 'a' && next <= 'z'); };
  if (text::StartsWithIgnoringCase(name, word)) {
    const std::string_view rest = name.substr(std::min(word.size(), name.size()));
    if (rest.empty() || endsWord(rest.front())) return true;
  }
  if (name.size() <= word.size()) return false;
  const std::string_view end = name.substr(name.size() - word.size());
  const char before = name[name.size() - word.size() - 1];
  return text::EqualsIgnoringCase(end, word) && end.front() == text::AsciiUpper(end.front()) &&
         !(before >= 'A' && before <= 'Z');
}

ColumnRole RoleOfText(std::string_view name, bool isLong) {
  const std::string lower = text::AsciiLower(name);
  if (ContainsOneOf(lower, {"blind"}) || HasWord(name, "Bcc")) return ColumnRole::BlindCopies;
  if (ContainsOneOf(lower, {"carboncopy"}) || HasWord(name, "Cc")) return ColumnRole::CarbonCopies;
  if (ContainsOneOf(lower, {"title", "subject"})) return ColumnRole::Title;
  if (ContainsOneOf(lower, {"path"})) return ColumnRole::StoredFile;
  if (ContainsOneOf(lower, {"originator", "sender", "author"}) || HasWord(name, "From"))
    return ColumnRole::SenderName;
  if (ContainsOneOf(lower, {"recipient"}) || HasWord(name, "To")) return ColumnRole::Recipients;
  if (isLong && ContainsOneOf(lower, {"text", "body", "message", "contents", "memo", "article"}))
    return ColumnRole::Text;
  return ColumnRole::Other;
}

}  // namespace

ColumnRole LooksLikeRole(std::string_view name, jet::ColumnType type) {
  for (const auto& [known, role] : KNOWN_NAMES)
    if (text::EqualsIgnoringCase(name, known)) return role;
  switch (type) {
    case jet::ColumnType::Text:
      return RoleOfText(name, false);
    case jet::ColumnType::Memo:
      return RoleOfText(name, true);
    case jet::ColumnType::DateTime:
      return ColumnRole::Date;
    default:
      return ColumnRole::Other;
  }
}

}  // namespace nimport::store
