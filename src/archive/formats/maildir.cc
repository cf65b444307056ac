#include <utility>

#include "archive/formats/files_writer.h"
#include "archive/formats/formats.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

constexpr const char* ENDING = ".nimport";

// Whether a file of this name can be made in the directory and is listed by that name: Windows
// takes what follows a ':' for the name of a stream of the file.
bool TakesName(const platform::OutputDirectory& directory, const std::string& name) {
  try {
    const NewFile file(directory, name);
    for (const fs::directory_entry& entry : fs::directory_iterator(directory.path())) {
      if (PathToUtf8(entry.path().filename()) == name) return true;
    }
  } catch (const std::system_error&) {
    // A directory that takes no file at all says so when the mails are written.
  }
  return false;
}

// "SECONDS.KEY.nimport:2,S" in cur: old mail counts as read. Where no name may have a ':', a ';'
// stands in its place.
class MaildirWriter final : public FilesWriter {
 public:
  MaildirWriter(const fs::path& path, bool isDryRun)
      : FilesWriter(path / "tmp", path / "cur", LineEnds::Lf, isDryRun) {
    RemoveLeftovers([](const std::string& name) { return name.ends_with(ENDING); });
    if (!isDryRun) platform::MakeDirectories(path / "new");
    for (const char* directory : {"new", "cur"})
      VisitFiles(path / directory, [this](const fs::path& file) { FindMail(file); });
  }

  Outcome Write(FinishedMail mail, std::int32_t, const std::string&) override {
    const std::string key = keys_.Take(mail.key);
    const Outcome outcome = OutcomeFor(Find(key, mail));
    if (!Writes(outcome)) return outcome;
    const std::string name =
        std::to_string(mail.instant.value_or(0)) + '.' + NameOfMail(key, mail.isComplete) + ENDING;
    const std::string finalName = name + FlagsOf(key, mail);
    Add(name, finalName, key, std::move(mail));
    return outcome;
  }

 private:
  // What follows a mail's name: what a reader has made of it since it was written, or Flags.
  std::string FlagsOf(const std::string& key, const FinishedMail& mail) {
    const fs::path* const path = present_.Find(key, mail.isComplete);
    const std::string name = path == nullptr ? "" : PathToUtf8(path->filename());
    const std::size_t ending = name.find(ENDING);
    const std::size_t flags = ending + std::string_view(ENDING).size();
    return ending == std::string::npos || flags == name.size() ? Flags() : name.substr(flags);
  }

  // What follows the name of a mail that is new. Found out when the first mail is written.
  const std::string& Flags() {
    if (flags_.empty()) {
      const bool takesColon =
          temporary() == nullptr || TakesName(*temporary(), std::string("flags:2,S") + ENDING);
      flags_ = takesColon ? ":2,S" : ";2,S";
    }
    return flags_;
  }

  void FindMail(const fs::path& path) {
    const std::string name = PathToUtf8(path.filename());
    const std::size_t begin = name.find('.') + 1;
    const std::size_t end = name.find(ENDING, begin);
    if (begin == 0 || end == std::string::npos) return;
    present_.Add(std::string_view(name).substr(begin, end - begin), path);
  }

  std::string flags_;
};

}  // namespace

std::unique_ptr<FolderWriter> OpenMaildir(const fs::path& path, bool isDryRun) {
  return std::make_unique<MaildirWriter>(path, isDryRun);
}

}  // namespace nimport::archive
