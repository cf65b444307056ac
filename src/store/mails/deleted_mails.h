// Mails whose rows were deleted and still lie in the mail database. The row of the list of mails
// and the row of the kind's own table are found apart from each other and joined by their number,
// as the kind's stored query joins rows that live.
#ifndef NIMPORT_STORE_MAILS_DELETED_MAILS_H_
#define NIMPORT_STORE_MAILS_DELETED_MAILS_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/database.h"
#include "store/mails/mail_record.h"
#include "text/code_page_converter.h"

namespace nimport::store {

// A deleted mail of which more than its number is left.
struct DeletedMail {
  std::int32_t number = 0;    // "DataNo"; no mail that lives has it
  std::int32_t dataType = 0;  // guessed where the row of the list of mails is lost
  // In which it was; empty where that row is lost.
  std::optional<std::int32_t> folderNumber;
  bool isWhole = false;
  std::string mimeFile = {};  // that is its own, as its row names it, UTF-8; empty for none
};

struct RecoveredMail {
  // As of a mail that lives, without what is missing. A MIME mail whose file is not there is read
  // as a mail with a text, which it may lack.
  MailRecord record;
  std::vector<std::string> missing;  // what, and why, UTF-8; nothing of a whole mail
};

// The number of deleted mails is the sum of all three.
struct DeletedCounts {
  std::uint64_t whole = 0;
  std::uint64_t partial = 0;
  // Nothing but a number is left, or the kind is not known.
  std::uint64_t onlyNumber = 0;
};

// What a store's database says of its files.
struct DeletedMailsContext {
  const text::CodePageConverter& text;
  // The mail database in code page 932, opened when it is first asked for.
  std::function<jet::Database&()> rawDatabase;
  std::function<bool(const MailRecord&)> hasMimeFile;
};

class DeletedMails {
 public:
  // Looks at all that was deleted. `database`, whose texts are UTF-8 and whose file does not change
  // meanwhile, outlives the object. Throws jet::DatabaseError.
  DeletedMails(jet::Database& database, DeletedMailsContext context);
  ~DeletedMails();
  DeletedMails(const DeletedMails&) = delete;
  DeletedMails& operator=(const DeletedMails&) = delete;

  // By their numbers.
  [[nodiscard]] const std::vector<DeletedMail>& mails() const { return mails_; }
  [[nodiscard]] const DeletedCounts& counts() const { return counts_; }
  // Rows of the list of mails that were deleted and have left nothing but their slots. What became
  // of the rows of the mails above may be counted here too.
  [[nodiscard]] std::uint64_t emptySlots() const;

  // `mail` is one of mails(). Throws jet::DatabaseError.
  [[nodiscard]] RecoveredMail Read(const DeletedMail& mail);

  // The name of a folder that was deleted as well, UTF-8; empty where it is not known.
  [[nodiscard]] std::string FolderName(std::int32_t number) const;

 private:
  class Remains;
  class RemainsRow;
  struct KindQuery;

  void FindMails();
  void AddMail(DeletedMail mail);
  // Those whose row of the list of mails is lost, by the rows of their kind's table.
  void FindMailsOutsideList(const KindQuery& query, const std::function<bool(std::int32_t)>& lives);
  // What such a row holds tells which of the query's kinds the mail has.
  [[nodiscard]] std::int32_t GuessKind(const KindQuery& query, std::int32_t number);
  [[nodiscard]] MailRecord MakeRecord(const DeletedMail& mail, std::int32_t dataType,
                                      std::vector<std::string>& missing);
  [[nodiscard]] bool IsMimeFileOurs(const MailRecord& record);
  [[nodiscard]] const KindQuery& QueryOf(std::int32_t dataType);
  [[nodiscard]] std::string ToUtf8(std::string_view codePage932) const;

  DeletedMailsContext context_;
  std::unique_ptr<Remains> remains_;
  std::unique_ptr<Remains> rawRemains_;  // the same in code page 932, when it is needed
  std::vector<std::unique_ptr<KindQuery>> queries_;
  std::optional<std::vector<std::size_t>> livingFiles_;  // hashes of the names of MIME files
  std::vector<DeletedMail> mails_;
  DeletedCounts counts_;
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_DELETED_MAILS_H_
