#ifndef NIMPORT_ARCHIVE_CONTACTS_CONTACT_WRITER_H_
#define NIMPORT_ARCHIVE_CONTACTS_CONTACT_WRITER_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "archive/contacts/contact.h"

namespace nimport::archive {

// Where the text goes, piece by piece.
using TextSink = std::function<void(std::string_view)>;

// Writes contacts in one form. They come group by group, as the groups are nested: a group's own
// contacts before the groups beneath it.
class ContactWriter {
 public:
  explicit ContactWriter(TextSink sink) : sink_(std::move(sink)) {}
  virtual ~ContactWriter() = default;

  virtual void BeginGroup(const std::string& /*name*/) {}
  virtual void Write(const Contact& contact) = 0;
  virtual void EndGroup() {}
  // After everything else.
  virtual void Finish() {}

 protected:
  void Put(std::string_view text) const { sink_(text); }

 private:
  TextSink sink_;
};

// A sentence for contacts whose form has no place for the mail client's own IDs.
[[nodiscard]] inline std::string NoteOnNativeId(std::string_view nativeId) {
  return "NIFTY Manager ID: " + std::string(nativeId);
}

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_CONTACTS_CONTACT_WRITER_H_
