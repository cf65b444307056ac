// Random queries over random tables, against nested loops that know nothing of indexes.
#include <algorithm>
#include <array>
#include <functional>
#include <random>

#include <gtest/gtest.h>

#include "tests/jet/test_catalog.h"

namespace nimport::jet {
namespace {

constexpr int ABSENT = -1;
constexpr int COLUMNS = 3;  // k Long, n Integer, t Text; each with nulls
constexpr std::array<const char*, COLUMNS> COLUMN_NAMES{"k", "n", "t"};

// For each table the number of its row, or ABSENT.
using Combination = std::vector<int>;

struct Operand {
  int table = 0;
  int column = 0;
};

struct Condition {
  Operand left;
  bool isLess = false;  // else equal
  Operand right;
};

struct JoinSpec {
  int kind = 0;  // 1 inner, 2 left, 3 right; 0 for the conditions of WHERE
  int left = 0;
  int right = 0;
  std::vector<Condition> conditions;
};

struct RandomQuery {
  std::vector<JoinSpec> joins;
  std::vector<Condition> where;
  std::vector<std::pair<Operand, bool>> order;
  bool isDistinct = false;
  int top = 0;
};

class World {
 public:
  explicit World(unsigned seed) : random_(seed) {
    const int count = Pick(1, 4);
    for (int i = 0; i < count; ++i)
      MakeTable(i);
    MakeQuery();
  }

  TestCatalog catalog;

  // The rows of the result, shown as text.
  std::vector<std::string> Expected() {
    std::vector<std::vector<Combination>> groups;
    std::vector<std::vector<int>> members;
    for (int i = 0; i < TableCount(); ++i) {
      groups.push_back(Single(i));
      members.push_back({i});
    }
    for (const JoinSpec& join : query_.joins)
      JoinGroups(groups, members, join);
    std::vector<Combination> all = groups.front();
    for (std::size_t i = 1; i < groups.size(); ++i)
      all = Match(all, groups[i], {}, false);
    std::erase_if(all, [this](const Combination& row) { return !Holds(query_.where, row); });
    return Finish(all);
  }

  [[nodiscard]] int OutputColumns() const { return TableCount() * COLUMNS; }

 private:
  int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool Chance(int percent) { return Pick(1, 100) <= percent; }
  [[nodiscard]] int TableCount() const { return static_cast<int>(tables_.size()); }
  static std::string TableName(int table) { return "T" + std::to_string(table); }
  static std::string Name(const Operand& operand) {
    return TableName(operand.table) + "." + COLUMN_NAMES[static_cast<std::size_t>(operand.column)];
  }

  void MakeTable(int number) {
    std::vector<Cells> rows;
    for (int i = Pick(0, 9); i > 0; --i) {
      Cells row(COLUMNS);
      if (!Chance(15)) row[0] = std::int32_t{Pick(0, 4)};
      if (!Chance(15)) row[1] = static_cast<std::int16_t>(Pick(-1, 3));
      if (!Chance(15)) row[2] = Text{std::string(1, "aAbB"[Pick(0, 3)])};
      rows.push_back(std::move(row));
    }
    catalog.AddTable(TableName(number),
                     {{"k", ColumnType::Long}, {"n", ColumnType::Integer}, {"t", ColumnType::Text}},
                     rows);
    tables_.push_back(std::move(rows));
    views_.push_back(Chance(70) ? View::None : Chance(50) ? View::Filtered : View::Sorted);
  }

  Condition MakeCondition(int leftTable, int rightTable) {
    Condition condition;
    if (Chance(25)) {
      condition.left = {leftTable, 2};
      condition.right = {rightTable, 2};
    } else {
      condition.left = {leftTable, Pick(0, 1)};
      condition.right = {rightTable, Pick(0, 1)};
    }
    condition.isLess = Chance(20);
    if (Chance(30)) std::swap(condition.left, condition.right);
    return condition;
  }

  void MakeQuery() {
    std::vector<int> group(tables_.size());
    for (int i = 0; i < TableCount(); ++i)
      group[static_cast<std::size_t>(i)] = i;
    for (int i = TableCount() - 1; i > 0; --i) {
      if (Chance(20)) continue;  // stays in the list, side by side
      const int left = Pick(0, TableCount() - 1);
      const int right = Pick(0, TableCount() - 1);
      const int leftGroup = group[static_cast<std::size_t>(left)];
      const int rightGroup = group[static_cast<std::size_t>(right)];
      if (leftGroup == rightGroup) continue;
      JoinSpec join{.kind = Pick(1, 3), .left = left, .right = right, .conditions = {}};
      for (int j = Pick(1, 2); j > 0; --j)
        join.conditions.push_back(MakeCondition(left, right));
      query_.joins.push_back(join);
      std::replace(group.begin(), group.end(), rightGroup, leftGroup);
    }
    for (int i = Pick(0, 2); i > 0; --i) {
      query_.where.push_back(MakeCondition(Pick(0, TableCount() - 1), Pick(0, TableCount() - 1)));
    }
    query_.isDistinct = Chance(15);
    if (Chance(20)) query_.order.push_back({{Pick(0, TableCount() - 1), Pick(0, 2)}, Chance(50)});
    if (Chance(15)) query_.top = Pick(1, 4);
    Store();
  }

