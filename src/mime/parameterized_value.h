#ifndef NIMPORT_MIME_PARAMETERIZED_VALUE_H_
#define NIMPORT_MIME_PARAMETERIZED_VALUE_H_

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "mime/text_form.h"

namespace nimport::mime {

struct Parameter {
  std::string name, value;
};

// The value of a Content-Type or Content-Disposition field: a word and its parameters,
// decoded.
class ParameterizedValue {
 public:
  // Reads a field's value as it stands in the mail. Never fails; what makes no sense is passed
  // over.
  [[nodiscard]] static ParameterizedValue Parse(TextForm form, std::string_view rawValue);

  // What stands before the first parameter, trimmed, without comments.
  [[nodiscard]] const std::string& word() const { return word_; }

  // A parameter's text, decoded from whichever form the mail has it in: charset and continuations
  // after RFC 2231, encoded words (which do not belong into parameters, but are usual there), raw
  // eight-bit text. Empty when the parameter is absent.
  [[nodiscard]] std::optional<std::string> Find(std::string_view name) const;

  // All parameters, decoded as Find does it, in the order in which their names come first.
  [[nodiscard]] std::vector<Parameter> All() const;

 private:
  // One "name=value", or one piece of a parameter that was cut into several.
  struct Piece {
    std::string name;  // without the marks that follow
    unsigned number = 0;
    bool isRfc2231 = false;  // has a charset or is one of several pieces
    bool isEncoded = false;  // the value is percent-encoded
    std::string value;
  };

  static Piece MakePiece(std::string_view name, std::string value);
  [[nodiscard]] std::string Decode(const std::vector<const Piece*>& pieces) const;
  [[nodiscard]] std::string JoinPieces(const std::vector<const Piece*>& pieces) const;

  TextForm form_ = TextForm::Utf8;
  std::string word_;
  std::vector<Piece> pieces_;
};

// `text` with every "%XX" of RFC 2231 as the byte that it stands for.
[[nodiscard]] std::string DecodePercent(std::string_view text);

// Whether a token of MIME may have it: visible ASCII without the special characters.
[[nodiscard]] bool IsTokenCharacter(char character);

// `word` as "type/subtype", without blanks and anything after it; empty when it is no such thing.
[[nodiscard]] std::string ToMediaType(std::string_view word);

}  // namespace nimport::mime

#endif  // NIMPORT_MIME_PARAMETERIZED_VALUE_H_
