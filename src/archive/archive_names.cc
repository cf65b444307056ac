#include "archive/archive_names.h"

#include "archive/account.h"
#include "archive/contacts/write_contacts.h"
#include "archive/mail_index.h"
#include "common/utf8_path.h"

namespace nimport::archive {

ArchiveNames::ArchiveNames(int storeNumber, KnownDirectories known,
                           const std::vector<std::string>& taken)
    : storeNumber_(storeNumber), known_(std::move(known)) {
  for (const char* name : {ACCOUNT_NAME, CONTACTS_FILE_NAME, INDEX_CSV_NAME, INDEX_JSON_NAME})
    static_cast<void>(taken_.Take(FileName(name)));
  for (const std::string& name : taken)
    static_cast<void>(taken_.Take(name));
  for (const auto& [name, directory] : known_)
    static_cast<void>(taken_.Take(directory));
}

std::filesystem::path ArchiveNames::TakeCabinet(std::string_view name) {
  const std::string wanted = Numbered(ToSafeName(name));
  const std::pair key(wanted, ++counts_[wanted]);
  auto found = known_.find(key);
  if (found == known_.end()) found = known_.emplace(key, taken_.Take(wanted)).first;
  return cabinets_.emplace_back(PathFromUtf8(found->second));
}

std::string ArchiveNames::Numbered(const std::string& name) const {
  return storeNumber_ == 1 ? name : name + " (" + std::to_string(storeNumber_) + ')';
}

std::string ArchiveNames::FileName(const std::string& name) const {
  const std::size_t dot = name.rfind('.');
  return Numbered(name.substr(0, dot)) + name.substr(dot);
}

}  // namespace nimport::archive
