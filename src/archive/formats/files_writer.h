#ifndef NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_
#define NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "archive/folder_writer.h"
#include "archive/formats/mail_keys.h"
#include "archive/formats/present_mails.h"
#include "archive/new_file.h"

namespace nimport::archive {

// Whether all of the bytes are NUL.
[[nodiscard]] bool IsNul(std::string_view bytes);

// How much of a mail is there. What is there and is neither all of it nor its beginning was changed
// by somebody.
enum class Extent { Whole, Torn, Different };

// A folder with a file for each mail.
class FilesWriter : public FolderWriter {
 public:
  void Expect(std::size_t mails) override { keys_.Reserve(mails); }
  void Finish() override;
  void GiveUp() noexcept override;
  [[nodiscard]] std::int64_t waiting() const override {
    return files_ ? static_cast<std::int64_t>(files_->batch.waiting()) : 0;
  }

 protected:
  enum class LineEnds { Lf, CrLf };

  // Mails are written in `temporary` and belong in `directory`; both are made. A dry run makes and
  // writes nothing.
  FilesWriter(const std::filesystem::path& temporary, const std::filesystem::path& directory,
              LineEnds lineEnds, bool isDryRun);

  using Visitor = std::function<void(const std::filesystem::path&)>;
  // Visits the files of a directory; none where there is no such directory.
  static void VisitFiles(const std::filesystem::path& directory, const Visitor& visit);

  // Removes what a killed run left in the directory of temporary files.
  void RemoveLeftovers(bool (*isLeftover)(const std::string& name));

  // Gives the mail the form in which it is written, and says whether it is there, whole. As version
  // 0.2.0 wrote it, with CR LF and with whatever line it begins with, it is outdated.
  [[nodiscard]] Present Find(const std::string& key, FinishedMail& mail);

  void Add(const std::string& temporaryName, const std::string& name, const std::string& key,
           FinishedMail mail);

  // Where mails are written; null in a dry run.
  [[nodiscard]] const platform::OutputDirectory* temporary() const {
    return files_ ? &files_->temporary : nullptr;
  }

  PresentMails present_;
  MailKeys keys_;

 private:
  struct Files {
    Files(const std::filesystem::path& from, const std::filesystem::path& to);

    platform::OutputDirectory temporary;
    platform::OutputDirectory directory;
    FileBatch batch;
  };

  std::filesystem::path directory_;
  LineEnds lineEnds_;
  std::optional<Files> files_;  // empty in a dry run
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_
