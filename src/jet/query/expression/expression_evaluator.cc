#include "jet/query/expression/expression_evaluator.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "jet/query/expression/expression_in.h"
#include "jet/query/expression/expression_like.h"
#include "jet/query/expression/sql_text.h"

namespace nimport::jet {
namespace {

// Stored queries multiply what they take from one another: thirty small ones could name an
// expression that no machine finishes.
constexpr std::size_t MAX_BOUND_WEIGHT = 50'000;
constexpr std::size_t MAX_BOUND_DEPTH = 1'000;

// What & and + may make of texts, each of which has at most the file's size.
constexpr std::size_t MAX_JOINED_BYTES = std::size_t{64} << 20;

Text Join(std::string_view left, std::string_view right, QueryBudget& budget) {
  const std::size_t size = left.size() + right.size();
  if (size > MAX_JOINED_BYTES) {
    budget.Fail("a text that the stored query puts together is too long");
  }
  budget.Work(size);
  const MemoryHold hold(budget, size);
  Text joined;
  joined.bytes.reserve(size);
  joined.bytes.append(left).append(right);
  return joined;
}

bool IsOfManyBytes(ColumnType type) {
  return type == ColumnType::Text || type == ColumnType::Memo || type == ColumnType::Binary ||
         type == ColumnType::Ole;
}

std::size_t TextBytes(const Value& value) {
  const auto text = ToText(value);
  return text ? text->size() : 0;
}

// What an operation works on: a value that somebody else holds, or one of its own.
class Operand {
 public:
  explicit Operand(const Value& borrowed) : borrowed_(&borrowed) {}
  Operand(Value own, QueryBudget& budget) : own_(std::move(own)), hold_(budget, TextBytes(own_)) {}

  const Value& operator*() const { return borrowed_ != nullptr ? *borrowed_ : own_; }

 private:
  const Value* borrowed_ = nullptr;
  Value own_;
  MemoryHold hold_;
};

// What & concatenates.
class DisplayText {
 public:
  explicit DisplayText(const Value& value) {
    const auto text = ToText(value);
    if (!text) own_ = ToDisplayText(value);
    view_ = text ? *text : own_;
  }
  DisplayText(const DisplayText&) = delete;
  DisplayText& operator=(const DisplayText&) = delete;

  [[nodiscard]] std::string_view View() const { return view_; }

