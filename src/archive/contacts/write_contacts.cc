#include "archive/contacts/write_contacts.h"

#include <fstream>
#include <span>
#include <vector>

#include "archive/contacts/vcard.h"
#include "archive/new_file.h"
#include "common/utf8_path.h"
#include "platform/interruption.h"

namespace nimport::archive {

using platform::Interruption;

namespace {

// The groups that stand open while the book is walked.
class GroupPath {
 public:
  explicit GroupPath(ContactWriter& writer) : writer_(writer) {}

  // Leaves groups until the one at `place` of the list is the innermost; -1 leaves all.
  void ReturnTo(std::int32_t place) {
    while (!places_.empty() && places_.back() != place) {
      writer_.EndGroup();
      places_.pop_back();
      names_.pop_back();
      keys_.pop_back();
    }
  }

  void Enter(std::int32_t place, const std::string& name) {
    writer_.BeginGroup(name);
    keys_.push_back(KeyOfGroup(keys_.empty() ? GroupKey() : keys_.back(), name));
    places_.push_back(place);
    names_.push_back(name);
  }

  [[nodiscard]] std::span<const std::string> names() const { return names_; }
  [[nodiscard]] const GroupKey& key() const { return keys_.back(); }

 private:
  ContactWriter& writer_;
  std::vector<std::int32_t> places_;
  std::vector<std::string> names_;
  std::vector<GroupKey> keys_;
};

// Whether the file is a regular one that was made here. One that is empty holds nothing to keep.
bool IsOurs(const std::filesystem::path& path) {
  if (!std::filesystem::is_regular_file(std::filesystem::symlink_status(path))) return false;
  std::ifstream file(path, std::ios::binary);
  if (file.peek() == std::ifstream::traits_type::eof()) return true;
  for (std::string line; std::getline(file, line) && !line.starts_with("END:");) {
    if (line.starts_with(VCARD_PRODUCT)) return true;
  }
  return false;
}

// A name that no file has, or only one that was made here: `name`, or one that says whose it is.
WrittenContacts FreeName(const std::filesystem::path& directory, const std::string& name) {
  const std::filesystem::path wanted = PathFromUtf8(name);
  WrittenContacts written{.fileName = name};
  for (int number = 1;; ++number) {
    const std::filesystem::path path = directory / PathFromUtf8(written.fileName);
    if (!std::filesystem::exists(std::filesystem::symlink_status(path)) || IsOurs(path)) break;
    const std::string owner = number == 1 ? "nimport" : "nimport " + std::to_string(number);
    written.fileName =
        PathToUtf8(wanted.stem()) + " (" + owner + ')' + PathToUtf8(wanted.extension());
    written.remark = name + " was not made by nimport and stays as it is: the contacts are in " +
                     written.fileName;
  }
  return written;
}

}  // namespace

std::int64_t WriteContacts(const addressbook::AddressBook& book, ContactWriter& writer) {
  GroupPath path(writer);
  ContactMaker maker;
  std::int64_t written = 0;
  for (std::int32_t i = 0; i < book.GroupCount() && !Interruption::IsRequested(); ++i) {
    const addressbook::AddressGroup& group = book.At(i);
    path.ReturnTo(group.parentIndex);
    path.Enter(i, group.name);
    for (std::int32_t k = 0; k < book.AddressCount(i); ++k) {
      const addressbook::AddressEntry address = book.ResolveAddress(i, k);
      const ContactSource source{.id = book.FirstAddress(i) + k,
                                 .name = address.name,
                                 .userId = address.userId,
                                 .comment = address.comment};
      writer.Write(maker.Make(source, path.names(), path.key()));
      ++written;
    }
  }
  path.ReturnTo(-1);
  writer.Finish();
  return written;
}

WrittenContacts WriteContactsFile(const addressbook::AddressBook& book,
                                  const std::filesystem::path& path, const std::string& name,
                                  bool isDryRun) {
  if (book.AddressCount(addressbook::AddressBook::WHOLE_BOOK) == 0) return {};
  WrittenContacts written = FreeName(path, name);
  if (isDryRun) {
    VCardWriter writer([](std::string_view) {}, VCardVersion::V4_0);
    written.count = WriteContacts(book, writer);
    return written;
  }
  const platform::OutputDirectory directory(path);
  NewFile file(directory, '.' + written.fileName + ".tmp");
  VCardWriter writer([&file](std::string_view text) { file.Write(text); }, VCardVersion::V4_0);
  written.count = WriteContacts(book, writer);
  if (Interruption::IsRequested()) return {};
  file.PutInPlace(directory, written.fileName);
  return written;
}

}  // namespace nimport::archive
