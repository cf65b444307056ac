#include "mime/header_encoding.h"

#include <algorithm>
#include <cctype>

#include <gmime/gmime.h>

#include "host/text.h"

namespace nimport::command {

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
  const auto isControl = [](char byte) {
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
  };
  std::replace_if(out.begin(), out.end(), isControl, ' ');
  return out;
}

std::string Base64WithoutLines(std::string_view bytes) {
  gchar* const encoded =
      g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
  std::string out(encoded);
  g_free(encoded);
  return out;
}

// The longest beginning of `text` for one encoded word of at most `maxBytes` bytes: whole
// characters and, where it can be had, no padding. Some readers, GMime among them, join the words
// before they decode them and stop at padding in the middle.
std::string_view CutForWord(std::string_view text, std::size_t maxBytes) {
  const std::string_view longest = host::CutUtf8(text, maxBytes);
  if (longest.size() == text.size()) return longest;
  for (std::size_t size = longest.size() / 3 * 3; size > 0; size -= 3) {
    if (host::CutUtf8(text, size).size() == size) return text.substr(0, size);
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
      out.append(WORD_BEGIN).append(Base64WithoutLines(piece)).append(WORD_END);
      text.remove_prefix(piece.size());
    }
    if (!text.empty()) out.append(FOLD);
    column = 1;
  }
  return out;
}

bool IsPlain(std::string_view text) {
  return host::IsAscii(text) && text.find("=?") == std::string_view::npos;
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
    const bool isPlain = byte < 0x80 && (std::isalnum(byte) != 0 || character == '.' ||
                                         character == '-' || character == '_');
    if (isPlain) {
      out += character;
    } else {
      out.append({'%', DIGITS[byte >> 4], DIGITS[byte & 0xF]});
    }
  }
  return out;
}

bool IsAtomsAndBlanks(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char character) {
    const auto byte = static_cast<unsigned char>(character);
    return std::isalnum(byte) != 0 ||
           std::string_view(" !#$%&'*+-/=?^_`{|}~").find(character) != std::string_view::npos;
  });
}

std::string Encode(std::string_view bytes, GMimeContentEncoding encoding) {
  GMimeEncoding state;
  g_mime_encoding_init_encode(&state, encoding);
  std::string out(g_mime_encoding_outlen(&state, bytes.size()), '\0');
  out.resize(g_mime_encoding_flush(&state, bytes.data(), bytes.size(), out.data()));
  return out;
}

std::string ToCrLf(std::string_view text) {
  std::string out;
  out.reserve(text.size() + text.size() / 32);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    out.append(text.substr(0, end));
    if (end < text.size()) out.append("\r\n");
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return out;
}

std::string ToLf(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isPair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (!isPair) out += text[i];
  }
  return out;
}

// Whether `text` may travel as it is: lines of lawful length and no CR by itself.
bool HasLawfulLines(std::string_view text) {
  std::size_t lineBegin = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isLineEnd = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (text[i] == '\0' || (text[i] == '\r' && !isLineEnd)) return false;
    const bool isInLine = text[i] != '\r' && text[i] != '\n';
    if (isInLine && i - lineBegin >= MAX_LINE) return false;
    if (text[i] == '\n') lineBegin = i + 1;
  }
  return true;
}

bool IsMostlyAscii(std::string_view text) {
  const auto isAscii = [](char byte) { return static_cast<unsigned char>(byte) < 0x80; };
  const auto asciiCount = std::count_if(text.begin(), text.end(), isAscii);
  return static_cast<std::size_t>(asciiCount) * 6 >= text.size() * 5;
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

std::string EncodeBase64(std::string_view bytes) {
  return ToCrLf(Encode(bytes, GMIME_CONTENT_ENCODING_BASE64));
}

std::string EncodeQuotedPrintable(std::string_view text) {
  return ToCrLf(Encode(ToLf(text), GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE));
}

EncodedText EncodeTextPart(std::string_view text) {
  if (host::IsAscii(text) && HasLawfulLines(text)) {
    return {"text/plain; charset=us-ascii", "7bit", std::string(text)};
  }
  if (IsMostlyAscii(text)) {
    return {"text/plain; charset=utf-8", "quoted-printable", EncodeQuotedPrintable(text)};
  }
  return {"text/plain; charset=utf-8", "base64", EncodeBase64(text)};
}

}  // namespace nimport::command
