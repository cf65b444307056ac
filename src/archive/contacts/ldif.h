#ifndef NIMPORT_ARCHIVE_CONTACTS_LDIF_H_
#define NIMPORT_ARCHIVE_CONTACTS_LDIF_H_

#include <cstddef>
#include <vector>

#include "archive/contacts/contact_writer.h"

namespace nimport::archive {

// LDIF, RFC 2849: an inetOrgPerson per contact, and a groupOfNames per group, whose members are its
// contacts and the groups beneath it. A group in which there is nobody has no entry, since the
// class asks for a member.
class LdifWriter final : public ContactWriter {
 public:
  explicit LdifWriter(TextSink sink);

  void BeginGroup(const std::string& name) override;
  void Write(const Contact& contact) override;
  void EndGroup() override;

 private:
  struct OpenGroup {
    std::size_t number = 0;
    std::string name;
    std::vector<std::string> members;  // distinguished names
  };

  std::vector<OpenGroup> path_;
  std::size_t groupCount_ = 0;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_LDIF_H_
