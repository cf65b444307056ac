// A code page as tables, so that a conversion is a look-up. The tables are filled from the system's
// knowledge of the code page; what damage is, and what becomes of it, is settled here.
#ifndef NIMPORT_TEXT_CODE_PAGE_TABLE_H_
#define NIMPORT_TEXT_CODE_PAGE_TABLE_H_

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "text/system_charset.h"

namespace nimport::text {

// How the bytes of a code page group into characters.
struct CodePageForm;

// Unchanging after construction and thus safe to share between threads.
class CodePageTable {
 public:
  // The table of a code page, of CODE_PAGE_WESTERN where the number is unknown; not for UTF-8. It
  // is made when it is first asked for and then kept: at most one per known code page. Safe in any
  // thread.
  [[nodiscard]] static const CodePageTable& Of(unsigned codePage);

  // `charset` is null where the system lacks the code page, which then has no characters.
  CodePageTable(const CodePageForm& form, SystemCharset* charset);

  // As CodePageConverter::FromUtf16.
  [[nodiscard]] std::string FromUtf16(std::u16string_view text) const;

  // As CodePageConverter::ToUtf16; sets `isDamaged` when something was replaced. A lead byte takes
  // the byte after it along only where that can be a second byte, so that damage never swallows a
  // line end or a NUL.
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, bool& isDamaged) const;
  [[nodiscard]] std::u16string ToUtf16(std::string_view bytes, bool& isDamaged,
                                       char16_t forDamage) const;

  // The code of a UTF-16 unit: one byte, or first byte * 256 + second byte; 0 when it has none.
  [[nodiscard]] std::uint16_t CodeOf(char16_t unit) const;

  // The code that is written for the character at a double-byte code: another one where the code
  // page holds the character twice, 0 when none is there.
  [[nodiscard]] std::uint16_t PreferredCode(std::uint16_t pair) const;

 private:
  void AddSingles(SystemCharset& charset);
  void AddPairs(SystemCharset& charset);
  void AddOneWayCharacters();
  void Add(unsigned code, char16_t unit, SystemCharset& charset);
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

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_CODE_PAGE_TABLE_H_
