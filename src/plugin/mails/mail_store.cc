#include "plugin/mails/mail_store.h"

#include <string>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "plugin/session_database.h"
#include "store/installation.h"
#include "store/mails/mail_kinds.h"

namespace nimport::plugin {

MailStore::MailStore(platform::Platform& sessionPlatform, MimeSession& mimeSession,
                     jet::Database& mailDatabase, const text::PathText& directory)
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
      platform.diagnostics().Report(ToFailureRecord(error));
    }
  });
}

store::FolderList& MailStore::RequireFolderList() {
  if (!folderList_) FailInvalid("the folders are not loaded (ML_GetUserCount)");
  return *folderList_;
}

void MailStore::OpenMailList(std::int32_t folderIndex) {
  const store::FolderRecord folder = RequireFolderList().At(folderIndex);
  if (IsLoaded(folderIndex)) return;
  if (currentMail || loadedFolder_) FailInvalid("another folder is open");
  std::deque<store::MailEntry> mails = LoadMails(folder.number);
  currentMail.emplace();
  currentParts.emplace();
  currentPartCount = 0;
  loadedFolder_ = {.index = folderIndex, .mails = std::move(mails)};
}

std::deque<store::MailEntry> MailStore::LoadMails(std::int32_t folderNumber) {
  return folderNumber == 0 ? LoadUnnumberedMails() : store::ReadFolderMails(database, folderNumber);
}

std::deque<store::MailEntry> MailStore::LoadUnnumberedMails() {
  const std::optional<std::uint64_t> stamp = FindDatabaseStamp();
  if (stamp && unnumberedMails_ && unnumberedMails_->databaseStamp == *stamp) {
    return unnumberedMails_->mails;
  }
  unnumberedMails_.reset();
  std::deque<store::MailEntry> mails = store::ReadFolderMails(database, 0);
  if (stamp) unnumberedMails_ = {.databaseStamp = *stamp, .mails = mails};
  return mails;
}

void MailStore::CloseMailList(std::int32_t folderIndex) {
  static_cast<void>(RequireFolderList().At(folderIndex));
  ReleaseCurrentMail();
  if (IsLoaded(folderIndex)) loadedFolder_.reset();
}

std::int32_t MailStore::MailCount(std::int32_t folderIndex) const {
  return IsLoaded(folderIndex) ? static_cast<std::int32_t>(loadedFolder_->mails.size()) : 0;
}

store::MailEntry* MailStore::FindMail(std::int32_t folderIndex, std::int32_t mailIndex) {
  if (mailIndex < 0 || mailIndex >= MailCount(folderIndex)) return nullptr;
  return &loadedFolder_->mails[static_cast<std::size_t>(mailIndex)];
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
  mimeFile.answers = {};
}

std::optional<std::uint64_t> MailStore::FindDatabaseStamp() const {
  return platform.files().FindChangeStamp(databaseDir.str() +
                                          std::string(store::MAIL_DATABASE_FILE));
}

}  // namespace nimport::plugin
