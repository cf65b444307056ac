// The list of mails as the database holds it, row by row: for the balance of an export, and for the
// rows that no folder lists.
#ifndef NIMPORT_STORE_MAILS_MAIL_LIST_H_
#define NIMPORT_STORE_MAILS_MAIL_LIST_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "store/mails/folder_mails.h"

namespace nimport::store {

// A folder of the list of folders. Mails are those of listed kinds.
struct ListedFolder {
  std::int32_t number = 0;
  std::uint64_t mailCount = 0;
};

// Rows with the number of one folder that no folder lists: those of other kinds where the folder is
// listed, all of them where it is not.
struct UnlistedMails {
  // The first folder with that number in the list of folders.
  std::optional<std::size_t> listedFolder{};
  // Of a folder that is not listed, where a row tells: its name, UTF-8 and escaped as those of
  // listed ones, and its cabinet, which no cabinet has for its number.
  std::optional<std::string> folderName{};
  std::optional<std::int32_t> cabinetNumber{};
  std::deque<MailEntry> mails{};
};

struct MailList {
  std::string failure;                // why it ends early, UTF-8; empty otherwise
  std::vector<ListedFolder> folders;  // in the order of the list of folders
  std::uint64_t rowCount = 0;
  std::map<std::int32_t, std::uint64_t> rowsByKind;  // also of kinds that are not listed
  std::map<std::int32_t, UnlistedMails> unlisted;    // by the number of their folder
};

// Hears of every row and the number of its folder.
using RowVisitor = std::function<void(const MailEntry& mail, std::int32_t folderNumber)>;

// Of the store that the platform's settings lead to, as much as can be read. One pass over each of
// three tables. Throws Failure (-3) when the settings name no database directory.
[[nodiscard]] MailList ReadMailList(platform::Platform& platform, const RowVisitor& visit = {});

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_LIST_H_
