#ifndef NIMPORT_HOST_COMMAND_FOLDER_WRITER_H_
#define NIMPORT_HOST_COMMAND_FOLDER_WRITER_H_

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "host/command/compose_mail.h"
#include "host/command/options.h"

namespace nimport::command {

// Writes the mails of one folder. A mail appears under its final name only when it is whole. Mails
// that an earlier run wrote are recognised, also after a mail reader has moved or flagged them; one
// that was written without its file is replaced when the file has come.
// Failures of the system are std::system_error.
class FolderWriter {
 public:
  enum class Outcome { Written, AlreadyThere };

  virtual ~FolderWriter() = default;

  // Mails come in the order of their positions. `subject` is UTF-8 and may be empty.
  virtual Outcome Write(const FinishedMail& mail, std::int32_t position,
                        const std::string& subject) = 0;

  // Puts everything that was written in its place.
  virtual void Finish() {}

  // Whether what was written stays when Finish is never called.
  [[nodiscard]] virtual bool KeepsUnfinished() const { return true; }
};

// A writer for the folder that goes to `path` (without the format's ending). Makes the directories
// that it needs.
[[nodiscard]] std::unique_ptr<FolderWriter> OpenFolderWriter(ExportFormat format,
                                                             const std::filesystem::path& path);

// What is appended to a folder's name.
[[nodiscard]] const char* FolderEnding(ExportFormat format);

// Tells apart mails of one folder in which the store holds the very same.
class MailKeys {
 public:
  // `key`, or "key-2" and so on when that was given before.
  [[nodiscard]] std::string Take(const std::string& key);

 private:
  std::map<std::string, int> counts_;
};

}  // namespace nimport::command

#endif  // NIMPORT_HOST_COMMAND_FOLDER_WRITER_H_
