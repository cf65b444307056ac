// How the tree comes out of the rows, which failure comes first, and what hostile keys cost.
#include "store/addressbook/address_book_loader.h"

#include <functional>
#include <new>
#include <random>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "common/failure.h"
#include "store/addressbook/table_in_memory.h"

namespace nimport::addressbook {
namespace {

using test::Address;
using test::AddressRow;
using test::Group;
using test::TableInMemory;

// The code that an export would answer with.
ResultCode Load(TableInMemory& table, std::optional<AddressBook>& book) {
  test::DatabaseInMemory database(table);
  try {
    LoadAddressBook(database, book);
    return RESULT_OK;
  } catch (const Failure& failure) {
    return failure.code();
  } catch (const jet::DatabaseError&) {
    return RESULT_DATABASE;
  } catch (const std::bad_alloc&) {
    return RESULT_NO_MEMORY;
  }
}

// "A(x y B(z))": each group with its addresses and the groups beneath it.
std::string Show(const AddressBook& book, std::int32_t parent = AddressBook::WHOLE_BOOK) {
  std::string text;
  for (std::int32_t i = 0; i < book.ChildCount(parent); ++i) {
    const AddressGroup& group = book.At(book.FindChild(parent, i).value());
    text += (text.empty() ? "" : " ") + group.name + "(";
    std::string members;
    for (std::int32_t a = 0; a < book.AddressCount(group.index); ++a) {
      members += (a == 0 ? "" : " ") + std::string(book.ResolveAddress(group.index, a).userId);
    }
    const std::string groups = Show(book, group.index);
    text += members + (members.empty() || groups.empty() ? "" : " ") + groups + ")";
  }
  return text;
}

std::vector<std::string> GroupNames(const AddressBook& book) {
  std::vector<std::string> names;
  std::vector<std::int32_t> waiting = {AddressBook::WHOLE_BOOK};
  while (!waiting.empty()) {
    const std::int32_t parent = waiting.back();
    waiting.pop_back();
    for (std::int32_t i = 0; i < book.ChildCount(parent); ++i) {
      waiting.push_back(book.FindChild(parent, i).value());
      names.push_back(book.At(waiting.back()).name);
    }
  }
  return names;
}

void FailOnBadRow(const std::string& reason) {
  ADD_FAILURE() << reason;
}

struct TreeCase {
  const char* why;
  std::vector<AddressRow> rows;
  const char* tree;
};

TEST(AddressBookLoader, MakesTheTree) {
  const TreeCase cases[] = {
      {"an empty table is a book without groups", {}, ""},
      {"addresses alone are in no group", {Address(0, "x"), Address(7, "y")}, ""},
      {"siblings keep the order of their rows",
       {Group(0, 9, "A"), Group(0, 2, "B"), Group(0, 5, "C")},
       "A() B() C()"},
      {"children may stand before their group",
       {Address(2, "x"), Group(1, 2, "B"), Address(1, "y"), Group(0, 1, "A"), Address(2, "z")},
       "A(y B(x z))"},
      {"what belongs to no group of the tree is left out",
       {Group(0, 1, "A"), Group(8, 2, "B"), Address(2, "x"), Address(8, "y")},
       "A()"},
      {"a row of another type is skipped with all beneath it",
       {AddressRow{.type = 1, .key = 1, .name = "T"}, Group(1, 2, "A"), Address(1, "x"),
        AddressRow{.type = -1, .key = 3, .name = "U"}, Group(0, 4, "B")},
       "B()"},
      {"keys have 32 bits with sign",
       {Group(0, -1, "A"), Group(-1, INT32_MIN, "B"), Group(INT32_MIN, INT32_MAX, "C"),
        Address(INT32_MAX, "x")},
       "A(B(C(x)))"},
  };
  for (const TreeCase& c : cases) {
    TableInMemory table{.rows = c.rows};
    std::optional<AddressBook> book;
    ASSERT_EQ(Load(table, book), RESULT_OK) << c.why;
    EXPECT_EQ(Show(*book), c.tree) << c.why;
  }
}

TEST(AddressBookLoader, EndsBranchesThatLeadBackAndLoadsAGroupOncePerPath) {
  const TreeCase cases[] = {
      {"key 0 is the top level's",
       {Group(0, 0, "Z"), Group(0, 1, "A"), Address(0, "x")},
       "Z(x) A()"},
      {"a group beneath itself is in no tree", {Group(3, 3, "A"), Address(3, "x")}, ""},
      {"a group with the key of its own parent",
       {Group(0, 1, "A"), Group(1, 1, "B"), Address(1, "x")},
       "A(x B(x))"},
      {"a group with a key from above",
       {Group(0, 1, "A"), Group(1, 2, "B"), Group(2, 1, "C"), Address(1, "x"), Address(2, "y")},
       "A(x B(y C(x)))"},
      {"two groups with one key have the same members",
       {Group(0, 1, "A"), Group(0, 1, "B"), Group(1, 2, "C"), Address(1, "x"), Address(2, "y")},
       "A(x C(y)) B(x C(y))"},
      {"a key that leads back in one branch leads on in another",
       {Group(0, 1, "A"), Group(1, 2, "B"), Group(2, 1, "C"), Group(0, 2, "D")},
       "A(B(C())) D(C(B()))"},
  };
  for (const TreeCase& c : cases) {
    TableInMemory table{.rows = c.rows};
    std::optional<AddressBook> book;
    ASSERT_EQ(Load(table, book), RESULT_OK) << c.why;
    EXPECT_EQ(Show(*book), c.tree) << c.why;
  }
}

AddressRow Damaged(AddressRow row, const char* column) {
  row.damagedColumn = column;
  return row;
}

// Damage is -2 and a missing value -3, which tells which of two bad rows came first.
TEST(AddressBookLoader, FailsWhereTheWalkComesFirst) {
  const AddressRow groupWithoutName{.key = 9};
  const AddressRow groupWithoutNameInA{.parent = 1, .key = 9};
  const AddressRow addressWithoutIdInA{.type = test::ADDRESS, .parent = 1};
  struct Case {
    const char* why;
    std::vector<AddressRow> rows;
    std::optional<std::size_t> damagedRow;
    ResultCode code;
  };
  const Case cases[] = {
      {"a group without a name", {Group(0, 1, "A"), groupWithoutName}, {}, RESULT_INVALID},
      {"an address without a user ID", {Group(0, 1, "A"), addressWithoutIdInA}, {}, RESULT_INVALID},
      {"the key of an address is not read",
       {Group(0, 1, "A"), Damaged(addressWithoutIdInA, "KeyNo")},
       {},
       RESULT_INVALID},
      {"nor that of a group without a name",
       {Damaged(groupWithoutName, "KeyNo")},
       {},
       RESULT_INVALID},
      {"the groups of a group come before its addresses",
       {Group(0, 1, "A"), addressWithoutIdInA, Damaged(Group(1, 2, "B"), "Name")},
       {},
       RESULT_DATABASE},
      {"and the other way round",
       {Group(0, 1, "A"), Damaged(Address(1, "x"), "Comment"), groupWithoutNameInA},
       {},
       RESULT_INVALID},
      {"the addresses of a group come before its next sibling",
       {Group(0, 1, "A"), groupWithoutName, Damaged(Address(1, "x"), "Name")},
       {},
       RESULT_DATABASE},
      {"a group's own row comes before what is beneath it",
       {AddressRow{.key = 1}, Damaged(Group(1, 2, "B"), "Name")},
       {},
       RESULT_INVALID},
      {"a subtree comes before the next sibling",
       {Group(0, 1, "A"), Damaged(Group(0, 2, "B"), "Name"), Group(1, 3, "C"),
        AddressRow{.parent = 3, .key = 4}},
       {},
       RESULT_INVALID},
      {"among addresses the first row",  // the user ID is read before the comment
       {Group(0, 1, "A"), Damaged(addressWithoutIdInA, "Comment"),
        Damaged(Address(1, "x"), "Name")},
       {},
       RESULT_INVALID},
      {"a name is read before the user ID",
       {Group(0, 1, "A"), Damaged(addressWithoutIdInA, "Name")},
       {},
       RESULT_DATABASE},
      {"bad rows that are in no group of the tree do no harm",
       {Group(0, 1, "A"), AddressRow{.parent = 8}, AddressRow{.type = test::ADDRESS, .parent = 8},
        Damaged(Group(8, 2, "B"), "Name"), AddressRow{.type = test::ADDRESS}},
       {},
       RESULT_OK},
      {"a table that ends in damage", {Group(0, 1, "A"), Group(0, 2, "B")}, 1, RESULT_DATABASE},
      {"damage behind a first group without a name",
       {groupWithoutName, Group(0, 2, "B")},
       1,
       RESULT_INVALID},
      {"damage behind a first group's first subgroup without a name",
       {Group(0, 1, "A"), groupWithoutNameInA, Group(0, 2, "B")},
       2,
       RESULT_INVALID},
      {"the walk over a first group's members meets damage before its next sibling",
       {Group(0, 1, "A"), groupWithoutName, Group(0, 2, "B")},
       2,
       RESULT_DATABASE},
      {"a damaged first row", {Group(0, 1, "A")}, 0, RESULT_DATABASE},
      {"a type that cannot be read",
       {Group(0, 1, "A"), Damaged(Address(1, "x"), "Type")},
       {},
       RESULT_DATABASE},
      {"a type that cannot be read, in no group of the tree",
       {Group(0, 1, "A"), Damaged(Address(8, "x"), "Type")},
       {},
       RESULT_OK},
      {"a type that cannot be read comes behind a group without a name",
       {groupWithoutName, Damaged(Group(0, 1, "A"), "Type")},
       {},
       RESULT_INVALID},
      {"a parent that cannot be read ends the table",
       {Group(0, 1, "A"), Damaged(Group(8, 2, "B"), "ParentKeyNo")},
       {},
       RESULT_DATABASE},
  };
  for (const Case& c : cases) {
    TableInMemory table{.rows = c.rows, .damagedRow = c.damagedRow};
    std::optional<AddressBook> book;
    EXPECT_EQ(Load(table, book), c.code) << c.why;
    table = {};
    EXPECT_EQ(Load(table, book), RESULT_INVALID) << "again, after: " << c.why;
    EXPECT_EQ(table.moves, 0u) << c.why;
    ReleaseAddressBook(book);
    EXPECT_EQ(Load(table, book), RESULT_OK) << "released, after: " << c.why;
  }
}

TEST(AddressBookLoader, KeepsTheBookThatMemoryDidNotSufficeFor) {
  TableInMemory table{.rows = {Group(0, 1, "A"), Group(0, 2, "B")}, .memoryEndsAt = 1};
  std::optional<AddressBook> book;
  EXPECT_EQ(Load(table, book), RESULT_NO_MEMORY);
  EXPECT_EQ(Load(table, book), RESULT_INVALID);
}

TEST(AddressBookLoader, SalvagesIncompleteRows) {
  TableInMemory table{
      .rows = {Group(0, 1, "A"), AddressRow{.key = 2},
               AddressRow{.type = test::ADDRESS, .parent = 2, .key = 3, .name = "x"},
               AddressRow{.type = test::ADDRESS, .parent = 8, .key = 4}, Address(2, "z")}};
  test::DatabaseInMemory database(table);
  std::vector<std::string> told;
  std::optional<AddressBook> book;
  const BadRowListener listener = [&](const std::string& reason) { told.push_back(reason); };
  SalvageAddressBook(database, book, listener);
  EXPECT_EQ(Show(*book), "A() ( z) ()");
  EXPECT_EQ(told,
            (std::vector<std::string>{
                "the table has a group without a Name, where KeyNo is 2 and ParentKeyNo 0",
                "the table has an address without a UserID, where KeyNo is 3 and ParentKeyNo 2",
                "the table has an address without a UserID, where KeyNo is 4 and ParentKeyNo 8",
            }));
  // A table of nothing else does not fill memory with sentences.
  table = {.rows = std::vector<AddressRow>(5'000, AddressRow{})};
  told.clear();
  ReleaseAddressBook(book);
  SalvageAddressBook(database, book, listener);
  EXPECT_EQ(told.size(), 1'000U);
  EXPECT_EQ(book->ChildCount(AddressBook::WHOLE_BOOK), 5'000);
}

TEST(AddressBookLoader, CountsWhatIsInNoGroupOfTheTree) {
  struct Case {
    const char* why;
    std::vector<AddressRow> rows;
    RowsLeftOut left;
  };
  const AddressRow other{.type = 1, .key = 7};
  const Case cases[] = {
      {"nothing", {Group(0, 1, "A"), Group(1, 2, "B"), Address(2, "x")}, {}},
      {"addresses at the top", {Group(0, 1, "A"), Address(0, "x")}, {.addresses = 1}},
      {"an orphaned group with all beneath it",
       {Group(0, 1, "A"), Group(8, 2, "B"), Group(2, 3, "C"), Address(3, "x")},
       {.groups = 2, .addresses = 1}},
      {"other rows, with what is beneath them",
       {other, other, Address(7, "x"), Group(7, 8, "A")},
       {.groups = 1, .addresses = 1, .others = 2}},
      {"a group with key 0 has the addresses at the top", {Group(0, 0, "Z"), Address(0, "x")}, {}},
      {"rows of a shared key are in the book",
       {Group(0, 1, "A"), Group(0, 1, "B"), Address(1, "x")},
       {}},
  };
  for (const Case& c : cases) {
    TableInMemory table{.rows = c.rows};
    test::DatabaseInMemory database(table);
    std::optional<AddressBook> book;
    const RowsLeftOut left = LoadAddressBook(database, book);
    EXPECT_EQ(left.groups, c.left.groups) << c.why;
    EXPECT_EQ(left.addresses, c.left.addresses) << c.why;
    EXPECT_EQ(left.others, c.left.others) << c.why;
  }
}

TEST(AddressBookLoader, SalvagesStraysBehindTheTree) {
  const TreeCase cases[] = {
      {"addresses at the top, whose groups are in the tree",
       {Group(0, 1, "A"), Address(0, "t"), Address(1, "x"), Address(0, "u")},
       "A(x) (t u)"},
      {"by ascending keys",
       {Address(9, "n"), Address(0, "t"), Address(-5, "m"), Address(9, "o")},
       "(m) (t) (n o)"},
      {"an orphaned group with all beneath it, though its own key is less",
       {Group(8, 2, "B"), Group(2, 3, "C"), Address(3, "x"), Address(8, "y"), Address(2, "z")},
       "(y B(z C(x)))"},
      {"orphaned groups without addresses", {Group(0, 1, "A"), Group(8, 2, "B")}, "A() (B())"},
      {"what is beneath a row of another type",
       {AddressRow{.type = 1, .key = 7}, Group(7, 8, "A"), Address(7, "x")},
       "(x A())"},
      {"a group beneath itself", {Group(3, 3, "A"), Address(3, "x")}, "(x A(x))"},
      {"a ring, from its least key",
       {Group(4, 3, "B"), Group(3, 4, "A"), Address(4, "x"), Address(3, "y")},
       "(y A(x B(y)))"},
      {"an orphaned group with key 0 has the addresses at the top, without the tree",
       {Group(0, 1, "A"), Group(8, 0, "Z"), Address(0, "t")},
       "A() (Z(t))"},
      {"an orphaned group with a key of the tree",
       {Group(0, 1, "A"), Group(8, 1, "B"), Address(1, "x")},
       "A(x) (B(x))"},
      {"nothing where the tree has all",
       {Group(0, 0, "Z"), Group(0, 1, "A"), Address(0, "x"), Address(1, "y")},
       "Z(x) A(y)"},
  };
  for (const TreeCase& c : cases) {
    TableInMemory table{.rows = c.rows};
    test::DatabaseInMemory database(table);
    std::optional<AddressBook> book;
    const RowsLeftOut left = SalvageAddressBook(database, book, FailOnBadRow);
    EXPECT_EQ(Show(*book), c.tree) << c.why;
    EXPECT_EQ(left.groups + left.addresses, 0U) << c.why;
  }
}

std::set<std::string> UserIdsIn(const AddressBook& book) {
  std::set<std::string> ids;
  for (std::int32_t i = 0; i < book.AddressCount(AddressBook::WHOLE_BOOK); ++i)
    ids.emplace(book.ResolveAddress(AddressBook::WHOLE_BOOK, i).userId);
  return ids;
}

// Tables in which few keys make rings, copies and strays of every kind.
TEST(AddressBookLoader, SalvagesEveryRowAndLeavesTheTreeAsItWas) {
  std::minstd_rand random(7);
  const auto key = [&random] { return static_cast<std::int32_t>(random() % 8) - 1; };
  for (int round = 0; round < 500; ++round) {
    TableInMemory table;
    std::set<std::string> names;
    std::set<std::string> userIds;
    for (int i = 0; i < 12; ++i) {
      const std::string text = std::to_string(i);
      const bool isGroup = random() % 2 == 0;
      table.rows.push_back(isGroup ? Group(key(), key(), text) : Address(key(), text));
      (isGroup ? names : userIds).insert(text);
    }
    std::optional<AddressBook> tree;
    ASSERT_EQ(Load(table, tree), RESULT_OK);
    test::DatabaseInMemory database(table);
    std::optional<AddressBook> book;
    SalvageAddressBook(database, book, FailOnBadRow);
    const std::string before = Show(*tree);
    EXPECT_EQ(Show(*book).substr(0, before.size()), before) << round;
    EXPECT_EQ(UserIdsIn(*book), userIds) << round;
    const std::vector<std::string> found = GroupNames(*book);
    std::set<std::string> foundNames(found.begin(), found.end());
    foundNames.erase("");  // those of the strays
    EXPECT_EQ(foundNames, names) << round;
  }
}

TEST(AddressBookLoader, TellsOfStraysThatCannotBeReadAndLoadsTheRest) {
  TableInMemory table{.rows = {Group(0, 1, "A"), Address(1, "x"), Address(8, "y"),
                               Damaged(Address(8, "z"), "Name"), Damaged(Address(9, "z"), "Type"),
                               Damaged(Group(7, 2, "B"), "Name"), Address(7, "w"),
                               Damaged(Address(0, "t"), "Comment")}};
  test::DatabaseInMemory database(table);
  std::vector<std::string> told;
  std::optional<AddressBook> book;
  SalvageAddressBook(database, book, [&](const std::string& reason) { told.push_back(reason); });
  EXPECT_EQ(Show(*book), "A(x) (w) (y)");
  EXPECT_EQ(told.size(), 4U) << "each once, whatever it may have been";
  for (const std::string& reason : told)
    EXPECT_NE(reason.find("injected damage"), std::string::npos) << reason;
}

TEST(AddressBookLoader, ReadsEachRowOnce) {
  constexpr std::int32_t GROUPS = 1'000;
  TableInMemory table;
  for (std::int32_t g = 1; g <= GROUPS; ++g)
    table.rows.push_back(Group(g / 2, g, "G"));
  for (std::int32_t a = 0; a < 10 * GROUPS; ++a) {
    table.rows.push_back(Address(1 + a % GROUPS, std::to_string(a)));
  }
  std::optional<AddressBook> book;
  ASSERT_EQ(Load(table, book), RESULT_OK);
  EXPECT_EQ(book->AddressCount(AddressBook::WHOLE_BOOK), 10 * GROUPS);
  EXPECT_EQ(table.moves, table.rows.size() + 1);
  EXPECT_LE(table.valuesRead, 6 * table.rows.size());
}

// `levels` levels of two groups with one key each: every level doubles the paths.
std::vector<AddressRow> DoubleKeys(std::int32_t levels) {
  std::vector<AddressRow> rows;
  for (std::int32_t level = 1; level <= levels; ++level) {
    for (const char* side : {"a", "b"}) {
      rows.push_back(Group(level - 1, level, side + std::to_string(level)));
    }
  }
  return rows;
}

TEST(AddressBookLoader, LoadsThousandsOfPaths) {
  TableInMemory table{.rows = DoubleKeys(12)};
  std::optional<AddressBook> book;
  ASSERT_EQ(Load(table, book), RESULT_OK);
  EXPECT_EQ(GroupNames(*book).size(), 8190u);  // 2 + 4 + ... + 4096
}

TEST(AddressBookLoader, BoundsTheNumberOfPathsButLosesNoRow) {
  TableInMemory table{.rows = DoubleKeys(60)};
  table.rows.push_back(Address(60, "deepest"));
  table.rows.push_back(Group(0, 1'000, "last"));
  for (std::int32_t i = 0; i < 10; ++i) {
    table.rows.push_back(Group(1'000, 2'000, "beneath last " + std::to_string(i)));
  }
  const std::set<std::string> wanted = [&] {
    std::set<std::string> names;
    for (const AddressRow& row : table.rows)
      names.insert(row.name.value_or("last"));
    return names;
  }();
  std::optional<AddressBook> book;
  ASSERT_EQ(Load(table, book), RESULT_OK);
  const std::vector<std::string> names = GroupNames(*book);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), wanted);
  EXPECT_GT(names.size(), 10'000u);
  EXPECT_LT(names.size(), 100'000u);
  EXPECT_GT(book->AddressCount(AddressBook::WHOLE_BOOK), 0);
}

TEST(AddressBookLoader, BoundsTheNumberOfPathsAmongStrays) {
  TableInMemory table{.rows = DoubleKeys(60)};
  for (AddressRow& row : table.rows)
    ++row.parent, ++row.key;  // beneath key 1, which nothing has
  table.rows.push_back(Address(61, "deepest"));
  table.rows.push_back(Address(99, "last"));
  test::DatabaseInMemory database(table);
  std::optional<AddressBook> book;
  SalvageAddressBook(database, book, FailOnBadRow);
  const std::vector<std::string> names = GroupNames(*book);
  EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 121U);
  EXPECT_LT(names.size(), 100'000U);
  EXPECT_EQ(UserIdsIn(*book), (std::set<std::string>{"deepest", "last"}));
}

TEST(AddressBookLoader, BoundsTheNumberOfAddresses) {
  constexpr std::int32_t EACH = 50'000;  // 2,500,000,000 positions would not fit their numbers
  TableInMemory table;
  for (std::int32_t i = 0; i < EACH; ++i) {
    table.rows.push_back(Group(0, 1, "G"));
    table.rows.push_back(Address(1, std::to_string(i)));
  }
  std::optional<AddressBook> book;
  ASSERT_EQ(Load(table, book), RESULT_OK);
  EXPECT_EQ(book->ChildCount(AddressBook::WHOLE_BOOK), EACH);
  const std::int32_t total = book->AddressCount(AddressBook::WHOLE_BOOK);
  EXPECT_GE(total, EACH);
  EXPECT_LT(total, 100 * EACH);
  EXPECT_EQ(book->ResolveAddress(AddressBook::WHOLE_BOOK, total - 1).userId,
            std::to_string(EACH - 1));
}

}  // namespace
}  // namespace nimport::addressbook
