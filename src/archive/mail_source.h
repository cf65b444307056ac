// Where the mails of an archive come from: an export goes over sources one after the other, and
// each of them becomes one directory (or file) of mails.
#ifndef NIMPORT_ARCHIVE_MAIL_SOURCE_H_
#define NIMPORT_ARCHIVE_MAIL_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "archive/account.h"
#include "archive/archive_names.h"
#include "archive/mail_contents.h"
#include "store/store.h"

namespace nimport::archive {

// A mail as its source has it.
struct SourceMail {
  store::MailRecord record;
  // Header fields that a composed mail gets after its own.
  std::vector<HeaderText> furtherFields = {};
};

// A source whose list of mails was read. Belongs to one thread, as the store that it was opened on.
class OpenSource {
 public:
  virtual ~OpenSource() = default;

  [[nodiscard]] virtual std::size_t mailCount() const = 0;

  // What the list of mails says of the mail at a position; empty for what has no row there.
  [[nodiscard]] virtual std::optional<store::MailEntry> FindEntry(std::size_t /*position*/) const {
    return std::nullopt;
  }

  // The mail at a position from 0, below the count, with all columns of its row. Throws
  // store::Error, store::Interrupted.
  [[nodiscard]] virtual SourceMail Read(std::size_t position) const = 0;

  // What the store holds of a mail that Read gave. Throws store::Error, store::Interrupted.
  [[nodiscard]] virtual MailContents ReadContents(const SourceMail& mail) const = 0;
};

// A value, but for its type: several threads may ask it at once.
class MailSource {
 public:
  MailSource(SourceKind kind, std::string cabinet, std::string folder, std::filesystem::path path)
      : kind_(kind),
        cabinet_(std::move(cabinet)),
        folder_(std::move(folder)),
        path_(std::move(path)) {}
  virtual ~MailSource() = default;
  MailSource(const MailSource&) = delete;
  MailSource& operator=(const MailSource&) = delete;

  [[nodiscard]] SourceKind kind() const { return kind_; }
  [[nodiscard]] const std::string& cabinet() const { return cabinet_; }
  [[nodiscard]] const std::string& folder() const { return folder_; }
  // "Cabinet/Folder", as shown and in the account.
  [[nodiscard]] std::string Name() const { return cabinet_ + '/' + folder_; }
  // Where the mails go, beneath the target and without the format's ending.
  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

  // The mail client's number of the folder, where the source is one.
  [[nodiscard]] virtual std::optional<std::int32_t> folderNumber() const { return std::nullopt; }

  // Reads the list of mails from `store`, which outlives the answer: the one in which the source
  // was found, or another session of it. Throws store::Error, store::Interrupted.
  [[nodiscard]] virtual std::unique_ptr<OpenSource> Open(store::Store& store) const = 0;

 private:
  SourceKind kind_;
  std::string cabinet_;
  std::string folder_;
  std::filesystem::path path_;
};

using MailSources = std::vector<std::unique_ptr<MailSource>>;

// The mails of a folder, which the store lists. Throws store::Error, store::Interrupted.
[[nodiscard]] std::unique_ptr<OpenSource> OpenListed(store::Store& store,
                                                     const store::Folder& folder);

// A source for each folder that the store lists, in its order.
[[nodiscard]] MailSources ListedSources(const store::Store& store, ArchiveNames& names);

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_MAIL_SOURCE_H_
