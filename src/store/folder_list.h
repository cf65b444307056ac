// The cabinets and folders of a store, as a flat list: each cabinet is followed by its folders.
#ifndef NIMPORT_STORE_FOLDER_LIST_H_
#define NIMPORT_STORE_FOLDER_LIST_H_

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "store/text_limits.h"
#include "text/fixed_text.h"

namespace nimport::store {

// A cabinet or a folder.
struct FolderRecord {
  bool isCabinet = false;
  // Position of a folder's cabinet in the list; -1 for a cabinet.
  std::int32_t parentIndex = -1;
  // The mail client's number for it.
  std::int32_t number = 0;
  // In the database's code page; with TextLimits::OfHosts at most text::NameText::MAX_BYTES.
  // Borrows from the list.
  std::string_view name = {};
};

// Folders name the number of their cabinet. Cabinets that share a number each have all the folders
// with that number, so the list can be longer than its tables by any factor: the folders of a
// number are kept once, and records are made when they are asked for.
class FolderList {
 public:
  explicit FolderList(TextLimits limits = TextLimits::OfHosts) : limits_(limits) {}
  FolderList(const FolderList&) = delete;
  FolderList& operator=(const FolderList&) = delete;

  // Reads the tables of cabinets and folders. A failure leaves in the list what going from row to
  // row would have read until then: the cabinets before a damaged row with all their folders; of a
  // damaged table of folders the first cabinet with its folders before the damage. Throws
  // jet::DatabaseError; Failure (-1) when there are more positions than 32-bit numbers.
  void Load(jet::Database& database);

  // Reads as much as can be read, and reports to `onLoss` what cannot. When the tables of cabinets
  // and folders are damaged, after everything else stands a cabinet with the folders that stand in
  // no cabinet, and a folder for each number that mails have and no folder has. Sound tables may
  // leave out both: those were deleted.
  void Salvage(jet::Database& database,
               const std::function<void(const jet::DatabaseError&)>& onLoss);

  // Throws Failure (-3) when `index` is not in the list.
  [[nodiscard]] FolderRecord At(std::int32_t index) const;

  // Beneath the record at `parentIndex`, or the cabinets for -1.
  [[nodiscard]] std::int32_t ChildCount(std::int32_t parentIndex) const;
  // The position of child number `childIndex`, from 0; empty when there is no such child.
  [[nodiscard]] std::optional<std::int32_t> FindChild(std::int32_t parentIndex,
                                                      std::int32_t childIndex) const;

 private:
  struct Folder {
    std::int32_t number = 0;
    std::string name;
  };
  // The folders with one cabinet number, in the table's order. They end before the first that
  // cannot be read.
  struct FolderGroup {
    std::vector<Folder> folders;
    std::exception_ptr failure;  // jet::DatabaseError; null when all are there
  };
  struct Cabinet {
    std::int32_t index = 0;  // its position; its folders follow
    std::int32_t number = 0;
    std::string name;
    const FolderGroup* folders = nullptr;

    [[nodiscard]] std::int32_t FolderCount() const {
      return static_cast<std::int32_t>(folders->folders.size());
    }
  };

  TextLimits limits_;
  std::vector<Cabinet> cabinets_;
  std::map<std::int32_t, FolderGroup> groups_;  // by cabinet number
  FolderGroup noFolders_;  // of a cabinet whose number no folder has; has the table's failure
  FolderGroup strays_;     // folders that were found in no cabinet

  using LossListener = std::function<void(const jet::DatabaseError&)>;
  [[nodiscard]] std::string ReadName(const jet::Recordset& row, std::string_view column) const;
  void ReadFolders(jet::Database& database);
  void LoadCabinets(jet::Database& database,
                    const std::function<void(const std::exception_ptr&)>& onFolderFailure);
  void AppendCabinet(std::int32_t number, std::string name, const FolderGroup& folders);
  void AppendStrays(jet::Database& database, const LossListener& onLoss);
  // The cabinet at a position or the one whose folder stands there; null when there is none.
  [[nodiscard]] const Cabinet* FindCabinet(std::int32_t index) const;
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_FOLDER_LIST_H_
