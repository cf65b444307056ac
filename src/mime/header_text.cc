#include "mime/header_text.h"

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/byte_set.h"
#include "text/charset.h"
#include "text/japanese.h"

namespace nimport::mime {
namespace {

constexpr std::string_view WORD_START = "=?";
constexpr std::string_view WORD_END = "?=";
constexpr std::size_t MAX_CHARSET_NAME = 64;
constexpr std::string_view RECIPIENT_FIELDS[] = {"To", "Cc", "Bcc"};

struct EncodedWord {
  std::string_view charset;
  bool isBase64;
  std::string_view data;
  std::size_t end;  // in the text, after the word
};

// Where the data of a word ends that begins at `dataStart`; empty when another word begins before
// that: the word was cut off, and only the next one may be whole. Never looks farther than that, so
// that a text of words without an end is gone through once.
std::optional<std::size_t> FindDataEnd(std::string_view text, std::size_t dataStart) {
  for (std::size_t mark = text.find('?', dataStart); mark != std::string_view::npos;
       mark = text.find('?', mark + 1)) {
    if (text.substr(mark).starts_with(WORD_END)) return mark;
    if (mark > dataStart && text[mark - 1] == '=') return std::nullopt;
  }
  return std::nullopt;
}

// The encoded word that starts at `start`, where WORD_START stands.
std::optional<EncodedWord> ParseEncodedWord(std::string_view text, std::size_t start) {
  const std::size_t charsetStart = start + WORD_START.size();
  const std::string_view ahead = text.substr(charsetStart, MAX_CHARSET_NAME + 1);
  const std::size_t charsetSize = ahead.find('?');
  if (charsetSize == std::string_view::npos || charsetSize == 0) return std::nullopt;
  const std::size_t encodingAt = charsetStart + charsetSize + 1;
  if (encodingAt + 1 >= text.size() || text[encodingAt + 1] != '?') return std::nullopt;
  const char encoding = text::AsciiLower(text[encodingAt]);
  if (encoding != 'b' && encoding != 'q') return std::nullopt;
  const std::size_t dataStart = encodingAt + 2;
  const std::optional<std::size_t> dataEnd = FindDataEnd(text, dataStart);
  if (!dataEnd) return std::nullopt;
  return EncodedWord{ahead.substr(0, charsetSize), encoding == 'b',
                     text.substr(dataStart, *dataEnd - dataStart), *dataEnd + WORD_END.size()};
}

std::string DecodeQ(std::string_view data) {
  std::string result;
  for (std::size_t i = 0; i < data.size(); ++i) {
    const int high = data[i] == '=' && i + 2 < data.size() ? text::HexDigit(data[i + 1]) : -1;
    const int low = high >= 0 ? text::HexDigit(data[i + 2]) : -1;
    if (low >= 0) {
      result += static_cast<char>(high << 4 | low);
      i += 2;
    } else {
      result += data[i] == '_' ? ' ' : data[i];
    }
  }
  return result;
}

std::string DecodeWordData(const EncodedWord& word) {
  if (!word.isBase64) return DecodeQ(word.data);
  return DecodeTransfer(TransferEncoding::Base64, word.data);
}

// Puts a text together from plain pieces and encoded words.
class WordJoiner {
 public:
  explicit WordJoiner(TextForm form) : form_(form) {}

  void AddPlain(std::string_view text) {
    // Blanks between two words belong to neither; wait for what comes.
    if (hasWord_ && std::ranges::all_of(text, text::IsBlank)) {
      blanks_ += text;
      return;
    }
    Flush();
    result_ += text;
  }

  void AddWord(const EncodedWord& word) {
    blanks_.clear();
    if (hasWord_ && !text::EqualsIgnoringCase(charset_, word.charset)) Flush();
    charset_ = word.charset;
    wordStarts_.push_back(bytes_.size());
    bytes_ += DecodeWordData(word);
    hasWord_ = true;
  }

  std::string Finish() {
    Flush();
    return std::move(result_);
  }

 private:
  void Flush() {
    if (hasWord_)
      result_ += ToForm(form_, text::JoinIso2022JpPieces(bytes_, wordStarts_), charset_);
    result_ += blanks_;
    blanks_.clear();
    bytes_.clear();
    wordStarts_.clear();
    hasWord_ = false;
  }

  TextForm form_;
  bool hasWord_ = false;
  std::string_view charset_;
  std::string bytes_;
  std::vector<std::size_t> wordStarts_;  // in the bytes
  std::string blanks_;                   // after the word
  std::string result_;
};

constexpr text::ByteSet LINE_END("\r\n");

// `text` with each line end, and the blanks around it, as one blank.
std::string Unfold(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t lineEnd = LINE_END.FindIn(text);
    std::string_view line = text.substr(0, lineEnd);
    text.remove_prefix(line.size());
    while (lineEnd != std::string_view::npos && !line.empty() && text::IsBlank(line.back())) {
      line.remove_suffix(1);
    }
    result += line;
    if (text.empty()) break;
    while (!text.empty() && text::IsBlank(text.front()))
      text.remove_prefix(1);
    result += ' ';
  }
  return result;
}

}  // namespace

std::string UnfoldHeaderValue(TextForm form, std::string_view rawValue) {
  return GuessToForm(form, Unfold(rawValue));
}

std::string DecodeEncodedWords(TextForm form, std::string_view text) {
  WordJoiner joiner(form);
  std::size_t plainStart = 0;
  std::size_t start = text.find(WORD_START);
  while (start != std::string_view::npos) {
    const std::optional<EncodedWord> word = ParseEncodedWord(text, start);
    if (word) {
      joiner.AddPlain(text.substr(plainStart, start - plainStart));
      joiner.AddWord(*word);
      plainStart = word->end;
    }
    start = text.find(WORD_START, word ? word->end : start + WORD_START.size());
  }
  joiner.AddPlain(text.substr(plainStart));
  return joiner.Finish();
}

std::string DecodeHeaderValue(TextForm form, std::string_view rawValue) {
  std::string text = DecodeEncodedWords(form, UnfoldHeaderValue(form, rawValue));
  std::ranges::replace_if(
      text, [](char c) { return c == '\r' || c == '\n'; }, ' ');
  return std::string(text::Trim(text));
}

std::optional<std::string> DecodeField(TextForm form, const HeaderBlock& header,
                                       std::string_view name) {
  const bool isRecipients = std::ranges::any_of(RECIPIENT_FIELDS, [&](std::string_view field) {
    return text::EqualsIgnoringCase(field, name);
  });
  if (!isRecipients) {
    const std::optional<std::string_view> raw = header.Find(name);
    return raw ? std::optional(DecodeHeaderValue(form, *raw)) : std::nullopt;
  }
  std::optional<std::string> all;
  std::string_view rest = header.lines();
  while (const std::optional<HeaderField> field = header.TakeField(rest)) {
    if (!text::EqualsIgnoringCase(field->name, name)) continue;
    const std::string value = DecodeHeaderValue(form, field->value);
    if (!all) all.emplace();
    if (!all->empty() && !value.empty()) *all += ", ";
    *all += value;
  }
  return all;
}

std::vector<HeaderWord> FindHeaderWords(std::string_view text) {
  std::vector<HeaderWord> words;
  std::size_t start = text.find(WORD_START);
  while (start != std::string_view::npos) {
    const std::optional<EncodedWord> word = ParseEncodedWord(text, start);
    if (word) words.push_back({{start, word->end}, word->charset, DecodeWordData(*word)});
    start = text.find(WORD_START, word ? word->end : start + WORD_START.size());
  }
  return words;
}

}  // namespace nimport::mime
