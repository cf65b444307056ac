#include "jet/query/expression/expression_parser.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "jet/query/expression/expression_literal.h"
#include "jet/query/expression/sql_lexer.h"
#include "jet/query/expression/sql_text.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

using ExpressionPtr = std::unique_ptr<Expression>;

// How tightly operators bind, loosest first.
enum Level {
  OR_LEVEL,
  AND_LEVEL,
  NOT_LEVEL,
  COMPARISON_LEVEL,
  CONCATENATE_LEVEL,
  ADD_LEVEL,
  MODULO_LEVEL,
  DIVIDE_WHOLE_LEVEL,
  MULTIPLY_LEVEL,
  POWER_LEVEL
};

struct BinaryOperator {
  std::string_view spelling;
  int level;
  Operation operation;
};

constexpr std::array<BinaryOperator, 17> BINARY_OPERATORS{{
    {"Or", OR_LEVEL, Operation::Or},
    {"And", AND_LEVEL, Operation::And},
    {"=", COMPARISON_LEVEL, Operation::Equal},
    {"<>", COMPARISON_LEVEL, Operation::NotEqual},
    {"<", COMPARISON_LEVEL, Operation::Less},
    {"<=", COMPARISON_LEVEL, Operation::LessOrEqual},
    {">", COMPARISON_LEVEL, Operation::Greater},
    {">=", COMPARISON_LEVEL, Operation::GreaterOrEqual},
    {"Like", COMPARISON_LEVEL, Operation::Like},
    {"&", CONCATENATE_LEVEL, Operation::Concatenate},
    {"+", ADD_LEVEL, Operation::Add},
    {"-", ADD_LEVEL, Operation::Subtract},
    {"Mod", MODULO_LEVEL, Operation::Modulo},
    {"\\", DIVIDE_WHOLE_LEVEL, Operation::DivideWhole},
    {"*", MULTIPLY_LEVEL, Operation::Multiply},
    {"/", MULTIPLY_LEVEL, Operation::Divide},
    {"^", POWER_LEVEL, Operation::Power},
}};

// Values are made from them when they are met: one with static storage would have a destructor, and
// go before the last session is closed.
struct NamedLiteral {
  std::string_view word;
  std::optional<bool> value;  // empty: null
};

constexpr std::array<NamedLiteral, 7> NAMED_LITERALS{{{"True", true},
                                                      {"Yes", true},
                                                      {"On", true},
                                                      {"False", false},
                                                      {"No", false},
                                                      {"Off", false},
                                                      {"Null", std::nullopt}}};

bool IsWord(const Token& token, std::string_view word) {
  return token.kind == TokenKind::Word && text::EqualsIgnoringCase(token.text, word);
}

bool IsSymbol(const Token& token, std::string_view symbol) {
  return token.kind == TokenKind::Symbol && token.text == symbol;
}

bool IsName(const Token& token) {
  return token.kind == TokenKind::Word || token.kind == TokenKind::BracketedName;
}

bool IsAnyWord(const Token& token, std::initializer_list<std::string_view> words) {
  return std::any_of(words.begin(), words.end(),
                     [&token](std::string_view word) { return IsWord(token, word); });
}

const BinaryOperator* FindBinaryOperator(const Token& token) {
  for (const BinaryOperator& candidate : BINARY_OPERATORS) {
    if (IsWord(token, candidate.spelling) || IsSymbol(token, candidate.spelling)) return &candidate;
  }
  return nullptr;
}

ExpressionPtr MakeLiteral(Value value) {
  auto literal = std::make_unique<Expression>();
  literal->literal = std::move(value);
  return literal;
}

void AddOperand(Expression& expression, ExpressionPtr operand) {
  expression.depth = std::max(expression.depth, operand->depth + 1);
  if (expression.depth > MAX_EXPRESSION_DEPTH) throw SqlError("it is nested too deeply");
  expression.operands.push_back(std::move(operand));
}

template <typename... Operands>
ExpressionPtr MakeOperation(Operation operation, Operands... operands) {
  auto expression = std::make_unique<Expression>();
  expression->operation = operation;
  (AddOperand(*expression, std::move(operands)), ...);
  return expression;
}

// Chains of And and of Or become one level, so that long ones stay shallow.
ExpressionPtr Combine(Operation operation, ExpressionPtr left, ExpressionPtr right) {
  const bool isChain = operation == Operation::And || operation == Operation::Or;
  if (isChain && left->operation == operation) {
    AddOperand(*left, std::move(right));
    return left;
  }
  return MakeOperation(operation, std::move(left), std::move(right));
}

