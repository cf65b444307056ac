// Character sets without iconv: by the system's code pages.
#include "jetwriter/iconv_converter.h"

#include <charconv>

#include <windows.h>

#include "jetwriter/write_error.h"

namespace nimport::jetwriter {
namespace {

// The code pages of the character sets that descriptions and tests name; 0 for others.
UINT CodePageOf(const std::string& charset) {
  if (charset == "UTF-8") return CP_UTF8;
  if (charset == "EUC-JP-MS") return 20932;
  if (charset == "iso-8859-1" || charset == "ISO-8859-1") return 28591;
  UINT number = 0;
  if (charset.starts_with("CP")) std::from_chars(&charset[2], &charset[charset.size()], number);
  return number;
}

std::wstring ToWide(std::string_view utf8) {
  if (utf8.empty()) return {};
  std::wstring wide(utf8.size(), L'\0');
  const int count =
      MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), static_cast<int>(utf8.size()),
                          wide.data(), static_cast<int>(wide.size()));
  if (count == 0) throw WriteError("the text is no UTF-8");
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
  if (IsValidCodePage(CodePageOf(charset)) == FALSE) {
    throw WriteError("there is no character set \"" + charset + "\"");
  }
}

IconvConverter::~IconvConverter() = default;

std::string IconvConverter::Convert(std::string_view utf8) const {
  const std::wstring wide = ToWide(utf8);
  if (wide.empty()) return {};
  const UINT codePage = CodePageOf(charset_);
  bool isMissing = false;
  std::string bytes = FromWide(wide, codePage, isMissing);
  if (isMissing) {
    throw WriteError("\"" + FirstMissing(wide, codePage) + "\" has no place in the character set " +
                     charset_);
  }
  return bytes;
}

std::string IconvNameOf(unsigned codePage) {
  if (codePage == CP_UTF8) return "UTF-8";
  return "CP" + std::to_string(codePage);
}

}  // namespace nimport::jetwriter
