#ifndef NIMPORT_MAILSTORE_LINKED_FILES_H_
#define NIMPORT_MAILSTORE_LINKED_FILES_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"

namespace nimport::mailstore {

// Finds the received files that forwarded mails name by the beginning of a "MailID". The first
// question for a beginning of some length goes through the received files once; later ones of that
// length do not, as long as the database is unchanged.
class LinkedFiles {
 public:
  // The path in the first received file's row, in the database's order, whose MailID begins with
  // `key`; empty where that row has none. `databaseStamp` is a number that differs whenever the
  // database may have changed, empty where that cannot be told. Throws Failure (-3) when there is
  // no such row, jet::DatabaseError.
  [[nodiscard]] std::optional<std::string> FindPath(jet::Database& database, std::string_view key,
                                                    std::optional<std::uint64_t> databaseStamp);

 private:
  // A received file by the beginning of its MailID.
  struct Entry {
    std::uint32_t hash;
    std::int32_t dataNo;
  };
  struct Index {
    std::size_t keyBytes;
    std::vector<Entry> entries;  // by hash, then in the database's order
  };

  [[nodiscard]] static Index MakeIndex(jet::Recordset& rows, std::size_t keyBytes);
  [[nodiscard]] const Index& GetIndex(jet::Recordset& rows, std::size_t keyBytes);

  std::optional<std::uint64_t> databaseStamp_;
  std::deque<Index> indexes_;  // the one made last comes last
};

}  // namespace nimport::mailstore

#endif  // NIMPORT_MAILSTORE_LINKED_FILES_H_
