#include <array>
#include <cstdio>
#include <utility>

#include "archive/formats/files_writer.h"
#include "archive/formats/formats.h"
#include "archive/safe_name.h"
#include "common/utf8_path.h"

namespace nimport::archive {

namespace {

namespace fs = std::filesystem;

// "NNNNN subject.KEY.eml", with the beginning of the key; ".NNNNN.tmp" until it is whole.
class EmlWriter final : public FilesWriter {
 public:
  EmlWriter(const fs::path& path, bool isDryRun)
      : FilesWriter(path, path, LineEnds::CrLf, isDryRun) {
    RemoveLeftovers([](const std::string& name) {
      return name.starts_with('.') && name.ends_with(TEMPORARY_ENDING) &&
             name.find_first_not_of("0123456789", 1) == name.rfind('.');
    });
    VisitFiles(path, [this](const fs::path& file) {
      if (file.extension() == ENDING) FindMail(file);
    });
  }

  Outcome Write(FinishedMail mail, std::int32_t position, const std::string& subject) override {
    const std::string key = keys_.Take(mail.key.substr(0, KEY_LENGTH));
    const Outcome outcome = OutcomeFor(Find(key, mail));
    if (!Writes(outcome)) return outcome;
    std::array<char, 16> number;
    std::snprintf(number.data(), number.size(), "%05d", position);
    std::string name = number.data();
    if (!subject.empty()) name += ' ' + ToSafeName(subject);
    name += '.' + NameOfMail(key, mail.isComplete) + ENDING;
    Add('.' + std::string(number.data()) + TEMPORARY_ENDING, name, key, std::move(mail));
    return outcome;
  }

 private:
  // 48 bits: enough for the mails of one folder.
  static constexpr std::size_t KEY_LENGTH = 12;
  static constexpr const char* ENDING = ".eml";
  static constexpr const char* TEMPORARY_ENDING = ".tmp";

  void FindMail(const fs::path& path) {
    const std::string stem = PathToUtf8(path.stem());
    std::string_view rest = stem;
    if (rest.ends_with(INCOMPLETE)) rest.remove_suffix(INCOMPLETE.size());
    const std::size_t dot = rest.rfind('.');
    if (dot != std::string::npos) present_.Add(std::string_view(stem).substr(dot + 1), path);
  }
};

}  // namespace

std::unique_ptr<FolderWriter> OpenEmlFolder(const fs::path& path, bool isDryRun) {
  return std::make_unique<EmlWriter>(path, isDryRun);
}

}  // namespace nimport::archive
