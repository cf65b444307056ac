#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/zone_clock.h"
#include "text/ascii.h"

namespace nimport::platform {
namespace {

// Names lead to files beneath the database alone.
bool IsZoneName(std::string_view name) {
  const auto isLawful = [](char c) {
    return text::IsAsciiLetterOrDigit(c) || c == '/' || c == '_' || c == '+' || c == '-';
  };
  return !name.empty() && name.front() != '/' && std::ranges::all_of(name, isLawful);
}

}  // namespace

std::optional<std::string> ReadZoneFile(const std::string& zoneName) {
  if (!IsZoneName(zoneName)) return std::nullopt;
  constexpr std::array<const char*, 3> DIRECTORIES = {"/usr/share/zoneinfo/", "/usr/lib/zoneinfo/",
                                                      "/usr/share/lib/zoneinfo/"};
  for (const char* directory : DIRECTORIES) {
    const std::filesystem::path path = directory + zoneName;
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) continue;
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
  }
  return std::nullopt;
}

}  // namespace nimport::platform