 private:
  std::string own_;
  std::string_view view_;
};

bool IsIntegral(ColumnType type) {
  return type == ColumnType::Boolean || type == ColumnType::Byte || type == ColumnType::Integer ||
         type == ColumnType::Long;
}

ColumnType ArithmeticType(const std::vector<BoundPtr>& operands) {
  const auto hasType = [&operands](ColumnType type) {
    return std::any_of(operands.begin(), operands.end(),
                       [type](const BoundPtr& operand) { return operand->type == type; });
  };
  const bool areIntegral =
      std::all_of(operands.begin(), operands.end(),
                  [](const BoundPtr& operand) { return IsIntegral(operand->type); });
  if (areIntegral) return ColumnType::Long;
  return hasType(ColumnType::DateTime) ? ColumnType::DateTime : ColumnType::Double;
}

ColumnType ResultType(Operation operation, const std::vector<BoundPtr>& operands) {
  const auto isText = [](const BoundPtr& operand) {
    return operand->type == ColumnType::Text || operand->type == ColumnType::Memo;
  };
  switch (operation) {
    case Operation::Concatenate:
      return ColumnType::Text;
    case Operation::Add:
      if (std::all_of(operands.begin(), operands.end(), isText)) return ColumnType::Text;
      return ArithmeticType(operands);
    case Operation::Negate:
    case Operation::Subtract:
    case Operation::Multiply:
      return ArithmeticType(operands);
    case Operation::DivideWhole:
    case Operation::Modulo:
      return ColumnType::Long;
    case Operation::Divide:
    case Operation::Power:
      return ColumnType::Double;
    case Operation::NullUnlessMatched:
      return operands.front()->type;
    default:
      return ColumnType::Boolean;
  }
}

ColumnType LiteralType(const Value& literal) {
  if (std::holds_alternative<bool>(literal)) return ColumnType::Boolean;
  if (std::holds_alternative<std::int32_t>(literal)) return ColumnType::Long;
  if (std::holds_alternative<double>(literal)) return ColumnType::Double;
  if (std::holds_alternative<Date>(literal)) return ColumnType::DateTime;
  return ColumnType::Text;
}

Truth Not(Truth truth) {
  if (truth == Truth::Unknown) return truth;
  return truth == Truth::True ? Truth::False : Truth::True;
}

Truth ToTruth(bool condition) {
  return condition ? Truth::True : Truth::False;
}

Value ToValue(Truth truth) {
  return truth == Truth::Unknown ? Value() : Value(truth == Truth::True);
}

Truth ToTruth(const Value& value) {
  const auto number = ToNumber(value);
  return number ? ToTruth(*number != 0) : Truth::Unknown;
}

Truth TestOrdering(Operation operation, std::partial_ordering ordering) {
  if (ordering == std::partial_ordering::unordered) return Truth::Unknown;
  switch (operation) {
    case Operation::Less:
      return ToTruth(ordering < 0);
    case Operation::LessOrEqual:
      return ToTruth(ordering <= 0);
    case Operation::Greater:
      return ToTruth(ordering > 0);
    default:
      return ToTruth(ordering >= 0);
  }
}

// A 32-bit integer where the number is whole, fits, and came from integers.
Value MakeNumber(double number, bool isInteger) {
  const bool fits = number >= std::numeric_limits<std::int32_t>::min() &&
                    number <= std::numeric_limits<std::int32_t>::max();
  if (isInteger && fits && number == std::trunc(number)) return static_cast<std::int32_t>(number);
  return std::isfinite(number) ? Value(number) : Value();
}

bool IsIntegerValue(const Value& value) {
  return std::holds_alternative<bool>(value) || std::holds_alternative<std::uint8_t>(value) ||
         std::holds_alternative<std::int16_t>(value) || std::holds_alternative<std::int32_t>(value);
}

// The whole-number operators round their operands first, halves to even as the processor does.
Value DivideRounded(Operation operation, double left, double right) {
  const double dividend = std::nearbyint(left);
  const double divisor = std::nearbyint(right);
  if (divisor == 0) return {};
  const double result = operation == Operation::Modulo ? std::fmod(dividend, divisor)
                                                       : std::trunc(dividend / divisor);
  return MakeNumber(result, true);
}

Value Calculate(Operation operation, const Value& left, const Value& right) {
  const auto leftNumber = ToNumber(left);
  const auto rightNumber = ToNumber(right);
  if (!leftNumber || !rightNumber) return {};
  const bool isInteger = IsIntegerValue(left) && IsIntegerValue(right);
  const bool isLeftDate = std::holds_alternative<Date>(left);
  const bool isRightDate = std::holds_alternative<Date>(right);
  switch (operation) {
    case Operation::Add:
      if (isLeftDate || isRightDate) return Date{*leftNumber + *rightNumber};
      return MakeNumber(*leftNumber + *rightNumber, isInteger);
    case Operation::Subtract:
      if (isLeftDate && !isRightDate) return Date{*leftNumber - *rightNumber};
      return MakeNumber(*leftNumber - *rightNumber, isInteger);
    case Operation::Multiply:
      return MakeNumber(*leftNumber * *rightNumber, isInteger);
    case Operation::Divide:
      return *rightNumber == 0 ? Value() : MakeNumber(*leftNumber / *rightNumber, false);
    case Operation::Power:
      return MakeNumber(std::pow(*leftNumber, *rightNumber), false);
    default:
      return DivideRounded(operation, *leftNumber, *rightNumber);
  }
}

class Evaluator {
 public:
  explicit Evaluator(const RowSet& rows)
      : rows_(rows), texts_(rows.Context().texts), budget_(*rows.Context().budget) {}

