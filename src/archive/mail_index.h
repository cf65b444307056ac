// The index of an archive: a line for each row of the list of mails, and for each mail beside it.
#ifndef NIMPORT_ARCHIVE_MAIL_INDEX_H_
#define NIMPORT_ARCHIVE_MAIL_INDEX_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/mail_contents.h"
#include "archive/new_file.h"

namespace nimport::archive {

// What became of a row.
enum class RowStatus { Written, AlreadyThere, Skipped, Failed, NotListed, NotChosen, Recovered };

// "written", "already there" and so on.
[[nodiscard]] std::string_view ToText(RowStatus status);

// A file that a mail has with it.
struct Attachment {
  std::string name;  // UTF-8
  std::uint64_t sizeBytes = 0;
};

// What is known of a mail; empty where it is not known. Texts are UTF-8.
struct IndexRow {
  std::optional<std::int32_t> number;  // "DataNo"
  std::optional<std::int32_t> kind;    // "DataType"
  std::string cabinet;
  std::string folder;
  std::optional<std::int32_t> position;
  const MailHeaders* headers = nullptr;  // borrowed; may be null
  std::vector<Attachment> attachments;
  std::filesystem::path path;  // of the file that the mail is in
  std::string key;
  RowStatus status = RowStatus::Failed;
  std::string reason;
  std::string file;     // how the store names the mail's own file
  std::string columns;  // further ones: ColumnsToJson; may be empty
};

// Hears of the rows, in the order of the archive.
class IndexSink {
 public:
  virtual ~IndexSink() = default;
  virtual void Add(const IndexRow& row) = 0;
};

inline constexpr const char* INDEX_CSV_NAME = "index.csv";
inline constexpr const char* INDEX_JSON_NAME = "index.jsonl";

// Writes both forms of the index into a directory, line by line, under temporary names until all
// of them are there. Failures are std::system_error.
class MailIndex final : public IndexSink {
 public:
  // Paths in the index are beneath `directory`. Spreadsheets want a byte order mark in the CSV.
  MailIndex(const std::filesystem::path& directory, const std::string& csvName,
            const std::string& jsonName, bool hasByteOrderMark);

  void Add(const IndexRow& row) override;

  // From here on no mail is waiting any more.
  void Settle();

  // Takes back the lines since before the last `waiting` mails were written, and those of rows in
  // between: the mails never got into their place.
  void DropLast(std::int64_t waiting);

  // To be called once, last.
  void PutInPlace(Flush flush = Flush::Yes);

 private:
  // A place to which both files may be cut back.
  struct Mark {
    std::int64_t written = 0;
    std::uint64_t csvBytes = 0;
    std::uint64_t jsonBytes = 0;
  };

  [[nodiscard]] std::string PathInIndex(const std::filesystem::path& path) const;

  platform::OutputDirectory directory_;
  std::string csvName_;
  std::string jsonName_;
  NewFile csv_;
  NewFile json_;
  std::int64_t written_ = 0;  // mails
  std::vector<Mark> marks_;   // since the last Settle, one in MARK_MAILS
};

}  // namespace nimport::archive

#endif  // NIMPORT_ARCHIVE_MAIL_INDEX_H_