  static std::string Sql(const Condition& condition) {
    return Name(condition.left) + (condition.isLess ? " < " : " = ") + Name(condition.right);
  }

  void Store() {
    QueryRows rows("Q");
    for (int i = 0; i < TableCount(); ++i) {
      const View view = views_[static_cast<std::size_t>(i)];
      const std::string name = "V" + std::to_string(i);
      QueryRows query(name);
      query.Select(TableName(i) + " x");
      if (view == View::Filtered) query.Where("x.k Is Not Null");
      if (view == View::Sorted) query.OrderBy("x.n", true);
      catalog.AddQuery(query);
      rows.Select((view == View::None ? TableName(i) : name) + " " + TableName(i));
    }
    for (const JoinSpec& join : query_.joins) {
      for (const Condition& condition : join.conditions) {
        rows.Join(join.kind, TableName(join.left), TableName(join.right), Sql(condition));
      }
    }
    for (const Condition& condition : query_.where)
      rows.Where(Sql(condition));
    for (const auto& [operand, isDescending] : query_.order) {
      rows.OrderBy(Name(operand), isDescending);
    }
    const int options = (query_.isDistinct ? 0x02 : 0) | (query_.top > 0 ? 0x10 : 0);
    rows.Options(options, query_.top > 0 ? std::to_string(query_.top) : "");
    catalog.AddQuery(rows);
  }

  std::vector<Combination> Single(int table) {
    const View view = views_[static_cast<std::size_t>(table)];
    std::vector<Combination> rows;
    const auto count = static_cast<int>(tables_[static_cast<std::size_t>(table)].size());
    for (int i = 0; i < count; ++i) {
      Combination row(tables_.size(), ABSENT);
      row[static_cast<std::size_t>(table)] = i;
      if (view == View::Filtered && IsNull(Get({table, 0}, row))) continue;
      rows.push_back(row);
    }
    if (view == View::Sorted) {
      std::stable_sort(rows.begin(), rows.end(), [&](const Combination& a, const Combination& b) {
        return Compare(Get({table, 1}, a), Get({table, 1}, b)) > 0;
      });
    }
    return rows;
  }

  [[nodiscard]] Value Get(const Operand& operand, const Combination& row) const {
    const int index = row[static_cast<std::size_t>(operand.table)];
    if (index == ABSENT) return {};
    return tables_[static_cast<std::size_t>(operand.table)][static_cast<std::size_t>(index)]
                  [static_cast<std::size_t>(operand.column)];
  }

  // Null below everything; letters without case.
  static int Compare(const Value& left, const Value& right) {
    if (IsNull(left) || IsNull(right)) return static_cast<int>(IsNull(right)) - IsNull(left);
    if (const auto text = ToText(left)) {
      return std::tolower((*text)[0]) - std::tolower((*ToText(right))[0]);
    }
    return *ToInteger(left) - *ToInteger(right);
  }

  [[nodiscard]] bool Holds(const std::vector<Condition>& conditions, const Combination& row) const {
    return std::all_of(conditions.begin(), conditions.end(), [&](const Condition& condition) {
      const Value left = Get(condition.left, row);
      const Value right = Get(condition.right, row);
      if (IsNull(left) || IsNull(right)) return false;
      // A number and a text do not compare.
      if (ToText(left).has_value() != ToText(right).has_value()) return false;
      const int order = Compare(left, right);
      return condition.isLess ? order < 0 : order == 0;
    });
  }

  std::vector<Combination> Match(const std::vector<Combination>& driving,
                                 const std::vector<Combination>& other,
                                 const std::vector<Condition>& conditions, bool keepsDriving) {
    std::vector<Combination> joined;
    for (const Combination& first : driving) {
      bool hasMatched = false;
      for (const Combination& second : other) {
        Combination both = first;
        for (std::size_t i = 0; i < both.size(); ++i)
          both[i] = std::max(both[i], second[i]);
        if (!Holds(conditions, both)) continue;
        hasMatched = true;
        joined.push_back(both);
      }
      if (!hasMatched && keepsDriving) joined.push_back(first);
    }
    return joined;
  }

