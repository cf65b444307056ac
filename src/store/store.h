// A store of mail: what the mail client kept of one member, read and never changed.
//
//   Store -> Cabinet -> Folder -> OpenFolder -> MailRecord -> the mail's file
//
// Texts are UTF-8, whole, and as stored but for the names of cabinets and folders. Whatever is
// missing or cannot be read is an Error, or a Problem in the value that it belongs to; damage that
// was stepped over, on a platform that salvages, is collected (TakeLosses). A store and what was
// opened from it belong to one thread at a time.
#ifndef NIMPORT_STORE_STORE_H_
#define NIMPORT_STORE_STORE_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/database.h"
#include "platform/platform.h"
#include "store/addressbook/address_book.h"
#include "store/mails/deleted_mails.h"
#include "store/mails/folder_mails.h"
#include "store/mails/linked_files.h"
#include "store/mails/mail_record.h"
#include "store/mails/mail_rows.h"
#include "store/mails/unlisted_rows.h"
#include "store/problem.h"
#include "text/fixed_text.h"

namespace nimport::store {

struct Options {
  // When set, whatever evaluates a stored query throws Interrupted within milliseconds of its
  // becoming true. Any thread may set it. Outlives the store.
  const std::atomic<bool>* interruption = nullptr;
};

// An open database that collects the damage that is stepped over.
class OpenDatabase : private jet::DamageListener {
 public:
  // Opens a database of the store that the platform's settings lead to. Throws Failure, FileError,
  // jet::DatabaseError.
  OpenDatabase(platform::Platform& platform, const text::PathText& directory,
               std::string_view databaseFile, jet::KnownObjects known, const Options& options,
               unsigned textCodePage = text::CODE_PAGE_UTF8);
  ~OpenDatabase() override;
  OpenDatabase(const OpenDatabase&) = delete;
  OpenDatabase& operator=(const OpenDatabase&) = delete;

  [[nodiscard]] jet::Database& get() { return *database_; }
  [[nodiscard]] const std::string& path() const { return path_; }          // code page 932
  [[nodiscard]] const std::string& fileName() const { return fileName_; }  // for messages, UTF-8

  // Damage that was stepped over since the last call.
  [[nodiscard]] std::vector<Problem> TakeLosses();
  void AddLoss(Problem loss) { losses_.push_back(std::move(loss)); }

 private:
  void OnDamage(const jet::DatabaseError& damage) override;

  std::string path_;
  std::string fileName_;
  std::unique_ptr<jet::Database> database_;
  std::vector<Problem> losses_;
};

struct Folder {
  std::int32_t number = 0;  // the mail client's, which mails name
  // With "%5c", "%2f" and "%23" for the characters '\', '/' and '#', so that it can be part of a
  // path.
  std::string name;
};

struct Cabinet {
  std::string name;  // as a folder's
  std::vector<Folder> folders;
};

// A file that was sent by itself.
struct StoredFile {
  std::string name;  // its own, without the directory
  std::string bytes;
};

// Files that no row names, sorted. UTF-8.
struct UnnamedFiles {
  std::vector<std::string> names;     // as rows would name them
  std::vector<std::string> unusable;  // those that no row can name, for messages
};

class Store;

// A folder whose list of mails was read. Borrows from the store.
class OpenFolder {
 public:
  [[nodiscard]] std::size_t mailCount() const { return mails_.size(); }

  // What the list of mails says of the mail at a position from 0, below the count.
  [[nodiscard]] const MailEntry& entry(std::size_t position) const { return mails_[position]; }

  // The mail at a position from 0, below the count. Throws Error, Interrupted.
  [[nodiscard]] MailRecord Read(std::size_t position,
                                ColumnsWanted wanted = ColumnsWanted::OfMail) const;

 private:
  friend class Store;
  OpenFolder(Store& store, std::deque<MailEntry> mails) : store_(store), mails_(std::move(mails)) {}

  Store& store_;
  std::deque<MailEntry> mails_;
};

class Store {
 public:
  // Opens the mail database that the platform's settings lead to, and lists its cabinets and
  // folders: as many as can be read, and after the others those that damage has cut off. Throws
  // Error, Interrupted. `platform` outlives the store.
  explicit Store(platform::Platform& platform, const Options& options = {});
  ~Store();
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  // The member ID of the store's owner; may be empty.
  [[nodiscard]] const std::string& memberId() const { return memberId_; }

