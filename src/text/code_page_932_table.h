// Code page 932 as Microsoft maps it, in both directions.
#ifndef NIMPORT_TEXT_CODE_PAGE_932_TABLE_H_
#define NIMPORT_TEXT_CODE_PAGE_932_TABLE_H_

#include <cstdint>
#include <string_view>
#include <vector>

namespace nimport::mime {

// A character in code page 932: a single byte, or lead byte * 256 + trail byte; 0 stands for none.
using Code932 = std::uint16_t;

// Built once from the system's converter. What the code page holds twice has one preferred code:
// that of JIS X 0208, else that of NEC's row 13, else that among IBM's extensions.
class CodePage932Table {
 public:
  // Safe in any thread. Throws std::runtime_error when the system has no converter for the code
  // page.
  [[nodiscard]] static const CodePage932Table& Get();

  // The preferred code of a character of the basic plane. The characters that JIS tables and
  // Microsoft's map differently (wave dash, minus sign, ...) have one code under either mapping.
  [[nodiscard]] Code932 FromUnicode(char16_t character) const { return fromUnicode_[character]; }

  // The preferred code of the character at a double-byte code; 0 when none is assigned there.
  [[nodiscard]] Code932 Preferred(Code932 code) const { return preferred_[code]; }

 private:
  CodePage932Table();
  void AddRange(Code932 first, Code932 last);
  void AddSingleBytes();
  void AddUserDefined();

  std::vector<Code932> fromUnicode_;
  std::vector<Code932> preferred_;
};

}  // namespace nimport::mime

#endif  // NIMPORT_TEXT_CODE_PAGE_932_TABLE_H_
