#include "plugin/mails/mail_row.h"

#include <string>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"

namespace nimport::plugin {
store::MailEntry& FindMailEntry(MailStore& store, std::int32_t folderIndex,
                                std::int32_t mailIndex) {
  static_cast<void>(store.RequireFolderList().At(folderIndex));
  store::MailEntry* entry = store.FindMail(folderIndex, mailIndex);
  if (entry == nullptr) {
    FailDatabase("the folder has no mail at position " + std::to_string(mailIndex));
  }
  return *entry;
}

MailRow FindMailRow(MailStore& store, std::int32_t folderIndex, std::int32_t mailIndex) {
  store::MailEntry& entry = FindMailEntry(store, folderIndex, mailIndex);
  const store::MailKindColumns& columns = store::LookupMailKind(entry.dataType);
  auto recordset = store.OpenRowsOf(columns.queryName);
  if (!recordset->FindFirst("DataNo", entry.dataNo)) {
    FailInvalid("the stored query of kind " + std::to_string(entry.dataType) +
                " has no row with DataNo " + std::to_string(entry.dataNo));
  }
  return {entry, columns, std::move(recordset)};
}

void RequireMailSize(const MailRow& row) {
  const std::string_view column = row.columns.sizeColumn;
  if (!column.empty()) static_cast<void>(platform::ReadNumber(*row.recordset, column));
}

store::MailContent ContentOf(const MailRow& row) {
  const std::int32_t dataType = row.entry.dataType;
  const bool hasMode = store::HasEmailMode(dataType);
  return store::GetMailContent(dataType,
                               hasMode ? platform::ReadNumber(*row.recordset, "EmailMode") : 0);
}

}  // namespace nimport::plugin
