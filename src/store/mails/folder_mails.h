#ifndef NIMPORT_STORE_MAILS_FOLDER_MAILS_H_
#define NIMPORT_STORE_MAILS_FOLDER_MAILS_H_

#include <cstdint>
#include <deque>

#include "jet/database.h"

namespace nimport::store {

// A mail of a folder, as the list of mails has it. There may be a million: they are kept in a
// deque, which grows without a copy and without room to spare.
struct MailEntry {
  std::int32_t dataType = 0;
  std::int32_t dataNo = 0;
};

// The mails of listed kinds in the folder with this number, in the database's order. Costs what the
// folder's mails cost, but for the first time after a change of the database; for number 0, which
// stands for rows without one and of which the database's own index does not know, a walk over all
// mails. Throws jet::DatabaseError.
[[nodiscard]] std::deque<MailEntry> ReadFolderMails(jet::Database& database,
                                                    std::int32_t folderNumber);

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_FOLDER_MAILS_H_
