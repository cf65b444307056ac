#include "platform/windows/windows_registry.h"

#include <windows.h>

#include "platform/windows/wide_text.h"
#include "text/code_page_932.h"

namespace nimport::platform::windows {
namespace {

// What a caller's buffer of 520 bytes holds besides the terminator.
constexpr std::size_t MAX_VALUE_BYTES = 519;

// Enough for any value of that size, as text of whatever encoding, and its terminator.
constexpr std::size_t BUFFER_BYTES = 2048;

[[noreturn]] void RefuseLong(const std::string& valueName) {
  throw UnusableValue("the registry's value \"" + valueName + "\" takes more than 519 bytes");
}

// An open key of the registry.
class Key {
 public:
  Key(RegistryHive hive, const std::wstring& path) {
    const HKEY root = hive == RegistryHive::LocalMachine ? HKEY_LOCAL_MACHINE : HKEY_CURRENT_USER;
    // The mail client is a 32-bit program.
    constexpr REGSAM ACCESS = KEY_QUERY_VALUE | KEY_WOW64_32KEY;
    if (RegOpenKeyExW(root, path.c_str(), 0, ACCESS, &key_) != ERROR_SUCCESS) key_ = nullptr;
  }
  ~Key() {
    if (key_ != nullptr) RegCloseKey(key_);
  }
  Key(const Key&) = delete;
  Key& operator=(const Key&) = delete;

  // The value's bytes; empty when it is absent. Throws UnusableValue when it is longer than any
  // that can be used.
  [[nodiscard]] std::optional<std::string> Read(const std::wstring& name, DWORD& type) const {
    if (key_ == nullptr) return std::nullopt;
    std::string bytes(BUFFER_BYTES, '\0');
    auto size = static_cast<DWORD>(bytes.size());
    const LSTATUS status = RegQueryValueExW(key_, name.c_str(), nullptr, &type,
                                            reinterpret_cast<BYTE*>(bytes.data()), &size);
    if (status == ERROR_MORE_DATA) RefuseLong(Utf8FromWide(name));
    if (status != ERROR_SUCCESS) return std::nullopt;
    bytes.resize(size);
    return bytes;
  }

 private:
  HKEY key_ = nullptr;
};

std::u16string UnitsOf(std::string_view bytes) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    units += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                   static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  return units;
}

bool IsText(DWORD type) {
  return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

}  // namespace

std::optional<std::string> WindowsRegistry::ReadString(RegistryHive hive, std::string_view key,
                                                       std::string_view valueName) const {
  if (settings_("NIMPORT_REGISTRY")) return files_.ReadString(hive, key, valueName);
  const Key open(hive, ToWide(text_.ToUtf16(key, text::CODE_PAGE_JAPANESE)));
  DWORD type = REG_NONE;
  const std::optional<std::string> bytes =
      open.Read(ToWide(text_.ToUtf16(valueName, text::CODE_PAGE_JAPANESE)), type);
  if (!bytes) return std::nullopt;
  std::string value =
      IsText(type) ? text_.FromUtf16(UnitsOf(*bytes), text::CODE_PAGE_JAPANESE) : *bytes;
  if (value.ends_with('\0')) value.pop_back();
  if (value.size() > MAX_VALUE_BYTES) RefuseLong(std::string(valueName));
  return std::string(text::UpToNul(value));
}

}  // namespace nimport::platform::windows
