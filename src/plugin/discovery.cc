#include "plugin/discovery.h"

#include <charconv>
#include <cmath>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "common/failure.h"
#include "common/file_error.h"
#include "jet/database_error.h"
#include "store/addressbook/address_table.h"
#include "store/known_objects.h"

namespace nimport {
namespace {

using platform::RegistryHive;

constexpr int PLATFORM_WINDOWS_95 = 1;
constexpr int PLATFORM_NT = 2;
constexpr std::string_view DIRECTORY_KEY = "Software\\NIFTY\\NIFTY Manager\\Directory";
constexpr std::string_view SESSION_KEY = "Software\\NIFTY\\NIFTY Manager\\Session";
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

void OpenDatabaseFile(MailerContext& context, const std::string& path, jet::KnownObjects known) {
  const std::string name = context.platform.files().NativeName(path);
  try {
    context.platform.files().RequireExists(path);
    context.database =
        std::make_unique<platform::SessionDatabase>(context.platform, path, std::move(known));
  } catch (const FileMissing& error) {
    FailInvalid("no database " + error.description());
  } catch (const FileError& error) {
    FailDatabase(error.what());
  } catch (const jet::DatabaseError& error) {
    FailDatabase(error.what());
  } catch (const std::bad_alloc&) {
    FailDatabase("no memory to open " + name);
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
    FailInvalid("no executable " + error.description());
  }
  CheckMailerVersion(platform, path);
}

text::PathText FindDatabaseDirectory(const platform::Platform& platform) {
  const RegistryHive hive = DirectoryHive(platform);
  const auto directory =
      text::PathText::Fit(ReadRegistryString(platform, hive, DIRECTORY_KEY, "DatabaseDir"));
  if (!directory) FailInvalid("the database directory's path is too long");
  return *directory;
}

void DiscoverInstallation(MailerContext& context, SessionMode mode) {
  platform::Platform& platform = context.platform;
  context.databaseDir = FindDatabaseDirectory(platform);
  const auto account = text::AccountText::Fit(
      ReadRegistryString(platform, RegistryHive::CurrentUser, SESSION_KEY, "ID1"));
  if (!account) FailInvalid("the member ID is too long");
  context.accountId = *account;
  const char* database =
      mode == SessionMode::AddressBook ? "\\Abook.mdb" : mailstore::MAIL_DATABASE_FILE;
  const auto path = text::PathText::Fit(context.databaseDir.str() + database);
  if (!path) FailInvalid("the database's path is too long");
  OpenDatabaseFile(context, path->str(),
                   mode == SessionMode::AddressBook ? addressbook::KnownAddressObjects()
                                                    : mailstore::KnownMailObjects());
}

}  // namespace nimport
