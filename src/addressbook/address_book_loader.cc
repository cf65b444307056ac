#include "addressbook/address_book_loader.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

#include "common/failure.h"

namespace nimport::addressbook {
namespace {

constexpr std::int32_t TOP_LEVEL_KEY = 0;

void RethrowIfSet(const std::exception_ptr& failure) {
  if (failure) std::rethrow_exception(failure);
}

// The number of groups and addresses up to which copies are made. Positions are 32-bit numbers, and
// one load of every row may follow.
std::int64_t LimitOf(std::size_t rowCount) {
  const auto rows = static_cast<std::int64_t>(rowCount);
  return std::min(PATH_COPIES_PER_ROW * rows + PATH_COPIES_OF_ANY_TABLE,
                  std::numeric_limits<std::int32_t>::max() - rows);
}

// The walk over the tree, depth first, with the path in a list of its own: how deep the tree is,
// the file decides.
class TreeWalk {
 public:
  explicit TreeWalk(AddressTable& table) : table_(table), limit_(LimitOf(table.RowCount())) {}

  std::vector<AddressGroup> LoadGroups();

 private:
  // A group whose subgroups are being loaded; WHOLE_BOOK for those of the top level.
  struct Level {
    std::int32_t groupIndex;
    KeyMembers* members;
    std::size_t nextGroup = 0;
  };

  AddressTable& table_;
  std::int64_t limit_;
  std::int64_t loaded_ = 0;
  std::vector<Level> path_;
  std::vector<AddressGroup> groups_;

  [[nodiscard]] bool MayLoad(KeyMembers& members);
  void Enter(std::int32_t groupIndex, std::int32_t key);
  void Leave();
  std::int32_t AppendGroup(std::int32_t parentIndex, const NameText& name);
  void LoadAddresses(std::int32_t groupIndex, KeyMembers& members);
};

std::vector<AddressGroup> TreeWalk::LoadGroups() {
  Enter(AddressBook::WHOLE_BOOK, TOP_LEVEL_KEY);
  while (!path_.empty()) {
    Level& level = path_.back();
    if (level.nextGroup == level.members->groups.size()) {
      Leave();
      continue;
    }
    const GroupRow& row = level.members->groups[level.nextGroup++];
    Enter(AppendGroup(level.groupIndex, row.name), row.key);
  }
  return std::move(groups_);
}

bool TreeWalk::MayLoad(KeyMembers& members) {
  const auto size = static_cast<std::int64_t>(members.Size());
  if (members.isLoaded && loaded_ + size > limit_) return false;
  members.isLoaded = true;
  loaded_ += size;
  return true;
}

void TreeWalk::Enter(std::int32_t groupIndex, std::int32_t key) {
  KeyMembers& members = table_.MembersOf(key);
  if (!MayLoad(members)) return;
  if (members.isOnPath) {
    LoadAddresses(groupIndex, members);
    return;
  }
  members.isOnPath = true;
  path_.push_back({groupIndex, &members});
}

void TreeWalk::Leave() {
  const Level level = path_.back();
  path_.pop_back();
  level.members->isOnPath = false;
  RethrowIfSet(level.members->groupFailure);
  if (level.groupIndex != AddressBook::WHOLE_BOOK) {
    LoadAddresses(level.groupIndex, *level.members);
  }
}

std::int32_t TreeWalk::AppendGroup(std::int32_t parentIndex, const NameText& name) {
  const auto index = static_cast<std::int32_t>(groups_.size());
  groups_.push_back({parentIndex, index, name, nullptr});
  return index;
}

void TreeWalk::LoadAddresses(std::int32_t groupIndex, KeyMembers& members) {
  RethrowIfSet(members.addressFailure);
  members.areAddressesLoaded = true;
  groups_[static_cast<std::size_t>(groupIndex)].addresses = members.addresses;
}

RowsLeftOut CountRowsLeftOut(const AddressTable& table) {
  RowsLeftOut rows{.others = table.OtherRowCount()};
  table.ForEachKey([&rows](const KeyMembers& members) {
    if (!members.isLoaded) rows.groups += members.groups.size();
    if (!members.areAddressesLoaded) rows.addresses += members.AddressCount();
  });
  return rows;
}

}  // namespace

RowsLeftOut LoadAddressBook(jet::Database& database, std::optional<AddressBook>& addressBookData,
                            const IncompleteRowListener& onIncompleteRow) {
  if (addressBookData) FailInvalid("the address book was opened before, and that failed");
  addressBookData.emplace();
  AddressTable table(database, onIncompleteRow);
  addressBookData = AddressBook(TreeWalk(table).LoadGroups());
  return CountRowsLeftOut(table);
}

void ReleaseAddressBook(std::optional<AddressBook>& addressBookData) noexcept {
  addressBookData.reset();
}

}  // namespace nimport::addressbook
