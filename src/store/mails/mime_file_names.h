#ifndef NIMPORT_STORE_MAILS_MIME_FILE_NAMES_H_
#define NIMPORT_STORE_MAILS_MIME_FILE_NAMES_H_

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "platform/platform.h"
#include "text/fixed_text.h"

namespace nimport::store {

// The files in the directory of MIME files and beneath it, to find those that no row names. Takes
// some 9 bytes a file: the directory is read once more at the end.
class MimeFileNames {
 public:
  // Both outlive the object. A directory that is not there has no files.
  MimeFileNames(platform::Platform& platform, const text::PathText& databaseDirectory);

  // Leaves out the files that any row of a mail names. `database` is opened in UTF-8. Throws
  // jet::DatabaseError where a table cannot be read to its end; the files of rows that damage has
  // taken out of it stay, which nothing else leads to any more.
  void LeaveOutThoseOf(jet::Database& database);

  // The other ones, as rows would name them, UTF-8, sorted.
  [[nodiscard]] std::vector<std::string> Rest() const;

  // Files whose names are not of code page 932, so that no row can name them.
  [[nodiscard]] const std::vector<std::string>& unusable() const { return unusable_; }

 private:
  using Visitor = std::function<void(const std::string& name)>;

  // Calls `visit` with the name of each file below `directory`, in code page 932; returns those
  // that have none.
  std::vector<std::string> Walk(const std::string& directory, int depth,
                                const Visitor& visit) const;
  [[nodiscard]] std::string ToUtf8(std::string_view codePage932) const;
  // A name in UTF-8 as one number, whatever its letter case and its separators.
  [[nodiscard]] std::uint64_t HashOf(std::string_view name) const;
  void LeaveOut(std::string_view name);

  platform::Platform& platform_;
  const text::PathText& databaseDirectory_;
  std::vector<std::uint64_t> hashes_;  // sorted
  std::vector<bool> isNamed_;          // of the file at the same place
  std::vector<std::string> unusable_;
};

}  // namespace nimport::store

#endif  // NIMPORT_STORE_MAILS_MIME_FILE_NAMES_H_
