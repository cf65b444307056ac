#ifndef NIMPORT_ARCHIVE_CONTACTS_CONTACT_H_
#define NIMPORT_ARCHIVE_CONTACTS_CONTACT_H_

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "archive/digest.h"
namespace nimport::archive {

// An address as contacts have it. Texts are UTF-8 and, but for the UID, as stored.
struct Contact {
  std::int32_t id = 0;  // position in the whole book
  std::string uid;      // a UUID, the same in every run
  std::string name;
  std::string userId;
  std::string comment;
  std::vector<std::string> emails;  // the internet addresses in the user ID
  // Names of the groups that it stands in, from the outermost; borrowed from whoever walks the
  // book.
  std::span<const std::string> groups;

  // The user ID, unless it is an internet address and nothing else.
  [[nodiscard]] std::string_view NativeId() const;
  // The name or whatever else the contact can be called by, on one line. Never empty.
  [[nodiscard]] std::string DisplayName() const;
};

// Categories name at most this many groups, the innermost ones, since a file can nest its groups as
// deep as it has rows. Nobody files friends deeper.
inline constexpr std::size_t MAX_CATEGORIES = 64;

// Stands for a group and all groups above it: differs wherever one of the names does.
using GroupKey = Digest;
[[nodiscard]] GroupKey KeyOfGroup(const GroupKey& parent, std::string_view name);

// What the address book holds of an address. UTF-8, as stored; any text may be empty.
struct ContactSource {
  std::int32_t id = 0;  // position in the whole book
  std::string_view name;
  std::string_view userId;
  std::string_view comment;
};

// Makes contacts and keeps apart those in which the store holds the very same.
class ContactMaker {
 public:
  // `groups` are the names, from the outermost; `group` is the key of the last of them.
  [[nodiscard]] Contact Make(const ContactSource& source, std::span<const std::string> groups,
                             const GroupKey& group);

 private:
  std::map<Digest, int> digests_;  // how often each was seen
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_CONTACT_H_