  [[nodiscard]] Value ValueOf(const BoundExpression& expression) const {
    budget_.Work(STEPS_PER_OPERATION);
    switch (expression.operation) {
      case Operation::Literal:
        return expression.literal;
      case Operation::Column:
        return rows_.Get(expression.tableNumber, expression.column);
      case Operation::NullUnlessMatched:
        return HasRow(expression.tables) ? ValueOf(*expression.operands.front()) : Value();
      case Operation::Negate:
        return Calculate(Operation::Subtract, std::int32_t{0}, *Hold(expression, 0));
      case Operation::Concatenate:
        return Concatenate(expression);
      case Operation::Add:
      case Operation::Subtract:
      case Operation::Multiply:
      case Operation::Divide:
      case Operation::DivideWhole:
      case Operation::Modulo:
      case Operation::Power:
        return CalculateOrJoin(expression);
      default:
        return ToValue(TruthOf(expression));
    }
  }

  [[nodiscard]] Truth TruthOf(const BoundExpression& expression) const {
    budget_.Work(STEPS_PER_OPERATION);
    switch (expression.operation) {
      case Operation::Equal:
      case Operation::NotEqual:
      case Operation::Less:
      case Operation::LessOrEqual:
      case Operation::Greater:
      case Operation::GreaterOrEqual:
        return Compare(expression);
      case Operation::And:
        return Chain(expression, Truth::False);
      case Operation::Or:
        return Chain(expression, Truth::True);
      case Operation::Not:
        return Not(TruthOf(*expression.operands.front()));
      case Operation::IsNull:
        return ToTruth(IsNull(*Hold(expression, 0)));
      case Operation::In:
        return IsIn(expression);
      case Operation::Between:
        return IsBetween(expression);
      case Operation::Like:
        return IsLike(expression);
      default:
        return ToTruth(ValueOf(expression));
    }
  }

 private:
  [[nodiscard]] Operand Hold(const BoundExpression& expression, std::size_t index) const {
    return Hold(*expression.operands[index]);
  }

  [[nodiscard]] Operand Hold(const BoundExpression& expression) const {
    switch (expression.operation) {
      case Operation::Literal:
        return Operand(expression.literal);
      case Operation::Column:
        budget_.Work(STEPS_PER_OPERATION);
        if (!IsOfManyBytes(expression.type)) break;
        return Operand(rows_.Borrow(expression.tableNumber, expression.column));
      case Operation::NullUnlessMatched:
        budget_.Work(STEPS_PER_OPERATION);
        if (!HasRow(expression.tables)) return Operand(Value(), budget_);
        return Hold(expression, 0);
      default:
        break;
    }
    return {ValueOf(expression), budget_};
  }

  [[nodiscard]] bool HasRow(const TableSet& tables) const {
    for (std::size_t tableNumber = 0; tableNumber < tables.size(); ++tableNumber) {
      if (tables.test(tableNumber) && rows_.IsPresent(static_cast<TableNumber>(tableNumber)))
        return true;
    }
    return false;
  }

  [[nodiscard]] Truth Compare(const BoundExpression& expression) const {
    const Operand left = Hold(expression, 0);
    const Operand right = Hold(expression, 1);
    switch (expression.operation) {
      case Operation::Equal:
        return AreEqual(*left, *right);
      case Operation::NotEqual:
        return Not(AreEqual(*left, *right));
      default:
        return TestOrdering(expression.operation, Order(*left, *right));
    }
  }

  // Texts that differ in length need no conversion to be told apart.
  [[nodiscard]] Truth AreEqual(const Value& left, const Value& right) const {
    const auto leftText = ToText(left);
    const auto rightText = ToText(right);
    if (leftText && rightText) {
      if (leftText->size() != rightText->size()) return Truth::False;
      const MemoryHold folded = HoldToCompare(left, right);
      return ToTruth(texts_.AreEqual(*leftText, *rightText));
    }
    const auto ordering = Order(left, right);
    return ordering == std::partial_ordering::unordered ? Truth::Unknown : ToTruth(ordering == 0);
  }

