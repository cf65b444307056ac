#include <array>

#include <windows.h>

#include "text/code_page_table.h"

namespace nimport::platform {
namespace {

// A code page as the system's functions know it.
class SystemCodePage final : public CodePageSource {
 public:
  explicit SystemCodePage(unsigned number) : number_(number) {}

  std::optional<char16_t> Decode(std::string_view character) override {
    std::array<wchar_t, 4> units{};
    const int count = MultiByteToWideChar(number_, MB_ERR_INVALID_CHARS, character.data(),
                                          static_cast<int>(character.size()), units.data(),
                                          static_cast<int>(units.size()));
    if (count != 1) return std::nullopt;
    return static_cast<char16_t>(units[0]);
  }

  std::string Encode(char16_t unit) override {
    const auto wide = static_cast<wchar_t>(unit);
    std::array<char, 4> bytes{};
    BOOL isMissing = FALSE;
    const int count = WideCharToMultiByte(number_, WC_NO_BEST_FIT_CHARS, &wide, 1, bytes.data(),
                                          static_cast<int>(bytes.size()), nullptr, &isMissing);
    if (count < 1 || count > 2 || isMissing != FALSE) return {};
    return {bytes.data(), static_cast<std::size_t>(count)};
  }

 private:
  unsigned number_;
};

}  // namespace

std::unique_ptr<CodePageSource> OpenCodePage(const CodePageForm& form) {
  return std::make_unique<SystemCodePage>(form.number);
}

}  // namespace nimport::platform
