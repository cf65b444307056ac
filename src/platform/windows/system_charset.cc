#include "text/system_charset.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include <windows.h>

#include "text/ascii.h"
#include "text/code_page_932.h"
#include "text/utf16.h"

namespace nimport::text {
namespace {

// EUC with Microsoft's characters is no code page of the system. It is code page 932 at JIS's
// places, and JIS X 0212 is in code page 20932.
constexpr UINT EUC_JP_MS = 0xFFFF;
constexpr UINT JIS_X_0212 = 20932;
constexpr char SINGLE_SHIFT_2 = '\x8E';
constexpr char SINGLE_SHIFT_3 = '\x8F';

constexpr UINT UTF16_LITTLE_ENDIAN = 1200;

// Code pages that go by another name than "CP" and their number.
constexpr std::pair<std::string_view, UINT> NAMES[] = {{"utf-8", CP_UTF8},
                                                       {"utf-7", CP_UTF7},
                                                       {"utf-16le", UTF16_LITTLE_ENDIAN},
                                                       {"utf-16", UTF16_LITTLE_ENDIAN},
                                                       {"gbk", 936},
                                                       {"gb18030", 54936},
                                                       {"big5", 950},
                                                       {"euc-kr", 949},
                                                       {"iso-2022-kr", 50225},
                                                       {"hz", 52936},
                                                       {"koi8-r", 20866},
                                                       {"koi8-u", 21866},
                                                       {"tis-620", 874},
                                                       {"macintosh", 10000},
                                                       {"johab", 1361},
                                                       {"euc-jp-ms", EUC_JP_MS}};

// 0 for a name that stands for no code page.
UINT CodePageOf(std::string_view name) {
  const auto* const known = std::ranges::find_if(
      NAMES, [&](const auto& pair) { return text::EqualsIgnoringCase(pair.first, name); });
  if (known != std::end(NAMES)) return known->second;
  constexpr std::pair<std::string_view, UINT> NUMBERED[] = {
      {"cp", 0}, {"ibm", 0}, {"windows-", 0}, {"iso-8859-", 28590}};
  for (const auto& [prefix, base] : NUMBERED) {
    if (!text::StartsWithIgnoringCase(name, prefix)) continue;
    const char* const end = name.data() + name.size();
    UINT number = 0;
    const auto [next, error] = std::from_chars(name.data() + prefix.size(), end, number);
    if (error == std::errc() && next == end) return base + number;
  }
  return 0;
}

// Of these the system does not say what it could not convert.
bool IsLenient(UINT codePage) {
  return codePage == CP_UTF7 || (codePage >= 50220 && codePage <= 50229) || codePage == 52936;
}

std::optional<std::u16string> FromCodePage(UINT codePage, std::string_view bytes) {
  if (bytes.empty()) return std::u16string();
  std::wstring wide(bytes.size() * 2, L'\0');
  const int count = MultiByteToWideChar(codePage, IsLenient(codePage) ? 0 : MB_ERR_INVALID_CHARS,
                                        bytes.data(), static_cast<int>(bytes.size()), wide.data(),
                                        static_cast<int>(wide.size()));
  if (count == 0) return std::nullopt;
  return std::u16string(wide.begin(), wide.begin() + count);
}

std::optional<std::string> ToCodePage(UINT codePage, std::u16string_view text) {
  if (text.empty()) return std::string();
  const std::wstring wide(text.begin(), text.end());
  std::string bytes(text.size() * 8, '\0');
  // These report missing characters by failing, the others by a flag.
  const bool fails = codePage == CP_UTF8 || codePage == 54936;
  const bool hasFlag = !fails && !IsLenient(codePage);
  BOOL isMissing = FALSE;
  const int count =
      WideCharToMultiByte(codePage,
                          fails     ? WC_ERR_INVALID_CHARS
                          : hasFlag ? WC_NO_BEST_FIT_CHARS
                                    : 0,
                          wide.data(), static_cast<int>(wide.size()), bytes.data(),
                          static_cast<int>(bytes.size()), nullptr, hasFlag ? &isMissing : nullptr);
  if (count == 0 || isMissing != FALSE) return std::nullopt;
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

// One character of EUC-JP-MS.
std::optional<std::u16string> FromEucCharacter(std::string_view bytes) {
  const auto second = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (bytes.size() == 1 && IsAscii(bytes))
    return std::u16string(1, static_cast<char16_t>(bytes[0]));
  if (bytes.size() == 2 && bytes[0] == SINGLE_SHIFT_2) return FromCodePage(932, bytes.substr(1));
  if (bytes.size() == 3 && bytes[0] == SINGLE_SHIFT_3 && second(1) >= 0xA1 && second(2) >= 0xA1) {
    const char plane2[] = {bytes[1], static_cast<char>(bytes[2] & 0x7F)};
    return FromCodePage(JIS_X_0212, {plane2, sizeof plane2});
  }
  if (bytes.size() != 2 || second(0) < 0xA1 || second(1) < 0xA1) return std::nullopt;
  const unsigned cell = (second(0) - 0xA1u) * 94 + second(1) - 0xA1u;
  const unsigned lead = cell / 188;
  const unsigned trail = cell % 188;
  const char pair[] = {static_cast<char>(lead + (lead < 31 ? 0x81 : 0xC1)),
                       static_cast<char>(trail + (trail < 63 ? 0x40 : 0x41))};
  return FromCodePage(932, {pair, sizeof pair});
}

// One character in EUC-JP-MS.
std::optional<std::string> ToEucCharacter(std::u16string_view character) {
  const std::optional<std::string> bytes = ToCodePage(932, character);
  if (!bytes || (bytes->size() == 1 && IsAscii(*bytes))) return bytes;
  if (bytes->size() == 1) return SINGLE_SHIFT_2 + *bytes;
  const unsigned lead = static_cast<unsigned char>((*bytes)[0]);
  const unsigned trail = static_cast<unsigned char>((*bytes)[1]);
  const unsigned cell =
      (lead - (lead < 0xA0 ? 0x81u : 0xC1u)) * 188 + trail - (trail < 0x80 ? 0x40u : 0x41u);
  if (cell >= 94 * 94) return std::nullopt;
  return std::string{static_cast<char>(0xA1 + cell / 94), static_cast<char>(0xA1 + cell % 94)};
}

}  // namespace

struct SystemCharset::Converter {
  UINT codePage;

