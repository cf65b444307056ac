#include "mime/header_encoding.h"

#include <algorithm>

#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/utf8.h"

namespace nimport::mime {

namespace {

// Limits of RFC 2047 and RFC 5322, in characters.
constexpr std::size_t MAX_ENCODED_LINE = 76;
constexpr std::size_t MAX_LINE = 998;
constexpr std::size_t GOOD_LINE = 76;

constexpr std::string_view WORD_BEGIN = "=?UTF-8?B?";
constexpr std::string_view WORD_END = "?=";
constexpr std::string_view FOLD = "\r\n ";

std::string WithoutControls(std::string_view text) {
  std::string out(text);
  std::replace_if(out.begin(), out.end(), text::IsAsciiControl, ' ');
  return out;
}

// The longest beginning of `text` for one encoded word of at most `maxBytes` bytes: whole
// characters and, where it can be had, no padding. Some readers join the words before they decode
// them and stop at padding in the middle.
std::string_view CutForWord(std::string_view text, std::size_t maxBytes) {
  const std::string_view longest = text::CutUtf8(text, maxBytes);
  if (longest.size() == text.size()) return longest;
  for (std::size_t size = longest.size() / 3 * 3; size > 0; size -= 3) {
    if (text::CutUtf8(text, size).size() == size) return text.substr(0, size);
  }
  return longest;
}

std::string EncodeWords(std::string_view text, std::size_t column) {
  std::string out;
  while (!text.empty()) {
    const std::size_t overhead = WORD_BEGIN.size() + WORD_END.size();
    const std::size_t used = std::min(column, MAX_ENCODED_LINE) + overhead;
    const std::size_t room = used < MAX_ENCODED_LINE ? (MAX_ENCODED_LINE - used) / 4 * 3 : 0;
    const std::string_view piece = CutForWord(text, room);
    if (!piece.empty()) {
      out.append(WORD_BEGIN).append(EncodeBase64Line(piece)).append(WORD_END);
      text.remove_prefix(piece.size());
    }
    if (!text.empty()) out.append(FOLD);
    column = 1;
  }
  return out;
}

bool IsPlain(std::string_view text) {
  return text::IsAscii(text) && text.find("=?") == std::string_view::npos;
}

// Breaks ASCII text before blanks, so that unfolding gives it back unchanged. Empty when a word is
// too long for any line.
std::string FoldAtBlanks(std::string_view text, std::size_t column) {
  std::string out;
  while (!text.empty()) {
    std::size_t end = text.find(' ', 1);
    if (end == std::string_view::npos) end = text.size();
    if (end > MAX_LINE - GOOD_LINE) return {};
    const bool isBlankOnly = text.find_first_not_of(' ') >= end;
    if (column + end > GOOD_LINE && text.front() == ' ' && !isBlankOnly) {
      out.append("\r\n");
      column = 0;
    }
    out.append(text.substr(0, end));
    column += end;
    text.remove_prefix(end);
  }
  return out;
}

std::string Quoted(std::string_view text) {
  std::string out = "\"";
  for (const char character : text) {
    if (character == '"' || character == '\\') out += '\\';
    out += character;
  }
  return out + '"';
}

// What RFC 2231 does not allow as it is becomes "%XX".
std::string PercentEncoded(std::string_view text) {
  constexpr std::string_view DIGITS = "0123456789ABCDEF";
  std::string out;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isPlain = byte < 0x80 && (text::IsAsciiLetterOrDigit(character) ||
                                         character == '.' || character == '-' || character == '_');
    if (isPlain) {
      out += character;
    } else {
      out.append({'%', DIGITS[byte >> 4], DIGITS[byte & 0xF]});
    }
  }
  return out;
}

bool IsToken(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, IsTokenCharacter);
}

bool IsAtomsAndBlanks(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    return text::IsAsciiLetterOrDigit(character) ||
           std::string_view(" !#$%&'*+-/=?^_`{|}~").find(character) != std::string_view::npos;
  });
}

}  // namespace

std::string EncodeHeaderText(std::string_view text, std::size_t column) {
  const std::string clean = WithoutControls(text);
  if (IsPlain(clean)) {
    std::string folded = FoldAtBlanks(clean, column);
    if (!folded.empty() || clean.empty()) return folded;
  }
  return EncodeWords(clean, column);
}

std::string EncodePhrase(std::string_view text, std::size_t column) {
  const std::string clean = WithoutControls(text);
  if (!IsPlain(clean) || clean.size() > MAX_LINE / 2) return EncodeWords(clean, column);
  return IsAtomsAndBlanks(clean) ? clean : Quoted(clean);
}

std::string EncodeParameter(std::string_view name, std::string_view value) {
  const std::string clean = WithoutControls(value);
  const std::string label = ";\r\n " + std::string(name);
  if (IsPlain(clean) && label.size() + clean.size() < GOOD_LINE) {
    return label + '=' + Quoted(clean);
  }
  const std::string encoded = PercentEncoded(clean);
  if (label.size() + encoded.size() < GOOD_LINE) return label + "*=UTF-8''" + encoded;
  std::string out;
  const std::size_t room = GOOD_LINE - name.size() - 16;
  std::string_view rest = encoded;
  for (int section = 0; !rest.empty(); ++section) {
    // An encoded byte stays whole.
    std::size_t size = std::min(room, rest.size());
    const std::size_t percent = rest.substr(0, size).rfind('%');
    if (size < rest.size() && percent != std::string_view::npos && percent + 3 > size) {
      size = percent;
    }
    out += label + '*' + std::to_string(section) + (section == 0 ? "*=UTF-8''" : "*=");
    out += rest.substr(0, size);
    rest.remove_prefix(size);
  }
  return out;
}

std::string EncodeWordParameter(std::string_view name, std::string_view value) {
  const std::string clean = WithoutControls(value);
  const std::string label = ";\r\n " + std::string(name) + '=';
  return label + (IsPlain(clean) ? Quoted(clean) : '"' + EncodeWords(clean, label.size()) + '"');
}

std::string EncodeParameters(std::string_view word, const std::vector<Parameter>& parameters,
                             std::size_t column) {
  std::string out(word);
  column += word.size();
  for (const Parameter& parameter : parameters) {
    std::string name = parameter.name;
    // What marks the forms of RFC 2231 belongs to no name.
    std::erase_if(name, [](char c) { return !IsTokenCharacter(c) || c == '*' || c == '%'; });
    if (name.empty()) continue;
    const std::string onSameLine = "; " + name + '=' + parameter.value;
    if (IsToken(parameter.value) && column + onSameLine.size() < GOOD_LINE) {
      out += onSameLine;
      column += onSameLine.size();
    } else {
      // A boundary is looked for as it stands, however long it is.
      const bool isQuotable = IsPlain(parameter.value) && parameter.value.size() <= MAX_LINE / 2;
      out += isQuotable ? ";\r\n " + name + '=' + Quoted(WithoutControls(parameter.value))
                        : EncodeParameter(name, parameter.value);
      column = out.size() - out.rfind('\n') - 1;
    }
  }
  return out;
}

}  // namespace nimport::mime
