#include "mkstore/encodings.h"

#include <algorithm>
#include <cstdint>
#include <map>

#include "jetwriter/text_encoder.h"
#include "jetwriter/write_error.h"
#include "mime/transfer_encoding.h"
#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/utf8.h"

namespace nimport::mkstore {
namespace {

constexpr const char* CODE_PAGE_932 = "CP932";
constexpr std::string_view HEX_DIGITS = "0123456789ABCDEF";

// Characters of an encoded word's text; 75 with the marks around it in every charset of use.
constexpr std::size_t WORD_CHARACTERS = 12;

std::string Convert(std::string_view utf8, const std::string& charset) {
  static std::map<std::string, jetwriter::TextEncoder> encoders;
  return encoders.try_emplace(charset, charset).first->second.Encode(utf8);
}

unsigned ByteAt(std::string_view bytes, std::size_t at) {
  return static_cast<unsigned char>(bytes[at]);
}

constexpr unsigned CELLS_PER_LEAD = 188;

// The place of a double-byte character of code page 932 in the sequence of all that there could be.
constexpr unsigned ToCell(unsigned lead, unsigned trail) {
  const unsigned row = lead < 0xA0 ? lead - 0x81 : lead - 0xC1;
  return row * CELLS_PER_LEAD + trail - (trail < 0x80 ? 0x40 : 0x41);
}

// IBM's kanji stand in code page 932 after the 94 rows that JIS can express, and a second time
// within them, in the same order: from ED 40 on.
unsigned ToJisCell(unsigned lead, unsigned trail) {
  constexpr unsigned IBM_KANJI = ToCell(0xFA, 0x5C);
  constexpr unsigned IBM_SMALL_NUMERALS = ToCell(0xFA, 0x40);
  const unsigned cell = ToCell(lead, trail);
  if (cell >= IBM_KANJI) return cell - IBM_KANJI + ToCell(0xED, 0x40);
  if (cell >= IBM_SMALL_NUMERALS) return cell - IBM_SMALL_NUMERALS + ToCell(0xEE, 0xEF);
  return cell;
}

std::string ToIso2022Jp(std::string_view utf8) {
  constexpr std::string_view ASCII = "\x1B(B";
  constexpr std::string_view KATAKANA = "\x1B(I";
  constexpr std::string_view KANJI = "\x1B$B";
  const std::string bytes = Convert(utf8, CODE_PAGE_932);
  std::string result;
  std::string_view set = ASCII;
  const auto select = [&](std::string_view wanted) {
    if (set != wanted) result += wanted;
    set = wanted;
  };
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const unsigned byte = ByteAt(bytes, i);
    if (text::IsLeadByte(static_cast<unsigned char>(byte)) && i + 1 < bytes.size()) {
      const unsigned cell = ToJisCell(byte, ByteAt(bytes, ++i));
      select(KANJI);
      result.push_back(static_cast<char>(0x21 + cell / 94));
      result.push_back(static_cast<char>(0x21 + cell % 94));
    } else {
      select(byte >= 0x80 ? KATAKANA : ASCII);
      result.push_back(static_cast<char>(byte & 0x7F));
    }
  }
  select(ASCII);
  return result;
}

std::string_view FirstCharacters(std::string_view utf8, std::size_t count) {
  std::string_view rest = utf8;
  for (std::size_t i = 0; i < count && !rest.empty(); ++i)
    (void)text::TakeUtf8Character(rest);
  return utf8.substr(0, utf8.size() - rest.size());
}

std::string EncodeQ(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    if (c == ' ') {
      text += '_';
    } else if (text::IsAsciiLetterOrDigit(c)) {
      text += c;
    } else {
      text += '=';
      text += HEX_DIGITS[static_cast<unsigned char>(c) >> 4];
      text += HEX_DIGITS[c & 0xF];
    }
  }
  return text;
}

}  // namespace

std::optional<std::string> DecodeBase64(std::string_view text) {
  const auto isLawful = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/' || c == '=' ||
           text::IsBlank(c);
  };
  if (!std::all_of(text.begin(), text.end(), isLawful)) return std::nullopt;
  return mime::DecodeTransfer(mime::TransferEncoding::Base64, text);
}

std::optional<std::string> DecodeHex(std::string_view digits) {
  std::string bytes;
  if (digits.size() % 2 != 0) return std::nullopt;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    const int high = text::HexDigit(digits[i]);
    const int low = text::HexDigit(digits[i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<char>(high << 4 | low));
  }
  return bytes;
}

std::string ToCharset(std::string_view utf8, std::string_view charset) {
  const std::string name = text::AsciiLower(charset);
  if (name == "utf-8") return std::string(utf8);
  if (name == "iso-2022-jp") return ToIso2022Jp(utf8);
  if (name == "shift_jis") return Convert(utf8, CODE_PAGE_932);
  if (name == "euc-jp") return Convert(utf8, "EUC-JP-MS");
  return Convert(utf8, name);
}

std::string ToEncodedWords(std::string_view utf8, std::string_view charset, char encoding) {
  std::string words;
  while (!utf8.empty()) {
    const std::string_view piece = FirstCharacters(utf8, WORD_CHARACTERS);
    utf8.remove_prefix(piece.size());
    const std::string bytes = ToCharset(piece, charset);
    words += words.empty() ? "" : "\r\n ";
    words += "=?" + std::string(charset) + "?" + encoding + "?";
    words += encoding == 'B' ? mime::EncodeBase64Line(bytes) : EncodeQ(bytes);
    words += "?=";
  }
  return words;
}

}  // namespace nimport::mkstore
