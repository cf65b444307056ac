// Whether every row of the list of mails is accounted for.
#ifndef NIMPORT_ARCHIVE_BALANCE_H_
#define NIMPORT_ARCHIVE_BALANCE_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "archive/account.h"
#include "store/mails/mail_list.h"

namespace nimport::archive {

// What was found of a folder, in the order of the list of folders.
struct FoundFolder {
  std::string name;                       // "Cabinet/Folder"
  std::optional<std::int64_t> mailCount;  // empty where the folder's failure is named already
};

// Rows that belong to a folder and were not found there.
[[nodiscard]] std::vector<Remark> FindMissingRows(const store::MailList& list,
                                                  const std::vector<FoundFolder>& found);

// What to say of rows that no folder lists and that are not exported either.
struct LeftOutRows {
  std::vector<Remark> unlisted;  // mails that stand in no folder, by their numbers
  std::vector<Remark> leftOut;   // rows of kinds that nobody has described
};
[[nodiscard]] LeftOutRows DescribeUnlisted(const store::MailList& list);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_BALANCE_H_
