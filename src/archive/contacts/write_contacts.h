#ifndef NIMPORT_ARCHIVE_CONTACTS_WRITE_CONTACTS_H_
#define NIMPORT_ARCHIVE_CONTACTS_WRITE_CONTACTS_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include "archive/contacts/contact_writer.h"
#include "store/addressbook/address_book.h"

namespace nimport::archive {

// Writes the contacts of the whole book, group by group in the store's order. Stops early when the
// user asks for it. Returns the number of contacts written.
std::int64_t WriteContacts(const addressbook::AddressBook& book, ContactWriter& writer);

// Where an export puts the contacts.
inline constexpr const char* CONTACTS_FILE_NAME = "contacts.vcf";

struct WrittenContacts {
  std::int64_t count = 0;
  std::string fileName = {};
  std::string remark = {};  // why the file is called otherwise; empty when it is not
};

// Writes the contacts as vCards to the file `name` in `directory`, which is replaced when all of
// them are there. A file of that name whose first vCard does not say that it was made here is
// somebody else's: then the file is "contacts (nimport).vcf". Without contacts, and when the user
// interrupts, nothing is written; in a dry run they are counted. Throws std::system_error.
WrittenContacts WriteContactsFile(const addressbook::AddressBook& book,
                                  const std::filesystem::path& directory, const std::string& name,
                                  bool isDryRun);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_WRITE_CONTACTS_H_
