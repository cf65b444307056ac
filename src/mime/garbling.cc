#include "mime/garbling.h"

#include <algorithm>
#include <vector>

#include "mime/header_block.h"
#include "mime/header_text.h"
#include "mime/parameterized_value.h"
#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/charset.h"
#include "text/charset_label.h"
#include "text/japanese.h"
#include "text/utf8.h"

namespace nimport::mime {
namespace {

constexpr char ESCAPE = '\x1B';

bool IsTrue(std::string_view bytes, std::string_view charset) {
  return text::JudgeLabel(bytes, charset) == text::LabelTruth::True;
}

bool IsGarbledWord(const HeaderWord& word, std::string_view text) {
  return !IsTrue(word.bytes, word.charset) ||
         std::ranges::any_of(word.place.In(text), text::IsBlank);
}

// Whether what ends here is surely no piece of a character. Saves most words a conversion.
bool EndsWhole(std::string_view bytes) {
  const std::size_t escape = bytes.rfind(ESCAPE);
  if (escape == bytes.npos) return text::IsAscii(bytes);
  return bytes.substr(escape + 1).starts_with("(B");
}

// Whether words that follow each other read otherwise together, as we read them, than one by one.
bool IsCutBetweenWords(const std::vector<HeaderWord>& words, std::string_view text) {
  for (std::size_t i = 1; i < words.size(); ++i) {
    const HeaderWord& left = words[i - 1];
    const HeaderWord& right = words[i];
    const bool areJoined =
        text::EqualsIgnoringCase(left.charset, right.charset) &&
        std::ranges::all_of(TextRange{left.place.end, right.place.begin}.In(text), text::IsBlank);
    if (!areJoined || EndsWhole(left.bytes)) continue;
    if (text::ToUtf8(left.bytes + right.bytes, left.charset) !=
        text::ToUtf8(left.bytes, left.charset) + text::ToUtf8(right.bytes, right.charset)) {
      return true;
    }
  }
  return false;
}

// The charset of an extended parameter ("name*=CHARSET'LANGUAGE'TEXT"), or of the first of its
// pieces; empty where there is none.
std::string_view FindExtendedCharset(std::string_view value) {
  const std::size_t star = value.find('*');
  const std::size_t quote = star == value.npos ? star : value.find('\'', star);
  if (quote == value.npos) return {};
  const std::size_t equals = value.rfind('=', quote);
  if (equals == value.npos || equals < star) return {};
  return text::Trim(value.substr(equals + 1, quote - equals - 1));
}

}  // namespace

bool IsPlain(std::string_view mail) {
  if (mail.find(ESCAPE) != mail.npos || !text::IsAscii(mail)) return false;
  const auto header = HeaderBlock::Read(mail, HeaderPlace::Mail);
  if (header.lines().find("=?") != std::string_view::npos ||
      header.lines().find("*=") != std::string_view::npos || header.Find("Content-Disposition")) {
    return false;
  }
  const std::string_view type = text::Trim(header.Find("Content-Type").value_or("text/"));
  const std::string_view encoding = header.Find("Content-Transfer-Encoding").value_or("");
  return text::StartsWithIgnoringCase(type, "text/") &&
         FindTransferEncoding(encoding) == TransferEncoding::Identity;
}

bool IsGarbledValue(std::string_view rawValue) {
  if (!text::IsAscii(rawValue) || text::LooksLikeIso2022Jp(rawValue)) return true;
  const std::vector<HeaderWord> words = FindHeaderWords(rawValue);
  return std::ranges::any_of(
             words, [&](const HeaderWord& word) { return IsGarbledWord(word, rawValue); }) ||
         IsCutBetweenWords(words, rawValue);
}

bool IsGarbledParameters(std::string_view rawValue) {
  if (IsGarbledValue(rawValue)) return true;
  const std::string_view charset = FindExtendedCharset(rawValue);
  if (charset.empty()) return false;
  // What stands between the pieces of a cut parameter is ASCII, and shows where a character is cut.
  const std::string bytes = DecodePercent(rawValue);
  if (text::EqualsIgnoringCase(charset, "utf-8")) return !text::IsUtf8(bytes);
  return !IsTrue(bytes, charset);
}

std::string TextBytes(std::string_view mail, const Part& part) {
  const std::string_view encoded = part.contents.In(mail);
  if (part.encoding == TransferEncoding::Identity) return std::string(encoded);
  return DecodeTransfer(part.encoding, encoded);
}

bool IsGarbledText(std::string_view mail, const Part& part) {
  if (part.encoding == TransferEncoding::Identity) {
    return !IsTrue(part.contents.In(mail), part.charset);
  }
  return !IsTrue(TextBytes(mail, part), part.charset);
}

}  // namespace nimport::mime
