#include "archive/unlisted_sources.h"

#include <deque>
#include <map>
#include <utility>

#include "archive/safe_name.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

class OpenRows final : public OpenSource {
 public:
  OpenRows(store::Store& store, const std::deque<store::MailEntry>& mails)
      : store_(store), mails_(mails) {}

  [[nodiscard]] std::size_t mailCount() const override { return mails_.size(); }
  [[nodiscard]] std::optional<store::MailEntry> FindEntry(std::size_t position) const override {
    return mails_[position];
  }
  [[nodiscard]] SourceMail Read(std::size_t position) const override {
    return {.record = store_.Read(mails_[position], store::ColumnsWanted::All)};
  }
  [[nodiscard]] MailContents ReadContents(const SourceMail& mail) const override {
    return archive::ReadContents(store_, mail.record);
  }

 private:
  store::Store& store_;
  const std::deque<store::MailEntry>& mails_;
};

class RowsSource final : public MailSource {
 public:
  RowsSource(std::string folder, fs::path path, std::deque<store::MailEntry> mails)
      : MailSource(SourceKind::NotListed, NOT_LISTED, std::move(folder), std::move(path)),
        mails_(std::move(mails)) {}

  [[nodiscard]] std::unique_ptr<OpenSource> Open(store::Store& store) const override {
    return std::make_unique<OpenRows>(store, mails_);
  }

 private:
  std::deque<store::MailEntry> mails_;
};

class OpenFiles final : public OpenSource {
 public:
  OpenFiles(store::Store& store, const std::vector<std::string>& files)
      : store_(store), files_(files) {}

  [[nodiscard]] std::size_t mailCount() const override { return files_.size(); }
  [[nodiscard]] SourceMail Read(std::size_t position) const override {
    SourceMail mail;
    mail.record.content = store::MailContent::MimeFile;
    mail.record.fileLink.value = files_[position];
    if (!LooksLikeMail(store_.ReadMimeFile(mail.record)))
      mail.record.title.value = files_[position];
    return mail;
  }
  [[nodiscard]] MailContents ReadContents(const SourceMail& mail) const override {
    MailContents contents;
    if (!mail.record.title.value) {
      contents.kind = ContentsKind::MimeMail;
      contents.bytes = store_.ReadMimeFile(mail.record);
      return contents;
    }
    store::StoredFile file = store_.ReadStoredFile(mail.record);
    contents.kind = ContentsKind::StoredFile;
    contents.extension = PathToUtf8(PathFromUtf8(file.name).extension());
    contents.fileName = std::move(file.name);
    contents.bytes = std::move(file.bytes);
    return contents;
  }

 private:
  store::Store& store_;
  const std::vector<std::string>& files_;
};

class FilesSource final : public MailSource {
 public:
  FilesSource(fs::path path, std::vector<std::string> files)
      : MailSource(SourceKind::NoMail, NO_MAIL, "Mime", std::move(path)),
        files_(std::move(files)) {}

  [[nodiscard]] std::unique_ptr<OpenSource> Open(store::Store& store) const override {
    return std::make_unique<OpenFiles>(store, files_);
  }

 private:
  std::vector<std::string> files_;
};

// Where the mails of a folder are to be found, as names of directories in each other.
struct Place {
  std::string cabinet;
  std::string folder;
};

Place PlaceOf(std::int32_t number, const store::UnlistedMails& mails, const MailSources& listed) {
  if (mails.listedFolder && *mails.listedFolder < listed.size()) {
    const MailSource& source = *listed[*mails.listedFolder];
    return {source.cabinet(), source.folder()};
  }
  if (mails.folderName) return {"(no cabinet)", *mails.folderName};
  return {"(no folder)", "folder " + std::to_string(number)};
}

}  // namespace

MailSources NotListedSources(store::MailList& list, const MailSources& listed,
                             ArchiveNames& names) {
  MailSources sources;
  if (list.unlisted.empty()) return sources;
  const fs::path top = names.TakeCabinet(NOT_LISTED);
  std::map<std::string, UniqueNames> folderNames;  // by cabinet
  for (auto& [number, mails] : list.unlisted) {
    const Place place = PlaceOf(number, mails, listed);
    const std::string cabinet = ToSafeName(place.cabinet);
    const std::string folder = folderNames[cabinet].Take(ToSafeName(place.folder));
    sources.push_back(std::make_unique<RowsSource>(
        place.cabinet + '/' + place.folder, top / PathFromUtf8(cabinet) / PathFromUtf8(folder),
        std::move(mails.mails)));
  }
  list.unlisted.clear();
  return sources;
}

std::unique_ptr<MailSource> NoMailSource(std::vector<std::string> files, ArchiveNames& names) {
  return std::make_unique<FilesSource>(names.TakeCabinet(NO_MAIL) / "Mime", std::move(files));
}

}  // namespace nimport::archive
