#include "archive/mailboxes.h"

#include <algorithm>
#include <optional>

#include "archive/digest.h"
#include "mime/header_encoding.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

bool IsAtomText(char character) {
  return text::IsAsciiLetterOrDigit(character) ||
         std::string_view("!#$%&'*+-/=?^_`{|}~").find(character) != std::string_view::npos;
}

// Pieces between separators that stand outside quotes, parentheses and angle brackets.
std::vector<std::string_view> SplitPieces(std::string_view text) {
  std::vector<std::string_view> pieces;
  std::size_t begin = 0;
  char closing = '\0';
  for (std::size_t i = 0; i <= text.size(); ++i) {
    const char character = i < text.size() ? text[i] : ';';
    const bool isLineEnd = character == '\n' || character == '\r';
    if (isLineEnd || i == text.size()) {
      closing = '\0';  // an open bracket does not swallow the next line
    } else if (closing != '\0') {
      if (character == closing) closing = '\0';
      continue;
    }
    if (character == '"') closing = '"';
    if (character == '(') closing = ')';
    if (character == '<') closing = '>';
    if (character == ',' || character == ';' || isLineEnd) {
      const std::string_view piece = text::Trim(text.substr(begin, i - begin));
      if (!piece.empty()) pieces.push_back(piece);
      begin = i + 1;
    }
  }
  return pieces;
}

struct Span {
  std::size_t begin;
  std::size_t end;
};

// Dots only between other characters.
bool IsDotted(std::string_view text) {
  return !text.empty() && text.front() != '.' && text.back() != '.' &&
         text.find("..") == std::string_view::npos;
}

std::optional<Span> FindInternetAddress(std::string_view piece) {
  for (std::size_t at = piece.find('@'); at != std::string_view::npos;
       at = piece.find('@', at + 1)) {
    std::size_t begin = at;
    while (begin > 0 && (IsAtomText(piece[begin - 1]) || piece[begin - 1] == '.'))
      --begin;
    std::size_t end = at + 1;
    while (end < piece.size() &&
           (text::IsAsciiLetterOrDigit(piece[end]) || piece[end] == '.' || piece[end] == '-')) {
      ++end;
    }
    const std::string_view local = piece.substr(begin, at - begin);
    const std::string_view domain = piece.substr(at + 1, end - at - 1);
    if (IsDotted(local) && IsDotted(domain)) return Span{begin, end};
  }
  return std::nullopt;
}

// A display name without what merely set it apart from the address.
std::string CleanName(std::string_view before, std::string_view after) {
  std::string name(text::Trim(before));
  if (const std::string_view rest = text::Trim(after); !rest.empty()) {
    if (!name.empty()) name += ' ';
    name += rest;
  }
  std::erase_if(name, [](char character) { return character == '<' || character == '>'; });
  std::string_view view = text::Trim(name);
  const bool isQuoted = view.size() >= 2 && view.front() == '"' && view.back() == '"';
  const bool isComment = view.size() >= 2 && view.front() == '(' && view.back() == ')';
  if (isQuoted || isComment) view = text::Trim(view.substr(1, view.size() - 2));
  return std::string(view);
}

bool IsMemberId(std::string_view word) {
  const auto isLetter = [](char c) { return text::IsAsciiLetter(c); };
  return word.size() == 8 && std::all_of(word.begin(), word.begin() + 3, isLetter) &&
         std::all_of(word.begin() + 3, word.end(), text::IsAsciiDigit);
}

// The word that most looks like a member ID: the common form, or else the first one.
std::string_view FindMemberId(std::string_view piece) {
  std::string_view first;
  for (std::size_t i = 0; i < piece.size();) {
    if (!text::IsAsciiLetterOrDigit(piece[i])) {
      ++i;
      continue;
    }
    const std::size_t begin = i;
    while (i < piece.size() &&
           (text::IsAsciiLetterOrDigit(piece[i]) || piece[i] == '-' || piece[i] == '_'))
      ++i;
    const std::string_view word = piece.substr(begin, i - begin);
    if (IsMemberId(word)) return word;
    if (first.empty()) first = word;
  }
  return first;
}

Mailbox ToMailbox(std::string_view piece) {
  if (const std::optional<Span> span = FindInternetAddress(piece)) {
    return {.name = CleanName(piece.substr(0, span->begin), piece.substr(span->end)),
            .address = std::string(piece.substr(span->begin, span->end - span->begin)),
            .isInternet = true};
  }
  return {.name = std::string(piece), .address = MemberAddress(piece), .isInternet = false};
}

}  // namespace

std::vector<Mailbox> ToMailboxes(std::string_view text) {
  std::vector<Mailbox> mailboxes;
  for (const std::string_view piece : SplitPieces(text))
    mailboxes.push_back(ToMailbox(piece));
  return mailboxes;
}

std::string MemberAddress(std::string_view memberId) {
  std::string local(FindMemberId(memberId).substr(0, 64));
  // Two names of which no word can be an address are still two people.
  if (local.empty())
    local = memberId.empty() ? "unknown" : "name-" + ToHex(DigestOf({memberId})).substr(0, 12);
  return local + '@' + std::string(MEMBER_DOMAIN);
}

std::string EncodeMailboxes(const std::vector<Mailbox>& mailboxes, std::size_t column) {
  constexpr std::size_t GOOD_LINE = 76;
  std::string out;
  for (const Mailbox& mailbox : mailboxes) {
    if (!out.empty()) {
      out += ",\r\n ";
      column = 1;
    }
    if (mailbox.name.empty()) {
      out += mailbox.address;
      continue;
    }
    const std::string phrase = mime::EncodePhrase(mailbox.name, column);
    const std::size_t lastLine = phrase.rfind('\n');
    const std::size_t end =
        lastLine == std::string::npos ? column + phrase.size() : phrase.size() - lastLine - 1;
    const bool fits = end + mailbox.address.size() + 3 <= GOOD_LINE;
    out += phrase + (fits ? " <" : "\r\n <") + mailbox.address + '>';
  }
  return out;
}

}  // namespace nimport::archive