  [[nodiscard]] const std::vector<Cabinet>& cabinets() const { return cabinets_; }
  // Why the list of folders ends early; empty when it does not.
  [[nodiscard]] const std::string& failedListing() const { return failedListing_; }

  // Reads the list of a folder's mails. Throws Error, Interrupted.
  [[nodiscard]] OpenFolder Open(const Folder& folder);

  // A mail of the list of mails, whatever its kind: of one that is not listed, what can be found in
  // any table or stored query. Throws Error, Interrupted.
  [[nodiscard]] MailRecord Read(const MailEntry& mail, ColumnsWanted wanted);

  // The files in the directory of MIME files and beneath it that no row of any table names. Throws
  // Error, Interrupted.
  [[nodiscard]] UnnamedFiles FindUnnamedMimeFiles();

  // The MIME file of a mail with MailContent::MimeFile, with line ends CR LF. Throws Error.
  [[nodiscard]] std::string ReadMimeFile(const MailRecord& record);

  // The text of the mail in code page 932, as the bytes of the database where it keeps that code
  // page itself: a text that holds a whole mail may be in another charset, which its header names.
  // Throws Error, Interrupted.
  [[nodiscard]] std::optional<std::string> ReadRawText(const MailRecord& record);

  // The file of a mail that consists of a file alone; a MIME file as it is. Throws Error,
  // Interrupted.
  [[nodiscard]] StoredFile ReadStoredFile(const MailRecord& record);

  // Mails that were deleted and still lie in the database. Looks for them at the first call. Throws
  // Error, Interrupted.
  [[nodiscard]] const DeletedMails& FindDeleted();
  // `mail` is one of those. Throws Error, Interrupted.
  [[nodiscard]] RecoveredMail ReadDeleted(const DeletedMail& mail);

  // Damage that was stepped over since the last call; the same place may come more than once.
  [[nodiscard]] std::vector<Problem> TakeLosses() { return database_->TakeLosses(); }

  [[nodiscard]] const platform::Clock& clock() const { return platform_.clock(); }

 private:
  friend class OpenFolder;

  [[nodiscard]] std::unique_ptr<OpenDatabase> OpenMailDatabase(unsigned codePage) const;
  void ListFolders();
  [[nodiscard]] jet::Database& RawDatabase();
  [[nodiscard]] platform::StoredPath MimePathOf(const MailRecord& record) const;
  [[nodiscard]] std::string ToUtf8(std::string_view codePage932) const;
  [[nodiscard]] std::optional<std::string> ToCodePage932(
      const std::optional<std::string>& text) const;
  [[nodiscard]] MailRows& RowsOf(std::string_view queryName);

  platform::Platform& platform_;
  Options options_;
  text::PathText directory_;
  std::string memberId_;
  std::unique_ptr<OpenDatabase> database_;
  std::vector<Cabinet> cabinets_;
  std::string failedListing_;
  std::map<std::string_view, MailRows> rows_;  // by the query's name in code page 932
  std::optional<UnlistedRows> unlistedRows_;   // once they were asked for
  LinkedFiles linkedFiles_;
  // The same in code page 932, opened when ReadRawText needs it. Of damage the other one tells.
  std::unique_ptr<OpenDatabase> rawDatabase_;
  std::map<std::string_view, MailRows> rawRows_;
  std::unique_ptr<DeletedMails> deletedMails_;
};

// The address book of the store that a platform's settings lead to, with everything that can be
// read of it.
class OpenAddressBook {
 public:
  // Adds to `losses` rows that lack their name or their user ID, and damage that was stepped over,
  // also when it then throws Error or Interrupted.
  OpenAddressBook(platform::Platform& platform, std::vector<Problem>& losses,
                  const Options& options = {});

  [[nodiscard]] const addressbook::AddressBook& book() const { return *book_; }

  // What else a user may want to know: rows that are no addresses and no groups.
  [[nodiscard]] const std::vector<Problem>& notes() const { return notes_; }

 private:
  std::optional<addressbook::AddressBook> book_;
  std::vector<Problem> notes_;
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_STORE_H_
