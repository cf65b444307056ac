#include "mailstore/mail_store.h"

#include <string>
#include <utility>

#include "common/failure.h"
#include "mailstore/mail_kinds.h"
#include "platform/columns.h"
#include "platform/database.h"

namespace nimport::mailstore {
namespace {

std::vector<MailEntry> LoadMails(jet::Database& database, std::int32_t folderNumber) {
  const auto table = database.OpenTable("DataTBL");
  const auto rows = table->OpenRecordset();
  std::vector<MailEntry> mails;
  platform::ForEachRowWithNumber(*rows, "FolderNo", folderNumber, [&] {
    const std::int32_t dataType = platform::ReadNumber(*rows, "DataType");
    if (!IsListedMailKind(dataType)) return;
    mails.push_back({.dataType = dataType, .dataNo = platform::ReadNumber(*rows, "DataNo")});
  });
  return mails;
}

}  // namespace

MailStore::MailStore(platform::Platform& sessionPlatform, mime::MimeSession& mimeSession,
                     jet::Database& mailDatabase, const PathText& directory)
    : platform(sessionPlatform),
      mime(mimeSession),
      database(mailDatabase),
      databaseDir(directory) {}

void MailStore::LoadFolderList() {
  if (folderList_) return;
  folderList_.emplace();
  if (!platform.IsSalvaging()) {
    folderList_->Load(database);
    return;
  }
  folderList_->Salvage(database, [this](const jet::DatabaseError& error) {
    if (platform.diagnostics().IsOn()) {
      platform.diagnostics().Report(platform::ToFailureRecord(error));
    }
  });
}

FolderList& MailStore::RequireFolderList() {
  if (!folderList_) FailInvalid("the folders are not loaded (ML_GetUserCount)");
  return *folderList_;
}

void MailStore::OpenMailList(std::int32_t folderIndex) {
  FolderRecord& folder = RequireFolderList().At(folderIndex);
  if (folder.mails) return;
  if (currentMail || openFolder_) FailInvalid("another folder is open");
  std::vector<MailEntry> mails = LoadMails(database, folder.number);
  currentMail.emplace();
  currentParts.emplace();
  currentPartCount = 0;
  folder.mails = std::move(mails);
  openFolder_ = folderIndex;
}

void MailStore::CloseMailList(std::int32_t folderIndex) {
  FolderList& folders = RequireFolderList();
  ReleaseCurrentMail();
  folders.At(folderIndex).mails.reset();
  if (openFolder_ == folderIndex) openFolder_.reset();
}

std::unique_ptr<jet::Recordset> MailStore::OpenRowsOf(std::string_view queryName) {
  std::unique_ptr<jet::QueryDefinition>& query = queries_[queryName];
  if (!query) query = database.OpenQuery(queryName);
  return query->OpenRecordset();
}

void MailStore::ReleaseCurrentMail() {
  currentMail.reset();
  currentParts.reset();
  currentPartCount = 0;
  mimeFile.text.reset();
}

std::optional<std::int32_t> MailStore::FindDataNo(std::int32_t folderIndex,
                                                  std::int32_t mailIndex) const {
  const FolderRecord* folder = folderList_ ? folderList_->Find(folderIndex) : nullptr;
  if (folder == nullptr || mailIndex < 0 || mailIndex >= folder->MailCount()) return std::nullopt;
  return (*folder->mails)[static_cast<std::size_t>(mailIndex)].dataNo;
}

}  // namespace nimport::mailstore
