#include <algorithm>
#include <bit>

#include <iconv.h>

#include "text/code_page_table.h"

namespace nimport::platform {
namespace {

constexpr const char* UTF16_NAME =
    std::endian::native == std::endian::little ? "UTF-16LE" : "UTF-16BE";

// One direction of iconv. Without the code page it converts nothing.
class IconvHandle {
 public:
  IconvHandle(const char* to, const char* from) : handle_(iconv_open(to, from)) {}
  ~IconvHandle() {
    if (IsOpen()) iconv_close(handle_);
  }
  IconvHandle(const IconvHandle&) = delete;
  IconvHandle& operator=(const IconvHandle&) = delete;

  // The whole of `in` converted, or nothing.
  [[nodiscard]] std::string Convert(std::string_view in) {
    if (!IsOpen()) return {};
    char out[16];
    char* from = const_cast<char*>(in.data());
    char* to = out;
    std::size_t fromLeft = in.size();
    std::size_t toLeft = sizeof out;
    iconv(handle_, nullptr, nullptr, nullptr, nullptr);
    constexpr auto FAILED = static_cast<std::size_t>(-1);
    if (iconv(handle_, &from, &fromLeft, &to, &toLeft) == FAILED || fromLeft != 0) return {};
    // Some code pages hold a letter back until it is clear that no accent follows.
    iconv(handle_, nullptr, nullptr, &to, &toLeft);
    return {out, sizeof out - toLeft};
  }

 private:
  [[nodiscard]] bool IsOpen() const { return handle_ != reinterpret_cast<iconv_t>(-1); }
  iconv_t handle_;
};

class IconvSource final : public CodePageSource {
 public:
  explicit IconvSource(const CodePageForm& form)
      : decoder_(UTF16_NAME, form.iconvName), encoder_(form.iconvName, UTF16_NAME) {}

  std::optional<char16_t> Decode(std::string_view character) override {
    const std::string utf16 = decoder_.Convert(character);
    if (utf16.size() != sizeof(char16_t)) return std::nullopt;
    char16_t unit = 0;
    std::copy(utf16.begin(), utf16.end(), reinterpret_cast<char*>(&unit));
    return unit;
  }

  std::string Encode(char16_t unit) override {
    const std::string bytes = encoder_.Convert({reinterpret_cast<const char*>(&unit), sizeof unit});
    return bytes.size() <= 2 ? bytes : std::string();
  }

 private:
  IconvHandle decoder_;
  IconvHandle encoder_;
};

}  // namespace

std::unique_ptr<CodePageSource> OpenCodePage(const CodePageForm& form) {
  return std::make_unique<IconvSource>(form);
}

}  // namespace nimport::platform
