#include "archive/readable/field_rewriting.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "mime/header_encoding.h"
#include "mime/header_text.h"
#include "mime/parameterized_value.h"
#include "text/ascii.h"

namespace nimport::archive {

namespace {

using mime::TextForm;

constexpr std::size_t GOOD_LINE = 76;

bool NeedsEncoding(std::string_view text) {
  return !text::IsAscii(text) || text.find("=?") != std::string_view::npos;
}

// A piece of an address field.
struct Piece {
  enum class Kind { Words, Quoted, Comment, Angle, Separator };

  Kind kind = Kind::Words;
  std::string_view text;  // without the marks around it
};

class AddressScanner {
 public:
  explicit AddressScanner(std::string_view text)
      : text_(text), words_(mime::FindHeaderWords(text)) {}

  std::vector<Piece> Scan() {
    while (position_ < text_.size())
      ScanNext();
    EndWords();
    return std::move(pieces_);
  }

 private:
  void ScanNext() {
    const std::size_t wordEnd = EndOfEncodedWord();
    if (wordEnd != position_) {
      position_ = wordEnd;
      return;
    }
    switch (text_[position_]) {
      case '"':
        return Take(Piece::Kind::Quoted, '"');
      case '(':
        return Take(Piece::Kind::Comment, ')');
      case '<':
        return Take(Piece::Kind::Angle, '>');
      case ',':
      case ';':
      case ':':
        Add({Piece::Kind::Separator, text_.substr(position_, 1)}, position_ + 1);
        return;
      default:
        ++position_;
    }
  }

  // Of the encoded word that begins here, in which a separator is none; else here.
  [[nodiscard]] std::size_t EndOfEncodedWord() const {
    const auto found = std::ranges::find_if(
        words_, [&](const mime::HeaderWord& word) { return word.place.begin == position_; });
    return found == words_.end() ? position_ : found->place.end;
  }

  // What stands between the mark here and `closing`; a mark that nothing closes is passed over.
  void Take(Piece::Kind kind, char closing) {
    const std::size_t begin = position_ + 1;
    std::size_t end = begin;
    for (int depth = 0; end < text_.size() && (text_[end] != closing || depth > 0); ++end) {
      if (text_[end] == '\\' && kind != Piece::Kind::Angle) ++end;
      if (kind != Piece::Kind::Comment || end >= text_.size()) continue;
      depth += text_[end] == '(' ? 1 : text_[end] == ')' ? -1 : 0;
    }
    if (end >= text_.size()) {
      EndWords();
      wordsBegin_ = ++position_;
      return;
    }
    Add({kind, text_.substr(begin, end - begin)}, end + 1);
  }

  void Add(Piece piece, std::size_t end) {
    EndWords();
    pieces_.push_back(piece);
    position_ = wordsBegin_ = end;
  }

  void EndWords() {
    const std::string_view words =
        text::Trim(text_.substr(wordsBegin_, std::min(position_, text_.size()) - wordsBegin_));
    if (!words.empty()) pieces_.push_back({Piece::Kind::Words, words});
  }

  std::string_view text_;
  std::vector<mime::HeaderWord> words_;
  std::size_t position_ = 0;
  std::size_t wordsBegin_ = 0;
  std::vector<Piece> pieces_;
};

class AddressWriter {
 public:
  explicit AddressWriter(std::size_t column) : column_(column) {}

  std::string Write(const std::vector<Piece>& pieces) {
    for (std::size_t i = 0; i < pieces.size(); ++i) {
      const bool hasAddress = i + 1 < pieces.size() && pieces[i + 1].kind == Piece::Kind::Angle;
      Write(pieces[i], hasAddress);
    }
    return std::move(out_);
  }

 private:
  void Write(const Piece& piece, bool hasAddress) {
    switch (piece.kind) {
      case Piece::Kind::Separator:
        out_ += piece.text;
        ++column_;
        return;
      case Piece::Kind::Comment:
        if (!NeedsEncoding(piece.text)) return Put('(' + std::string(piece.text) + ')');
        return PutEncoded("(", mime::EncodeHeaderText, piece.text, ")");
      case Piece::Kind::Quoted:
        if (!NeedsEncoding(piece.text)) return Put('"' + std::string(piece.text) + '"');
        return PutEncoded("", mime::EncodePhrase, piece.text, "");
      case Piece::Kind::Angle:
        if (text::IsAscii(piece.text)) return Put('<' + std::string(piece.text) + '>');
        return PutEncoded("", mime::EncodePhrase, piece.text, "");
      case Piece::Kind::Words:
        return hasAddress ? PutWords(piece.text) : PutNameAndAddress(piece.text);
    }
  }

