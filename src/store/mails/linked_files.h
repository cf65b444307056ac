#ifndef NIMPORT_STORE_MAILS_LINKED_FILES_H_
#define NIMPORT_STORE_MAILS_LINKED_FILES_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "jet/database.h"
#include "store/mails/mail_kinds.h"

namespace nimport::store {

// Finds the received files that forwarded mails name by the beginning of a "MailID". The first
// question for a beginning of some length goes through the received files once; later ones of that
// length do not, as long as the database is unchanged.
class LinkedFiles {
 public:
  // `queryName` is LINKED_FILE_QUERY in the database's code page.
  explicit LinkedFiles(std::string queryName = std::string(LINKED_FILE_QUERY))
      : queryName_(std::move(queryName)) {}

  // The path in the first received file's row, in the database's order, whose MailID begins with
  // `key`; empty where that row has none. `databaseStamp` is a number that differs whenever the
  // database may have changed, empty where that cannot be told. Throws Failure (-3) when there is
  // no such row, jet::DatabaseError when damage comes before it.
  [[nodiscard]] std::optional<std::string> FindPath(jet::Database& database, std::string_view key,
                                                    std::optional<std::uint64_t> databaseStamp);

 private:
  // A received file by the beginning of its MailID.
  struct Entry {
    std::uint32_t hash;
    // Where its row stands, in two halves so that an entry has no gap.
    std::uint32_t bookmarkHigh;
    std::uint32_t bookmarkLow;

    [[nodiscard]] jet::Bookmark RowBookmark() const {
      return {.position = std::uint64_t{bookmarkHigh} << 32 | bookmarkLow};
    }
  };
  struct Index {
    std::size_t keyBytes;
    std::vector<Entry> entries;  // by hash, then in the database's order
    // Where damage ends the rows: the last row before it, if there is one.
    bool isWhole = false;
    std::optional<jet::Bookmark> lastRow = {};
  };

  [[nodiscard]] static Index MakeIndex(jet::Recordset& rows, std::size_t keyBytes);
  static void AddToIndex(jet::Recordset& rows, Index& index);
  [[nodiscard]] const Index& GetIndex(jet::Recordset& rows, std::size_t keyBytes);

  std::string queryName_;
  std::optional<std::uint64_t> databaseStamp_;
  std::deque<Index> indexes_;  // the one made last comes last
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_LINKED_FILES_H_
