#include "archive/contacts/contact.h"

#include <algorithm>
#include <utility>

#include "archive/mailboxes.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

// A digest as a UUID of version 8, whose bits are the maker's choice (RFC 9562).
std::string ToUuid(Digest digest) {
  digest[6] = static_cast<std::uint8_t>((digest[6] & 0x0F) | 0x80);
  digest[8] = static_cast<std::uint8_t>((digest[8] & 0x3F) | 0x80);
  std::string uuid = ToHex(digest);
  for (const std::size_t place : {20, 16, 12, 8})
    uuid.insert(place, 1, '-');
  return uuid;
}

std::vector<std::string> EmailsIn(std::string_view userId) {
  std::vector<std::string> emails;
  for (Mailbox& mailbox : ToMailboxes(userId)) {
    if (mailbox.isInternet) emails.push_back(std::move(mailbox.address));
  }
  return emails;
}

// The first line that says something, with blanks for control characters.
std::string FirstLine(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  const std::size_t end = text.find_first_of("\r\n", begin);
  std::string line(text.substr(begin, end == std::string_view::npos ? end : end - begin));
  std::ranges::replace_if(line, text::IsAsciiControl, ' ');
  return line;
}

}  // namespace

std::string_view Contact::NativeId() const {
  const bool isPlainAddress = emails.size() == 1 && emails.front() == userId;
  return isPlainAddress ? std::string_view() : userId;
}

std::string Contact::DisplayName() const {
  for (const std::string* text : {&name, &userId, &comment}) {
    if (std::string line = FirstLine(*text); !line.empty()) return line;
  }
  return "?";
}

GroupKey KeyOfGroup(const GroupKey& parent, std::string_view name) {
  return DigestOf({BytesOf(parent), name});
}

Contact ContactMaker::Make(const ContactSource& address, std::span<const std::string> groups,
                           const GroupKey& group) {
  Contact contact;
  Digest digest = DigestOf({BytesOf(group), address.name, address.userId, address.comment});
  if (const int seen = digests_[digest]++; seen > 0) {
    digest = DigestOf({BytesOf(digest), std::to_string(seen)});
  }
  contact.uid = ToUuid(digest);
  contact.id = address.id;
  contact.emails = EmailsIn(address.userId);
  contact.name = address.name;
  contact.userId = address.userId;
  contact.comment = address.comment;
  contact.groups = groups.last(std::min(groups.size(), MAX_CATEGORIES));
  return contact;
}

}  // namespace nimport::archive
