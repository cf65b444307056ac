// The table of the address book, read once.
#ifndef NIMPORT_ADDRESSBOOK_ADDRESS_TABLE_H_
#define NIMPORT_ADDRESSBOOK_ADDRESS_TABLE_H_

#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <vector>

#include "addressbook/address_book.h"
#include "common/fixed_text.h"
#include "jet/database.h"
#include "jet/recordset.h"

namespace nimport::addressbook {

// A row that stands for a group.
struct GroupRow {
  std::int32_t key = 0;
  NameText name;
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

  // The number of rows.
  [[nodiscard]] std::size_t Size() const;
};

class AddressTable {
 public:
  // Reads the table in one pass. A row that cannot be reached or told to be a group or an address
  // ends the table: its failure stands behind the members of every key. Throws jet::DatabaseError
  // when there is no table.
  explicit AddressTable(jet::Database& database);

  // The members of a key, without any when no row names the key. Valid while the table lives.
  [[nodiscard]] KeyMembers& MembersOf(std::int32_t key);

  // The number of groups and addresses.
  [[nodiscard]] std::size_t RowCount() const { return rowCount_; }

 private:
  std::map<std::int32_t, KeyMembers> members_;
  KeyMembers none_;  // the members of a key that no row names
  std::size_t rowCount_ = 0;

  void AddRow(const jet::Recordset& row);
  void EndWith(const std::exception_ptr& failure);
};

}  // namespace nimport::addressbook

#endif  // NIMPORT_ADDRESSBOOK_ADDRESS_TABLE_H_
