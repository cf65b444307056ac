// The row that the store keeps of one mail.
#ifndef NIMPORT_PLUGIN_MAILS_MAIL_ROW_H_
#define NIMPORT_PLUGIN_MAILS_MAIL_ROW_H_

#include <cstdint>
#include <memory>

#include "jet/database.h"
#include "plugin/mails/mail_store.h"
#include "store/mails/mail_kinds.h"

namespace nimport::plugin {

// A mail of an open folder with its kind and its row in the kind's stored query. Lives for one
// call; the recordset stands on the mail's row.
struct MailRow {
  store::MailEntry& entry;
  const store::MailKindColumns& columns;
  std::unique_ptr<jet::Recordset> recordset;
};

// Throws Failure: -2 when the folder has no mail at `mailIndex`; -3 when the folders are not
// loaded, the kind is unknown or no row of the kind's query belongs to the mail. Throws
// jet::DatabaseError.
[[nodiscard]] MailRow FindMailRow(MailStore& store, std::int32_t folderIndex,
                                  std::int32_t mailIndex);

// The mail's entry. Fails as FindMailRow does for the folder list and the index.
[[nodiscard]] store::MailEntry& FindMailEntry(MailStore& store, std::int32_t folderIndex,
                                              std::int32_t mailIndex);

// Throws jet::DatabaseError where the store records a size that cannot be read: the contents are
// not to be had then either.
void RequireMailSize(const MailRow& row);

// Where the mail's contents are kept.
[[nodiscard]] store::MailContent ContentOf(const MailRow& row);

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_MAIL_ROW_H_
