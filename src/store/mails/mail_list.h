// The list of mails as the database holds it, row by row: for the balance of an export, since no
// folder has the mails that stand in none.
#ifndef NIMPORT_STORE_MAILS_MAIL_LIST_H_
#define NIMPORT_STORE_MAILS_MAIL_LIST_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace nimport::store {

// A folder of the list of folders. Mails are those of listed kinds.
struct ListedFolder {
  std::int32_t number = 0;
  std::uint64_t mailCount = 0;
};

// Mails whose folder is not in the list of folders.
struct StrayMails {
  // In which the table of folders has the folder, though no cabinet has that number; empty when no
  // folder has the mails' number.
  std::optional<std::int32_t> cabinetNumber;
  std::vector<std::int32_t> dataNos;
};

struct MailList {
  std::string failure;                               // why it ends early, UTF-8; empty otherwise
  std::vector<ListedFolder> folders;                 // in the order of the list of folders
  std::map<std::int32_t, StrayMails> strayMails;     // by the number of their folder
  std::map<std::int32_t, std::uint64_t> rowsByKind;  // also of kinds that are not listed
  // DataNo of the rows whose kind is not listed, by kind.
  std::map<std::int32_t, std::vector<std::int32_t>> otherKinds;
};

// Of the store that the platform's settings lead to, as much as can be read. One pass over each of
// three tables. Throws Failure (-3) when the settings name no database directory.
[[nodiscard]] MailList ReadMailList(platform::Platform& platform);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MAIL_LIST_H_
