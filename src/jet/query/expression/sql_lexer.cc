#include "jet/query/expression/sql_lexer.h"

#include <array>
#include <utility>

#include "jet/query/expression/sql_text.h"
#include "text/ascii.h"

namespace nimport::jet {
namespace {

// Every character beyond ASCII belongs to a name: Japanese names stand without brackets, too.
bool IsWordStart(char c) {
  return text::IsAsciiLetter(c) || c == '_' || !text::IsAscii(c);
}

bool IsWordPart(char c) {
  return IsWordStart(c) || text::IsAsciiDigit(c) || c == '$';
}

bool EndsOperand(const Token& token) {
  return token.kind != TokenKind::Symbol || token.text == ")";
}

class Lexer {
 public:
  explicit Lexer(std::string_view sql) : sql_(sql) {}

  std::vector<Token> Run() {
    while (SkipSpaces())
      ReadToken();
    Add(TokenKind::End, {}, sql_.size());
    return std::move(tokens_);
  }

 private:
  // The character `distance` after the current one; NUL after the end.
  [[nodiscard]] char Peek(std::size_t distance = 0) const {
    return position_ + distance < sql_.size() ? sql_[position_ + distance] : '\0';
  }

  bool SkipSpaces() {
    while (position_ < sql_.size() && text::IsBlank(sql_[position_]))
      ++position_;
    return position_ < sql_.size();
  }

  void Add(TokenKind kind, std::string text, std::size_t offset) {
    tokens_.push_back({.kind = kind, .text = std::move(text), .offset = offset});
  }

  void ReadToken() {
    const char first = Peek();
    if (IsWordStart(first)) {
      ReadWhile(TokenKind::Word, IsWordPart);
    } else if (StartsNumber()) {
      ReadNumber();
    } else if (StartsHexNumber()) {
      ReadHexNumber();
    } else if (first == '"' || first == '\'') {
      ReadText(first);
    } else if (first == '[') {
      ReadEnclosed(TokenKind::BracketedName, ']');
    } else if (first == '`') {
      ReadEnclosed(TokenKind::BracketedName, '`');
    } else if (first == '#') {
      ReadEnclosed(TokenKind::Date, '#');
    } else {
      ReadSymbol();
    }
  }

  template <typename Predicate>
  void ReadWhile(TokenKind kind, Predicate belongs) {
    const std::size_t start = position_;
    while (position_ < sql_.size() && belongs(sql_[position_]))
      ++position_;
    Add(kind, std::string(sql_.substr(start, position_ - start)), start);
  }

  // A point after a name separates a source from a column, whatever follows.
  [[nodiscard]] bool StartsNumber() const {
    if (text::IsAsciiDigit(Peek())) return true;
    return Peek() == '.' && text::IsAsciiDigit(Peek(1)) &&
           (tokens_.empty() || !EndsOperand(tokens_.back()));
  }

  // After an operand the ampersand concatenates.
  [[nodiscard]] bool StartsHexNumber() const {
    return Peek() == '&' && text::AsciiLower(Peek(1)) == 'h' && text::HexDigit(Peek(2)) >= 0 &&
           (tokens_.empty() || !EndsOperand(tokens_.back()));
  }

  void SkipDigits() {
    while (text::IsAsciiDigit(Peek()))
      ++position_;
  }

  void ReadNumber() {
    const std::size_t start = position_;
    SkipDigits();
    if (Peek() == '.') {
      ++position_;
      SkipDigits();
    }
    const std::size_t sign = Peek(1) == '+' || Peek(1) == '-' ? 1 : 0;
    if (text::AsciiLower(Peek()) == 'e' && text::IsAsciiDigit(Peek(1 + sign))) {
      position_ += 1 + sign;
      SkipDigits();
    }
    Add(TokenKind::Number, std::string(sql_.substr(start, position_ - start)), start);
  }

  void ReadHexNumber() {
    const std::size_t start = position_;
    position_ += 2;
    while (text::HexDigit(Peek()) >= 0)
      ++position_;
    Add(TokenKind::Number, std::string(sql_.substr(start, position_ - start)), start);
  }

  void ReadText(char quote) {
    const std::size_t start = position_++;
    std::string text;
    while (position_ < sql_.size()) {
      const char c = sql_[position_++];
      if (c != quote) {
        text += c;
      } else if (Peek() == quote) {
        text += quote;
        ++position_;
      } else {
        Add(TokenKind::Text, std::move(text), start);
        return;
      }
    }
    FailUnclosed(start);
  }

  void ReadEnclosed(TokenKind kind, char close) {
    const std::size_t start = position_;
    const std::size_t end = sql_.find(close, start + 1);
    if (end == std::string_view::npos) FailUnclosed(start);
    Add(kind, std::string(sql_.substr(start + 1, end - start - 1)), start);
    position_ = end + 1;
  }

  [[noreturn]] void FailUnclosed(std::size_t start) const {
    throw SqlError(std::string("the ") + sql_[start] + " at byte " + std::to_string(start) +
                   " is never closed");
  }

  void ReadSymbol() {
    static constexpr std::array<std::string_view, 3> PAIRS{"<>", "<=", ">="};
    static constexpr std::string_view SINGLES = "()+-*/\\^&=<>,.!";
    const std::size_t start = position_;
    for (const std::string_view pair : PAIRS) {
      if (sql_.substr(start, 2) != pair) continue;
      position_ += 2;
      Add(TokenKind::Symbol, std::string(pair), start);
      return;
    }
    if (SINGLES.find(sql_[start]) == std::string_view::npos) {
      throw SqlError("the character at byte " + std::to_string(start) + " has no meaning there");
    }
    ++position_;
    Add(TokenKind::Symbol, std::string(1, sql_[start]), start);
  }

  std::string_view sql_;
  std::size_t position_ = 0;
  std::vector<Token> tokens_;
};

}  // namespace

std::vector<Token> Tokenize(std::string_view sql) {
  if (sql.size() > MAX_SQL_BYTES) {
    throw SqlError("it is longer than " + std::to_string(MAX_SQL_BYTES) + " bytes");
  }
  return Lexer(sql).Run();
}

}  // namespace nimport::jet
