#include "store/addressbook/address_book_loader.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "common/failure.h"

namespace nimport::addressbook {
namespace {

constexpr std::int32_t TOP_LEVEL_KEY = 0;

std::string Describe(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const std::exception& error) {
    return error.what();
  }
}

// The number of groups and addresses up to which copies are made. Positions are 32-bit numbers, and
// one load of every row may follow, as may a group for each stray one.
std::int64_t LimitOf(std::size_t rowCount) {
  const auto rows = static_cast<std::int64_t>(rowCount);
  return std::min(PATH_COPIES_PER_ROW * rows + PATH_COPIES_OF_ANY_TABLE,
                  std::numeric_limits<std::int32_t>::max() - 2 * rows);
}

// The walk over the tree, depth first, with the path in a list of its own: how deep the tree is,
// the file decides.
class TreeWalk {
 public:
  explicit TreeWalk(AddressTable& table) : table_(table), limit_(LimitOf(table.RowCount())) {}

  // Loads the tree, to which strays may be added.
  void LoadTree();
  void AddStrays();
  // Ends the walk.
  [[nodiscard]] std::vector<AddressGroup> TakeGroups() { return std::move(groups_); }

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
  bool isAmongStrays_ = false;  // where failures, which were reported, do no harm

  void FinishPath();
  void MarkKeysOfGroups(const std::vector<std::int32_t>& keys);
  void TellOfBadStrays(const std::vector<std::int32_t>& keys);
  void AddStraysOf(std::int32_t key, KeyMembers& members);
  void RethrowInTree(const std::exception_ptr& failure) const;
  [[nodiscard]] bool MayLoad(KeyMembers& members);
  void Enter(std::int32_t groupIndex, std::int32_t key);
  void Leave();
  std::int32_t AppendGroup(std::int32_t parentIndex, const std::string& name);
  void LoadAddresses(std::int32_t groupIndex, KeyMembers& members);
};

void TreeWalk::LoadTree() {
  Enter(AddressBook::WHOLE_BOOK, TOP_LEVEL_KEY);
  FinishPath();
}

void TreeWalk::FinishPath() {
  while (!path_.empty()) {
    Level& level = path_.back();
    if (level.nextGroup == level.members->groups.size()) {
      Leave();
      continue;
    }
    const GroupRow& row = level.members->groups[level.nextGroup++];
    Enter(AppendGroup(level.groupIndex, row.name), row.key);
  }
}

void TreeWalk::AddStrays() {
  isAmongStrays_ = true;
  const std::vector<std::int32_t> keys = table_.Keys();
  MarkKeysOfGroups(keys);
  TellOfBadStrays(keys);
  // Here too, a group with the top level's key would lead back to it.
  table_.MembersOf(TOP_LEVEL_KEY).isOnPath = true;
  for (const bool isKeyOfAGroup : {false, true}) {
    for (const std::int32_t key : keys) {
      KeyMembers& members = table_.MembersOf(key);
      if (members.isKeyOfAGroup == isKeyOfAGroup) AddStraysOf(key, members);
    }
  }
}

// A key that a group has is left to that group's walk.
void TreeWalk::MarkKeysOfGroups(const std::vector<std::int32_t>& keys) {
  for (const std::int32_t key : keys) {
    for (const GroupRow& row : table_.MembersOf(key).groups)
      table_.MembersOf(row.key).isKeyOfAGroup = true;
  }
}

void TreeWalk::TellOfBadStrays(const std::vector<std::int32_t>& keys) {
  for (const std::int32_t key : keys) {
    const KeyMembers& members = table_.MembersOf(key);
    if (members.areAddressesLoaded) continue;
    // The top level's groups are in the tree, or the walk over them would have failed.
    if (members.groupFailure) table_.TellOfBadRow(Describe(members.groupFailure));
    // A row whose type cannot be read ends both.
    if (members.addressFailure && members.addressFailure != members.groupFailure) {
      table_.TellOfBadRow(Describe(members.addressFailure));
    }
  }
}

void TreeWalk::AddStraysOf(std::int32_t key, KeyMembers& members) {
  if (members.isLoaded) {
    // All but the top level's addresses come with their key.
    if (members.areAddressesLoaded || members.AddressCount() == 0) return;
    LoadAddresses(AppendGroup(AddressBook::WHOLE_BOOK, {}), members);
  } else if (members.Size() > 0) {
    Enter(AppendGroup(AddressBook::WHOLE_BOOK, {}), key);
    FinishPath();
  }
}

void TreeWalk::RethrowInTree(const std::exception_ptr& failure) const {
  if (failure && !isAmongStrays_) std::rethrow_exception(failure);
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
  RethrowInTree(level.members->groupFailure);
  if (level.groupIndex != AddressBook::WHOLE_BOOK) {
    LoadAddresses(level.groupIndex, *level.members);
  }
}

std::int32_t TreeWalk::AppendGroup(std::int32_t parentIndex, const std::string& name) {
  const auto index = static_cast<std::int32_t>(groups_.size());
  groups_.push_back({parentIndex, index, name, nullptr});
  return index;
}

void TreeWalk::LoadAddresses(std::int32_t groupIndex, KeyMembers& members) {
  RethrowInTree(members.addressFailure);
  members.areAddressesLoaded = true;
  groups_[static_cast<std::size_t>(groupIndex)].addresses = members.addresses;
}

void BeginBook(std::optional<AddressBook>& addressBookData) {
  if (addressBookData) FailInvalid("the address book was opened before, and that failed");
  addressBookData.emplace();
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

std::string Describe(const RowsLeftOut& rows) {
  if (rows.groups + rows.addresses + rows.others == 0) return {};
  const std::string others = std::to_string(rows.others) + " rows of other kinds";
  if (rows.groups + rows.addresses == 0) {
    return others + " than groups and addresses are left out";
  }
  return std::to_string(rows.addresses) + " addresses and " + std::to_string(rows.groups) +
         " groups are in no group of the address book and are left out, and so are " + others;
}

RowsLeftOut LoadAddressBook(jet::Database& database, std::optional<AddressBook>& addressBookData,
                            store::TextLimits limits) {
  BeginBook(addressBookData);
  AddressTable table(database, {}, limits);
  TreeWalk walk(table);
  walk.LoadTree();
  addressBookData = AddressBook(walk.TakeGroups());
  return CountRowsLeftOut(table);
}

RowsLeftOut SalvageAddressBook(jet::Database& database, std::optional<AddressBook>& addressBookData,
                               const BadRowListener& onBadRow, store::TextLimits limits) {
  BeginBook(addressBookData);
  AddressTable table(database, onBadRow, limits);
  TreeWalk walk(table);
  walk.LoadTree();
  walk.AddStrays();
  addressBookData = AddressBook(walk.TakeGroups());
  return CountRowsLeftOut(table);
}

void ReleaseAddressBook(std::optional<AddressBook>& addressBookData) noexcept {
  addressBookData.reset();
}

}  // namespace nimport::addressbook
