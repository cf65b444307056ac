#include "platform/settings.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace nimport::platform {
namespace {

constexpr char ToUpper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c;
}

}  // namespace

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

std::optional<std::string> ReadDrive(const Settings& settings, char letter) {
  const std::optional<std::string> drives = settings("NIMPORT_DRIVES");
  std::string_view list = drives ? std::string_view(*drives) : std::string_view();
  while (!list.empty()) {
    const std::string_view entry = list.substr(0, list.find(';'));
    list.remove_prefix(std::min(list.size(), entry.size() + 1));
    const std::size_t equals = entry.find('=');
    const std::string_view name = entry.substr(0, equals);
    const bool isLetter = name.size() == 1 || (name.size() == 2 && name[1] == ':');
    if (equals == std::string_view::npos || !isLetter || ToUpper(name[0]) != letter) continue;
    if (equals + 1 < entry.size()) return std::string(entry.substr(equals + 1));
  }
  return std::nullopt;
}

}  // namespace nimport::platform