  void JoinGroups(std::vector<std::vector<Combination>>& groups,
                  std::vector<std::vector<int>>& members, const JoinSpec& join) {
    const auto groupOf = [&members](int table) {
      std::size_t i = 0;
      while (std::find(members[i].begin(), members[i].end(), table) == members[i].end())
        ++i;
      return i;
    };
    const std::size_t left = groupOf(join.left);
    const std::size_t right = groupOf(join.right);
    const std::size_t driving = join.kind == 3 ? right : left;
    const std::size_t other = join.kind == 3 ? left : right;
    const std::size_t first = std::min(left, right);
    const std::size_t second = std::max(left, right);
    groups[first] = Match(groups[driving], groups[other], join.conditions, join.kind != 1);
    members[first].insert(members[first].end(), members[second].begin(), members[second].end());
    groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(second));
    members.erase(members.begin() + static_cast<std::ptrdiff_t>(second));
  }

  std::string ShowCombination(const Combination& row) const {
    std::string text;
    for (int table = 0; table < TableCount(); ++table) {
      for (int column = 0; column < COLUMNS; ++column) {
        if (!text.empty()) text += " | ";
        text += Show(Get({table, column}, row));
      }
    }
    return text;
  }

  std::vector<std::string> Finish(std::vector<Combination> rows) {
    const auto lower = [](std::string text) { return text::AsciiLower(text); };
    if (query_.isDistinct) {
      std::vector<std::string> seen;
      std::erase_if(rows, [&](const Combination& row) {
        const std::string shown = lower(ShowCombination(row));
        const bool isDuplicate = std::find(seen.begin(), seen.end(), shown) != seen.end();
        seen.push_back(shown);
        return isDuplicate;
      });
    }
    const auto order = [this](const Combination& a, const Combination& b) {
      for (const auto& [operand, isDescending] : query_.order) {
        const int result = Compare(Get(operand, a), Get(operand, b));
        if (result != 0) return (result < 0) != isDescending;
      }
      return false;
    };
    std::stable_sort(rows.begin(), rows.end(), order);
    const auto top = static_cast<std::size_t>(query_.top);
    if (top > 0 && top < rows.size()) {
      std::size_t size = top;
      const bool isSorted = !query_.order.empty();
      while (isSorted && size < rows.size() && !order(rows[top - 1], rows[size]))
        ++size;
      rows.resize(size);
    }
    std::vector<std::string> shown;
    for (const Combination& row : rows)
      shown.push_back(ShowCombination(row));
    return shown;
  }

  // A stored query may stand in for a table.
  enum class View { None, Filtered, Sorted };

  std::mt19937 random_;
  std::vector<std::vector<Cells>> tables_;
  std::vector<View> views_;
  RandomQuery query_;
};

std::string Column(const std::string& row, std::size_t column) {
  std::size_t start = 0;
  for (; column > 0; --column)
    start = row.find(" | ", start) + 3;
  return row.substr(start, row.find(" | ", start) - start);
}

// Every value of a column, by FindFirst and FindNext, then on by MoveNext.
void ExpectLookups(Recordset& rows, const std::vector<std::string>& wanted, std::size_t column,
                   const std::string& name, std::size_t columns) {
  for (int value = -1; value <= 5; ++value) {
    std::vector<std::size_t> hits;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      if (Column(wanted[i], column) == std::to_string(value)) hits.push_back(i);
    }
    bool isFound = rows.FindFirst(name, value);
    for (const std::size_t hit : hits) {
      ASSERT_TRUE(isFound) << name << " = " << value;
      ASSERT_EQ(ShowRow(rows, columns), wanted[hit]);
      const Bookmark mark = rows.GetBookmark();
      rows.MoveNext();
      ASSERT_EQ(rows.IsEof(), hit + 1 == wanted.size());
      if (!rows.IsEof()) {
        ASSERT_EQ(ShowRow(rows, columns), wanted[hit + 1]);
      }
      rows.SetBookmark(mark);
      ASSERT_EQ(ShowRow(rows, columns), wanted[hit]);
      isFound = rows.FindNext();
    }
    ASSERT_FALSE(isFound) << name << " = " << value;
    ASSERT_TRUE(rows.IsEof());
  }
}

TEST(QueryPropertyTest, JoinsAndLookupsAgreeWithNestedLoops) {
  std::size_t rowsSeen = 0;
  for (unsigned seed = 1; seed <= 800 && !testing::Test::HasFatalFailure(); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    World world(seed);
    const std::vector<std::string> wanted = world.Expected();
    if (wanted.size() > 400) continue;
    const auto query = std::make_shared<PreparedQuery>(world.catalog, "Q");
    const auto columns = static_cast<std::size_t>(world.OutputColumns());
    const auto rows = std::make_unique<QueryRecordset>(query);
    ASSERT_EQ(ShowRows(*rows, columns), wanted);
    for (std::size_t column = 0; column < columns; ++column) {
      if (column % COLUMNS == 2) continue;  // texts
      ExpectLookups(*rows, wanted, column, query->Columns()[column].name, columns);
    }
    rowsSeen += wanted.size();
  }
  EXPECT_GT(rowsSeen, 4'000U);
}

}  // namespace
}  // namespace nimport::jet
