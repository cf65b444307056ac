#include "platform/settings.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "text/ascii.h"

namespace nimport::platform {

std::optional<int> ReadPlatformId(const Settings& settings, std::optional<int> usual) {
  const std::optional<std::string> setting = settings("NIMPORT_PLATFORM_ID");
  if (!setting) return usual;
  int id = 0;
  const char* const end = setting->data() + setting->size();
  const auto [next, error] = std::from_chars(setting->data(), end, id);
  if (error != std::errc() || next != end) return std::nullopt;
  return id;
}

bool ReadIsSalvaging(const Settings& settings) {
  return settings("NIMPORT_SALVAGE") == "1";
}

bool ReadIsConfined(const Settings& settings) {
  return settings("NIMPORT_CONFINE") == "1";
}

std::vector<std::string_view> SplitList(std::string_view list, char separator) {
  if (list.starts_with('\0')) separator = '\0';
  std::vector<std::string_view> entries;
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(separator));
    list.remove_prefix(std::min(list.size(), entry.size() + 1));
    if (!entry.empty()) entries.push_back(entry);
  }
  return entries;
}

std::vector<std::pair<char, std::string>> ReadDrives(const Settings& settings) {
  const std::string list = settings("NIMPORT_DRIVES").value_or("");
  std::vector<std::pair<char, std::string>> drives;
  for (const std::string_view entry : SplitList(list, ';')) {
    const std::size_t equals = entry.find('=');
    const std::string_view name = entry.substr(0, equals);
    const bool isLetter = name.size() == 1 || (name.size() == 2 && name[1] == ':');
    if (equals == std::string_view::npos || !isLetter || equals + 1 == entry.size()) continue;
    drives.emplace_back(text::AsciiUpper(name[0]), entry.substr(equals + 1));
  }
  return drives;
}

std::optional<std::string> ReadDrive(const Settings& settings, char letter) {
  for (auto& [name, directory] : ReadDrives(settings)) {
    if (name == letter) return std::move(directory);
  }
  return std::nullopt;
}

}  // namespace nimport::platform
