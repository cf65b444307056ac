// The cabinets and folders of a store, as a flat list: each cabinet is followed by its folders.
#ifndef NIMPORT_MAILSTORE_FOLDER_LIST_H_
#define NIMPORT_MAILSTORE_FOLDER_LIST_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "common/fixed_text.h"
#include "jet/database.h"

namespace nimport::mailstore {

// A mail of an open folder.
struct MailEntry {
  std::int32_t dataType = 0;
  std::int32_t dataNo = 0;
  std::int32_t size = 0;  // as the store records it; 0 until it is asked for
};

// A cabinet or a folder.
struct FolderRecord {
  bool isCabinet = false;
  // Position of a folder's cabinet in the list; -1 for a cabinet.
  std::int32_t parentIndex = -1;
  // The mail client's number for it.
  std::int32_t number = 0;
  NameText name;
  // The folder's mails; present while it is open.
  std::optional<std::vector<MailEntry>> mails;

  [[nodiscard]] bool HasMails() const { return !isCabinet; }
  [[nodiscard]] std::int32_t MailCount() const {
    return mails ? static_cast<std::int32_t>(mails->size()) : 0;
  }
};

class FolderList {
 public:
  // Reads the tables of cabinets and folders. When that fails the records read so far stay in the
  // list. Throws jet::DatabaseError.
  void Load(jet::Database& database);

  // Reads as much as can be read, and tells `onLoss` what cannot. When the tables of cabinets and
  // folders are damaged, behind everything else stands a cabinet with the folders that stand in no
  // cabinet, and a folder for each number that mails have and no folder has. Sound tables may leave
  // out both: those were deleted.
  void Salvage(jet::Database& database,
               const std::function<void(const jet::DatabaseError&)>& onLoss);

  // Throws Failure (-3) when `index` is not in the list.
  [[nodiscard]] FolderRecord& At(std::int32_t index);
  [[nodiscard]] const FolderRecord* Find(std::int32_t index) const;

  // Beneath the record at `parentIndex`, or the cabinets for -1.
  [[nodiscard]] std::int32_t ChildCount(std::int32_t parentIndex) const;
  // The position of child number `childIndex`, from 0; empty when there is no such child.
  [[nodiscard]] std::optional<std::int32_t> FindChild(std::int32_t parentIndex,
                                                      std::int32_t childIndex) const;

 private:
  std::vector<FolderRecord> records_;
  std::vector<std::int32_t> cabinets_;  // positions in records_
  // Number of folders of the cabinet at the same position in records_; 0 for folders.
  std::vector<std::int32_t> folderCounts_;

  void Append(FolderRecord record);
  void AppendFolder(std::int32_t cabinetIndex, std::int32_t number, const NameText& name);
  void AppendStrays(jet::Database& database,
                    const std::function<void(const jet::DatabaseError&)>& onLoss);
};

}  // namespace nimport::mailstore

#endif  // NIMPORT_MAILSTORE_FOLDER_LIST_H_
