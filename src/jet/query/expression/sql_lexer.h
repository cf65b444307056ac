// Cuts the text of an SQL expression, as it is stored in a query, into tokens.
#ifndef NIMPORT_JET_QUERY_EXPRESSION_SQL_LEXER_H_
#define NIMPORT_JET_QUERY_EXPRESSION_SQL_LEXER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::jet {

// No query that Jet accepts is longer; it bounds the memory that a damaged one takes.
inline constexpr std::size_t MAX_SQL_BYTES = 64 * 1024;

enum class TokenKind : std::uint8_t {
  End,
  Word,           // a bare name or a keyword
  BracketedName,  // never a keyword
  Number,         // digits, with or without fraction and exponent; or &H and hexadecimal digits
  Text,
  Date,
  Symbol,  // operators and punctuation, of one or two characters
};

struct Token {
  TokenKind kind = TokenKind::End;
  std::string text;        // without brackets, quotes or #; doubled quotes made single
  std::size_t offset = 0;  // byte where the token begins
};

// The tokens of `sql` (UTF-8), the last one of kind End. Throws SqlError.
[[nodiscard]] std::vector<Token> Tokenize(std::string_view sql);

}  // namespace nimport::jet

#endif  // NIMPORT_JET_QUERY_EXPRESSION_SQL_LEXER_H_
