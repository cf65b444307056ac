// How the tree comes out of the rows, which failure comes first, and what hostile keys cost.
#include "store/addressbook/address_book_loader.h"

#include <new>
#include <random>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "common/failure.h"
#include "store/database_in_memory.h"

namespace nimport::addressbook {
namespace {

using test::RowState;

constexpr std::int32_t GROUP = 0;
constexpr std::int32_t ADDRESS = 2;

struct AddressRow {
  std::int32_t type = GROUP;
  std::int32_t parent = 0;
  std::int32_t key = 0;
  std::optional<std::string> name = {};
  std::optional<std::string> userId = {};
  std::string damagedColumn = {};  // cannot be read
  RowState state = RowState::Whole;

  [[nodiscard]] jet::Value GetValue(std::string_view column) const {
    if (column == damagedColumn) throw jet::DatabaseError({}, "injected damage");
    if (column == "KeyNo") return key;
    if (column == "ParentKeyNo") return parent;
    if (column == "Type") return type;
    if (column == "Name" && name) return jet::Text{*name};
    if (column == "UserID" && userId) return jet::Text{*userId};
    return {};
  }
};

using Rows = std::vector<AddressRow>;

AddressRow Group(std::int32_t parent, std::int32_t key, std::string name) {
  return {.parent = parent, .key = key, .name = std::move(name)};
}

AddressRow Address(std::int32_t parent, std::string userId) {
  return {.type = ADDRESS, .parent = parent, .key = -99, .userId = std::move(userId)};
}

// Rows as words: "A=1/2" is the group A with key 2 beneath key 1, "x@2" the address x in the group
// with key 2, "?1/7" a row of another type. Without its letter a row has no name or user ID. After
// '!' comes a column that cannot be read, or what going to the row does: "damage", "memory".
Rows Parse(const std::string& text) {
  Rows rows;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const std::size_t sign = word.find_first_of("=@?");
    const bool isAddress = word[sign] == '@';
    AddressRow& row = rows.emplace_back();
    row.type = isAddress ? ADDRESS : word[sign] == '=' ? GROUP : 1;
    if (sign > 0) (isAddress ? row.userId : row.name) = word.substr(0, sign);
    std::istringstream rest(word.substr(sign + 1));
    rest >> row.parent;
    char after = 0;
    while (rest >> after) {
      if (after == '/') rest >> row.key;
      if (after == '!') rest >> row.damagedColumn;
    }
    if (row.damagedColumn == "damage") row.state = RowState::Damaged;
    if (row.damagedColumn == "memory") row.state = RowState::NoMemory;
  }
  return rows;
}

// A table, and the book that is loaded from it.
struct Loading {
  explicit Loading(Rows rows) : table{.name = "AddressBookTBL", .rows = std::move(rows)} {}

  // The code that an export would answer with.
  ResultCode Load() {
    try {
      left = LoadAddressBook(database, book);
      return RESULT_OK;
    } catch (const Failure& failure) {
      return failure.code();
    } catch (const jet::DatabaseError&) {
      return RESULT_DATABASE;
    } catch (const std::bad_alloc&) {
      return RESULT_NO_MEMORY;
    }
  }
  void Salvage() {
    left = SalvageAddressBook(database, book,
                              [this](const std::string& reason) { reported.push_back(reason); });
  }

