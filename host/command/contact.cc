#include "host/command/contact.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <utility>

#include <glib.h>

#include "host/command/mailboxes.h"

namespace nimport::command {

namespace {

// SHA-256 of the texts; where one of them ends makes a difference.
std::string DigestOf(std::initializer_list<std::string_view> texts) {
  GChecksum* const checksum = g_checksum_new(G_CHECKSUM_SHA256);
  for (const std::string_view text : texts) {
    const std::string length = std::to_string(text.size()) + ':';
    for (const std::string_view part : {std::string_view(length), text}) {
      g_checksum_update(checksum, reinterpret_cast<const guchar*>(part.data()),
                        static_cast<gssize>(part.size()));
    }
  }
  std::array<guint8, 32> digest{};
  gsize size = digest.size();
  g_checksum_get_digest(checksum, digest.data(), &size);
  g_checksum_free(checksum);
  return {digest.begin(), digest.end()};
}

// The first half of a digest as a UUID of version 8, whose bits are the maker's choice (RFC 9562).
std::string ToUuid(std::string digest) {
  digest[6] = static_cast<char>((digest[6] & 0x0F) | 0x80);
  digest[8] = static_cast<char>((digest[8] & 0x3F) | 0x80);
  std::string uuid;
  for (std::size_t i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) uuid += '-';
    std::array<char, 3> hex{};
    std::snprintf(hex.data(), hex.size(), "%02x", static_cast<unsigned char>(digest[i]));
    uuid += hex.data();
  }
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
  std::ranges::replace_if(
      line, [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; }, ' ');
  return line;
}

}  // namespace

std::string_view Contact::OwnId() const {
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
  return DigestOf({parent, name});
}

Contact ContactMaker::Make(host::Address address, std::span<const std::string> groups,
                           const GroupKey& group) {
  Contact contact;
  std::string digest = DigestOf({group, address.name, address.userId, address.comment});
  if (const int seen = digests_[digest]++; seen > 0) {
    digest = DigestOf({digest, std::to_string(seen)});
  }
  contact.uid = ToUuid(std::move(digest));
  contact.id = address.id;
  contact.emails = EmailsIn(address.userId);
  contact.name = std::move(address.name);
  contact.userId = std::move(address.userId);
  contact.comment = std::move(address.comment);
  contact.groups = groups.last(std::min(groups.size(), MAX_CATEGORIES));
  return contact;
}

}  // namespace nimport::command
