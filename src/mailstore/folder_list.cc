#include "mailstore/folder_list.h"

#include <string>
#include <utility>

#include "common/failure.h"
#include "platform/columns.h"

namespace nimport::mailstore {

void FolderList::Load(jet::Database& database) {
  const auto cabinetTable = database.OpenTable("CabinetTBL");
  const auto folderTable = database.OpenTable("FolderTBL");
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
      FolderRecord folder;
      folder.parentIndex = cabinetIndex;
      folder.number = platform::ReadNumber(*folders, "FolderNo");
      folder.name = NameText::Cut(platform::ReadText(*folders, "FolderName").value_or(""));
      Append(std::move(folder));
    });
  }
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
