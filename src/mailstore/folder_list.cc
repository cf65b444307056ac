#include "mailstore/folder_list.h"

#include <map>
#include <set>
#include <string>
#include <utility>

#include "common/failure.h"
#include "mailstore/mail_kinds.h"
#include "platform/columns.h"

namespace nimport::mailstore {
namespace {

constexpr const char* CABINET_TABLE = "CabinetTBL";
constexpr const char* FOLDER_TABLE = "FolderTBL";
constexpr std::string_view STRAYS_NAME = "(no cabinet)";

NameText ReadName(const jet::Recordset& folder) {
  return NameText::Cut(platform::ReadText(folder, "FolderName").value_or(""));
}

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

void FolderList::Load(jet::Database& database) {
  const auto cabinetTable = database.OpenTable(CABINET_TABLE);
  const auto folderTable = database.OpenTable(FOLDER_TABLE);
  const auto cabinets = cabinetTable->OpenRecordset();
  const auto folders = folderTable->OpenRecordset();
  for (; !cabinets->IsEof(); cabinets->MoveNext()) {
    FolderRecord cabinet;
    cabinet.isCabinet = true;
    cabinet.number = platform::ReadNumber(*cabinets, "CabinetNo");
    cabinet.name = NameText::Cut(platform::ReadText(*cabinets, "CabinetName").value_or(""));
    const std::int32_t cabinetNumber = cabinet.number;
    const auto cabinetIndex = static_cast<std::int32_t>(records_.size());
    Append(std::move(cabinet));
    platform::ForEachRowWithNumber(*folders, "CabinetNo", cabinetNumber, [&] {
      AppendFolder(cabinetIndex, platform::ReadNumber(*folders, "FolderNo"), ReadName(*folders));
    });
  }
}

void FolderList::Salvage(jet::Database& database,
                         const std::function<void(const jet::DatabaseError&)>& onLoss) {
  bool isDamaged = false;
  try {
    Load(database);
  } catch (const jet::DatabaseError& error) {
    onLoss(error);
    isDamaged = true;
  }
  for (const char* table : {CABINET_TABLE, FOLDER_TABLE})
    isDamaged = isDamaged || database.IsKnownDamaged(table);
  if (isDamaged) AppendStrays(database, onLoss);
}

void FolderList::AppendStrays(jet::Database& database,
                              const std::function<void(const jet::DatabaseError&)>& onLoss) {
  std::set<std::int32_t> known;
  for (const FolderRecord& record : records_) {
    if (!record.isCabinet) known.insert(record.number);
  }
  std::map<std::int32_t, NameText> strays;
  ForEachRow(database, FOLDER_TABLE, onLoss, [&](const jet::Recordset& row) {
    const std::int32_t number = platform::ReadNumber(row, "FolderNo");
    if (!known.contains(number)) strays.emplace(number, ReadName(row));
  });
  ForEachRow(database, "DataTBL", onLoss, [&](const jet::Recordset& row) {
    const std::int32_t number = platform::ReadNumber(row, "FolderNo");
    if (known.contains(number) || !IsListedMailKind(platform::ReadNumber(row, "DataType"))) return;
    strays.emplace(number, NameText::Cut("folder " + std::to_string(number)));
  });
  if (strays.empty()) return;
  FolderRecord cabinet;
  cabinet.isCabinet = true;
  cabinet.number = -1;
  cabinet.name = NameText::Cut(STRAYS_NAME);
  const auto cabinetIndex = static_cast<std::int32_t>(records_.size());
  Append(std::move(cabinet));
  for (const auto& [number, name] : strays)
    AppendFolder(cabinetIndex, number, name);
}

void FolderList::AppendFolder(std::int32_t cabinetIndex, std::int32_t number,
                              const NameText& name) {
  FolderRecord folder;
  folder.parentIndex = cabinetIndex;
  folder.number = number;
  folder.name = name;
  Append(std::move(folder));
}

void FolderList::Append(FolderRecord record) {
  const auto index = static_cast<std::int32_t>(records_.size());
  const std::int32_t parentIndex = record.parentIndex;
  folderCounts_.reserve(records_.size() + 1);
  if (record.isCabinet) cabinets_.push_back(index);
  records_.push_back(std::move(record));
  folderCounts_.push_back(0);
  if (parentIndex >= 0) ++folderCounts_[static_cast<std::size_t>(parentIndex)];
}

FolderRecord& FolderList::At(std::int32_t index) {
  if (Find(index) == nullptr) FailInvalid("no folder at position " + std::to_string(index));
  return records_[static_cast<std::size_t>(index)];
}

const FolderRecord* FolderList::Find(std::int32_t index) const {
  if (index < 0 || static_cast<std::size_t>(index) >= records_.size()) return nullptr;
  return &records_[static_cast<std::size_t>(index)];
}

std::int32_t FolderList::ChildCount(std::int32_t parentIndex) const {
  if (parentIndex == -1) return static_cast<std::int32_t>(cabinets_.size());
  return Find(parentIndex) == nullptr ? 0 : folderCounts_[static_cast<std::size_t>(parentIndex)];
}

std::optional<std::int32_t> FolderList::FindChild(std::int32_t parentIndex,
                                                  std::int32_t childIndex) const {
  if (childIndex < 0 || childIndex >= ChildCount(parentIndex)) return std::nullopt;
  if (parentIndex == -1) return cabinets_[static_cast<std::size_t>(childIndex)];
  return parentIndex + 1 + childIndex;
}

}  // namespace nimport::mailstore
