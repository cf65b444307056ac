#include "host/store_location.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include <stdlib.h>

#include "common/file_error.h"

namespace nimport::host {

namespace {

namespace fs = std::filesystem;

constexpr const char* REGISTRY_VARIABLE = "NIMPORT_REGISTRY";
constexpr const char* DRIVES_VARIABLE = "NIMPORT_DRIVES";
constexpr const char* CONFINE_VARIABLE = "NIMPORT_CONFINE";
constexpr const char* DEFAULT_MEMBER_ID = "MEMBER";

// A value as it stands between quotes in a registry file.
std::string Escaped(std::string_view value) {
  std::string out;
  for (const char character : value) {
    if (character == '\\' || character == '"') out += '\\';
    out += character;
  }
  return out;
}

// The settings that a session needs. The directory stands in both hives, since the platform family
// decides which one is asked.
std::string RegistryText(const std::string& databaseDirectory, const std::string& memberId) {
  constexpr const char* KEY = "Software\\NIFTY\\NIFTY Manager\\";
  std::string text = "Windows Registry Editor Version 5.00\r\n";
  if (!databaseDirectory.empty()) {
    for (const char* hive : {"HKEY_LOCAL_MACHINE\\", "HKEY_CURRENT_USER\\"}) {
      text += std::string("\r\n[") + hive + KEY + "Directory]\r\n";
      text += "\"DatabaseDir\"=\"" + Escaped(databaseDirectory) + "\"\r\n";
    }
  }
  text += std::string("\r\n[HKEY_CURRENT_USER\\") + KEY + "Session]\r\n";
  text += "\"ID1\"=\"" + Escaped(memberId) + "\"\r\n";
  return text;
}

// A letter that the map does not use; N, or else the next one that is free.
char FreeLetter(const DriveMap& drives) {
  const std::string_view candidates = "NOPQRSTUVWXYMLKJIHGFEDBA";
  const auto isFree = [&](char letter) { return !drives.contains(letter); };
  const auto found = std::find_if(candidates.begin(), candidates.end(), isFree);
  if (found == candidates.end()) throw std::runtime_error("no drive letter is free");
  return *found;
}

DriveMap DrivesOfEnvironment() {
  const char* text = secure_getenv(DRIVES_VARIABLE);
  return text == nullptr ? DriveMap() : ParseDriveMap(text);
}

std::string UsualRegistryFiles() {
  const char* files = secure_getenv(REGISTRY_VARIABLE);
  if (files != nullptr && *files != '\0') return files;
  const std::string prefix = WinePrefix().string();
  return prefix + "/system.reg:" + prefix + "/user.reg";
}

void RequireDirectory(const fs::path& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) {
    throw std::runtime_error(path.string() + ": no such directory");
  }
}

// A directory whose path can stand in both variables.
std::string RequireNoSeparator(const std::string& directory) {
  if (directory.find_first_of(":;") == std::string::npos) return directory;
  throw FileError(directory + ": its path contains ':' or ';'");
}

}  // namespace

StoreSettings::StoreSettings(const StoreLocation& location)
    : directories_(platform::EnvironmentSettings(), RequireNoSeparator) {
  DriveMap drives = DrivesOfEnvironment();
  for (const auto& [letter, directory] : location.drives) {
    RequireDirectory(directory);
    drives.insert_or_assign(letter, LinkIfNeeded(fs::absolute(directory), ';'));
  }
  std::string databaseDrive;
  if (!location.databaseDirectory.empty()) {
    RequireDirectory(location.databaseDirectory);
    const char letter = FreeLetter(drives);
    drives.emplace(letter, LinkIfNeeded(fs::absolute(location.databaseDirectory), ';'));
    databaseDrive = std::string(1, letter) + ':';
  }
  if (!drives.empty()) setenv(DRIVES_VARIABLE, ToText(drives).c_str(), 1);
  // Whatever paths a store holds, no file of this machine gets into an export.
  setenv(CONFINE_VARIABLE, "1", 1);
  SetRegistry(location, databaseDrive);
}

void StoreSettings::SetRegistry(const StoreLocation& location, const std::string& databaseDrive) {
  std::string files;
  if (!databaseDrive.empty() || !location.memberId.empty()) {
    const fs::path file = PrivateFile("settings.reg");
    const std::string& memberId = location.memberId;
    std::ofstream stream(file, std::ios::binary);
    stream << RegistryText(databaseDrive, memberId.empty() ? DEFAULT_MEMBER_ID : memberId);
    stream.close();
    if (!stream) throw FileError(file.string() + ": cannot be written");
    files = file.string();
  }
  for (const fs::path& file : location.registryFiles) {
    std::error_code error;
    if (!fs::is_regular_file(file, error)) {
      throw std::runtime_error(file.string() + ": no such file");
    }
    if (!files.empty()) files += ':';
    files += LinkIfNeeded(fs::absolute(file), ':').string();
  }
  if (files.empty()) return;
  // Only the member ID was given: everything else stays where the plug-in would look for it.
  if (databaseDrive.empty() && location.registryFiles.empty()) files += ':' + UsualRegistryFiles();
  setenv(REGISTRY_VARIABLE, files.c_str(), 1);
}

// The variables have no way to quote their separator, so a path that holds it goes by another name.
fs::path StoreSettings::LinkIfNeeded(const fs::path& target, char separator) {
  if (target.string().find(separator) == std::string::npos) return target;
  const fs::path link = PrivateFile("link" + std::to_string(linkCount_++));
  fs::create_symlink(target, link);
  return link;
}

fs::path StoreSettings::PrivateFile(const std::string& name) {
  if (privateDirectory_.empty()) privateDirectory_ = directories_.Make();
  std::string path = privateDirectory_ + '/' + name;
  directories_.List(path, name);
  return path;
}

std::vector<fs::path> RegistryFilesInUse() {
  std::vector<fs::path> files;
  std::istringstream names(UsualRegistryFiles());
  for (std::string name; std::getline(names, name, ':');) {
    if (!name.empty()) files.emplace_back(name);
  }
  return files;
}

}  // namespace nimport::host
