// Whether every row of the list of mails is accounted for. The plug-in answers for the mails of the
// folders that it lists; what the database holds besides is named here.
#ifndef NIMPORT_ARCHIVE_BALANCE_H_
#define NIMPORT_ARCHIVE_BALANCE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/account.h"
#include "inspection/mail_list.h"

namespace nimport::command {

// What was found of a folder, in the plug-in's order of folders.
struct FoundFolder {
  std::string name;                       // "Cabinet/Folder"
  std::optional<std::int64_t> mailCount;  // empty where the folder's failure is named already
};

struct Balance {
  std::vector<Remark> missing;   // rows that belong to a folder and were not found there
  std::vector<Remark> unlisted;  // mails that stand in no folder, by their numbers
  std::vector<Remark> leftOut;   // rows of kinds that the plug-in has no answer for
};

[[nodiscard]] Balance MakeBalance(const inspection::MailList& list,
                                  const std::vector<FoundFolder>& found);

}  // namespace nimport::command

#endif  // NIMPORT_ARCHIVE_BALANCE_H_
