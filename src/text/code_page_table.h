// A code page as tables, so that a conversion is a look-up. The tables are filled from the system's
// knowledge of the code page; what damage is, and what becomes of it, is settled here.
#ifndef NIMPORT_TEXT_CODE_PAGE_TABLE_H_
#define NIMPORT_TEXT_CODE_PAGE_TABLE_H_

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nimport::platform {

// How the bytes of a code page group into characters.
struct CodePageForm {
  struct Range {
    unsigned char first = 1;
    unsigned char last = 0;
  };

  unsigned number = 0;           // Windows code page
  const char* iconvName = "";    // what iconv calls it
  std::array<Range, 2> leads{};  // bytes that begin a double-byte character; empty ranges if none
  char16_t damaged = u'\uFFFD';  // stands for a damaged sequence

  [[nodiscard]] constexpr bool IsLead(unsigned char byte) const {
    for (const Range& range : leads) {
      if (byte >= range.first && byte <= range.last) return true;
    }
    return false;
  }
  [[nodiscard]] constexpr bool IsDoubleByte() const { return leads[0].first <= leads[0].last; }
};

// The form of a code page; that of CODE_PAGE_WESTERN where the number is unknown. Not for UTF-8.
[[nodiscard]] const CodePageForm& FindCodePageForm(unsigned codePage);

// The system's answers about one code page.
class CodePageSource {
 public:
  virtual ~CodePageSource() = default;
  // The UTF-16 unit of a character of one or two bytes; empty when there is none.
  virtual std::optional<char16_t> Decode(std::string_view character) = 0;
  // The one or two bytes of a UTF-16 unit; empty when it has no counterpart.
  virtual std::string Encode(char16_t unit) = 0;
};

// Provided by each system's folder. A code page that the system lacks has no characters.
[[nodiscard]] std::unique_ptr<CodePageSource> OpenCodePage(const CodePageForm& form);

// Unchanging after construction and thus safe to share between threads.
class CodePageTable {
 public:
  CodePageTable(const CodePageForm& form, CodePageSource& source);

  // As TextConverter::FromUtf16.
  [[nodiscard]] std::string FromUtf16(std::u16string_view text) const;

  // As TextConverter::ToUtf16; sets `isDamaged` when something was replaced. A lead byte takes the
  // byte behind it along only where that can be a second byte, so that damage never swallows a line
  // end or a NUL.
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, bool& isDamaged) const;

 private:
  void AddSingles(CodePageSource& source);
  void AddPairs(CodePageSource& source);
  void AddOneWayCharacters();
  void Add(unsigned code, char16_t unit, CodePageSource& source);
  [[nodiscard]] char* Write(std::u16string_view text, char* out) const;

  // One or two bytes. No character's second byte is zero.
  struct Encoded {
    char bytes[2] = {0, 0};

    static Encoded FromCode(unsigned code) {
      if (code <= 0xFF) return {{static_cast<char>(code), 0}};
      return {{static_cast<char>(code >> 8), static_cast<char>(code)}};
    }
    static Encoded FromBytes(std::string_view character) {
      return {{character[0], character.size() > 1 ? character[1] : '\0'}};
    }
    [[nodiscard]] std::size_t Size() const { return bytes[1] != 0 ? 2 : 1; }
    [[nodiscard]] bool IsMissing() const { return bytes[0] == 0; }
  };

  const CodePageForm& form_;
  std::array<char16_t, 256> singles_;  // NO_CHARACTER for lead and undefined bytes
  std::vector<char16_t> pairs_;        // by first byte * 256 + second byte
  std::vector<Encoded> encoded_;       // by UTF-16 unit
};

// UTF-8, for which no table is needed. Unpaired surrogates become '?'.
[[nodiscard]] std::string Utf8FromUtf16(std::u16string_view text);
// Sets `isDamaged` when something was replaced by U+FFFD.
[[nodiscard]] std::u16string Utf16FromUtf8(std::string_view bytes, bool& isDamaged);

}  // namespace nimport::platform

#endif  // NIMPORT_TEXT_CODE_PAGE_TABLE_H_
