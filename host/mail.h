#ifndef NIMPORT_HOST_MAIL_H_
#define NIMPORT_HOST_MAIL_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include "host/library.h"

namespace nimport::host {

// A file that the plug-in wrote, taken into memory at once: the next file may take its name.
struct ExtractedFile {
  std::string name;       // the file's own in the store, UTF-8; empty where that is not known
  std::string extension;  // with its dot, as the plug-in gave it; may be empty
  std::string bytes;
};

// One mail of an open folder. Small; copied freely; valid as long as the folder is open. Every
// function asks the plug-in and throws ResultError.
class Mail {
 public:
  Mail(const Library& library, HandleNode* session, HandleNode* folder, std::int32_t position)
      : library_(&library), session_(session), folder_(folder), position_(position) {}

  [[nodiscard]] std::int32_t position() const { return position_; }

  // Header texts as the plug-in answers them: an empty one reads "DEFAULT", a message ID that the
  // store lacks "DEFAULT" and a date. The plug-in keeps what these and Date() answer and begins
  // the source of later mails with it, until the folder is closed.
  [[nodiscard]] std::string Subject() const;
  [[nodiscard]] std::string From() const;
  [[nodiscard]] std::string To() const;
  [[nodiscard]] std::string MessageId() const;
  [[nodiscard]] std::int32_t Date() const;

  // The whole text, bytes in code page 932.
  [[nodiscard]] std::string Source() const;

  // Bodies of a MIME mail are there only after BodyCount of this very mail.
  [[nodiscard]] std::int32_t BodyCount() const;
  [[nodiscard]] std::string ContentType(std::int32_t body) const;
  [[nodiscard]] ExtractedFile Body(std::int32_t body) const;

  // As Body, but returns the code of a failure in place of throwing, and sets `file` otherwise.
  [[nodiscard]] ResultCode TryBody(std::int32_t body, ExtractedFile& file) const;

  [[nodiscard]] std::int32_t AttachedCount() const;
  [[nodiscard]] ExtractedFile Attached(std::int32_t attached) const;

 private:
  const Library* library_;
  HandleNode* session_;
  HandleNode* folder_;
  std::int32_t position_;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_MAIL_H_
