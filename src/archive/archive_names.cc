#include "archive/archive_names.h"

#include "archive/account.h"
#include "archive/contacts/write_contacts.h"
#include "archive/mail_index.h"

namespace nimport::archive {

ArchiveNames::ArchiveNames() {
  for (const char* name : {ACCOUNT_NAME, CONTACTS_FILE_NAME, INDEX_CSV_NAME, INDEX_JSON_NAME})
    static_cast<void>(taken_.Take(name));
}

std::filesystem::path ArchiveNames::TakeCabinet(std::string_view name) {
  return cabinets_.emplace_back(taken_.Take(ToSafeName(name)));
}

}  // namespace nimport::archive
