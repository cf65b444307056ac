#include "store/addressbook/address_book.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>

#include "common/failure.h"

namespace nimport::addressbook {
namespace {

// Place of a group's children in the list of starts: the book, at -1, comes first.
std::size_t StartOf(std::int32_t parentIndex) {
  return parentIndex < 0 ? 0 : static_cast<std::size_t>(parentIndex) + 1;
}

std::int32_t SizeOf(const AddressGroup& group) {
  return group.addresses ? static_cast<std::int32_t>(group.addresses->size()) : 0;
}

}  // namespace

AddressBook::AddressBook(std::vector<AddressGroup> groups) : groups_(std::move(groups)) {
  CountAddresses();
  ListChildren();
}

void AddressBook::CountAddresses() {
  firstAddresses_.reserve(groups_.size() + 1);
  for (const AddressGroup& group : groups_) {
    firstAddresses_.push_back(firstAddresses_.back() + SizeOf(group));
  }
}

void AddressBook::ListChildren() {
  childStarts_.assign(groups_.size() + 2, 0);
  for (const AddressGroup& group : groups_)
    ++childStarts_[StartOf(group.parentIndex) + 1];
  for (std::size_t i = 1; i < childStarts_.size(); ++i)
    childStarts_[i] += childStarts_[i - 1];
  children_.resize(groups_.size());
  std::vector<std::int32_t> next = childStarts_;
  for (const AddressGroup& group : groups_) {
    const std::int32_t place = next[StartOf(group.parentIndex)]++;
    children_[static_cast<std::size_t>(place)] = group.index;
  }
}

const AddressGroup& AddressBook::At(std::int32_t groupIndex) const {
  if (groupIndex < 0 || static_cast<std::size_t>(groupIndex) >= groups_.size()) {
    FailInvalid("no group at position " + std::to_string(groupIndex));
  }
  return groups_[static_cast<std::size_t>(groupIndex)];
}

std::int32_t AddressBook::ChildCount(std::int32_t parentIndex) const {
  if (parentIndex < WHOLE_BOOK || parentIndex >= static_cast<std::int32_t>(groups_.size())) {
    return 0;
  }
  const std::size_t start = StartOf(parentIndex);
  return childStarts_[start + 1] - childStarts_[start];
}

std::optional<std::int32_t> AddressBook::FindChild(std::int32_t parentIndex,
                                                   std::int32_t childIndex) const {
  if (childIndex < 0 || childIndex >= ChildCount(parentIndex)) return std::nullopt;
  return children_[static_cast<std::size_t>(childStarts_[StartOf(parentIndex)] + childIndex)];
}

std::int32_t AddressBook::AddressCount(std::int32_t groupIndex) const {
  return groupIndex == WHOLE_BOOK ? firstAddresses_.back() : SizeOf(At(groupIndex));
}

std::int32_t AddressBook::FirstAddress(std::int32_t groupIndex) const {
  return firstAddresses_[static_cast<std::size_t>(At(groupIndex).index)];
}

AddressEntry AddressBook::ResolveAddress(std::int32_t groupIndex, std::int32_t addressIndex) const {
  if (addressIndex < 0 || addressIndex >= AddressCount(groupIndex)) {
    FailInvalid("no address at position " + std::to_string(addressIndex));
  }
  if (groupIndex != WHOLE_BOOK) {
    return At(groupIndex).addresses->At(static_cast<std::size_t>(addressIndex));
  }
  // The last group that begins at or before the address; groups without addresses begin where the
  // next one does, so it holds the address.
  const auto next = std::ranges::upper_bound(firstAddresses_, addressIndex);
  const auto group = static_cast<std::int32_t>(next - firstAddresses_.begin()) - 1;
  return ResolveAddress(group, addressIndex - FirstAddress(group));
}

}  // namespace nimport::addressbook
