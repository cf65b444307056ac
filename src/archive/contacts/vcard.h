#ifndef NIMPORT_ARCHIVE_CONTACTS_VCARD_H_
#define NIMPORT_ARCHIVE_CONTACTS_VCARD_H_

#include "archive/contacts/contact_writer.h"

namespace nimport::archive {

// The line by which a vCard says what made it.
inline constexpr std::string_view VCARD_PRODUCT = "PRODID:-//nimport//contacts//EN";

enum class VCardVersion { V3_0, V4_0 };

// One vCard per contact, RFC 6350 or RFC 2426. The groups become categories. What the mail client
// calls a contact by, where that is no internet address, is X-NIMPORT-USER-ID and, for readers that
// drop what they do not know, a second note.
class VCardWriter final : public ContactWriter {
 public:
  VCardWriter(TextSink sink, VCardVersion version)
      : ContactWriter(std::move(sink)), version_(version) {}

  void Write(const Contact& contact) override;

 private:
  VCardVersion version_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_VCARD_H_