  test::RowsInMemory<AddressRow> table;
  test::DatabaseInMemory<AddressRow> database{table};
  std::optional<AddressBook> book;
  RowsLeftOut left;
  std::vector<std::string> reported;
};

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

std::string Show(const RowsLeftOut& left) {
  return std::to_string(left.groups) + " " + std::to_string(left.addresses) + " " +
         std::to_string(left.others);
}

TEST(AddressBookLoader, MakesTheTreeAndSalvagesTheStrays) {
  const struct {
    const char* why;
    const char* rows;
    const char* tree;
    const char* strays = "";     // what whoever salvages has after the tree
    const char* left = "0 0 0";  // groups, addresses and other rows that are not in the tree
  } cases[] = {
      {"an empty table is a book without groups", "", ""},
      {"siblings keep the order of their rows", "A=0/9 B=0/2 C=0/5", "A() B() C()"},
      {"children may stand before their group", "x@2 B=1/2 y@1 A=0/1 z@2", "A(y B(x z))"},
      {"keys have 32 bits with sign",
       "A=0/-1 B=-1/-2147483648 C=-2147483648/2147483647 x@2147483647", "A(B(C(x)))"},
      {"key 0 is the top level's", "Z=0/0 A=0/1 x@0 y@1", "Z(x) A(y)"},
      {"the key of a group's own parent", "A=0/1 B=1/1 x@1", "A(x B(x))"},
      {"a key from above", "A=0/1 B=1/2 C=2/1 x@1 y@2", "A(x B(y C(x)))"},
      {"groups with one key", "A=0/1 B=0/1 C=1/2 x@1 y@2", "A(x C(y)) B(x C(y))"},
      {"a key that leads back in one branch", "A=0/1 B=1/2 C=2/1 D=0/2", "A(B(C())) D(C(B()))"},
      {"addresses at the top without their groups", "A=0/1 t@0 x@1 u@0", "A(x)", "(t u)", "0 2 0"},
      {"strays by ascending keys", "n@9 t@0 m@-5 o@9", "", "(m) (t) (n o)", "0 4 0"},
      {"an orphaned group though its own key is less", "B=8/2 C=2/3 x@3 y@8 z@2", "",
       "(y B(z C(x)))", "2 3 0"},
      {"an orphaned group without addresses", "A=0/1 B=8/2", "A()", "(B())", "1 0 0"},
      {"beneath a row of another type", "?1/7 ?1/7 A=7/8 x@7 ?0/3 B=0/4", "B()", "(x A())",
       "1 1 3"},
      {"a group beneath itself", "A=3/3 x@3", "", "(x A(x))", "1 1 0"},
      {"a ring, from its least key", "B=4/3 A=3/4 x@4 y@3", "", "(y A(x B(y)))", "2 2 0"},
      {"an orphaned group with key 0", "A=0/1 Z=8/0 t@0", "A()", "(Z(t))", "1 1 0"},
      {"an orphaned group with a key of the tree", "A=0/1 B=8/1 x@1", "A(x)", "(B(x))", "1 0 0"},
  };
  for (const auto& c : cases) {
    Loading loading(Parse(c.rows));
    ASSERT_EQ(loading.Load(), RESULT_OK) << c.why;
    EXPECT_EQ(Show(*loading.book), c.tree) << c.why;
    EXPECT_EQ(Show(loading.left), c.left) << c.why;
    Loading salvage(Parse(c.rows));
    salvage.Salvage();
    const bool hasBoth = *c.tree != '\0' && *c.strays != '\0';
    EXPECT_EQ(Show(*salvage.book), std::string(c.tree) + (hasBoth ? " " : "") + c.strays) << c.why;
    EXPECT_EQ(salvage.left.groups + salvage.left.addresses, 0U) << c.why;
    EXPECT_TRUE(salvage.reported.empty()) << c.why;
  }
}

// Damage is -2 and a missing value -3, which tells which of two bad rows came first.
TEST(AddressBookLoader, FailsWhereTheWalkComesFirst) {
  const struct {
    const char* why;
    const char* rows;
    ResultCode code;
  } cases[] = {
      {"a group without a name", "A=0/1 =0/9", RESULT_INVALID},
      {"an address without a user ID", "A=0/1 @1", RESULT_INVALID},
      {"the key of an address is not read", "A=0/1 @1!KeyNo", RESULT_INVALID},
      {"nor that of a group without a name", "=0/9!KeyNo", RESULT_INVALID},
      {"groups come before addresses", "A=0/1 @1 B=1/2!Name", RESULT_DATABASE},
      {"and the other way round", "A=0/1 x@1!Comment =1/9", RESULT_INVALID},
      {"addresses come before the next sibling", "A=0/1 =0/9 x@1!Name", RESULT_DATABASE},
      {"a group's own row comes before what is in it", "=0/1 B=1/2!Name", RESULT_INVALID},
      {"a subtree comes before the next sibling", "A=0/1 B=0/2!Name C=1/3 =3/4", RESULT_INVALID},
      // The user ID is read before the comment.
      {"among addresses the first row", "A=0/1 @1!Comment x@1!Name", RESULT_INVALID},
      {"a name is read before the user ID", "A=0/1 @1!Name", RESULT_DATABASE},
      {"rows in no group of the tree do no harm", "A=0/1 =8/0 @8 B=8/2!Name @0", RESULT_OK},
      {"a table that ends in damage", "A=0/1 B=0/2!damage", RESULT_DATABASE},
      {"damage after a first group without a name", "=0/9 B=0/2!damage", RESULT_INVALID},
      {"damage after such a first subgroup", "A=0/1 =1/9 B=0/2!damage", RESULT_INVALID},
      {"damage before its next sibling", "A=0/1 =0/9 B=0/2!damage", RESULT_DATABASE},
      {"a damaged first row", "A=0/1!damage", RESULT_DATABASE},
      {"a type that cannot be read", "A=0/1 x@1!Type", RESULT_DATABASE},
      {"one in no group of the tree", "A=0/1 x@8!Type", RESULT_OK},
      {"one after a group without a name", "=0/9 A=0/1!Type", RESULT_INVALID},
      {"a parent that cannot be read ends the table", "A=0/1 B=8/2!ParentKeyNo", RESULT_DATABASE},
      {"memory that ends", "A=0/1 B=0/2!memory", RESULT_NO_MEMORY},
  };
  for (const auto& c : cases) {
    Loading loading(Parse(c.rows));
    EXPECT_EQ(loading.Load(), c.code) << c.why;
    loading.table.rows.clear();
    loading.table.moves = 0;
    EXPECT_EQ(loading.Load(), RESULT_INVALID) << "again, after: " << c.why;
    EXPECT_EQ(loading.table.moves, 0u) << c.why;
    ReleaseAddressBook(loading.book);
    EXPECT_EQ(loading.Load(), RESULT_OK) << "released, after: " << c.why;
  }
}

TEST(AddressBookLoader, SalvagesIncompleteRows) {
  Loading loading(Parse("A=0/1 =0/2 @2/3 @8/4 z@2"));
  loading.Salvage();
  EXPECT_EQ(Show(*loading.book), "A() ( z) ()");
  EXPECT_EQ(loading.reported,
            (std::vector<std::string>{
                "the table has a group without a Name, where KeyNo is 2 and ParentKeyNo 0",
                "the table has an address without a UserID, where KeyNo is 3 and ParentKeyNo 2",
                "the table has an address without a UserID, where KeyNo is 4 and ParentKeyNo 8",
            }));
  // A table of nothing else does not fill memory with sentences.
  Loading nameless(Rows(5'000, AddressRow{}));
  nameless.Salvage();
  EXPECT_EQ(nameless.reported.size(), 1'000U);
  EXPECT_EQ(nameless.book->ChildCount(AddressBook::WHOLE_BOOK), 5'000);
}

TEST(AddressBookLoader, ReportsStraysThatCannotBeReadAndLoadsTheRest) {
  Loading loading(Parse("A=0/1 x@1 y@8 z@8!Name z@9!Type B=7/2!Name w@7 t@0!Comment"));
  loading.Salvage();
  EXPECT_EQ(Show(*loading.book), "A(x) (w) (y)");
  EXPECT_EQ(loading.reported.size(), 4U) << "each once, whatever it may have been";
  for (const std::string& reason : loading.reported)
    EXPECT_NE(reason.find("injected damage"), std::string::npos) << reason;
}

std::set<std::string> UserIdsIn(const AddressBook& book) {
  std::set<std::string> ids;
  for (std::int32_t i = 0; i < book.AddressCount(AddressBook::WHOLE_BOOK); ++i)
    ids.emplace(book.ResolveAddress(AddressBook::WHOLE_BOOK, i).userId);
  return ids;
}

std::set<std::string> NamesIn(const AddressBook& book) {
  const std::vector<std::string> names = GroupNames(book);
  std::set<std::string> set(names.begin(), names.end());
  set.erase("");  // those of the strays
  return set;
}

// Tables in which few keys make rings, copies and strays of every kind.
TEST(AddressBookLoader, SalvagesEveryRowAndLeavesTheTreeAsItWas) {
  std::minstd_rand random(7);
  const auto key = [&random] { return static_cast<std::int32_t>(random() % 8) - 1; };
  for (int round = 0; round < 500; ++round) {
    Rows rows;
    std::set<std::string> names;
    std::set<std::string> userIds;
    for (int i = 0; i < 12; ++i) {
      const std::string text = std::to_string(i);
      const bool isGroup = random() % 2 == 0;
      rows.push_back(isGroup ? Group(key(), key(), text) : Address(key(), text));
      (isGroup ? names : userIds).insert(text);
    }
    Loading loading(rows);
    ASSERT_EQ(loading.Load(), RESULT_OK);
    Loading salvage(rows);
    salvage.Salvage();
    EXPECT_TRUE(salvage.reported.empty());
    EXPECT_TRUE(Show(*salvage.book).starts_with(Show(*loading.book))) << round;
    EXPECT_EQ(UserIdsIn(*salvage.book), userIds) << round;
    EXPECT_EQ(NamesIn(*salvage.book), names) << round;
  }
}

TEST(AddressBookLoader, ReadsEachRowOnce) {
  constexpr std::int32_t GROUPS = 1'000;
  Loading loading({});
  Rows& rows = loading.table.rows;
  for (std::int32_t g = 1; g <= GROUPS; ++g)
    rows.push_back(Group(g / 2, g, "G"));
  for (std::int32_t a = 0; a < 10 * GROUPS; ++a)
    rows.push_back(Address(1 + a % GROUPS, std::to_string(a)));
  ASSERT_EQ(loading.Load(), RESULT_OK);
  EXPECT_EQ(loading.book->AddressCount(AddressBook::WHOLE_BOOK), 10 * GROUPS);
  EXPECT_EQ(loading.table.moves, rows.size() + 1);
  EXPECT_LE(loading.table.valuesRead, 6 * rows.size());
}

// `levels` levels of two groups with one key each, from beneath `key` on: every level doubles the
// paths.
Rows DoubleKeys(std::int32_t levels, std::int32_t key = 0) {
  Rows rows;
  for (std::int32_t level = key + 1; level <= key + levels; ++level) {
    for (const char* side : {"a", "b"})
      rows.push_back(Group(level - 1, level, side + std::to_string(level)));
  }
  return rows;
}

TEST(AddressBookLoader, BoundsTheNumberOfPathsButLosesNoRow) {
  Loading few(DoubleKeys(12));
  ASSERT_EQ(few.Load(), RESULT_OK);
  EXPECT_EQ(GroupNames(*few.book).size(), 8190u) << "2 + 4 + ... + 4096, all of them";
  for (const std::int32_t top : {0, 1}) {  // beneath key 1, which nothing has, all are strays
    Loading loading(DoubleKeys(60, top));
    Rows& rows = loading.table.rows;
    rows.push_back(Address(top + 60, "deepest"));
    rows.push_back(Group(0, 1'000, "last"));
    for (int i = 0; i < 10; ++i)
      rows.push_back(Group(1'000, 2'000, "beneath last " + std::to_string(i)));
    rows.push_back(Address(2'000, "lowest"));
    loading.Salvage();
    EXPECT_EQ(NamesIn(*loading.book).size(), 131U);
    EXPECT_GT(GroupNames(*loading.book).size(), 10'000U);
    EXPECT_LT(GroupNames(*loading.book).size(), 100'000U);
    EXPECT_EQ(UserIdsIn(*loading.book), (std::set<std::string>{"deepest", "lowest"}));
  }
}

TEST(AddressBookLoader, BoundsTheNumberOfAddresses) {
  constexpr std::int32_t EACH = 50'000;  // 2,500,000,000 positions would not fit their numbers
  Loading loading({});
  for (std::int32_t i = 0; i < EACH; ++i) {
    loading.table.rows.push_back(Group(0, 1, "G"));
    loading.table.rows.push_back(Address(1, std::to_string(i)));
  }
  ASSERT_EQ(loading.Load(), RESULT_OK);
  EXPECT_EQ(loading.book->ChildCount(AddressBook::WHOLE_BOOK), EACH);
  const std::int32_t total = loading.book->AddressCount(AddressBook::WHOLE_BOOK);
  EXPECT_GE(total, EACH);
  EXPECT_LT(total, 100 * EACH);
  EXPECT_EQ(loading.book->ResolveAddress(AddressBook::WHOLE_BOOK, total - 1).userId,
            std::to_string(EACH - 1));
}

}  // namespace
}  // namespace nimport::addressbook
