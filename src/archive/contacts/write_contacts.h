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

// Writes the contacts as vCards to the file of that name in `directory`, which is replaced when all
// of them are there. Without contacts, and when the user interrupts, nothing is written. Returns
// the number of contacts written. Throws std::system_error.
std::int64_t WriteContactsFile(const addressbook::AddressBook& book,
                               const std::filesystem::path& directory);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_WRITE_CONTACTS_H_
