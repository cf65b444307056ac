#include "store/mails/folder_mails.h"

#include "platform/columns.h"
#include "store/mails/mail_kinds.h"

namespace nimport::store {
namespace {

constexpr char MAIL_TABLE[] = "DataTBL";
constexpr char FOLDER_COLUMN[] = "FolderNo";

// The current row of the list of mails, where its kind is a listed one.
void AppendListed(const jet::Recordset& row, std::deque<MailEntry>& mails) {
  const std::int32_t dataType = platform::ReadNumber(row, "DataType");
  if (!IsListedMailKind(dataType)) return;
  mails.push_back({.dataType = dataType, .dataNo = platform::ReadNumber(row, "DataNo")});
}

}  // namespace

std::deque<MailEntry> ReadFolderMails(jet::Database& database, std::int32_t folderNumber) {
  const auto table = database.OpenTable(MAIL_TABLE);
  const auto rows = table->OpenRecordset();
  std::deque<MailEntry> mails;
  if (folderNumber == 0) {
    for (; !rows->IsEof(); rows->MoveNext()) {
      if (platform::ReadNumber(*rows, FOLDER_COLUMN) == 0) AppendListed(*rows, mails);
    }
    return mails;
  }
  if (rows->IsEof()) return mails;
  for (bool found = rows->FindFirst(FOLDER_COLUMN, folderNumber); found; found = rows->FindNext())
    AppendListed(*rows, mails);
  return mails;
}

}  // namespace nimport::store
