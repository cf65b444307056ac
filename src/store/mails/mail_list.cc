#include "store/mails/mail_list.h"

#include <unordered_map>

#include "common/file_error.h"
#include "jet/database.h"
#include "platform/columns.h"
#include "store/folder_list.h"
#include "store/installation.h"
#include "store/known_objects.h"
#include "store/mails/mail_kinds.h"

namespace nimport::store {
namespace {

// Whoever reads the folders hears of the same damage.
class IgnoreDamage final : public jet::DamageListener {
 public:
  void OnDamage(const jet::DatabaseError& /*damage*/) override {}
};

class ListReader {
 public:
  explicit ListReader(jet::Database& database) : database_(database) {}

  MailList Read() {
    try {
      ReadFolders();
      ReadMails();
    } catch (const jet::DatabaseError& error) {
      list_.failure = error.what();
    }
    return std::move(list_);
  }

 private:
  void ReadFolders() {
    FolderList folders;
    folders.Salvage(database_, [](const jet::DatabaseError&) {});
    for (std::int32_t i = 0; const auto cabinet = folders.FindChild(-1, i); ++i) {
      for (std::int32_t k = 0; const auto folder = folders.FindChild(*cabinet, k); ++k)
        list_.folders.push_back({.number = folders.At(*folder).number, .mailCount = 0});
    }
    const auto table = database_.OpenTable("FolderTBL");
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      cabinetOfFolder_.emplace(platform::ReadNumber(*rows, "FolderNo"),
                               platform::ReadNumber(*rows, "CabinetNo"));
    }
  }

  void ReadMails() {
    std::unordered_map<std::int32_t, std::uint64_t> mailCounts;
    for (const ListedFolder& folder : list_.folders)
      mailCounts.emplace(folder.number, 0);
    const auto table = database_.OpenTable("DataTBL");
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      const std::int32_t kind = platform::ReadNumber(*rows, "DataType");
      ++list_.rowsByKind[kind];
      if (!IsListedMailKind(kind)) {
        list_.otherKinds[kind].push_back(platform::ReadNumber(*rows, "DataNo"));
        continue;
      }
      const std::int32_t number = platform::ReadNumber(*rows, "FolderNo");
      const auto folder = mailCounts.find(number);
      if (folder != mailCounts.end()) {
        ++folder->second;
      } else {
        AddStray(number, platform::ReadNumber(*rows, "DataNo"));
      }
    }
    for (ListedFolder& folder : list_.folders)
      folder.mailCount = mailCounts.at(folder.number);
  }

  void AddStray(std::int32_t folderNumber, std::int32_t dataNo) {
    StrayMails& mails = list_.strayMails[folderNumber];
    mails.dataNos.push_back(dataNo);
    const auto cabinet = cabinetOfFolder_.find(folderNumber);
    if (cabinet != cabinetOfFolder_.end()) mails.cabinetNumber = cabinet->second;
  }

  jet::Database& database_;
  std::unordered_map<std::int32_t, std::int32_t> cabinetOfFolder_;
  MailList list_;
};

}  // namespace

MailList ReadMailList(platform::Platform& platform) {
  const std::string path = FindDatabaseDirectory(platform).str() + std::string(MAIL_DATABASE_FILE);
  IgnoreDamage listener;
  jet::OpenOptions options;
  options.damageListener = &listener;
  options.known = KnownMailObjects();
  MailList list;
  try {
    const auto database =
        jet::Database::Open(platform.files().OpenForReading(path), platform.text(), options);
    list = ListReader(*database).Read();
  } catch (const FileError& error) {
    list.failure = error.what();
  } catch (const jet::DatabaseError& error) {
    list.failure = error.what();
  }
  return list;
}

}  // namespace nimport::store