  [[nodiscard]] std::partial_ordering Order(const Value& left, const Value& right) const {
    const MemoryHold folded = HoldToCompare(left, right);
    return CompareValues(left, right, texts_);
  }

  // The work and the memory that converting the texts takes.
  [[nodiscard]] MemoryHold HoldToCompare(const Value& left, const Value& right) const {
    const std::size_t bytes = TextBytes(left) + TextBytes(right);
    budget_.Work(STEPS_PER_TEXT_BYTE * bytes);
    return MemoryHold(budget_, bytes * sizeof(char16_t));
  }

  // And and Or: `decisive` settles the whole, an unknown operand leaves it open.
  [[nodiscard]] Truth Chain(const BoundExpression& expression, Truth decisive) const {
    Truth result = Not(decisive);
    for (const BoundPtr& operand : expression.operands) {
      const Truth truth = TruthOf(*operand);
      if (truth == decisive) return decisive;
      if (truth == Truth::Unknown) result = Truth::Unknown;
    }
    return result;
  }

  [[nodiscard]] Truth IsIn(const BoundExpression& expression) const {
    const Operand value = Hold(expression, 0);
    if (expression.choices) {
      const MemoryHold folded = HoldToCompare(*value, {});
      return expression.choices->Contains(*value, texts_);
    }
    Truth result = Truth::False;
    for (std::size_t i = 1; i < expression.operands.size(); ++i) {
      const Truth truth = AreEqual(*value, *Hold(expression, i));
      if (truth == Truth::True) return truth;
      result = std::max(result, truth);
    }
    return result;
  }

  [[nodiscard]] Truth IsBetween(const BoundExpression& expression) const {
    const Operand value = Hold(expression, 0);
    const Operand low = Hold(expression, 1);
    const Operand high = Hold(expression, 2);
    // Jet takes the limits in either order.
    return Or(IsFromTo(*value, *low, *high), IsFromTo(*value, *high, *low));
  }

  static Truth Or(Truth left, Truth right) { return std::max(left, right); }

  [[nodiscard]] Truth IsFromTo(const Value& value, const Value& low, const Value& high) const {
    return std::min(TestOrdering(Operation::GreaterOrEqual, Order(value, low)),
                    TestOrdering(Operation::LessOrEqual, Order(value, high)));
  }

  [[nodiscard]] Truth IsLike(const BoundExpression& expression) const {
    const Operand value = Hold(expression, 0);
    if (IsNull(*value)) return Truth::Unknown;
    const MemoryHold folded = HoldToCompare(*value, {});
    const std::u16string text = texts_.Fold(DisplayText(*value).View());
    if (expression.pattern) return ToTruth(expression.pattern->Matches(text, budget_));
    const Operand pattern = Hold(expression, 1);
    if (IsNull(*pattern)) return Truth::Unknown;
    // A parsed pattern takes more than its text: each set a vector.
    const MemoryHold parsed(budget_, TextBytes(*pattern) * BYTES_PER_PATTERN_BYTE);
    budget_.Work(TextBytes(*pattern) * STEPS_PER_SQL_BYTE);
    try {
      return ToTruth(LikePattern(texts_.Fold(DisplayText(*pattern).View())).Matches(text, budget_));
    } catch (const SqlError& error) {
      budget_.Fail(error.what());
    }
  }

  [[nodiscard]] Value Concatenate(const BoundExpression& expression) const {
    const Operand left = Hold(expression, 0);
    const Operand right = Hold(expression, 1);
    if (IsNull(*left) && IsNull(*right)) return {};
    return Join(DisplayText(*left).View(), DisplayText(*right).View(), budget_);
  }

