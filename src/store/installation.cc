#include "store/installation.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string>

#include "common/failure.h"
#include "common/file_error.h"

namespace nimport::store {
namespace {

using platform::RegistryHive;

constexpr int PLATFORM_WINDOWS_95 = 1;
constexpr int PLATFORM_NT = 2;
constexpr double OLDEST_USABLE_VERSION = 5.0;

RegistryHive DirectoryHive(const platform::Platform& platform) {
  const std::optional<int> id = platform.PlatformId();
  if (id == PLATFORM_WINDOWS_95) return RegistryHive::CurrentUser;
  if (id == PLATFORM_NT) return RegistryHive::LocalMachine;
  FailInvalid("unknown platform family");
}

std::string ReadRegistryString(const platform::Platform& platform, RegistryHive hive,
                               std::string_view key, std::string_view valueName) {
  try {
    const std::optional<std::string> value = platform.registry().ReadString(hive, key, valueName);
    if (value) return *value;
  } catch (const platform::UnusableValue& error) {
    FailInvalid(error.what());
  }
  FailInvalid("the registry has no value \"" + std::string(valueName) + "\" under \"" +
              std::string(key) + "\"");
}

// The decimal number at the beginning of a version text, 0 where there is none: "5, 1, 0, 2" is 5.
// Unlike strtod it does not depend on the host's locale.
double LeadingNumber(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t\r\n\v\f");
  if (start == std::string_view::npos) return 0;
  text.remove_prefix(start);
  if (text.starts_with('+')) text.remove_prefix(1);
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && std::isfinite(number) ? number : 0;
}

void CheckMailerVersion(platform::Platform& platform, const std::string& path) {
  const std::string name = platform.files().NativeName(path);
  const std::optional<std::string> version = platform.files().ReadFileVersion(path);
  if (!version) FailInvalid("no file version in " + name);
  if (LeadingNumber(*version) < OLDEST_USABLE_VERSION) {
    FailInvalid(name + " has version " + *version + ", which is too old");
  }
}

}  // namespace

void CheckInstallation(platform::Platform& platform) {
  const RegistryHive hive = DirectoryHive(platform);
  const std::string directory = ReadRegistryString(platform, hive, DIRECTORY_KEY, "BinDir");
  const std::string path = directory + "\\Winnim.exe";
  try {
    platform.files().RequireExists(path);
  } catch (const FileMissing& error) {
    FailInvalid(error.Explain("executable"));
  }
  CheckMailerVersion(platform, path);
}

text::PathText FindDatabaseDirectory(const platform::Platform& platform) {
  const RegistryHive hive = DirectoryHive(platform);
  const auto directory = text::PathText::Fit(
      ReadRegistryString(platform, hive, DIRECTORY_KEY, DATABASE_DIRECTORY_VALUE));
  if (!directory) FailInvalid("the database directory's path is too long");
  return *directory;
}

text::AccountText FindMemberId(const platform::Platform& platform) {
  const auto member = text::AccountText::Fit(
      ReadRegistryString(platform, RegistryHive::CurrentUser, SESSION_KEY, MEMBER_ID_VALUE));
  if (!member) FailInvalid("the member ID is too long");
  return *member;
}

text::PathText RequireDatabase(platform::Platform& platform, const text::PathText& directory,
                               std::string_view databaseFile) {
  const auto path = text::PathText::Fit(directory.str() + std::string(databaseFile));
  if (!path) FailInvalid("the database's path is too long");
  try {
    platform.files().RequireExists(path->str());
  } catch (const FileMissing& error) {
    FailInvalid(error.Explain("database"));
  }
  return *path;
}

}  // namespace nimport::store
