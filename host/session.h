// Sessions: what is opened when a store is read, and closed when the object is destroyed.
#ifndef NIMPORT_HOST_SESSION_H_
#define NIMPORT_HOST_SESSION_H_

#include <memory>
#include <string>
#include <vector>

#include "host/folder.h"
#include "host/library.h"

namespace nimport::host {

// Whether the mail client is installed in a usable version. Needs no session.
[[nodiscard]] bool IsMailerInstalled(const Library& library);

// A root handle of the plug-in. Closing it deletes the temporary files that the session handed out
// and ends every handle beneath it.
class Session {
 public:
  enum class Kind { Mail, AddressBook };

  // Throws ResultError. `library` outlives the session.
  Session(const Library& library, Kind kind);

  [[nodiscard]] const Library& library() const { return *library_; }
  [[nodiscard]] HandleNode* handle() const { return handle_.get(); }

  // The mail client's name.
  [[nodiscard]] std::string MailerName() const;

 private:
  struct Terminate {
    const Library* library;
    void operator()(HandleNode* handle) const;
  };

  const Library* library_;
  std::unique_ptr<HandleNode, Terminate> handle_;
};

// A cabinet and its folders, in the store's order.
struct Cabinet {
  std::string name;  // as shown
  std::vector<Folder> folders;
};

// A session on the mail database with its cabinets and folders.
class MailSession {
 public:
  // Throws ResultError. `library` outlives the session. Where the list of folders could be read
  // only in part, that part is there and failedListing() says what happened.
  explicit MailSession(const Library& library);

  [[nodiscard]] const Session& session() const { return session_; }

  // The member ID of the store's owner.
  [[nodiscard]] const std::string& accountName() const { return accountName_; }

  // The folders are valid as long as this object.
  [[nodiscard]] const std::vector<Cabinet>& cabinets() const { return cabinets_; }

  // Empty when the whole list was read.
  [[nodiscard]] const std::string& failedListing() const { return failedListing_; }

 private:
  void LoadFolderList();
  [[nodiscard]] std::vector<Cabinet> ListCabinets(HandleNode* account) const;

  Session session_;
  std::string accountName_;
  std::string failedListing_;
  std::vector<Cabinet> cabinets_;
};

}  // namespace nimport::host

#endif  // NIMPORT_HOST_SESSION_H_
