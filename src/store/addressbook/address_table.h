// The table of the address book, read once.
#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_TABLE_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "jet/database.h"
#include "store/addressbook/address_list.h"
#include "text/fixed_text.h"

namespace nimport::addressbook {

// Told, in a sentence, of rows that lack their name or their user ID or cannot be used at all; of
// the first thousand.
using BadRowListener = std::function<void(const std::string&)>;

// A row that stands for a group.
struct GroupRow {
  std::int32_t key = 0;
  std::string name;  // in the database's code page, within the table's limits
};

// The rows that belong to one key, in the table's order. Groups and addresses each end before the
// first that cannot be used: the failure is for the reader who gets there, since a row beneath a
// group that is not in the tree does no harm.
struct KeyMembers {
  std::vector<GroupRow> groups;
  std::exception_ptr groupFailure;         // Failure or jet::DatabaseError; null when all are there
  std::shared_ptr<AddressList> addresses;  // null when there are none
  std::exception_ptr addressFailure;       // the same for the addresses

  // Marks of whoever walks the tree.
  bool isOnPath = false;
  bool isLoaded = false;
  bool areAddressesLoaded = false;
  bool isKeyOfAGroup = false;

  [[nodiscard]] std::size_t AddressCount() const { return addresses ? addresses->size() : 0; }
  // The number of rows.
  [[nodiscard]] std::size_t Size() const { return groups.size() + AddressCount(); }
};

// The table of the address book database.
[[nodiscard]] jet::KnownObjects KnownAddressObjects();

class AddressTable {
 public:
  // Reads the table in one pass. A row whose parent cannot be read ends the table: its failure
  // stands after the members of every key. A group without a name and an address without a user ID
  // cannot be used; with a listener, it gets a report and they are used with an empty one. Throws
  // jet::DatabaseError when there is no table.
  explicit AddressTable(jet::Database& database, BadRowListener onBadRow = {},
                        store::TextLimits limits = store::TextLimits::OfHosts);

  // The members of a key, without any when no row names the key. Valid while the table lives.
  [[nodiscard]] KeyMembers& MembersOf(std::int32_t key);

  // The keys that rows name as their group's, in ascending order.
  [[nodiscard]] std::vector<std::int32_t> Keys() const;

  // Tells the listener, which must be there.
  void TellOfBadRow(const std::string& reason);

  // The number of groups and addresses.
  [[nodiscard]] std::size_t RowCount() const { return rowCount_; }
  // The number of rows that are neither.
  [[nodiscard]] std::size_t OtherRowCount() const { return otherRowCount_; }

  template <typename Visit>
  void ForEachKey(Visit visit) const {
    for (const auto& [key, members] : members_)
      visit(members);
  }

 private:
  class Row;

  // Keys are the file's choice: spread, so that they do not meet in few buckets.
  struct SpreadKey {
    std::size_t operator()(std::int32_t key) const;
  };

  BadRowListener onBadRow_;
  store::TextLimits limits_;
  std::shared_ptr<AddressTexts> texts_ = std::make_shared<AddressTexts>();
  std::unordered_map<std::int32_t, KeyMembers, SpreadKey> members_;
  KeyMembers none_;  // the members of a key that no row names
  std::size_t rowCount_ = 0;
  std::size_t otherRowCount_ = 0;
  std::size_t badRowCount_ = 0;

  void AddRow(const Row& row);
  void AddMember(const Row& row, std::int32_t type, KeyMembers& members);
  [[nodiscard]] GroupRow ReadGroup(const Row& row);
  void AppendAddress(const Row& row, AddressList& addresses);
  // Fails, or tells the listener of a row whose value is not there. `what` is what the table has.
  void RequireValue(const Row& row, const jet::Value& value, const char* what);
  void EndWith(const std::exception_ptr& failure);
};

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_TABLE_H_