  void PutWords(std::string_view words) {
    if (!NeedsEncoding(words)) return Put(std::string(words));
    PutEncoded("", mime::EncodePhrase, words, "");
  }

  // Words after which no address stands in angle brackets may have one among them.
  void PutNameAndAddress(std::string_view words) {
    const std::size_t at = words.find('@');
    if (at == words.npos || !NeedsEncoding(words)) return PutWords(words);
    const std::size_t blank = words.rfind(' ', at);
    const std::size_t begin = blank == words.npos ? 0 : blank + 1;
    const std::size_t end = std::min(words.find(' ', at), words.size());
    const std::string_view address = words.substr(begin, end - begin);
    if (!text::IsAscii(address)) return PutWords(words);
    const std::string name =
        std::string(words.substr(0, begin)) + std::string(text::Trim(words.substr(end)));
    PutWords(text::Trim(name));
    Put('<' + std::string(address) + '>');
  }

  void PutEncoded(std::string_view before,
                  std::string (*encode)(std::string_view text, std::size_t column),
                  std::string_view text, std::string_view after) {
    // An encoded word needs room to be worth its marks.
    if (!out_.empty() && column_ > GOOD_LINE / 2) BreakLine();
    Separate();
    const std::string decoded = mime::DecodeEncodedWords(TextForm::Utf8, text);
    const std::string encoded = encode(decoded, column_ + before.size());
    out_.append(before).append(encoded).append(after);
    const std::size_t lineEnd = encoded.rfind('\n');
    column_ = lineEnd == encoded.npos ? column_ + before.size() + encoded.size()
                                      : encoded.size() - lineEnd - 1;
    column_ += after.size();
  }

  void Put(const std::string& text) {
    if (!out_.empty() && column_ + 1 + text.size() > GOOD_LINE) BreakLine();
    Separate();
    out_ += text;
    column_ += text.size();
  }

  void BreakLine() {
    out_ += "\r\n ";
    column_ = 1;
  }

  void Separate() {
    if (out_.empty() || out_.ends_with(' ')) return;
    out_ += ' ';
    ++column_;
  }

  std::string out_;
  std::size_t column_;
};

template <std::size_t COUNT>
bool IsOneOf(std::string_view name, const std::array<std::string_view, COUNT>& names) {
  return std::ranges::any_of(
      names, [&](std::string_view other) { return text::EqualsIgnoringCase(name, other); });
}

std::string MediaTypeOf(const mime::ParameterizedValue& value) {
  std::string type = mime::ToMediaType(value.word());
  return type.empty() ? "text/plain" : type;
}

std::string EncodeValue(std::string_view name, std::string_view value, std::size_t column) {
  if (IsAddressField(name)) return AddressWriter(column).Write(AddressScanner(value).Scan());
  if (text::EqualsIgnoringCase(name, "Content-Type")) {
    const auto type = mime::ParameterizedValue::Parse(TextForm::Utf8, value);
    return mime::EncodeParameters(MediaTypeOf(type), type.All(), column);
  }
  if (text::EqualsIgnoringCase(name, "Content-Disposition")) {
    const auto disposition = mime::ParameterizedValue::Parse(TextForm::Utf8, value);
    const bool isInline = text::EqualsIgnoringCase(disposition.word(), "inline");
    return mime::EncodeParameters(isInline ? "inline" : "attachment", disposition.All(), column);
  }
  return mime::EncodeHeaderText(mime::DecodeHeaderValue(TextForm::Utf8, value), column);
}

}  // namespace

bool IsAddressField(std::string_view name) {
  static constexpr std::array<std::string_view, 11> NAMES = {
      "From",        "To",        "Cc",        "Bcc",        "Reply-To",       "Sender",
      "Resent-From", "Resent-To", "Resent-Cc", "Resent-Bcc", "Resent-Reply-To"};
  return IsOneOf(name, NAMES);
}

std::string RewriteField(std::string_view name, std::string_view value) {
  return std::string(name) + ": " + EncodeValue(name, value, name.size() + 2) + "\r\n";
}

std::string Utf8ContentType(std::string_view value) {
  constexpr std::string_view NAME = "Content-Type: ";
  const auto type = mime::ParameterizedValue::Parse(TextForm::Utf8, value);
  std::vector<mime::Parameter> parameters = {{"charset", "utf-8"}};
  for (mime::Parameter& parameter : type.All()) {
    if (!text::EqualsIgnoringCase(parameter.name, "charset"))
      parameters.push_back(std::move(parameter));
  }
  return std::string(NAME) + mime::EncodeParameters(MediaTypeOf(type), parameters, NAME.size()) +
         "\r\n";
}

}  // namespace nimport::archive
