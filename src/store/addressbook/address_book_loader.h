// Makes the address book from its table.
//
// The table is flat: a row is a group or an address and names the key of the group that it belongs
// to, 0 at the top level. It is read once; then the tree is walked from the top. A row that cannot
// be used fails the load where the walk comes to it: a group's own row first, then the groups
// beneath it, then its addresses. What hangs beneath no group of the tree, and what stands in none,
// is stray: it is not looked at.
//
// Keys are the mail client's and may be anything. A group whose key is that of a group above it, or
// 0, has its addresses but no groups beneath it: they would lead back to it. Groups that share a
// key each get all that belongs to the key, so every group is loaded once for each path to it.
// Since there can be more paths than memory, what belongs to a key is loaded a second time only
// while the book stays within PATH_COPIES_PER_ROW; beyond that, further groups with the key stay
// empty. Every row in the tree is loaded at least once.
//
// Whoever salvages gets the strays too. After the groups of the top level, which are as they were,
// come groups without a name, one for each key whose rows are not in the book yet: the addresses at
// the top level alone, since their groups are in the tree, and otherwise all that belongs to the
// key, by the same walk. Keys that no group has come first, then those that are left, whose groups
// lead back to each other; in ascending order both times. Every row is then loaded at least once.
#ifndef NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_LOADER_H_
#define NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_LOADER_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "jet/database.h"
#include "store/addressbook/address_book.h"
#include "store/addressbook/address_table.h"

namespace nimport::addressbook {

// A book of n rows is loaded with copies up to PATH_COPIES_PER_ROW * n + PATH_COPIES_OF_ANY_TABLE
// groups and addresses: plenty for tables that people have, and a bound for the others.
inline constexpr std::int64_t PATH_COPIES_PER_ROW = 16;
inline constexpr std::int64_t PATH_COPIES_OF_ANY_TABLE = 65'536;

// Rows of the table that are not in the book.
struct RowsLeftOut {
  std::size_t groups = 0;     // strays, beneath no group of the tree
  std::size_t addresses = 0;  // strays, in no group or in one that is not in the tree
  std::size_t others = 0;     // neither groups nor addresses
};

// What is left out, as a sentence for users; empty when nothing is.
[[nodiscard]] std::string Describe(const RowsLeftOut& rows);

// Loads the book into `addressBookData`. Throws Failure: -3 when it is there already, or when the
// walk comes to a group without a name or an address without a user ID; jet::DatabaseError; after a
// failure `addressBookData` is there, without the groups, and only ReleaseAddressBook removes it.
RowsLeftOut LoadAddressBook(jet::Database& database, std::optional<AddressBook>& addressBookData,
                            store::TextLimits limits = store::TextLimits::OfHosts);

// The same for whoever wants all that can be read: with the strays, and with an empty name or user
// ID where there is none. `onBadRow` gets such rows, and where strays end because one of them
// cannot be read; in the tree that is a failure here too.
RowsLeftOut SalvageAddressBook(jet::Database& database, std::optional<AddressBook>& addressBookData,
                               const BadRowListener& onBadRow,
                               store::TextLimits limits = store::TextLimits::OfHosts);

void ReleaseAddressBook(std::optional<AddressBook>& addressBookData) noexcept;

}  // namespace nimport::addressbook

#endif  // NIMPORT_STORE_ADDRESSBOOK_ADDRESS_BOOK_LOADER_H_
