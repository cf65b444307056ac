#include "mime/parameterized_value.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <map>

#include "mime/header_text.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/code_page_932.h"

namespace nimport::mime {
namespace {

// Walks over a value. In code page 932 the second byte of a character may look like a backslash,
// but is none.
class Scanner {
 public:
  Scanner(TextForm form, std::string_view text) : form_(form), text_(text) {}

  [[nodiscard]] bool AtEnd() const { return position_ >= text_.size(); }

  [[nodiscard]] bool Accept(char character) {
    if (AtEnd() || text_[position_] != character) return false;
    ++position_;
    return true;
  }

  void SkipBlanksAndComments() {
    while (!AtEnd() && (text::IsBlank(text_[position_]) || text_[position_] == '(')) {
      if (text_[position_] == '(') {
        SkipComment();
      } else {
        ++position_;
      }
    }
  }

  // Up to, not including, the first of `ends`.
  std::string_view TakeUntil(std::string_view ends) {
    const std::size_t start = position_;
    position_ = std::min(text_.find_first_of(ends, position_), text_.size());
    return text_.substr(start, position_ - start);
  }

  // After an opening quote: the text up to the closing one, or to the end when there is none.
  std::string TakeQuoted() {
    std::string result;
    while (!AtEnd() && (text_[position_] != '"' || AtStrayQuote())) {
      // Only these two need a backslash; old programs wrote Windows paths without doubling it.
      const bool isEscape = text_[position_] == '\\' && position_ + 1 < text_.size() &&
                            (text_[position_ + 1] == '"' || text_[position_ + 1] == '\\');
      if (isEscape) ++position_;
      const bool isDoubledQuote = !isEscape && text_[position_] == '"' && result.empty();
      if (isDoubledQuote) {
        ++position_;
      } else {
        TakeCharacter(result);
      }
    }
    (void)Accept('"');
    return result;
  }

 private:
  // Whether the quote here is one of the name's own, as in ""a.xls": more of the name follows it at
  // once, and then another quote. A further parameter may follow without the ';' between.
  [[nodiscard]] bool AtStrayQuote() const {
    const std::string_view after = text_.substr(position_ + 1);
    constexpr std::string_view ENDS = "\" \t;(";
    if (after.empty() || ENDS.find(after.front()) != std::string_view::npos) return false;
    const std::size_t end = after.find_first_of("\";=");
    return end != std::string_view::npos && after[end] == '"';
  }

  void TakeCharacter(std::string& result) {
    const bool isPair =
        BeginsWithPair(form_, text_.substr(position_)) && text_[position_ + 1] != '"';
    result += text_.substr(position_, isPair ? 2 : 1);
    position_ += isPair ? 2 : 1;
  }

  void SkipComment() {
    int depth = 0;
    do {
      const char character = text_[position_++];
      depth += character == '(' ? 1 : character == ')' ? -1 : 0;
      if (character == '\\' && !AtEnd()) ++position_;
    } while (depth > 0 && !AtEnd());
  }

  TextForm form_;
  std::string_view text_;
  std::size_t position_ = 0;
};

// Takes "charset'language'" off the front of an encoded value.
std::string_view TakeCharset(std::string_view& value) {
  const std::size_t first = value.find('\'');
  const std::size_t second = first == std::string_view::npos ? first : value.find('\'', first + 1);
  if (second == std::string_view::npos) return {};
  const std::string_view charset = value.substr(0, first);
  value.remove_prefix(second + 1);
  return charset;
}

// The token at the front of `text`.
std::string_view LeadingToken(std::string_view text) {
  return {text.begin(), std::ranges::find_if_not(text, IsTokenCharacter)};
}

}  // namespace

std::string DecodePercent(std::string_view text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = text[i] == '%' && i + 2 < text.size() ? text::HexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? text::HexDigit(text[i + 2]) : -1;
    result += low >= 0 ? static_cast<char>(high << 4 | low) : text[i];
    if (low >= 0) i += 2;
  }
  return result;
}

bool IsTokenCharacter(char character) {
  constexpr std::string_view SPECIALS = "()<>@,;:\\\"/[]?=";
  return character > ' ' && character < '\x7F' &&
         SPECIALS.find(character) == std::string_view::npos;
}

