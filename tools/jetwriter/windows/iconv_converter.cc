// Character sets without iconv: by the system's code pages.
#include "jetwriter/iconv_converter.h"

#include <charconv>

#include <windows.h>

#include "jetwriter/write_error.h"
#include "text/code_page_932.h"

namespace nimport::jetwriter {
namespace {

// Code page 932's characters at JIS's places; the system has only the standard's own.
constexpr const char* EUC_JP = "EUC-JP-MS";

constexpr UINT UTF16_LITTLE_ENDIAN = 1200;

// The code pages of the character sets that descriptions and tests name; 0 for others.
UINT CodePageOf(const std::string& charset) {
  if (charset == "UTF-16LE") return UTF16_LITTLE_ENDIAN;
  if (charset == "UTF-8") return CP_UTF8;
  if (charset == EUC_JP) return 932;
  if (charset == "iso-8859-1" || charset == "ISO-8859-1") return 28591;
  UINT number = 0;
  if (charset.starts_with("CP")) std::from_chars(&charset[2], &charset[charset.size()], number);
  return number;
}

// The first byte of `utf8` that begins no whole character.
std::size_t FirstDamage(std::string_view utf8) {
  std::size_t begin = 0;
  while (begin < utf8.size()) {
    std::size_t end = begin + 1;
    while (end < utf8.size() && (static_cast<unsigned char>(utf8[end]) & 0xC0) == 0x80)
      ++end;
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, &utf8[begin],
                            static_cast<int>(end - begin), nullptr, 0) == 0) {
      break;
    }
    begin = end;
  }
  return begin;
}

// Rows 1 to 94 of code page 932, and single-byte katakana, as EUC has them.
std::string ToEucJp(std::string_view bytes) {
  std::string result;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    if (!IsLeadByte(first) || i + 1 == bytes.size()) {
      if (first >= 0x80) result += '\x8E';
      result += bytes[i];
      continue;
    }
    const auto second = static_cast<unsigned char>(bytes[++i]);
    const unsigned cell =
        (first - (first < 0xA0 ? 0x81u : 0xC1u)) * 188 + second - (second < 0x80 ? 0x40u : 0x41u);
    if (cell >= 94 * 94) throw WriteError("a character has no place in EUC-JP");
    result += static_cast<char>(0xA1 + cell / 94);
    result += static_cast<char>(0xA1 + cell % 94);
  }
  return result;
}

std::wstring ToWide(std::string_view utf8, const std::string& charset) {
  if (utf8.empty()) return {};
  std::wstring wide(utf8.size(), L'\0');
  const int count =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), static_cast<int>(utf8.size()),
                          wide.data(), static_cast<int>(wide.size()));
  if (count == 0) {
    throw WriteError("the text is no UTF-8 at its byte " + std::to_string(FirstDamage(utf8)) +
                     " and has no place in the character set " + charset);
  }
  wide.resize(static_cast<std::size_t>(count));
  return wide;
}

std::string FromWide(std::wstring_view wide, UINT codePage, bool& isMissing) {
  std::string bytes(wide.size() * 4, '\0');
  BOOL usedDefault = FALSE;
  const bool isUtf8 = codePage == CP_UTF8;
  const int count = WideCharToMultiByte(
      codePage, isUtf8 ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(), static_cast<int>(wide.size()),
      bytes.data(), static_cast<int>(bytes.size()), nullptr, isUtf8 ? nullptr : &usedDefault);
  isMissing = count == 0 || usedDefault != FALSE;
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

// The first character that the code page lacks, for a message.
std::string FirstMissing(std::wstring_view wide, UINT codePage) {
  for (std::size_t i = 0; i < wide.size(); ++i) {
    const std::size_t units = IS_HIGH_SURROGATE(wide[i]) && i + 1 < wide.size() ? 2 : 1;
    bool isMissing = false;
    (void)FromWide(wide.substr(i, units), codePage, isMissing);
    if (isMissing) return FromWide(wide.substr(i, units), CP_UTF8, isMissing);
    i += units - 1;
  }
  return {};
}

}  // namespace

IconvConverter::IconvConverter(const std::string& charset) : charset_(charset), handle_(nullptr) {
  const UINT codePage = CodePageOf(charset);
  if (codePage != UTF16_LITTLE_ENDIAN && IsValidCodePage(codePage) == FALSE) {
    throw WriteError("there is no character set \"" + charset + "\"");
  }
}

IconvConverter::~IconvConverter() = default;

std::string IconvConverter::Convert(std::string_view utf8) const {
  const std::wstring wide = ToWide(utf8, charset_);
  if (wide.empty()) return {};
  const UINT codePage = CodePageOf(charset_);
  if (codePage == UTF16_LITTLE_ENDIAN) {
    return {reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(wchar_t)};
  }
  bool isMissing = false;
  std::string bytes = FromWide(wide, codePage, isMissing);
  if (isMissing) {
    throw WriteError("\"" + FirstMissing(wide, codePage) + "\" has no place in the character set " +
                     charset_);
  }
  return charset_ == EUC_JP ? ToEucJp(bytes) : bytes;
}

std::string IconvNameOf(unsigned codePage) {
  if (codePage == CP_UTF8) return "UTF-8";
  return "CP" + std::to_string(codePage);
}

}  // namespace nimport::jetwriter
