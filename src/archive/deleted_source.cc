#include "archive/deleted_source.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include "archive/safe_name.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// No cabinet and no folder of a store has such a name; a safe one differs where it has.
constexpr const char* DELETED = "(deleted)";
constexpr const char* NO_CABINET = "(no cabinet)";
constexpr const char* NO_FOLDER = "(no folder)";

std::string RecoveredText(const store::RecoveredMail& mail) {
  if (mail.missing.empty()) return "whole";
  std::string text = "partial";
  for (const std::string& missing : mail.missing)
    text += "; " + missing;
  return text;
}

class OpenDeleted final : public OpenSource {
 public:
  OpenDeleted(store::Store& store, std::optional<std::int32_t> folder) : store_(store) {
    for (const store::DeletedMail& mail : store.FindDeleted().mails()) {
      if (mail.folderNumber == folder) mails_.push_back(mail);
    }
  }

  [[nodiscard]] std::size_t mailCount() const override { return mails_.size(); }
  [[nodiscard]] SourceMail Read(std::size_t position) const override {
    store::RecoveredMail recovered = store_.ReadDeleted(mails_[position]);
    HeaderText field{.name = std::string(RECOVERED_FIELD), .value = RecoveredText(recovered)};
    SourceMail mail;
    mail.record = std::move(recovered.record);
    mail.furtherFields.push_back(std::move(field));
    return mail;
  }
  [[nodiscard]] MailContents ReadContents(const SourceMail& mail) const override {
    MailContents contents = archive::ReadContents(store_, mail.record);
    contents.leadingField = mail.furtherFields.front();
    return contents;
  }

 private:
  store::Store& store_;
  std::vector<store::DeletedMail> mails_;
};

class DeletedSource final : public MailSource {
 public:
  DeletedSource(const std::string& cabinet, std::string folder, fs::path path,
                std::optional<std::int32_t> number)
      : MailSource(SourceKind::Deleted, std::string(DELETED) + '/' + cabinet, std::move(folder),
                   std::move(path)),
        number_(number) {}

  [[nodiscard]] std::unique_ptr<OpenSource> Open(store::Store& store) const override {
    return std::make_unique<OpenDeleted>(store, number_);
  }

 private:
  std::optional<std::int32_t> number_;
};

// Gives the cabinets and folders beneath "(deleted)" their directories.
class DeletedFolders {
 public:
  explicit DeletedFolders(fs::path top) : top_(std::move(top)) {}

  void Add(const std::string& cabinet, const std::string& folder,
           std::optional<std::int32_t> number) {
    auto [place, isNew] = cabinets_.try_emplace(cabinet);
    if (isNew) place->second.path = top_ / PathFromUtf8(names_.Take(ToSafeName(cabinet)));
    const fs::path path =
        place->second.path / PathFromUtf8(place->second.names.Take(ToSafeName(folder)));
    sources_.push_back(std::make_unique<DeletedSource>(cabinet, folder, path, number));
  }
  [[nodiscard]] MailSources Take() { return std::move(sources_); }

 private:
  struct Cabinet {
    fs::path path;
    UniqueNames names;
  };

  fs::path top_;
  UniqueNames names_;
  std::map<std::string, Cabinet> cabinets_;  // by their names
  MailSources sources_;
};

}  // namespace

nlohmann::ordered_json ToJson(const store::DeletedCounts& counts) {
  return {{"whole", counts.whole}, {"partial", counts.partial}, {"onlyNumber", counts.onlyNumber}};
}

std::string Describe(const store::DeletedCounts& counts) {
  return "deleted mails that still lie in the database: " + std::to_string(counts.whole) +
         " whole, " + std::to_string(counts.partial) + " in part, " +
         std::to_string(counts.onlyNumber) + " of which nothing but a number is left";
}

MailSources DeletedSources(store::Store& store, ArchiveNames& names) {
  const store::DeletedMails& deleted = store.FindDeleted();
  // Folders that still have to get a source.
  std::set<std::optional<std::int32_t>> folders;
  for (const store::DeletedMail& mail : deleted.mails())
    folders.insert(mail.folderNumber);
  if (folders.empty()) return {};
  DeletedFolders result(names.TakeCabinet(DELETED));
  for (const store::Cabinet& cabinet : store.cabinets()) {
    for (const store::Folder& folder : cabinet.folders) {
      if (folders.erase(folder.number) == 0) continue;
      result.Add(cabinet.name, folder.name, folder.number);
    }
  }
  for (const std::optional<std::int32_t>& number : folders) {
    if (!number) continue;
    const std::string name = deleted.FolderName(*number);
    result.Add(NO_CABINET, name.empty() ? "(folder " + std::to_string(*number) + ')' : name,
               number);
  }
  if (folders.contains(std::nullopt)) result.Add(NO_CABINET, NO_FOLDER, std::nullopt);
  return result.Take();
}

}  // namespace nimport::archive