std::string ToMediaType(std::string_view word) {
  const std::string_view type = LeadingToken(word);
  std::string_view rest = text::Trim(word.substr(type.size()));
  if (type.empty() || !rest.starts_with('/')) return {};
  const std::string_view subtype = LeadingToken(text::Trim(rest.substr(1)));
  return subtype.empty() ? std::string() : std::string(type) + '/' + std::string(subtype);
}

ParameterizedValue ParameterizedValue::Parse(TextForm form, std::string_view rawValue) {
  const std::string text = UnfoldHeaderValue(form, rawValue);
  Scanner scanner(form, text);
  ParameterizedValue result;
  result.form_ = form;
  scanner.SkipBlanksAndComments();
  result.word_ = text::Trim(scanner.TakeUntil(";("));
  (void)scanner.TakeUntil(";");
  while (scanner.Accept(';')) {
    scanner.SkipBlanksAndComments();
    const std::string_view name = text::Trim(scanner.TakeUntil("=;"));
    if (!scanner.Accept('=')) continue;
    scanner.SkipBlanksAndComments();
    std::string value = scanner.Accept('"') ? scanner.TakeQuoted()
                                            : std::string(text::Trim(scanner.TakeUntil(";")));
    (void)scanner.TakeUntil(";");
    result.pieces_.push_back(MakePiece(name, std::move(value)));
  }
  return result;
}

// The name says what the value is: name, name*, name*0, name*0*.
ParameterizedValue::Piece ParameterizedValue::MakePiece(std::string_view name, std::string value) {
  const std::size_t star = name.find('*');
  Piece piece;
  piece.name = name.substr(0, star);
  piece.value = std::move(value);
  if (star == std::string_view::npos) return piece;
  const std::string_view marks = name.substr(star + 1);
  piece.isRfc2231 = true;
  piece.isEncoded = marks.empty() || marks.back() == '*';
  std::from_chars(marks.data(), marks.data() + marks.size(), piece.number);
  return piece;
}

std::optional<std::string> ParameterizedValue::Find(std::string_view name) const {
  std::vector<const Piece*> found;
  for (const Piece& piece : pieces_) {
    if (text::EqualsIgnoringCase(piece.name, name)) found.push_back(&piece);
  }
  if (found.empty()) return std::nullopt;
  return Decode(found);
}

std::vector<Parameter> ParameterizedValue::All() const {
  std::vector<std::vector<const Piece*>> groups;
  std::map<std::string, std::size_t> placeOf;  // by name in lower case
  for (const Piece& piece : pieces_) {
    std::string name = text::AsciiLower(piece.name);
    const std::size_t place = placeOf.try_emplace(std::move(name), groups.size()).first->second;
    if (place == groups.size()) groups.emplace_back();
    groups[place].push_back(&piece);
  }
  std::vector<Parameter> parameters;
  for (const std::vector<const Piece*>& pieces : groups)
    parameters.push_back({pieces.front()->name, Decode(pieces)});
  return parameters;
}

// `pieces` is all that one parameter consists of.
std::string ParameterizedValue::Decode(const std::vector<const Piece*>& pieces) const {
  std::vector<const Piece*> extended;
  std::ranges::copy_if(pieces, std::back_inserter(extended), &Piece::isRfc2231);
  if (extended.empty()) return DecodeEncodedWords(form_, pieces.front()->value);
  std::ranges::stable_sort(extended, {}, &Piece::number);
  return JoinPieces(extended);
}

std::string ParameterizedValue::JoinPieces(const std::vector<const Piece*>& pieces) const {
  std::string result;
  std::string encoded;  // pieces in a row: a character, and even its "%XX", may lie in two of them
  std::string_view charset;
  bool hasEncoded = false;
  for (const Piece* piece : pieces) {
    std::string_view value = piece->value;
    if (piece->isEncoded) {
      if (piece == pieces.front()) charset = TakeCharset(value);
      encoded += value;
      hasEncoded = true;
    } else {
      result += ToForm(form_, DecodePercent(encoded), charset);
      encoded.clear();
      result += value;
    }
  }
  result += ToForm(form_, DecodePercent(encoded), charset);
  return hasEncoded ? result : DecodeEncodedWords(form_, result);
}

}  // namespace nimport::mime
