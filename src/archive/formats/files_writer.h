#ifndef NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_
#define NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "archive/folder_writer.h"
#include "archive/formats/mail_keys.h"
#include "archive/formats/present_mails.h"
#include "archive/new_file.h"

namespace nimport::archive {

// Whether all of the bytes are NUL.
[[nodiscard]] bool IsNul(std::string_view bytes);

// Makes the directory, and those above it, where it is missing.
const std::filesystem::path& Made(const std::filesystem::path& directory);

// A folder with a file for each mail.
class FilesWriter : public FolderWriter {
 public:
  void Expect(std::size_t mails) override { keys_.Reserve(mails); }
  void Finish() override { batch_.PutInPlace(); }
  void GiveUp() noexcept override;
  [[nodiscard]] std::int64_t waiting() const override {
    return static_cast<std::int64_t>(batch_.waiting());
  }

 protected:
  // Mails are written in `temporary` and belong in `directory`.
  FilesWriter(const std::filesystem::path& temporary, const std::filesystem::path& directory)
      : temporary_(temporary), directory_(directory), batch_(temporary_, directory_) {}

  // Removes what a killed run left in the directory of temporary files.
  void RemoveLeftovers(bool (*isLeftover)(const std::string& name));

  // Whether the mail is there, whole.
  [[nodiscard]] bool IsThere(const std::string& key, const FinishedMail& mail);

  void Add(const std::string& temporaryName, const std::string& name, const std::string& key,
           const FinishedMail& mail);

  PresentMails present_;
  MailKeys keys_;

 private:
  Directory temporary_;
  Directory directory_;
  FileBatch batch_;
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_FORMATS_FILES_WRITER_H_
