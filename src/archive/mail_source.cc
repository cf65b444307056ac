#include "archive/mail_source.h"

#include <set>
#include <utility>

#include "archive/safe_name.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

class OpenFolder final : public OpenSource {
 public:
  OpenFolder(store::Store& store, const store::Folder& folder)
      : store_(store), mails_(store.Open(folder)) {}

  [[nodiscard]] std::size_t mailCount() const override { return mails_.mailCount(); }
  [[nodiscard]] std::optional<store::MailEntry> FindEntry(std::size_t position) const override {
    return mails_.entry(position);
  }
  [[nodiscard]] SourceMail Read(std::size_t position) const override {
    return {.record = mails_.Read(position, store::ColumnsWanted::All)};
  }
  [[nodiscard]] MailContents ReadContents(const SourceMail& mail) const override {
    return archive::ReadContents(store_, mail.record);
  }

 private:
  store::Store& store_;
  store::OpenFolder mails_;
};

class ListedSource final : public MailSource {
 public:
  ListedSource(SourceKind kind, const store::Cabinet& cabinet, store::Folder folder, fs::path path)
      : MailSource(kind, cabinet.name, folder.name, std::move(path)), listed_(std::move(folder)) {}

  [[nodiscard]] std::optional<std::int32_t> folderNumber() const override { return listed_.number; }
  [[nodiscard]] std::unique_ptr<OpenSource> Open(store::Store& store) const override {
    return OpenListed(store, listed_);
  }

 private:
  store::Folder listed_;
};

}  // namespace

std::unique_ptr<OpenSource> OpenListed(store::Store& store, const store::Folder& folder) {
  return std::make_unique<OpenFolder>(store, folder);
}

MailSources ListedSources(const store::Store& store, ArchiveNames& names) {
  MailSources sources;
  std::set<std::int32_t> known;
  for (const store::Cabinet& cabinet : store.cabinets()) {
    const fs::path directory = names.TakeCabinet(cabinet.name);
    UniqueNames folderNames;
    for (const store::Folder& folder : cabinet.folders) {
      const bool isFirst = known.insert(folder.number).second;
      sources.push_back(std::make_unique<ListedSource>(
          isFirst ? SourceKind::Listed : SourceKind::Repeated, cabinet, folder,
          directory / PathFromUtf8(folderNames.Take(ToSafeName(folder.name)))));
    }
  }
  return sources;
}

}  // namespace nimport::archive