ExpressionPtr Negate(ExpressionPtr operand) {
  if (operand->operation == Operation::Literal) {
    if (const auto* integer = std::get_if<std::int32_t>(&operand->literal)) {
      return MakeLiteral(-*integer);  // a literal is never the smallest integer
    }
    if (const auto* number = std::get_if<double>(&operand->literal)) return MakeLiteral(-*number);
  }
  return MakeOperation(Operation::Negate, std::move(operand));
}

class Parser {
 public:
  explicit Parser(std::string_view sql) : tokens_(Tokenize(sql)) {}

  ExpressionPtr ParseWhole() {
    if (Peek().kind == TokenKind::End) throw SqlError("it is empty");
    ExpressionPtr expression = IsSymbol(Peek(), "*") ? ParseAllColumns({}) : ParseBinary(OR_LEVEL);
    if (Peek().kind != TokenKind::End) FailAt(Peek());
    return expression;
  }

 private:
  [[nodiscard]] const Token& Peek(std::size_t distance = 0) const {
    return tokens_[std::min(position_ + distance, tokens_.size() - 1)];
  }

  const Token& Take() {
    const Token& token = Peek();
    if (token.kind != TokenKind::End) ++position_;
    return token;
  }

  bool TakeWord(std::string_view word) {
    if (!IsWord(Peek(), word)) return false;
    Take();
    return true;
  }

  bool TakeSymbol(std::string_view symbol) {
    if (!IsSymbol(Peek(), symbol)) return false;
    Take();
    return true;
  }

  void Expect(std::string_view symbol) {
    if (!TakeSymbol(symbol)) FailAt(Peek());
  }

  [[noreturn]] static void FailAt(const Token& token) {
    if (token.kind == TokenKind::End) throw SqlError("it ends too early");
    const std::string place = Quote(token.text) + " at byte " + std::to_string(token.offset);
    if (IsAnyWord(token, {"Xor", "Eqv", "Imp", "ALike"})) {
      throw SqlError("the operator " + place + " is not evaluated");
    }
    throw SqlError(place + " has no meaning there");
  }

  // Counts the calls of ParseBinary that wait for one another.
  class DepthGuard {
   public:
    explicit DepthGuard(std::size_t& depth) : depth_(depth) {
      if (++depth_ > MAX_EXPRESSION_DEPTH) {
        --depth_;
        throw SqlError("it is nested too deeply");
      }
    }
    ~DepthGuard() { --depth_; }
    DepthGuard(const DepthGuard&) = delete;
    DepthGuard& operator=(const DepthGuard&) = delete;

   private:
    std::size_t& depth_;
  };

  // An operand and all operators after it that bind at least as tightly as `minLevel`.
  ExpressionPtr ParseBinary(int minLevel) {
    const DepthGuard guard(depth_);
    ExpressionPtr left = ParsePrefix();
    for (;;) {
      if (minLevel <= COMPARISON_LEVEL && ParseTest(left)) continue;
      const BinaryOperator* found = FindBinaryOperator(Peek());
      if (found == nullptr || found->level < minLevel) return left;
      Take();
      left = Combine(found->operation, std::move(left), ParseBinary(found->level + 1));
    }
  }

  // The tests that are no plain binary operators: Is Null, In, Between, and what follows a Not.
  bool ParseTest(ExpressionPtr& left) {
    if (TakeWord("Is")) {
      const bool isNegated = TakeWord("Not");
      if (!TakeWord("Null")) FailAt(Peek());
      left = Finish(MakeOperation(Operation::IsNull, std::move(left)), isNegated);
      return true;
    }
    const bool isNegated = IsWord(Peek(), "Not") && IsAnyWord(Peek(1), {"Like", "In", "Between"});
    if (isNegated) Take();
    if (TakeWord("In")) {
      left = Finish(ParseList(std::move(left)), isNegated);
    } else if (TakeWord("Between")) {
      left = Finish(ParseBetween(std::move(left)), isNegated);
    } else if (isNegated && TakeWord("Like")) {
      left = Finish(MakeOperation(Operation::Like, std::move(left), ParseBinary(CONCATENATE_LEVEL)),
                    true);
    } else {
      return false;
    }
    return true;
  }

  static ExpressionPtr Finish(ExpressionPtr test, bool isNegated) {
    return isNegated ? MakeOperation(Operation::Not, std::move(test)) : std::move(test);
  }

  ExpressionPtr ParseList(ExpressionPtr left) {
    Expect("(");
    ExpressionPtr list = MakeOperation(Operation::In, std::move(left));
    do {
      AddOperand(*list, ParseBinary(OR_LEVEL));
    } while (TakeSymbol(","));
    Expect(")");
    return list;
  }

