#include "jet/query/query_join.h"

#include <cstddef>
#include <utility>
#include <vector>

namespace nimport::jet {
namespace {

bool IsSubset(const TableSet& part, const TableSet& whole) {
  return (part & ~whole).none();
}

bool IsIntegral(ColumnType type) {
  return type == ColumnType::Boolean || type == ColumnType::Byte || type == ColumnType::Integer ||
         type == ColumnType::Long;
}

bool IsNumeric(ColumnType type) {
  return IsIntegral(type) || type == ColumnType::Currency || type == ColumnType::Single ||
         type == ColumnType::Double || type == ColumnType::Numeric;
}

bool IsText(ColumnType type) {
  return type == ColumnType::Text || type == ColumnType::Memo;
}

bool IsNumberOrDate(ColumnType type) {
  return IsNumeric(type) || type == ColumnType::DateTime;
}

// By what values of both types agree that compare as equal: a number and a text do as numbers.
// Empty where there is no such thing.
std::optional<JoinKey::Form> FindCommonForm(ColumnType left, ColumnType right) {
  const bool isNumber = IsNumberOrDate(left) || IsNumberOrDate(right);
  if (isNumber && (IsText(left) || IsText(right))) return JoinKey::Form::Number;
  if (IsNumberOrDate(left) == IsNumberOrDate(right) && IsText(left) == IsText(right)) {
    return JoinKey::Form::SortKey;
  }
  return std::nullopt;
}

bool IsNumericColumn(const BoundExpression& expression) {
  return expression.operation == Operation::Column && IsNumeric(expression.type);
}

void AddEquality(JoinChain& chain, const BoundExpression& from, const BoundExpression& to) {
  if (!IsNumericColumn(from) || !IsNumericColumn(to)) return;
  chain.equalities.push_back({{from.tableNumber, from.column}, {to.tableNumber, to.column}});
}

void AddEqualitiesOfFilter(JoinChain& chain, const BoundExpression& condition) {
  if (condition.operation != Operation::Equal) return;
  AddEquality(chain, *condition.operands[0], *condition.operands[1]);
  AddEquality(chain, *condition.operands[1], *condition.operands[0]);
}

// Both sides of an equality, the one that belongs to the left rows first.
struct SidesOfEquality {
  BoundPtr left;
  BoundPtr right;
};

std::optional<SidesOfEquality> SplitEquality(const BoundExpression& condition,
                                             const TableSet& leftTables,
                                             const TableSet& rightTables) {
  if (condition.operation != Operation::Equal) return std::nullopt;
  const auto areSides = [&](const BoundPtr& left, const BoundPtr& right) {
    return left->tables.any() && right->tables.any() && IsSubset(left->tables, leftTables) &&
           IsSubset(right->tables, rightTables);
  };
  const BoundPtr& first = condition.operands[0];
  const BoundPtr& second = condition.operands[1];
  if (areSides(first, second)) return SidesOfEquality{first, second};
  if (areSides(second, first)) return SidesOfEquality{second, first};
  return std::nullopt;
}

// Whether the index on `right`, which holds whole numbers only, has every row that equals `left`.
bool CanProbe(const JoinStep& step, const SidesOfEquality& sides) {
  if (step.probeColumn || !step.right->IsTable() || !IsNumericColumn(*sides.right)) return false;
  if (IsIntegral(sides.right->type)) return IsNumeric(sides.left->type);
  return IsNumericColumn(*sides.left) && IsIntegral(sides.left->type);
}

// A condition of `chain.steps[index]`, given what the chain has before it.
void AddCondition(JoinChain& chain, std::size_t index, const TableSet& leftTables,
                  const BoundPtr& condition) {
  JoinStep& step = chain.steps[index];
  // What reads nothing of the left rows is settled before the right ones are combined with them.
  if (condition->tables.any() && IsSubset(condition->tables, step.rightTables)) {
    AddFilter(*step.right, condition);
    return;
  }
  const auto sides = SplitEquality(*condition, leftTables, step.rightTables);
  if (!sides) {
    step.conditions.push_back(condition);
    return;
  }
  AddEquality(chain, *sides->right, *sides->left);
  if (!step.keepsLeft) AddEquality(chain, *sides->left, *sides->right);
  if (CanProbe(step, *sides)) {
    step.probeColumn = sides->right->column;
    step.probeKey = sides->left;
    return;
  }
  step.conditions.push_back(condition);
  if (const auto form = FindCommonForm(sides->left->type, sides->right->type)) {
    step.leftKeys.push_back({sides->left, *form});
    step.rightKeys.push_back({sides->right, *form});
  }
}

}  // namespace

JoinChain MakeTableChain(TableNumber tableNumber) {
  JoinChain chain;
  chain.driving.tableNumber = tableNumber;
  chain.drivingTables.set(tableNumber);
  return chain;
}

JoinChain MakeQueryChain(std::shared_ptr<QueryPlan> query) {
  if (!query->NeedsAllRows()) return std::move(query->chain);
  JoinChain chain;
  chain.drivingTables = query->chain.Tables();
  chain.equalities = query->chain.equalities;
  chain.driving.query = std::move(query);
  return chain;
}

void AddJoin(JoinChain& left, JoinChain right, bool keepsLeft) {
  // What holds in the rows of `right` holds in those joined rows that have one.
  left.equalities.insert(left.equalities.end(), right.equalities.begin(), right.equalities.end());
  JoinStep step;
  step.keepsLeft = keepsLeft;
  step.rightTables = right.Tables();
  step.rightTableList = ToList(step.rightTables);
  step.right = std::make_unique<JoinChain>(std::move(right));
  left.steps.push_back(std::move(step));
}

void AddJoinCondition(JoinChain& chain, const BoundPtr& condition) {
  const std::size_t last = chain.steps.size() - 1;
  AddCondition(chain, last, chain.Tables() & ~chain.steps[last].rightTables, condition);
}

void AddFilter(JoinChain& chain, const BoundPtr& condition) {
  TableSet known = chain.drivingTables;
  if (IsSubset(condition->tables, known)) {
    chain.driving.filters.push_back(condition);
    AddEqualitiesOfFilter(chain, *condition);
    return;
  }
  for (std::size_t i = 0; i < chain.steps.size(); ++i) {
    const TableSet before = known;
    JoinStep& step = chain.steps[i];
    known |= step.rightTables;
    if (!IsSubset(condition->tables, known)) continue;
    if (!step.keepsLeft) return AddCondition(chain, i, before, condition);
    step.filters.push_back(condition);
    AddEqualitiesOfFilter(chain, *condition);
    return;
  }
}

}  // namespace nimport::jet
