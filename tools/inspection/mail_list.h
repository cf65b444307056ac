// The list of mails as the database holds it, row by row: for the balance of an export, since a
// mail that stands in no folder is behind no function of the plug-in. Reads only.
#ifndef NIMPORT_TOOLS_INSPECTION_MAIL_LIST_H_
#define NIMPORT_TOOLS_INSPECTION_MAIL_LIST_H_

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace nimport::inspection {

// A folder that the plug-in lists. Mails are those of a kind that it lists too.
struct ListedFolder {
  std::int32_t number = 0;
  std::uint64_t mailCount = 0;
};

// Mails whose folder the plug-in does not list.
struct StrayMails {
  // In which the table of folders has the folder, though no cabinet has that number; empty when no
  // folder has the mails' number.
  std::optional<std::int32_t> cabinetNumber;
  std::vector<std::int32_t> dataNos;
};

struct MailList {
  std::string failure;                               // why it ends early, UTF-8; empty otherwise
  std::vector<ListedFolder> folders;                 // in the plug-in's order
  std::map<std::int32_t, StrayMails> strayMails;     // by the number of their folder
  std::map<std::int32_t, std::uint64_t> rowsByKind;  // also of kinds that the plug-in does not list
  // DataNo of the rows whose kind the plug-in does not list, by kind.
  std::map<std::int32_t, std::vector<std::int32_t>> otherKinds;
};

// Of the store that the environment leads to (NIMPORT_REGISTRY, NIMPORT_DRIVES), as much as can be
// read. One pass over each of three tables. Throws std::runtime_error when the settings name no
// database directory.
[[nodiscard]] MailList ReadMailList();

}  // namespace nimport::inspection

#endif  // NIMPORT_TOOLS_INSPECTION_MAIL_LIST_H_
