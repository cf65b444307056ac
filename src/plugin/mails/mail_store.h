// The mail side of a session: the cabinets and folders, the one folder that is open, and what the
// session remembers of the mails that were asked for last.
#ifndef NIMPORT_PLUGIN_MAILS_MAIL_STORE_H_
#define NIMPORT_PLUGIN_MAILS_MAIL_STORE_H_

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "platform/platform.h"
#include "plugin/mails/remembered_mail.h"
#include "plugin/mime_library/mime_session.h"
#include "store/folder_list.h"
#include "store/mails/folder_mails.h"
#include "store/mails/linked_files.h"
#include "text/fixed_text.h"

namespace nimport::plugin {

// What one session knows of its mails. Everything that fails throws Failure or jet::DatabaseError.
class MailStore {
 public:
  // All of these must outlive the store. `databaseDir` is the directory of the databases, without a
  // trailing '\'.
  MailStore(platform::Platform& sessionPlatform, MimeSession& mimeSession,
            jet::Database& mailDatabase, const text::PathText& databaseDir);

  // Reads the cabinets and folders at the first call. After a failure what was read stays, and a
  // later call does not read again.
  void LoadFolderList();

  // -3 when LoadFolderList has not been called.
  [[nodiscard]] store::FolderList& RequireFolderList();

  // Loads the mails of a folder, in the database's order. Does nothing when they are loaded; -3
  // while another folder's are. A failure leaves nothing behind. Costs what the folder's mails
  // cost, but for the first time after a change of the database.
  void OpenMailList(std::int32_t folderIndex);

  // Releases a folder's mails and, whichever folder it is, what is remembered of the current mail.
  void CloseMailList(std::int32_t folderIndex);

  // The number of a folder's mails; 0 while they are not loaded.
  [[nodiscard]] std::int32_t MailCount(std::int32_t folderIndex) const;

  // The loaded mail at a position from 0; null when there is none.
  [[nodiscard]] store::MailEntry* FindMail(std::int32_t folderIndex, std::int32_t mailIndex);

  // The rows of a stored query as they are now. The query itself is looked up once in a session and
  // follows changes of the database. `queryName` must outlive the store. Throws
  // jet::DatabaseError.
  [[nodiscard]] std::unique_ptr<jet::Recordset> OpenRowsOf(std::string_view queryName);

  platform::Platform& platform;
  MimeSession& mime;
  jet::Database& database;
  const text::PathText& databaseDir;

  // Header values last read from columns; present while a folder is open.
  std::optional<CurrentMail> currentMail;
  // Of the mail whose bodies were counted last: its main parts, and its related parts (present
  // while a folder is open). Bodies are numbered main parts first.
  std::int32_t currentPartCount = 0;
  std::optional<std::vector<RelatedPart>> currentParts;
  // The MIME file that was asked about last.
  RememberedMimeFile mimeFile;
  store::LinkedFiles linkedFiles;

  // Differs whenever the mail database may have changed; empty where that cannot be told.
  [[nodiscard]] std::optional<std::uint64_t> FindDatabaseStamp() const;

 private:
  struct LoadedFolder {
    std::int32_t index = 0;
    std::deque<store::MailEntry> mails;
  };
  // The mails without a folder's number, of which the database's own index does not know.
  struct UnnumberedMails {
    std::uint64_t databaseStamp = 0;
    std::deque<store::MailEntry> mails;
  };

  [[nodiscard]] bool IsLoaded(std::int32_t folderIndex) const {
    return loadedFolder_ && loadedFolder_->index == folderIndex;
  }
  [[nodiscard]] std::deque<store::MailEntry> LoadMails(std::int32_t folderNumber);
  [[nodiscard]] std::deque<store::MailEntry> LoadUnnumberedMails();
  void ReleaseCurrentMail();

  std::map<std::string_view, std::unique_ptr<jet::QueryDefinition>> queries_;
  std::optional<store::FolderList> folderList_;
  // The folder whose mails are loaded. Closing a cabinet releases the current mail, not this
  // folder.
  std::optional<LoadedFolder> loadedFolder_;
  std::optional<UnnumberedMails> unnumberedMails_;
};

}  // namespace nimport::plugin

#endif  // NIMPORT_PLUGIN_MAILS_MAIL_STORE_H_