  // One character, or any text where the system says what is wrong with it.
  [[nodiscard]] std::optional<std::u16string> Decode(std::string_view bytes) const {
    if (codePage == EUC_JP_MS) return FromEucCharacter(bytes);
    if (codePage != UTF16_LITTLE_ENDIAN) return FromCodePage(codePage, bytes);
    if (bytes.size() % 2 != 0) return std::nullopt;
    return Utf16FromLittleEndian(bytes);
  }

  [[nodiscard]] std::optional<std::string> Encode(std::u16string_view text) const {
    if (codePage == EUC_JP_MS) return ToEucCharacter(text);
    if (codePage != UTF16_LITTLE_ENDIAN) return ToCodePage(codePage, text);
    return LittleEndianFromUtf16(text);
  }

  // Takes the character at the front of `bytes`, of at most four bytes; empty where there is none.
  std::optional<std::u16string> TakeCharacter(std::string_view& bytes) const {
    for (std::size_t size = 1; size <= std::min<std::size_t>(4, bytes.size()); ++size) {
      if (auto character = Decode(bytes.substr(0, size))) {
        bytes.remove_prefix(size);
        return character;
      }
    }
    return std::nullopt;
  }
};

std::optional<SystemCharset> SystemCharset::Open(const std::string& name) {
  const UINT codePage = CodePageOf(name);
  const bool isOwn = codePage == EUC_JP_MS || codePage == UTF16_LITTLE_ENDIAN;
  if (codePage == 0 || (!isOwn && IsValidCodePage(codePage) == FALSE)) return std::nullopt;
  return SystemCharset(std::make_unique<Converter>(codePage));
}

SystemCharset::SystemCharset(std::unique_ptr<Converter> converter)
    : converter_(std::move(converter)) {}
SystemCharset::SystemCharset(SystemCharset&&) noexcept = default;
SystemCharset& SystemCharset::operator=(SystemCharset&&) noexcept = default;
SystemCharset::~SystemCharset() = default;

std::u16string SystemCharset::Decode(std::string_view bytes, char16_t forDamage) {
  if (auto whole = DecodeStrict(bytes)) return *std::move(whole);
  std::u16string text;
  while (!bytes.empty()) {
    if (const auto character = converter_->TakeCharacter(bytes)) {
      text += *character;
    } else {
      text += forDamage;
      bytes.remove_prefix(1);
    }
  }
  return text;
}

std::optional<std::u16string> SystemCharset::DecodeStrict(std::string_view bytes) {
  if (converter_->codePage != EUC_JP_MS) return converter_->Decode(bytes);
  std::u16string text;
  while (!bytes.empty()) {
    const auto character = converter_->TakeCharacter(bytes);
    if (!character) return std::nullopt;
    text += *character;
  }
  return text;
}

std::optional<std::string> SystemCharset::Encode(std::u16string_view text, std::size_t& missing) {
  if (converter_->codePage != EUC_JP_MS) {
    if (auto whole = converter_->Encode(text)) return whole;
  }
  std::string bytes;
  for (std::size_t i = 0; i < text.size();) {
    const std::size_t units = UnitsOfCharacter(text, i);
    const auto character = converter_->Encode(text.substr(i, units));
    if (!character) {
      missing = i;
      return std::nullopt;
    }
    bytes += *character;
    i += units;
  }
  return bytes;
}

}  // namespace nimport::text