  // + joins two texts.
  [[nodiscard]] Value CalculateOrJoin(const BoundExpression& expression) const {
    const Operand left = Hold(expression, 0);
    const Operand right = Hold(expression, 1);
    const auto leftText = ToText(*left);
    const auto rightText = ToText(*right);
    if (expression.operation == Operation::Add && leftText && rightText) {
      return Join(*leftText, *rightText, budget_);
    }
    budget_.Work(TextBytes(*left) + TextBytes(*right));
    return Calculate(expression.operation, *left, *right);
  }

  static constexpr std::size_t BYTES_PER_PATTERN_BYTE = 64;

  const RowSet& rows_;
  const TextRules& texts_;
  QueryBudget& budget_;
};

bool IsChoiceOfLiterals(const std::vector<BoundPtr>& operands) {
  return std::all_of(operands.begin() + 1, operands.end(), [](const BoundPtr& operand) {
    return operand->operation == Operation::Literal;
  });
}

}  // namespace

BoundPtr BindLiteral(const Value& utf8Literal, const TextRules& texts) {
  auto bound = std::make_shared<BoundExpression>();
  const auto text = ToText(utf8Literal);
  bound->literal = text ? Value(Text{texts.FromUtf8(*text)}) : utf8Literal;
  bound->type = LiteralType(utf8Literal);
  return bound;
}

BoundPtr BindColumn(TableNumber tableNumber, std::size_t column, ColumnType type) {
  auto bound = std::make_shared<BoundExpression>();
  bound->operation = Operation::Column;
  bound->type = type;
  bound->tableNumber = tableNumber;
  bound->column = column;
  bound->tables.set(tableNumber);
  return bound;
}

BoundPtr BindOperation(Operation operation, std::vector<BoundPtr> operands,
                       const TextRules& texts) {
  auto bound = std::make_shared<BoundExpression>();
  bound->operation = operation;
  bound->type = ResultType(operation, operands);
  for (const BoundPtr& operand : operands) {
    bound->tables |= operand->tables;
    bound->depth = std::max(bound->depth, operand->depth + 1);
    bound->weight += operand->weight;
  }
  if (bound->weight > MAX_BOUND_WEIGHT || bound->depth > MAX_BOUND_DEPTH) {
    throw SqlError("with the columns that it takes from other queries it becomes too large");
  }
  if (operation == Operation::Like && operands[1]->operation == Operation::Literal &&
      !IsNull(operands[1]->literal)) {
    bound->pattern = std::make_shared<LikePattern>(texts.Fold(ToDisplayText(operands[1]->literal)));
  }
  if (operation == Operation::In && IsChoiceOfLiterals(operands)) {
    auto choices = std::make_shared<LiteralSet>();
    for (std::size_t i = 1; i < operands.size(); ++i)
      choices->Add(operands[i]->literal, texts);
    choices->Sort();
    bound->choices = std::move(choices);
  }
  bound->operands = std::move(operands);
  return bound;
}

BoundPtr BindNullUnlessMatched(BoundPtr value, TableSet sources) {
  auto bound = std::make_shared<BoundExpression>();
  bound->operation = Operation::NullUnlessMatched;
  bound->type = value->type;
  bound->tables = sources | value->tables;
  bound->depth = value->depth + 1;
  bound->weight = value->weight + 1;
  bound->operands.push_back(std::move(value));
  return bound;
}

Value Evaluate(const BoundExpression& expression, const RowSet& rows) {
  return Evaluator(rows).ValueOf(expression);
}

Truth EvaluateCondition(const BoundExpression& expression, const RowSet& rows) {
  return Evaluator(rows).TruthOf(expression);
}

std::optional<std::int32_t> EvaluateInteger(const BoundExpression& expression, const RowSet& rows) {
  if (expression.operation == Operation::Column) {
    return rows.GetInteger(expression.tableNumber, expression.column);
  }
  return ToInteger(Evaluate(expression, rows));
}

bool AllTrue(const std::vector<BoundPtr>& conditions, const RowSet& rows) {
  return std::all_of(conditions.begin(), conditions.end(), [&rows](const BoundPtr& condition) {
    return EvaluateCondition(*condition, rows) == Truth::True;
  });
}

}  // namespace nimport::jet
