#include "platform/posix/text.h"

#include <algorithm>
#include <bit>
#include <map>
#include <memory>
#include <mutex>

#include <iconv.h>

#include "platform/code_page_table.h"

namespace nimport::platform::posix {
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

std::unique_ptr<const CodePageTable> MakeTable(const CodePageForm& form) {
  IconvSource source(form);
  return std::make_unique<const CodePageTable>(form, source);
}

// A table is made when it is first asked for and then kept: at most one per known code page.
const CodePageTable& TableOf(unsigned codePage) {
  if (codePage == CODE_PAGE_JAPANESE) {
    static const auto japanese = MakeTable(FindCodePageForm(CODE_PAGE_JAPANESE));
    return *japanese;
  }
  const CodePageForm& form = FindCodePageForm(codePage);
  static std::mutex mutex;
  static std::map<unsigned, std::unique_ptr<const CodePageTable>> tables;
  const std::lock_guard lock(mutex);
  std::unique_ptr<const CodePageTable>& table = tables[form.number];
  if (!table) table = MakeTable(form);
  return *table;
}

bool IsAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) { return (c & 0x80) == 0; });
}

std::u16string Decode(std::string_view bytes, unsigned codePage, bool& isDamaged) {
  // Every code page here begins with ASCII.
  if (IsAscii(bytes)) return {bytes.begin(), bytes.end()};
  if (codePage == CODE_PAGE_UTF8) return Utf16FromUtf8(bytes, isDamaged);
  return TableOf(codePage).ToUtf16(bytes, isDamaged);
}

}  // namespace

std::string SystemText::FromUtf16(std::u16string_view text, unsigned codePage) const {
  const bool isAscii =
      std::all_of(text.begin(), text.end(), [](char16_t unit) { return unit < 0x80; });
  if (isAscii) {
    std::string result(text.size(), '\0');
    std::transform(text.begin(), text.end(), result.begin(),
                   [](char16_t unit) { return static_cast<char>(unit); });
    return result;
  }
  if (codePage == CODE_PAGE_UTF8) return Utf8FromUtf16(text);
  return TableOf(codePage).FromUtf16(text);
}

std::u16string SystemText::ToUtf16(std::string_view bytes, unsigned codePage) const {
  bool isDamaged = false;
  return Decode(bytes, codePage, isDamaged);
}

std::optional<std::u16string> SystemText::ToUtf16Strict(std::string_view bytes,
                                                        unsigned codePage) const {
  bool isDamaged = false;
  std::u16string text = Decode(bytes, codePage, isDamaged);
  if (isDamaged) return std::nullopt;
  return text;
}

}  // namespace nimport::platform::posix
