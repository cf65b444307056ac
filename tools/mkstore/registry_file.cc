#include "mkstore/registry_file.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "jetwriter/text_encoder.h"
#include "mkstore/drives.h"

namespace nimport::mkstore {
namespace {

std::string EscapeBackslashes(std::string_view text, bool escapeQuotes) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\' || (escapeQuotes && c == '"')) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

std::string_view HiveName(RegistryHive hive) {
  return hive == RegistryHive::LocalMachine ? "HKEY_LOCAL_MACHINE" : "HKEY_CURRENT_USER";
}

// What the registry editor exports, in UTF-8.
std::string MakeExport(const std::vector<RegistryValue>& values, std::string_view title) {
  std::string text(title);
  text += "\r\n";
  std::string lastKey;
  for (const RegistryValue& value : values) {
    const std::string key = std::string(HiveName(value.hive)) + "\\" + value.key;
    if (key != lastKey) text += "\r\n[" + key + "]\r\n";
    lastKey = key;
    text += "\"" + EscapeBackslashes(value.name, true) + "\"=\"" +
            EscapeBackslashes(value.text, true) + "\"\r\n";
  }
  return text + "\r\n";
}

// Wine writes characters beyond ASCII by their UTF-16 numbers.
std::string EscapeForWine(const std::string& text, bool escapeQuotes) {
  const std::string utf16 = jetwriter::TextEncoder::ForUtf16().Encode(text);
  std::string escaped;
  for (std::size_t i = 0; i + 1 < utf16.size(); i += 2) {
    const unsigned unit = static_cast<unsigned char>(utf16[i]) |
                          static_cast<unsigned>(static_cast<unsigned char>(utf16[i + 1])) << 8;
    if (unit < 0x80) {
      escaped += EscapeBackslashes(std::string(1, static_cast<char>(unit)), escapeQuotes);
    } else {
      std::array<char, 8> number{};
      std::snprintf(number.data(), number.size(), "\\x%04x", unit);
      escaped += number.data();
    }
  }
  return escaped;
}

std::string MakeWineFile(const std::vector<RegistryValue>& values, RegistryHive hive) {
  const bool isSystem = hive == RegistryHive::LocalMachine;
  std::string text = "WINE REGISTRY Version 2\n;; All keys relative to ";
  text += isSystem ? "\\\\Machine" : "\\\\User\\\\S-1-5-21-0-0-0-1000";
  text += "\n\n#arch=win32\n";
  std::string lastKey;
  for (const RegistryValue& value : values) {
    if (value.hive != hive) continue;
    if (value.key != lastKey) {
      text += "\n[" + EscapeForWine(value.key, false) + "] 922950600\n#time=1be7c1b8a3a0000\n";
    }
    lastKey = value.key;
    text +=
        "\"" + EscapeForWine(value.name, true) + "\"=\"" + EscapeForWine(value.text, true) + "\"\n";
  }
  return text;
}

}  // namespace

std::vector<std::filesystem::path> WriteRegistry(const std::filesystem::path& folder,
                                                 const std::vector<RegistryValue>& values,
                                                 RegistryForm form, unsigned codePage) {
  if (form == RegistryForm::Wine) {
    WriteFile(folder / "system.reg", MakeWineFile(values, RegistryHive::LocalMachine));
    WriteFile(folder / "user.reg", MakeWineFile(values, RegistryHive::CurrentUser));
    return {folder / "system.reg", folder / "user.reg"};
  }
  std::string bytes;
  if (form == RegistryForm::Regedit4) {
    bytes = jetwriter::TextEncoder::ForCodePage(codePage).Encode(MakeExport(values, "REGEDIT4"));
  } else {
    bytes = MakeExport(values, "Windows Registry Editor Version 5.00");
  }
  if (form == RegistryForm::Unicode) {
    bytes = "\xFF\xFE" + jetwriter::TextEncoder::ForUtf16().Encode(bytes);
  }
  WriteFile(folder / "registry.reg", bytes);
  return {folder / "registry.reg"};
}

}  // namespace nimport::mkstore