  ExpressionPtr ParseBetween(ExpressionPtr left) {
    ExpressionPtr low = ParseBinary(CONCATENATE_LEVEL);
    if (!TakeWord("And")) FailAt(Peek());
    ExpressionPtr high = ParseBinary(CONCATENATE_LEVEL);
    return MakeOperation(Operation::Between, std::move(left), std::move(low), std::move(high));
  }

  ExpressionPtr ParsePrefix() {
    if (TakeWord("Not")) {
      return MakeOperation(Operation::Not, ParseBinary(COMPARISON_LEVEL));
    }
    if (TakeSymbol("-")) return Negate(ParseBinary(POWER_LEVEL));
    if (TakeSymbol("+")) return ParseBinary(POWER_LEVEL);
    return ParsePrimary();
  }

  ExpressionPtr ParsePrimary() {
    const Token& token = Peek();
    switch (token.kind) {
      case TokenKind::Word:
        return ParseWord();
      case TokenKind::BracketedName:
        return ParseColumn();
      case TokenKind::Number:
        return ParseLiteral(ParseNumberLiteral(token.text));
      case TokenKind::Text:
        return ParseLiteral(Value(Text{token.text}));
      case TokenKind::Date:
        return ParseLiteral(ParseDateLiteral(token.text));
      case TokenKind::Symbol:
        if (token.text == "(") return ParseParentheses();
        break;
      case TokenKind::End:
        break;
    }
    FailAt(token);
  }

  template <typename Literal>
  ExpressionPtr ParseLiteral(std::optional<Literal> value) {
    const Token& token = Take();
    if (!value) {
      throw SqlError(Quote(token.text) + " at byte " + std::to_string(token.offset) +
                     " is no valid " + (token.kind == TokenKind::Date ? "date" : "number"));
    }
    return MakeLiteral(Value(std::move(*value)));
  }
  ExpressionPtr ParseLiteral(Value value) { return ParseLiteral(std::optional(std::move(value))); }

  ExpressionPtr ParseParentheses() {
    Take();
    ExpressionPtr inner = ParseBinary(OR_LEVEL);
    Expect(")");
    return inner;
  }

  ExpressionPtr ParseWord() {
    const Token& token = Peek();
    if (IsAnyWord(token, {"Select", "Exists", "Any", "All", "Some"}) && !IsSymbol(Peek(1), ".") &&
        !IsSymbol(Peek(1), "!")) {
      throw SqlError("the subquery at byte " + std::to_string(token.offset) + " is not evaluated");
    }
    if (FindBinaryOperator(token) != nullptr || IsAnyWord(token, {"Is", "In", "Between"})) {
      FailAt(token);
    }
    if (!IsSymbol(Peek(1), ".") && !IsSymbol(Peek(1), "!")) {
      for (const NamedLiteral& named : NAMED_LITERALS) {
        if (TakeWord(named.word)) return MakeLiteral(named.value ? Value(*named.value) : Value());
      }
    }
    return ParseColumn();
  }

  // Names with points or exclamation marks between them. Everything after the first is the
  // column's name: a query over a join has columns called "Table.Column".
  ExpressionPtr ParseColumn() {
    const Token& first = Take();
    if (IsSymbol(Peek(), "(")) {
      throw SqlError("the function " + Quote(first.text) + " at byte " +
                     std::to_string(first.offset) + " is not evaluated");
    }
    auto column = std::make_unique<Expression>();
    column->operation = Operation::Column;
    column->name = first.text;
    for (bool isQualified = false; TakeSymbol(".") || TakeSymbol("!"); isQualified = true) {
      if (!isQualified && IsSymbol(Peek(), "*")) return ParseAllColumns(std::move(column->name));
      if (!IsName(Peek())) FailAt(Peek());
      if (isQualified) {
        column->name += '.' + Take().text;
      } else {
        column->source = std::exchange(column->name, Take().text);
      }
    }
    return column;
  }

  ExpressionPtr ParseAllColumns(std::string source) {
    Take();
    // It is no value that an operator could take.
    if (Peek().kind != TokenKind::End || depth_ > 1) FailAt(Peek());
    auto all = std::make_unique<Expression>();
    all->operation = Operation::AllColumns;
    all->source = std::move(source);
    return all;
  }

  std::vector<Token> tokens_;
  std::size_t position_ = 0;
  std::size_t depth_ = 0;
};

}  // namespace

ExpressionPtr ParseExpression(std::string_view sql) {
  return Parser(sql).ParseWhole();
}

}  // namespace nimport::jet
