#include "store/folder_list.h"

#include <algorithm>
#include <limits>
#include <set>
#include <string>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"
#include "store/mails/mail_kinds.h"
#include "text/fixed_text.h"

namespace nimport::store {
namespace {

constexpr const char* CABINET_TABLE = "CabinetTBL";
constexpr const char* FOLDER_TABLE = "FolderTBL";
constexpr std::string_view STRAYS_NAME = "(no cabinet)";

// The last position that a handle can carry.
constexpr std::int64_t MAX_INDEX = std::numeric_limits<std::int32_t>::max();

// As many rows of the table as can be read.
void ForEachRow(jet::Database& database, std::string_view tableName,
                const std::function<void(const jet::DatabaseError&)>& onLoss,
                const std::function<void(const jet::Recordset&)>& visit) {
  try {
    const auto table = database.OpenTable(tableName);
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext())
      visit(*rows);
  } catch (const jet::DatabaseError& error) {
    onLoss(error);
  }
}

}  // namespace

std::string FolderList::ReadName(const jet::Recordset& row, std::string_view column) const {
  std::string name = platform::ReadText(row, column).value_or("");
  if (limits_ == TextLimits::None) return name;
  return text::NameText::CutOwned(std::move(name)).str();
}

void FolderList::Load(jet::Database& database) {
  LoadCabinets(database,
               [](const std::exception_ptr& failure) { std::rethrow_exception(failure); });
}

void FolderList::LoadCabinets(
    jet::Database& database,
    const std::function<void(const std::exception_ptr&)>& onFolderFailure) {
  const auto table = database.OpenTable(CABINET_TABLE);
  const auto rows = table->OpenRecordset();
  // The folders are first looked at for a cabinet, so without cabinets their table may be damaged.
  if (!rows->IsEof()) ReadFolders(database);
  for (; !rows->IsEof(); rows->MoveNext()) {
    const std::int32_t number = platform::ReadNumber(*rows, "CabinetNo");
    const auto group = groups_.find(number);
    const FolderGroup& folders = group == groups_.end() ? noFolders_ : group->second;
    AppendCabinet(number, ReadName(*rows, "CabinetName"), folders);
    if (folders.failure) onFolderFailure(folders.failure);
  }
}

void FolderList::ReadFolders(jet::Database& database) {
  try {
    const auto table = database.OpenTable(FOLDER_TABLE);
    const auto rows = table->OpenRecordset();
    for (; !rows->IsEof(); rows->MoveNext()) {
      FolderGroup& group = groups_[platform::ReadNumber(*rows, "CabinetNo")];
      if (group.failure) continue;
      try {
        group.folders.push_back({.number = platform::ReadNumber(*rows, "FolderNo"),
                                 .name = ReadName(*rows, "FolderName")});
      } catch (const jet::DatabaseError&) {
        // For the cabinets with this number only: for others the row's other columns are not read.
        group.failure = std::current_exception();
      }
    }
  } catch (const jet::DatabaseError&) {
    noFolders_.failure = std::current_exception();
    for (auto& [number, group] : groups_) {
      if (!group.failure) group.failure = noFolders_.failure;
    }
  }
}

void FolderList::AppendCabinet(std::int32_t number, std::string name, const FolderGroup& folders) {
  const std::int64_t index =
      cabinets_.empty() ? 0
                        : std::int64_t{cabinets_.back().index} + 1 + cabinets_.back().FolderCount();
  if (index + static_cast<std::int64_t>(folders.folders.size()) > MAX_INDEX) {
    throw Failure(RESULT_NO_MEMORY, "the cabinets have more folders together than can be listed");
  }
  cabinets_.push_back({.index = static_cast<std::int32_t>(index),
                       .number = number,
                       .name = std::move(name),
                       .folders = &folders});
}

void FolderList::Salvage(jet::Database& database, const LossListener& onLoss) {
  bool isDamaged = false;
  const auto lose = [&](const jet::DatabaseError& error) {
    onLoss(error);
    isDamaged = true;
  };
  std::exception_ptr lastFailure;  // the table's is that of many cabinets
  try {
    LoadCabinets(database, [&](const std::exception_ptr& failure) {
      if (std::exchange(lastFailure, failure) == failure) return;
      try {
        std::rethrow_exception(failure);
      } catch (const jet::DatabaseError& error) {
        lose(error);
      }
    });
  } catch (const jet::DatabaseError& error) {
    lose(error);
  }
  for (const char* table : {CABINET_TABLE, FOLDER_TABLE})
    isDamaged = isDamaged || database.IsKnownDamaged(table);
  if (isDamaged) AppendStrays(database, onLoss);
}

void FolderList::AppendStrays(jet::Database& database, const LossListener& onLoss) {
  std::set<std::int32_t> cabinetNumbers;
  std::set<std::int32_t> known;
  for (const Cabinet& cabinet : cabinets_) {
    if (!cabinetNumbers.insert(cabinet.number).second) continue;
    for (const Folder& folder : cabinet.folders->folders)
      known.insert(folder.number);
  }
  std::map<std::int32_t, std::string> strays;
  ForEachRow(database, FOLDER_TABLE, onLoss, [&](const jet::Recordset& row) {
    const std::int32_t number = platform::ReadNumber(row, "FolderNo");
    if (!known.contains(number)) strays.emplace(number, ReadName(row, "FolderName"));
  });
  ForEachRow(database, "DataTBL", onLoss, [&](const jet::Recordset& row) {
    const std::int32_t number = platform::ReadNumber(row, "FolderNo");
    if (known.contains(number) || !IsListedMailKind(platform::ReadNumber(row, "DataType"))) return;
    strays.emplace(number, "folder " + std::to_string(number));
  });
  if (strays.empty()) return;
  for (auto& [number, name] : strays)
    strays_.folders.push_back({.number = number, .name = std::move(name)});
  AppendCabinet(-1, std::string(STRAYS_NAME), strays_);
}

const FolderList::Cabinet* FolderList::FindCabinet(std::int32_t index) const {
  const auto next = std::ranges::upper_bound(cabinets_, index, {}, &Cabinet::index);
  if (next == cabinets_.begin()) return nullptr;
  const Cabinet& cabinet = *std::prev(next);
  return index - cabinet.index <= cabinet.FolderCount() ? &cabinet : nullptr;
}

FolderRecord FolderList::At(std::int32_t index) const {
  const Cabinet* cabinet = FindCabinet(index);
  if (cabinet == nullptr) FailInvalid("no folder at position " + std::to_string(index));
  if (index == cabinet->index) {
    return {.isCabinet = true, .number = cabinet->number, .name = cabinet->name};
  }
  const auto place = static_cast<std::size_t>(index - cabinet->index - 1);
  const Folder& folder = cabinet->folders->folders[place];
  return {.parentIndex = cabinet->index, .number = folder.number, .name = folder.name};
}

std::int32_t FolderList::ChildCount(std::int32_t parentIndex) const {
  if (parentIndex == -1) return static_cast<std::int32_t>(cabinets_.size());
  const Cabinet* cabinet = FindCabinet(parentIndex);
  return cabinet != nullptr && cabinet->index == parentIndex ? cabinet->FolderCount() : 0;
}

std::optional<std::int32_t> FolderList::FindChild(std::int32_t parentIndex,
                                                  std::int32_t childIndex) const {
  if (childIndex < 0 || childIndex >= ChildCount(parentIndex)) return std::nullopt;
  if (parentIndex == -1) return cabinets_[static_cast<std::size_t>(childIndex)].index;
  return parentIndex + 1 + childIndex;
}

}  // namespace nimport::store
