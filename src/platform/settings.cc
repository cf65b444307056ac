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

std::vector<std::pair<char, std::string>> ReadDrives(const Settings& settings) {
  const std::optional<std::string> setting = settings("NIMPORT_DRIVES");
  std::string_view list = setting ? std::string_view(*setting) : std::string_view();
  std::vector<std::pair<char, std::string>> drives;
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(';'));
    list.remove_prefix(std::min(list.size(), entry.size() + 1));
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
