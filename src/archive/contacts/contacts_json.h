#ifndef NIMPORT_ARCHIVE_CONTACTS_CONTACTS_JSON_H_
#define NIMPORT_ARCHIVE_CONTACTS_CONTACTS_JSON_H_

#include <vector>

#include "archive/contacts/contact_writer.h"

namespace nimport::archive {

// {"groups": [{"name", "addresses": [...], "groups": [...]}]}, written as it comes: how deep groups
// are nested is the file's choice, and building and printing such a value would go as deep.
class JsonContactWriter final : public ContactWriter {
 public:
  explicit JsonContactWriter(TextSink sink);

  void BeginGroup(const std::string& name) override;
  void Write(const Contact& contact) override;
  void EndGroup() override;
  void Finish() override;

 private:
  // What has been written of the list that stands open in a group, or at the top.
  struct Level {
    bool isAddressList = false;
    bool isEmpty = true;
  };

  // Begins an element of the innermost list, on a line of its own.
  void BeginElement();
  void CloseList();
  void NewLine() const;

  std::vector<Level> levels_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_CONTACTS_JSON_H_
