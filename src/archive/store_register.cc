#include "archive/store_register.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "archive/account.h"
#include "archive/new_file.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

std::string ReadAll(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

ordered_json ToJson(const StoreSample& sample, const KnownDirectories& directories) {
  ordered_json json = {{"mails", ordered_json::object()},
                       {"contacts", sample.contacts},
                       {"directories", ordered_json::array()}};
  for (const auto& [number, key] : sample.mails)
    json["mails"][std::to_string(number)] = key;
  for (const auto& [name, directory] : directories) {
    json["directories"].push_back(
        {{"name", name.first}, {"number", name.second}, {"directory", directory}});
  }
  return json;
}

}  // namespace

StoreRegister::StoreRegister(fs::path directory) : directory_(std::move(directory)) {
  const fs::path path = directory_ / REGISTER_NAME;
  std::error_code error;
  if (!fs::exists(path, error)) {
    hasOldAccount_ = fs::exists(directory_ / ACCOUNT_NAME, error);
    return;
  }
  try {
    Read(ReadAll(path));
  } catch (const std::exception& failure) {
    throw std::runtime_error(PathToUtf8(path) + ": cannot be read: " + failure.what());
  }
}

void StoreRegister::Read(const std::string& json) {
  const ordered_json parsed = ordered_json::parse(json);
  for (const ordered_json& store : parsed.at("stores")) {
    Entry& entry = stores_.emplace_back();
    for (const auto& [number, key] : store.at("mails").items())
      entry.sample.mails.emplace(std::stoi(number), key.get<std::string>());
    for (const ordered_json& uid : store.at("contacts"))
      entry.sample.contacts.insert(uid.get<std::string>());
    for (const ordered_json& directory : store.at("directories")) {
      entry.directories.emplace(
          std::pair(directory.at("name").get<std::string>(), directory.at("number").get<int>()),
          directory.at("directory").get<std::string>());
    }
  }
}

StoreSample StoreRegister::KnownSample() const {
  StoreSample all;
  for (const Entry& store : stores_) {
    all.mails.insert(store.sample.mails.begin(), store.sample.mails.end());
    all.contacts.insert(store.sample.contacts.begin(), store.sample.contacts.end());
  }
  return all;
}

bool StoreRegister::FitsOldAccount(const std::vector<std::string>& folders) const {
  const std::set<std::string> present(folders.begin(), folders.end());
  try {
    const ordered_json account = ordered_json::parse(ReadAll(directory_ / ACCOUNT_NAME));
    return std::ranges::all_of(account.at("folders"), [&](const ordered_json& folder) {
      return present.contains(folder.at("folder").get<std::string>());
    });
  } catch (const std::exception&) {
    return false;  // somebody else's file
  }
}

void StoreRegister::Enter(const StoreSample& present, const std::vector<std::string>& folders,
                          bool isAdded) {
  if (hasOldAccount_) stores_.emplace_back();
  const auto isThis = [&](const Entry& store) {
    if (hasOldAccount_) return FitsOldAccount(folders);
    return store.sample.IsEmpty() || Compare(store.sample, present).IsSameStore();
  };
  const auto found = std::ranges::find_if(stores_, isThis);
  const bool isNew = found == stores_.end();
  entered_ = static_cast<std::size_t>(found - stores_.begin());
  if (isNew && !stores_.empty() && !isAdded) {
    throw std::runtime_error(PathToUtf8(directory_) +
                             " holds the export of another store: export this one to another "
                             "directory, or say --add to put it beside that one");
  }
  if (isNew) stores_.emplace_back();
  stores_[entered_].sample = WithoutOthers(present);
  std::vector<std::string> taken;
  for (std::size_t i = 0; i < stores_.size(); ++i) {
    if (i == entered_) continue;
    for (const auto& [name, directory] : stores_[i].directories)
      taken.push_back(directory);
  }
  if (hasOldAccount_ && entered_ != 0) {
    // What the old export has made is not known by name.
    for (const fs::directory_entry& entry : fs::directory_iterator(directory_))
      taken.push_back(PathToUtf8(entry.path().filename()));
  }
  names_ = ArchiveNames(static_cast<int>(entered_) + 1, stores_[entered_].directories, taken);
}

void StoreRegister::Save() {
  stores_[entered_].directories = names_.directories();
  ordered_json json = {{"stores", ordered_json::array()}};
  for (const Entry& store : stores_)
    json["stores"].push_back(ToJson(store.sample, store.directories));
  const platform::OutputDirectory directory(directory_);
  NewFile file(directory, std::string(REGISTER_NAME) + ".tmp");
  file.Write(json.dump(1, ' ', false, ordered_json::error_handler_t::replace) + '\n');
  file.PutInPlace(directory, REGISTER_NAME);
}

}  // namespace nimport::archive
