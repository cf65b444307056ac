#ifndef NIMPORT_HOST_FOLDER_H_
#define NIMPORT_HOST_FOLDER_H_

#include <cstdint>
#include <ranges>
#include <string>

#include "host/library.h"
#include "host/mail.h"

namespace nimport::host {

// A folder of a session. Small; copied freely; valid as long as its session.
class Folder {
 public:
  Folder(const Library& library, HandleNode* session, HandleNode* handle, std::string name);

  // As shown.
  [[nodiscard]] const std::string& name() const { return name_; }

 private:
  friend class OpenFolder;

  const Library* library_;
  HandleNode* session_;
  HandleNode* handle_;
  std::string name_;
};

// A folder whose list of mails is loaded, until this object is destroyed. A session can have one
// such folder at a time.
class OpenFolder {
 public:
  // Throws ResultError.
  explicit OpenFolder(const Folder& folder);
  ~OpenFolder();
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;

  [[nodiscard]] std::int32_t mailCount() const { return mailCount_; }

  // The mail at `position`, from 0. Valid as long as this object.
  [[nodiscard]] Mail MailAt(std::int32_t position) const;

  // All mails, in the store's order.
  [[nodiscard]] auto Mails() const {
    return std::views::iota(std::int32_t{0}, mailCount_) |
           std::views::transform([this](std::int32_t position) { return MailAt(position); });
  }

 private:
  void Close() const;

  Folder folder_;
  std::int32_t mailCount_ = 0;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_FOLDER_H_
