#ifndef NIMPORT_TEXT_SYSTEM_CHARSET_H_
#define NIMPORT_TEXT_SYSTEM_CHARSET_H_

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace nimport::text {

// A character set as the system knows it, and the one place where its converter is called: iconv
// (platform/posix/system_charset.cc), on Windows the code pages (platform/windows/). Not for use by
// two threads at once.
class SystemCharset {
 public:
  // `name` as iconv has it; Windows code pages are "CP" and the number, and "EUC-JP-MS" is known on
  // every system as far as its code pages go. Empty when the system does not know the set.
  [[nodiscard]] static std::optional<SystemCharset> Open(const std::string& name);

  SystemCharset(SystemCharset&& other) noexcept;
  SystemCharset& operator=(SystemCharset&& other) noexcept;
  ~SystemCharset();

  // `bytes` as UTF-16, each byte that the set cannot explain as `forDamage`.
  [[nodiscard]] std::u16string Decode(std::string_view bytes, char16_t forDamage);

  // `bytes` as UTF-16, or nothing when they are damaged.
  [[nodiscard]] std::optional<std::u16string> DecodeStrict(std::string_view bytes);

  // `text` in this set, ending in its initial state (ISO-2022-JP goes back to ASCII), or nothing
  // when it has a character that the set lacks. `missing` is then the place of the first such one.
  [[nodiscard]] std::optional<std::string> Encode(std::u16string_view text, std::size_t& missing);

 private:
  struct Converter;
  explicit SystemCharset(std::unique_ptr<Converter> converter);

  std::unique_ptr<Converter> converter_;
};

}  // namespace nimport::text

#endif  // NIMPORT_TEXT_SYSTEM_CHARSET_H_
