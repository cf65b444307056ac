#ifndef NIMPORT_ARCHIVE_MAILBOXES_H_
#define NIMPORT_ARCHIVE_MAILBOXES_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::archive {

// The domain of the addresses that are made up for member IDs. It can never exist.
inline constexpr std::string_view MEMBER_DOMAIN = "nifty-manager.invalid";

struct Mailbox {
  std::string name;         // display name, UTF-8; may be empty
  std::string address;      // local part and domain
  bool isInternet = false;  // the address stood in the text; otherwise it was made for a member
};

// The mailboxes that a sender or recipient text names: pieces between commas, semicolons and line
// ends. An internet address is taken as it is; a piece without one keeps its whole text as display
// name and gets the member ID that it contains as address.
[[nodiscard]] std::vector<Mailbox> ToMailboxes(std::string_view text);

// The address of a member ID; one of its own for each name that holds no ID.
[[nodiscard]] std::string MemberAddress(std::string_view memberId);

// The value of an address header. `column` is where it begins on its first line.
[[nodiscard]] std::string EncodeMailboxes(const std::vector<Mailbox>& mailboxes,
                                          std::size_t column);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_MAILBOXES_H_
