#include "store/mails/mail_list.h"

#include <unordered_map>
#include <utility>

#include "common/file_error.h"
#include "jet/database.h"
#include "platform/columns.h"
#include "store/folder_list.h"
#include "store/folder_name.h"
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
  ListReader(jet::Database& database, const RowVisitor& visit)
      : database_(database), visit_(visit) {}

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
  struct FolderRow {
    std::int32_t cabinet = 0;
    std::string name;
  };

  void ReadFolders() {
    FolderList folders(TextLimits::None);
    folders.Salvage(database_, [](const jet::DatabaseError&) {});
    for (std::int32_t i = 0; const auto cabinet = folders.FindChild(-1, i); ++i) {
      for (std::int32_t k = 0; const auto folder = folders.FindChild(*cabinet, k); ++k) {
        const std::int32_t number = folders.At(*folder).number;
        places_.emplace(number, list_.folders.size());
        list_.folders.push_back({.number = number, .mailCount = 0});
      }
    }
    const auto table = database_.OpenTable("FolderTBL");
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      const std::int32_t number = platform::ReadNumber(*rows, "FolderNo");
      if (places_.contains(number)) continue;
      otherFolders_.try_emplace(
          number, FolderRow{.cabinet = platform::ReadNumber(*rows, "CabinetNo"),
                            .name = platform::ReadText(*rows, "FolderName").value_or("")});
    }
  }

  void ReadMails() {
    const auto table = database_.OpenTable("DataTBL");
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      const MailEntry mail{.dataType = platform::ReadNumber(*rows, "DataType"),
                           .dataNo = platform::ReadNumber(*rows, "DataNo")};
      const std::int32_t folder = platform::ReadNumber(*rows, "FolderNo");
      ++list_.rowCount;
      ++list_.rowsByKind[mail.dataType];
      const auto place = places_.find(folder);
      if (place != places_.end() && IsListedMailKind(mail.dataType)) {
        ++list_.folders[place->second].mailCount;
      } else {
        AddUnlisted(mail, folder);
      }
      if (visit_) visit_(mail, folder);
    }
    // Cabinets of one number have the same folders.
    for (ListedFolder& folder : list_.folders)
      folder.mailCount = list_.folders[places_.at(folder.number)].mailCount;
  }

  void AddUnlisted(const MailEntry& mail, std::int32_t folder) {
    const auto [found, isNew] = list_.unlisted.try_emplace(folder);
    found->second.mails.push_back(mail);
    if (!isNew) return;
    if (const auto place = places_.find(folder); place != places_.end()) {
      found->second.listedFolder = place->second;
    } else if (const auto row = otherFolders_.find(folder); row != otherFolders_.end()) {
      found->second.cabinetNumber = row->second.cabinet;
      found->second.folderName = EscapeUtf8FolderName(row->second.name);
    }
  }

  jet::Database& database_;
  const RowVisitor& visit_;
  std::unordered_map<std::int32_t, std::size_t> places_;  // in the list, of the first by number
  std::unordered_map<std::int32_t, FolderRow> otherFolders_;
  MailList list_;
};

}  // namespace

MailList ReadMailList(platform::Platform& platform, const RowVisitor& visit) {
  const std::string path = FindDatabaseDirectory(platform).str() + std::string(MAIL_DATABASE_FILE);
  IgnoreDamage listener;
  jet::OpenOptions options;
  options.damageListener = &listener;
  options.textCodePage = text::CODE_PAGE_UTF8;
  options.known = KnownMailObjects(platform.text(), text::CODE_PAGE_UTF8);
  MailList list;
  try {
    const auto database =
        jet::Database::Open(platform.files().OpenForReading(path), platform.text(), options);
    list = ListReader(*database, visit).Read();
  } catch (const FileError& error) {
    list.failure = error.what();
  } catch (const jet::DatabaseError& error) {
    list.failure = error.what();
  }
  return list;
}

}  // namespace nimport::store
