#include "archive/formats/files_writer.h"
#include "archive/formats/formats.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// "SECONDS.KEY.nimport:2,S" in cur: old mail counts as read.
class MaildirWriter final : public FilesWriter {
 public:
  explicit MaildirWriter(const fs::path& path)
      : FilesWriter(Made(path / "tmp"), Made(path / "cur")) {
    RemoveLeftovers([](const std::string& name) { return name.ends_with(ENDING); });
    FindMails(Made(path / "new"));
    FindMails(path / "cur");
  }

  Outcome Write(const FinishedMail& mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    if (IsThere(key, mail)) return Outcome::AlreadyThere;
    const std::string name =
        std::to_string(mail.instant.value_or(0)) + '.' + NameOfMail(key, mail.isComplete) + ENDING;
    Add(name, name + ":2,S", key, mail);
    return Outcome::Written;
  }

 private:
  static constexpr const char* ENDING = ".nimport";

  void FindMails(const fs::path& directory) {
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
      const std::string name = entry.path().filename().string();
      const std::size_t begin = name.find('.') + 1;
      const std::size_t end = name.find(ENDING, begin);
      if (begin == 0 || end == std::string::npos) continue;
      present_.Add(std::string_view(name).substr(begin, end - begin), entry.path());
    }
  }
};

}  // namespace

std::unique_ptr<FolderWriter> OpenMaildir(const fs::path& path) {
  return std::make_unique<MaildirWriter>(path);
}

}  // namespace nimport::archive
